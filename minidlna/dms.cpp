// dms, the media server daemon: runs MiniDLNA with the settings of the administration pages. Handles the
// signals of daemon/daemon_control.h, and ends at SIGTERM.
//
//     dms    Starts the daemon in the background. Exits with 0 as soon as the daemon handles signals, with 1
//            if it cannot start.
#include <curl/curl.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "daemon/daemon_control.h"
#include "minidlna/configuration.h"
#include "minidlna/dms_log.h"
#include "minidlna/log_reader.h"
#include "minidlna/server.h"
#include "platform/files/file_io.h"

namespace dms {
namespace {

using std::chrono::milliseconds;

// Keeps the wait within the range of poll(2). An earlier wake-up does no harm.
constexpr milliseconds MAX_WAIT_TIME(60'000);

// Keeps the file open and locked until the process ends, however it ends: the control script recognises a
// stale file by the missing lock.
bool WritePidFile() {
    const std::string temporary = std::string(DMS_PID_FILE) + ".new";
    const int file = open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    return file >= 0 && flock(file, LOCK_EX | LOCK_NB) == 0 &&
           WriteAll(file, std::to_string(getpid()) + "\n") && rename(temporary.c_str(), DMS_PID_FILE) == 0;
}

// Continues in a background process and returns there the descriptor to write one byte to when the daemon is
// ready, or -1 on failure. The first process exits with 0 when it has read this byte, and with 1 if the
// background process ends before that.
int Daemonize() {
    int ready[2];
    // An inherited descriptor would stay open as long as the daemon runs. If it was the output of a request,
    // the request would never end.
    closefrom(STDERR_FILENO + 1);
    if (pipe2(ready, O_CLOEXEC) != 0) {
        exit(1);
    }
    const pid_t child = fork();
    if (child != 0) {
        close(ready[1]);
        char byte = 0;
        _exit(child > 0 && read(ready[0], &byte, 1) == 1 ? 0 : 1);
    }
    close(ready[0]);
    setsid();
    umask(022);
    const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        dup2(null, standard);
    }
    close(null);
    return chdir("/") == 0 ? ready[1] : -1;
}

// Returns false after SIGTERM.
bool HandleSignal(int signals, Server& server) {
    signalfd_siginfo signal{};
    if (read(signals, &signal, sizeof signal) != sizeof signal) {
        return true;
    }
    switch (signal.ssi_signo) {
        case SIGNAL_RELOAD_SETTINGS:
            server.ReloadSettings();
            break;
        case SIGNAL_WRITE_CLIENT_LIST:
            server.WriteClientList();
            break;
        case SIGNAL_READ_CLIENT_LIST:
            server.ReadClientList();
            break;
        case SIGTERM:
            return false;
        default:  // SIGCHLD: RunDueTasks reaps the child
            break;
    }
    return true;
}

int MillisecondsUntil(Clock::time_point deadline) {
    const auto wait = std::chrono::ceil<milliseconds>(deadline - Clock::now());
    return static_cast<int>(std::clamp(wait, milliseconds(0), MAX_WAIT_TIME).count());
}

void Serve(int signals, int logFifo, Server& server) {
    pollfd sources[] = {{signals, POLLIN, 0}, {logFifo, POLLIN, 0}};
    while (server.RunDueTasks()) {
        poll(sources, std::size(sources), MillisecondsUntil(server.NextDeadline()));
        if ((sources[1].revents & POLLIN) != 0) {
            server.ForwardLog();
        }
        if ((sources[0].revents & POLLIN) != 0 && !HandleSignal(signals, server)) {
            return;
        }
    }
}

int Run() {
    // Blocks the signals before anything else, so a signal that arrives during the start is handled after it.
    sigset_t set;
    sigemptyset(&set);
    for (const int number :
         {SIGNAL_RELOAD_SETTINGS, SIGNAL_WRITE_CLIENT_LIST, SIGNAL_READ_CLIENT_LIST, SIGTERM, SIGCHLD}) {
        sigaddset(&set, number);
    }
    sigprocmask(SIG_BLOCK, &set, nullptr);

    const int ready = Daemonize();
    const int signals = signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
    curl_global_init(CURL_GLOBAL_NOTHING);
    DmsLog log;
    const int logFifo = OpenLogFifo(log);
    Server server(log, logFifo);
    server.ReadClientList();
    server.ReloadSettings();
    if (signals < 0 || logFifo < 0 || !WritePidFile() || !WriteAll(ready, "r")) {
        log.Write(Level::Error, "dms cannot start: check that it can write " DMS_PID_FILE
                                " and the files in " DMS_RUN_DIRECTORY);
        server.Stop();
        return 1;
    }
    close(ready);
    log.Write(Level::Info, "started");
    Serve(signals, logFifo, server);
    server.Stop();
    log.Write(Level::Info, "stopped");
    unlink(DMS_PID_FILE);
    return 0;
}

}  // namespace
}  // namespace dms

int main() { return dms::Run(); }
