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

// The time between SIGTERM and SIGKILL. The control script kills dms itself after 10 seconds.
constexpr seconds STOP_TIME(6);

// How often Stop checks whether minidlnad has ended.
constexpr useconds_t REAP_INTERVAL = 20'000;  // microseconds

std::string DescribeExit(int status) {
    if (WIFSIGNALED(status)) {
        return "minidlnad was killed by signal " + std::to_string(WTERMSIG(status));
    }
    if (WEXITSTATUS(status) == NOT_STARTED) {
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
    if (IsRunning()) {
        log_.Write(Level::Info, "restarting minidlnad because its configuration has changed");
        RequestStop();
    } else {
        deadline_ = Clock::now();
    }
}

void Supervisor::RememberGoodConfiguration() {
    if (IsRunning() && Clock::now() - started_ >= GOOD_CONFIGURATION_TIME) {
        knownGood_ = current_;
    }
}

void Supervisor::RequestStop() {
    RememberGoodConfiguration();
    if (!stopping_) {
        kill(child_, SIGTERM);
        stopping_ = true;
        deadline_ = Clock::now() + STOP_TIME;
    }
}

void Supervisor::WriteConfiguration() {
    if (FileReplacement(MINIDLNAD_CONFIGURATION_FILE).Replace(current_.text) != Saved::Yes) {
        log_.Write(Level::Error, std::string("cannot write ") + MINIDLNAD_CONFIGURATION_FILE + ": " +
                                     strerror(errno) + ". minidlnad keeps its previous configuration");
    }
}

void Supervisor::Start() {
    std::string previous;
    ReadFile(MINIDLNAD_CONFIGURATION_FILE, previous);
    // minidlnad chooses album art while it scans the media, so other names need a new scan.
    const bool rescan =
        !previous.empty() && ValuesOf(previous, ALBUM_ART_KEYWORD) != ValuesOf(next_.text, ALBUM_ART_KEYWORD);
    deadline_ = Clock::time_point::max();
    current_ = next_;
    WriteConfiguration();
    child_ = StartMinidlnad({current_.databaseDirectory, current_.user, rescan}, output_, log_);
    if (child_ < 0) {
        OnUnexpectedExit(std::string("cannot create a process for minidlnad: ") + strerror(errno));
        return;
    }
    started_ = Clock::now();
    runningSince_ = time(nullptr);
    log_.Write(Level::Info, "started minidlnad, process " + std::to_string(child_));
}

void Supervisor::OnUnexpectedExit(const std::string& reason) {
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
    if (knownGood_ && current_ != *knownGood_) {
        log_.Write(
            Level::Error,
            "restarting minidlnad with its previous configuration: correct " ADMINISTRATOR_CONFIGURATION_FILE
            " or the settings");
        next_ = *knownGood_;
    }
    const seconds delay = MIN_RESTART_DELAY * (1 << (exits_.size() - 1));
    log_.Write(Level::Info, "restarting minidlnad in " + std::to_string(delay.count()) + " seconds");
    deadline_ = now + delay;
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
            OnUnexpectedExit(DescribeExit(status));
            return;
        }
        stopping_ = false;
        deadline_ = now;
    }
    if (now < deadline_) {
        return;
    }
    if (!IsRunning()) {
        Start();
    } else if (stopping_) {
        kill(-child_, SIGKILL);
        deadline_ = now + STOP_TIME;
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
