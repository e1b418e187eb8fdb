#include "minidlna/supervisor.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>

#include "minidlna/child_process.h"
#include "platform/files/file_io.h"
#include "platform/files/file_replacement.h"

namespace dms {
namespace {

using std::chrono::seconds;

// Give up after this many unexpected exits within EXITS_TIME.
constexpr size_t MAX_EXITS = 5;
constexpr seconds EXITS_TIME(60);

// The delay of the restart after the first unexpected exit. Each further exit doubles it.
constexpr seconds MIN_RESTART_DELAY(1);

// A configuration is good once minidlnad has run with it for this time.
constexpr seconds GOOD_CONFIGURATION_TIME(5);

// The time between SIGTERM and SIGKILL for minidlnad. It must be less than the 10 seconds after which the
// control script kills dms.
constexpr seconds STOP_TIME(6);

// The time after which dms tries again to write the configuration of minidlnad.
constexpr seconds WRITE_RETRY_TIME(2);

// How often Stop checks whether minidlnad has ended.
constexpr useconds_t REAP_INTERVAL = 20'000;  // microseconds

bool HasNotStarted(int status) { return WIFEXITED(status) && WEXITSTATUS(status) == NOT_STARTED; }

std::string DescribeExit(int status) {
    if (WIFSIGNALED(status)) {
        return "minidlnad was killed by signal " + std::to_string(WTERMSIG(status));
    }
    if (HasNotStarted(status)) {
        return std::string("cannot start ") + MINIDLNAD + ": check that the package minidlna is installed";
    }
    return "minidlnad exited with status " + std::to_string(WEXITSTATUS(status));
}

}  // namespace

void Supervisor::SetConfiguration(const Configuration& configuration) {
    if (configuration == requested_) {
        return;
    }
    requested_ = configuration;
    next_ = configuration;
    if (!stopping_) {
        deadline_ = Clock::now();
    }
}

void Supervisor::RememberGoodConfiguration() {
    if (IsRunning() && Clock::now() - started_ >= GOOD_CONFIGURATION_TIME) {
        knownGood_ = current_;
    }
}

void Supervisor::RequestStop() {
    log_.Write(Level::Info, "restarting minidlnad because its configuration has changed");
    // If this fails, minidlnad is killed at the deadline.
    kill(child_, SIGTERM);
    stopping_ = true;
    deadline_ = Clock::now() + STOP_TIME;
}

// Writes the configuration file if its content differs. Returns false if the file cannot be read or replaced.
bool Supervisor::WriteConfiguration() {
    std::string previous;
    const bool readable = ReadFile(MINIDLNAD_CONFIGURATION_FILE, previous) || errno == ENOENT;
    if (readable && previous == next_.text) {
        return true;
    }
    if (!readable || FileReplacement(MINIDLNAD_CONFIGURATION_FILE).Replace(next_.text) != Saved::Yes) {
        if (!writingFailed_) {
            log_.Write(Level::Error, std::string("cannot read or replace ") + MINIDLNAD_CONFIGURATION_FILE +
                                         ": " + strerror(errno) + ". dms tries again every " +
                                         std::to_string(WRITE_RETRY_TIME.count()) + " seconds");
        }
        writingFailed_ = true;
        return false;
    }
    // minidlnad chooses album art while it scans the media, so other names need a new scan.
    rescan_ = rescan_ || (!previous.empty() &&
                          ValuesOf(previous, ALBUM_ART_KEYWORD) != ValuesOf(next_.text, ALBUM_ART_KEYWORD));
    writingFailed_ = false;
    return true;
}

void Supervisor::Start() {
    deadline_ = Clock::time_point::max();
    current_ = next_;
    child_ = StartMinidlnad({current_.databaseDirectory, current_.user, rescan_}, output_, log_);
    if (child_ < 0) {
        RestartLater(std::string("cannot create a process for minidlnad: ") + strerror(errno));
        return;
    }
    rescan_ = false;
    started_ = Clock::now();
    runningSince_ = time(nullptr);
    log_.Write(Level::Info, "started minidlnad, process " + std::to_string(child_));
}

void Supervisor::RestartLater(const std::string& reason) {
    const Clock::time_point now = Clock::now();
    while (!exits_.empty() && now - exits_.front() > EXITS_TIME) {
        exits_.pop_front();
    }
    exits_.push_back(now);
    log_.Write(Level::Error, reason);
    if (exits_.size() >= MAX_EXITS) {
        log_.Write(Level::Error, "minidlnad ended " + std::to_string(MAX_EXITS) + " times within " +
                                     std::to_string(EXITS_TIME.count()) +
                                     " seconds: dms stops. Correct the errors above, then start dms");
        gaveUp_ = true;
        return;
    }
    const seconds delay = MIN_RESTART_DELAY * (1 << (exits_.size() - 1));
    log_.Write(Level::Info, "restarting minidlnad in " + std::to_string(delay.count()) + " seconds");
    deadline_ = now + delay;
}

void Supervisor::ReturnToGoodConfiguration() {
    if (knownGood_ && current_ != *knownGood_) {
        log_.Write(
            Level::Error,
            "restarting minidlnad with its previous configuration: correct " ADMINISTRATOR_CONFIGURATION_FILE
            " or the settings");
        next_ = *knownGood_;
    }
}

void Supervisor::ForgetChild() {
    child_ = -1;
    runningSince_ = 0;
}

void Supervisor::RunDueTasks() {
    int status = 0;
    const Clock::time_point now = Clock::now();
    RememberGoodConfiguration();
    if (IsRunning() && ReapChild(child_, status)) {
        ForgetChild();
        if (!stopping_) {
            RestartLater(DescribeExit(status));
            if (!gaveUp_ && !HasNotStarted(status)) {
                ReturnToGoodConfiguration();
            }
            return;
        }
        stopping_ = false;
        deadline_ = now;
    }
    if (now < deadline_) {
        return;
    }
    if (stopping_) {
        kill(-child_, SIGKILL);
        deadline_ = now + STOP_TIME;
    } else if (!WriteConfiguration()) {
        deadline_ = now + WRITE_RETRY_TIME;
    } else if (!IsRunning()) {
        Start();
    } else if (next_ != current_) {
        RequestStop();
    } else {
        deadline_ = Clock::time_point::max();
    }
}

void Supervisor::Stop() {
    if (!IsRunning()) {
        return;
    }
    int status = 0;
    kill(child_, SIGTERM);
    const Clock::time_point end = Clock::now() + STOP_TIME;
    while (!ReapChild(child_, status)) {
        usleep(REAP_INTERVAL);
        if (Clock::now() > end) {
            kill(-child_, SIGKILL);
        }
    }
    ForgetChild();
}

}  // namespace dms
