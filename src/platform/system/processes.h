// Programs, shell commands and signals.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

// --- Programs ----------------------------------------------------------------------------------------------
// A program gets /dev/null as standard input, output and error and no other descriptor, since a web server
// waits for the end of both outputs; default signal handling, since a daemon must end at SIGTERM; and the
// environment CHILD_PATH with what was added, nothing that a client sent.

constexpr char CHILD_PATH[] = "PATH=/usr/sbin:/usr/bin:/sbin:/bin";

// Runs `path` with the arguments before the first null and waits for its end. Returns 0 when it exited with
// 0, -1 when it couldn't be started, exited otherwise or was killed.
int VLIBCExec(const char* path, const char* arg1, const char* arg2, const char* arg3, const char* arg4);

namespace VEXAUtils {

class ProcessRunner {
  public:
    // `path`, then the argument list from the program's name to the first null.
    explicit ProcessRunner(const char* path, const char* arg0 = nullptr, const char* arg1 = nullptr,
                           const char* arg2 = nullptr, const char* arg3 = nullptr, const char* arg4 = nullptr,
                           const char* arg5 = nullptr, const char* arg6 = nullptr, const char* arg7 = nullptr,
                           const char* arg8 = nullptr);
    void addEnv(const std::string& name, const std::string& value);

    // Starts the program and, with `wait`, waits for its end. Returns 0 when it was started and, with `wait`,
    // exited with 0; else -1. A child never keeps the output of this process: `keepOutput` must be false.
    int run(bool wait, bool keepOutput);

  private:
    const char* path_;
    std::vector<const char*> arguments_;
    std::vector<std::string> environment_;
};

}  // namespace VEXAUtils

// --- Shell commands ----------------------------------------------------------------------------------------
// Literals of this system, never a client's text. They share this process's environment and outputs.

// system(3): true when the command exited with 0.
bool RunShell(const char* command);

// The standard output of a command: popen(3), close-on-exec. Closing waits for its end.
class ShellOutput {
  public:
    explicit ShellOutput(const char* command);
    ShellOutput(const ShellOutput&) = delete;
    ShellOutput& operator=(const ShellOutput&) = delete;
    ~ShellOutput();

    // Null when the command couldn't be started.
    FILE* Stream() const { return stream_; }

  private:
    FILE* stream_;
};

// --- Signals -----------------------------------------------------------------------------------------------

// Sends `signal` to the process whose number stands in `pidFile`: digits, and nothing around them but white
// space. A number below 2 would mean a process group or init and is refused. Returns 0, or -1 when nothing
// was sent.
int VLIBCProcSignalByPidFile(const char* pidFile, int signal);
