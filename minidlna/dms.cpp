// The media server daemon: keeps the administration pages' agreements, with MiniDLNA as the server. Settings
// are read at start and at SIGHUP, the address it serves on is published, the client list is written at
// SIGCONT and taken back at SIGUSR2 and at start; it ends at SIGTERM.
//
//     dms    returns 0 when the daemon stands in the background, ready for signals; 1 when it couldn't start
#include <curl/curl.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <string>

#include "daemon/daemon_control.h"
#include "minidlna/server.h"
#include "platform/files/file_io.h"

namespace {

// The lock stays until the process ends, however it ends: it tells a running daemon from a left-over file.
bool WritePidFile() {
    const std::string temporary = std::string(DMS_PID_FILE) + ".new";
    const int file = open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    return file >= 0 && flock(file, LOCK_EX | LOCK_NB) == 0 &&
           WriteAll(file, std::to_string(getpid()) + "\n") && rename(temporary.c_str(), DMS_PID_FILE) == 0;
}

// Becomes the background process; returns in it alone, with the descriptor on which to say that it is ready.
int Daemonize() {
    int ready[2];
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

// False at SIGTERM.
bool HandleSignal(int signals, Server& server) {
    signalfd_siginfo signal{};
    if (read(signals, &signal, sizeof signal) != sizeof signal) {
        return true;
    }
    switch (signal.ssi_signo) {
        case SIGNAL_RELOAD_SETTINGS:
            server.ReadSettings();
            break;
        case SIGNAL_WRITE_CLIENT_LIST:
            server.WriteClients();
            break;
        case SIGNAL_READ_CLIENT_LIST:
            server.TakeBackClients();
            break;
        case SIGTERM:
            return false;
        default:  // SIGCHLD: Step looks
            break;
    }
    return true;
}

int MillisecondsUntil(Clock::time_point due) {
    using std::chrono::milliseconds;
    if (due == Clock::time_point::max()) {
        return -1;
    }
    return static_cast<int>(
        std::clamp<long long>(std::chrono::ceil<milliseconds>(due - Clock::now()).count(), 0, 60'000));
}

void Serve(int signals, int logFifo, Server& server) {
    pollfd sources[] = {{signals, POLLIN, 0}, {logFifo, POLLIN, 0}};
    while (server.Step()) {
        poll(sources, std::size(sources), MillisecondsUntil(server.Due()));
        if ((sources[1].revents & POLLIN) != 0) {
            server.TakeOverLog();
        }
        if ((sources[0].revents & POLLIN) != 0 && !HandleSignal(signals, server)) {
            return;
        }
    }
}

}  // namespace

int main() {
    // Blocked from the first moment on: a signal that comes early waits until it is asked for.
    sigset_t set;
    sigemptyset(&set);
    for (const int number : {SIGNAL_RELOAD_SETTINGS, SIGNAL_WRITE_CLIENT_LIST, SIGNAL_READ_CLIENT_LIST, SIGTERM, SIGCHLD}) {
        sigaddset(&set, number);
    }
    sigprocmask(SIG_BLOCK, &set, nullptr);

    const int ready = Daemonize();
    const int signals = signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
    curl_global_init(CURL_GLOBAL_NOTHING);
    DmsLog log;
    const int logFifo = OpenLogFifo(log);
    Server server(log, logFifo);
    server.TakeBackClients();
    server.ReadSettings();
    if (signals < 0 || logFifo < 0 || !WritePidFile() || !WriteAll(ready, "r")) {
        log.Write(Level::Error, "can't start");
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
