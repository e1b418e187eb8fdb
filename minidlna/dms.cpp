// dms, the media server daemon: runs MiniDLNA with the settings of the administration pages. Handles the
// signals of daemon/daemon_control.h, and ends at SIGTERM.
//
//     dms    Starts the daemon in the background. Exits with 0 as soon as the daemon handles signals. Exits
//            with 1 and a message on standard error if it cannot start.
#include <curl/curl.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>

#include "daemon/daemon_control.h"
#include "minidlna/dms_log.h"
#include "minidlna/log_reader.h"
#include "minidlna/pid_file.h"
#include "minidlna/server.h"
#include "minidlna/settings.h"
#include "platform/files/file_io.h"

namespace dms {
namespace {

using std::chrono::milliseconds;

// Keeps the wait within the range of poll(2). An earlier wake-up does no harm.
constexpr milliseconds MAX_WAIT_TIME(60'000);

// Blocks the signals that dms handles: one that arrives during the start is handled after it.
sigset_t BlockSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number :
         {SIGNAL_RELOAD_SETTINGS, SIGNAL_WRITE_CLIENT_LIST, SIGNAL_READ_CLIENT_LIST, SIGTERM, SIGCHLD}) {
        sigaddset(&signals, number);
    }
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    // If the parent process ignores SIGCHLD, the kernel would discard the exit status of minidlnad.
    signal(SIGCHLD, SIG_DFL);
    signal(SIGPIPE, SIG_IGN);
    return signals;
}

// Logs that a system call has failed, and why.
void LogFailure(DmsLog& log, const std::string& action) {
    log.Write(Level::Error, "cannot " + action + ": " + strerror(errno));
}

// Continues in a background process and returns the descriptor for ReportReady. On failure logs an error and
// returns -1, in the first process if no background process could be created. The first process exits with 0
// after ReportReady, and with 1 if the background process ends before.
int Daemonize(DmsLog& log) {
    int ready[2];
    if (pipe2(ready, O_CLOEXEC) != 0) {
        LogFailure(log, "create a pipe");
        return -1;
    }
    const pid_t child = fork();
    if (child < 0) {
        LogFailure(log, "create a process");
        return -1;
    }
    if (child > 0) {
        close(ready[1]);
        char byte = 0;
        _exit(Uninterrupted([&] { return read(ready[0], &byte, 1); }) == 1 ? 0 : 1);
    }
    close(ready[0]);
    setsid();
    umask(022);
    if (chdir("/") != 0) {
        LogFailure(log, "change to the directory /");
        return -1;
    }
    return ready[1];
}

// Lets the first process exit with 0. Before that, closes standard input, output and error: if they are the
// pipes of a request, the request does not end until they are closed. Logs a failure and returns false.
bool ReportReady(int ready, DmsLog& log) {
    const Descriptor null(Uninterrupted([] { return open("/dev/null", O_RDWR | O_CLOEXEC); }));
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (!null.IsOpen() || Uninterrupted([&] { return dup2(null.Get(), standard); }) != standard) {
            LogFailure(log, "open /dev/null");
            return false;
        }
    }
    if (!WriteAll(ready, "r")) {
        LogFailure(log, "report the start");
        return false;
    }
    close(ready);
    return true;
}

// Returns false after SIGTERM.
bool HandleSignal(int signals, Server& server) {
    signalfd_siginfo signal{};
    // poll(2) reports the signal again if this fails.
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
        if (poll(sources, std::size(sources), MillisecondsUntil(server.NextDeadline())) <= 0) {
            continue;
        }
        if ((sources[1].revents & POLLIN) != 0) {
            server.ForwardLog();
        }
        if ((sources[0].revents & POLLIN) != 0 && !HandleSignal(signals, server)) {
            return;
        }
    }
}

// Returns the exit status. On failure it has logged an error.
int Run(DmsLog& log) {
    const sigset_t handled = BlockSignals();
    // An inherited descriptor would stay open as long as the daemon runs. If it was the output of a request,
    // the request would never end.
    closefrom(STDERR_FILENO + 1);
    Settings settings;
    ReadSettings(settings);
    log.SetLevel(settings.logLevel);
    PidFile pidFile(log);
    if (!pidFile.Lock()) {
        return 1;
    }
    const int ready = Daemonize(log);
    if (ready < 0 || !pidFile.Write()) {
        return 1;
    }
    const int signals = signalfd(-1, &handled, SFD_CLOEXEC | SFD_NONBLOCK);
    if (signals < 0) {
        LogFailure(log, "receive signals");
        return 1;
    }
    const int logFifo = OpenLogFifo(log);
    if (logFifo < 0) {
        return 1;
    }
    curl_global_init(CURL_GLOBAL_NOTHING);
    {
        Server server(log, logFifo);
        server.ReadClientList();
        server.ReloadSettings();
        if (!ReportReady(ready, log)) {
            return 1;
        }
        log.Write(Level::Info, "started");
        Serve(signals, logFifo, server);
    }
    log.Write(Level::Info, "stopped");
    return 0;
}

// Runs dms and prints a failure of the start on standard error. After ReportReady, standard error is
// /dev/null, and only the log has the message.
int RunAndReport() {
    DmsLog log;
    int status = 1;
    // Without the handler, an exception (for example std::bad_alloc) could end dms without the destructors,
    // which stop minidlnad and remove the rules of the packet filter.
    try {
        status = Run(log);
    } catch (const std::exception& error) {
        log.Write(Level::Error, std::string("dms ends because of a failure: ") + error.what());
    }
    if (status != 0) {
        fprintf(stderr, "dms cannot start: %s\n", log.LastError().text.c_str());
    }
    return status;
}

}  // namespace
}  // namespace dms

int main() { return dms::RunAndReport(); }
