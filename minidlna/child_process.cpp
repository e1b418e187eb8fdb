#include "minidlna/child_process.h"

#include <grp.h>
#include <pwd.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>

#include "minidlna/configuration.h"
#include "platform/files/file_io.h"
#include "platform/system/processes.h"

namespace dms {
namespace {

constexpr char PACKAGE_USER[] = "minidlna";
constexpr char PID_FILE_NAME[] = "/minidlnad.pid";

// File names and titles are in UTF-8.
constexpr char CHILD_LOCALE[] = "LC_ALL=C.UTF-8";

// Looks up a user name or a numeric user ID. `user` is null if there is no such user. Returns false with
// errno set if the look-up fails.
bool FindUser(const std::string& name, const passwd*& user) {
    errno = 0;
    user = getpwnam(name.c_str());
    char* end = nullptr;
    const unsigned long number = strtoul(name.c_str(), &end, 10);
    if (user == nullptr && errno == 0 && end != name.c_str() && *end == '\0') {
        user = getpwuid(static_cast<uid_t>(number));
    }
    return user != nullptr || errno == 0 || errno == ENOENT || errno == ESRCH;
}

// Finds the user that minidlnad runs as. `user` is null if that is the user of dms. Returns false with errno
// set if a look-up fails: otherwise minidlnad would run as root.
bool FindChildUser(const std::string& configured, const passwd*& user, DmsLog& log) {
    user = nullptr;
    if (geteuid() != 0) {
        return true;
    }
    if (!configured.empty() && !FindUser(configured, user)) {
        return false;
    }
    if (!configured.empty() && user == nullptr) {
        log.Write(Level::Error,
                  "minidlnad cannot run as " + configured +
                      " because there is no such user: correct 'user' in " ADMINISTRATOR_CONFIGURATION_FILE);
    }
    if (user == nullptr && !FindUser(PACKAGE_USER, user)) {
        return false;
    }
    if (user != nullptr && user->pw_uid == geteuid()) {
        user = nullptr;
    }
    return true;
}

bool Redirect(int from, int to) {
    return Uninterrupted([&] { return dup2(from, to); }) == to;
}

// Turns the child process into minidlnad. The kernel clears the parent-death signal when a process changes
// its user (prctl(2)), so dms changes the user itself, before prctl. The kernel sends no signal for a parent
// that ended before prctl, so the parent is compared afterwards.
[[noreturn]] void ExecMinidlnad(const std::string& pidFile, bool rescan, const passwd* user, int output,
                                pid_t parent) {
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    signal(SIGPIPE, SIG_DFL);
    const bool prepared =
        setpgid(0, 0) == 0 && Redirect(output, STDOUT_FILENO) && Redirect(output, STDERR_FILENO);
    const bool changed = user == nullptr || (initgroups(user->pw_name, user->pw_gid) == 0 &&
                                             setgid(user->pw_gid) == 0 && setuid(user->pw_uid) == 0);
    if (prepared && changed && prctl(PR_SET_PDEATHSIG, SIGTERM) == 0 && getppid() == parent) {
        // -S keeps minidlnad in the foreground, -r makes it scan the media again.
        const char* arguments[] = {MINIDLNAD,
                                   "-S",
                                   "-f",
                                   MINIDLNAD_CONFIGURATION_FILE,
                                   "-P",
                                   pidFile.c_str(),
                                   rescan ? "-r" : nullptr,
                                   nullptr};
        const char* environment[] = {CHILD_PATH, CHILD_LOCALE, nullptr};
        execve(MINIDLNAD, const_cast<char**>(arguments), const_cast<char**>(environment));
    }
    _exit(NOT_STARTED);
}

}  // namespace

pid_t StartMinidlnad(const StartOptions& options, int output, DmsLog& log) {
    const passwd* user = nullptr;
    if (!FindChildUser(options.user, user, log)) {
        return -1;
    }
    // minidlnad opens the FIFO as its log file, with the rights of its user.
    if (user != nullptr && fchown(output, user->pw_uid, user->pw_gid) != 0) {
        log.Write(Level::Error, std::string("cannot change the owner of ") + MINIDLNAD_LOG_FIFO + ": " +
                                    strerror(errno) + ". The log lacks the messages of minidlnad");
    }
    // minidlnad refuses to start if the PID in a stale file belongs to any running process.
    const std::string pidFile = options.databaseDirectory + PID_FILE_NAME;
    unlink(pidFile.c_str());
    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child == 0) {
        ExecMinidlnad(pidFile, options.rescan, user, output, parent);
    }
    return child;
}

bool ReapChild(pid_t child, int& status) {
    status = 0;
    // A failure means that there is no such child any more.
    if (Uninterrupted([&] { return waitpid(child, &status, WNOHANG); }) == 0) {
        return false;
    }
    kill(-child, SIGKILL);
    return true;
}

}  // namespace dms
