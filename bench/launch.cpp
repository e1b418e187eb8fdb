// Runs a program several times and prints a line for each run: microseconds, microseconds of processor time,
// page faults and peak memory in KiB, each including the children that the program waited for. This is a
// small separate process because the peak memory of a child includes the pages of the parent that forked it.
// Usage: launch COUNT INPUT... -- PROGRAM ARGUMENT...; the runs use the input files in turn
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

long Microseconds(const timeval& time) { return time.tv_sec * 1000000 + time.tv_usec; }

bool Run(const char* input, char** command) {
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, STDIN_FILENO, input, O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    const auto start = std::chrono::steady_clock::now();
    pid_t child = 0;
    int status = 0;
    rusage usage = {};
    const bool ended = posix_spawn(&child, command[0], &files, nullptr, command, environ) == 0 &&
                       wait4(child, &status, 0, &usage) == child && status == 0;
    const std::chrono::duration<double, std::micro> time = std::chrono::steady_clock::now() - start;
    posix_spawn_file_actions_destroy(&files);
    printf("%.0f %ld %ld %ld\n", time.count(), Microseconds(usage.ru_utime) + Microseconds(usage.ru_stime),
           usage.ru_minflt, usage.ru_maxrss);
    return ended;
}

}  // namespace

int main(int count, char** arguments) {
    int inputs = 2;
    while (inputs < count && strcmp(arguments[inputs], "--") != 0) {
        ++inputs;
    }
    if (inputs == 2 || inputs + 1 >= count) {
        return 2;
    }
    for (int run = 0; run < atoi(arguments[1]); ++run) {
        if (!Run(arguments[2 + run % (inputs - 2)], arguments + inputs + 1)) {
            return 1;
        }
    }
    return 0;
}
