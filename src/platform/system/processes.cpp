#include "platform/system/processes.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdlib>

#include "platform/files/file_io.h"

namespace {

constexpr int FIRST_CLOSED_DESCRIPTOR = 3;
constexpr char WHITE_SPACE[] = " \t\r\n";

// Starts a program as described in processes.h. Returns its process ID, or -1 on failure.
pid_t StartProgram(const char* path, const std::vector<const char*>& arguments,
                   const std::vector<std::string>& environment) {
    std::vector<const char*> argv = arguments;
    argv.push_back(nullptr);
    std::vector<const char*> envp = {CHILD_PATH};
    for (const std::string& variable : environment) {
        envp.push_back(variable.c_str());
    }
    envp.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDWR, 0);
    posix_spawn_file_actions_adddup2(&actions, STDIN_FILENO, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, STDIN_FILENO, STDERR_FILENO);
    posix_spawn_file_actions_addclosefrom_np(&actions, FIRST_CLOSED_DESCRIPTOR);

    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    sigset_t signals;
    sigfillset(&signals);
    posix_spawnattr_setsigdefault(&attributes, &signals);
    sigemptyset(&signals);
    posix_spawnattr_setsigmask(&attributes, &signals);

    pid_t child = -1;
    const int error = posix_spawn(&child, path, &actions, &attributes, const_cast<char**>(argv.data()),
                                  const_cast<char**>(envp.data()));
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    return error == 0 ? child : -1;
}

int WaitForSuccess(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) {
            return -1;
        }
    }
    return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? 0 : -1;
}

}  // namespace

int VLIBCExec(const char* path, const char* arg1, const char* arg2, const char* arg3, const char* arg4) {
    return VEXAUtils::ProcessRunner(path, path, arg1, arg2, arg3, arg4).run(true, false);
}

VEXAUtils::ProcessRunner::ProcessRunner(const char* path, const char* arg0, const char* arg1,
                                        const char* arg2, const char* arg3, const char* arg4,
                                        const char* arg5, const char* arg6, const char* arg7,
                                        const char* arg8)
    : path_(path) {
    for (const char* argument : {arg0, arg1, arg2, arg3, arg4, arg5, arg6, arg7, arg8}) {
        if (argument == nullptr) {
            break;
        }
        arguments_.push_back(argument);
    }
}

void VEXAUtils::ProcessRunner::addEnv(const std::string& name, const std::string& value) {
    environment_.push_back(name + "=" + value);
}

int VEXAUtils::ProcessRunner::run(bool wait, bool keepOutput) {
    if (keepOutput) {
        return -1;
    }
    const pid_t child = StartProgram(path_, arguments_, environment_);
    if (child < 0) {
        return -1;
    }
    return wait ? WaitForSuccess(child) : 0;
}

bool RunShell(const char* command) { return system(command) == 0; }

ShellOutput::ShellOutput(const char* command) : stream_(popen(command, "re")) {}

ShellOutput::~ShellOutput() {
    if (stream_ != nullptr) {
        pclose(stream_);
    }
}

void Pause(unsigned int seconds) {
    while (seconds > 0) {
        seconds = sleep(seconds);
    }
}

int VLIBCProcSignalByPidFile(const char* pidFile, int signal) {
    std::string content;
    if (!ReadFile(pidFile, content)) {
        return -1;
    }
    content.erase(content.find_last_not_of(WHITE_SPACE) + 1);
    content.erase(0, content.find_first_not_of(WHITE_SPACE));
    pid_t process = 0;
    const char* end = content.data() + content.size();
    const auto [parsed, error] = std::from_chars(content.data(), end, process);
    if (error != std::errc() || parsed != end || process <= 1) {
        return -1;
    }
    return kill(process, signal);
}
