#include "minidlna/child.h"

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>

#include "minidlna/configuration.h"
#include "platform/system/processes.h"

namespace {

constexpr char PACKAGE_USER[] = "minidlna";
constexpr char PID_FILE_NAME[] = "/minidlnad.pid";

// Titles are in UTF-8.
constexpr char CHILD_LOCALE[] = "LC_ALL=C.UTF-8";

// Null when the user is unknown.
const passwd* FindUser(const std::string& name) {
    const passwd* user = getpwnam(name.c_str());
    char* end = nullptr;
    const unsigned long number = strtoul(name.c_str(), &end, 10);
    return user == nullptr && end != name.c_str() && *end == '\0' ? getpwuid(static_cast<uid_t>(number))
                                                                  : user;
}

// Whom minidlnad runs as; null for this process's own user.
const passwd* ChildUser(const std::string& wanted, DmsLog& log) {
    if (geteuid() != 0) {
        return nullptr;
    }
    const passwd* user = wanted.empty() ? nullptr : FindUser(wanted);
    if (!wanted.empty() && user == nullptr) {
        log.Write(Level::Error,
                  "there is no user " + wanted + ": correct 'user' in " + OWN_CONFIGURATION_FILE);
    }
    if (user == nullptr) {
        user = FindUser(PACKAGE_USER);
    }
    return user == nullptr || user->pw_uid == geteuid() ? nullptr : user;
}

// In the child. Changing the user takes the death signal away, so it comes last; a parent that has ended
// before sends none.
[[noreturn]] void Become(const std::string& pidFile, bool rescan, const passwd* user, int output,
                         pid_t parent) {
    setpgid(0, 0);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    dup2(output, STDOUT_FILENO);
    dup2(output, STDERR_FILENO);
    const bool changed = user == nullptr || (initgroups(user->pw_name, user->pw_gid) == 0 &&
                                             setgid(user->pw_gid) == 0 && setuid(user->pw_uid) == 0);
    if (changed && prctl(PR_SET_PDEATHSIG, SIGTERM) == 0 && getppid() == parent) {
        const char* arguments[] = {
            MINIDLNAD, "-S", "-f", CONFIGURATION_FILE, "-P", pidFile.c_str(), rescan ? "-r" : nullptr,
            nullptr};
        const char* environment[] = {CHILD_PATH, CHILD_LOCALE, nullptr};
        execve(MINIDLNAD, const_cast<char**>(arguments), const_cast<char**>(environment));
    }
    _exit(NOT_STARTED);
}

}  // namespace

int OpenLogFifo(DmsLog& log) {
    mkdir(RUN_DIRECTORY, 0755);
    unlink(MINIDLNA_LOG_FIFO);
    // Open for writing, too: so it never ends.
    const int fifo =
        mkfifo(MINIDLNA_LOG_FIFO, 0600) == 0 ? open(MINIDLNA_LOG_FIFO, O_RDWR | O_NONBLOCK | O_CLOEXEC) : -1;
    if (fifo < 0) {
        log.Write(Level::Error, std::string("can't make ") + MINIDLNA_LOG_FIFO + ": " + strerror(errno));
    }
    return fifo;
}

pid_t StartMinidlnad(const Start& start, int output, DmsLog& log) {
    const passwd* user = ChildUser(start.user, log);
    if (user != nullptr && fchown(output, user->pw_uid, user->pw_gid) != 0) {
        log.Write(Level::Error, std::string("can't give away ") + MINIDLNA_LOG_FIFO + ": " + strerror(errno));
    }
    // minidlnad takes a number in it that belongs to any process for its own.
    const std::string pidFile = start.database + PID_FILE_NAME;
    unlink(pidFile.c_str());
    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child == 0) {
        Become(pidFile, start.rescan, user, output, parent);
    }
    if (child < 0) {
        log.Write(Level::Error, std::string("can't start minidlnad: ") + strerror(errno));
    }
    return child;
}

bool TakeIn(pid_t child, int& status) {
    if (waitpid(child, &status, WNOHANG) != child) {
        return false;
    }
    kill(-child, SIGKILL);
    return true;
}
