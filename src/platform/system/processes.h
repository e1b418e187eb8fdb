// Programs, shell commands and signals.
//
// The interface of VLIBCExec, ProcessRunner and VLIBCProcSignalByPidFile is that of the appliance's system
// library: that is why argument lists have a fixed length and end at the first null, and why `keepOutput` has
// only one valid value.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

// --- Programs ----------------------------------------------------------------------------------------------
// A program gets:
// - /dev/null as standard input, output and error, and no other descriptor, because a web server waits until
//   all copies of its pipes are closed, even those that a daemon has inherited;
// - default signal handling, because this program ignores SIGTERM, and a daemon that inherited this could not
// be
//   ended with it;
// - CHILD_PATH and the variables of addEnv as its whole environment, so that no variable contains text from
// the
//   request.

constexpr char CHILD_PATH[] = "PATH=/usr/sbin:/usr/bin:/sbin:/bin";

// Runs `path` with the arguments before the first null and waits for its end. Returns 0 if it exited with 0.
// Returns -1 if it could not be started, exited with another status or was killed.
int VLIBCExec(const char* path, const char* arg1, const char* arg2, const char* arg3, const char* arg4);

namespace VEXAUtils {

class ProcessRunner {
  public:
    // The program's path, and its argument list: the program's name, then the arguments before the first
    // null. The texts must stay valid until `run` returns.
    explicit ProcessRunner(const char* path, const char* arg0 = nullptr, const char* arg1 = nullptr,
                           const char* arg2 = nullptr, const char* arg3 = nullptr, const char* arg4 = nullptr,
                           const char* arg5 = nullptr, const char* arg6 = nullptr, const char* arg7 = nullptr,
                           const char* arg8 = nullptr);

    // Adds a variable to the program's environment.
    void addEnv(const std::string& name, const std::string& value);

    // Starts the program and, if `wait` is true, waits for its end. Returns 0 if it was started and, with
    // `wait`, exited with 0; otherwise -1. Returns -1 without starting it if `keepOutput` is true: no program
    // may write to the outputs of this process.
    int run(bool wait, bool keepOutput);

  private:
    const char* path_;
    std::vector<const char*> arguments_;
    std::vector<std::string> environment_;
};

}  // namespace VEXAUtils

// --- Shell commands ----------------------------------------------------------------------------------------
// Commands must be literals of this program and never contain text from a request. They inherit the
// environment and standard error of this process; the commands of RunShell also inherit standard output.

// Runs a command (system(3)). Returns whether it exited with 0.
bool RunShell(const char* command);

// The standard output of a command (popen(3)). The stream is close-on-exec. The destructor waits for the
// command's end.
class ShellOutput {
  public:
    explicit ShellOutput(const char* command);
    ShellOutput(const ShellOutput&) = delete;
    ShellOutput& operator=(const ShellOutput&) = delete;
    ~ShellOutput();

    // Returns null if the command could not be started.
    FILE* Stream() const { return stream_; }

  private:
    FILE* stream_;
};

// --- Time --------------------------------------------------------------------------------------------------

// Waits for the whole time, even if signals interrupt it.
void Pause(unsigned int seconds);

// --- Signals -----------------------------------------------------------------------------------------------

// Sends `signal` to the process whose PID is stored in `pidFile`: decimal digits, with white space allowed
// around them. Rejects a PID below 2, which would mean init or a process group. Returns 0, or -1 if the
// signal was not sent.
int VLIBCProcSignalByPidFile(const char* pidFile, int signal);
