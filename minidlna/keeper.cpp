#include "minidlna/keeper.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstring>

#include "platform/files/file_io.h"
#include "platform/files/file_replacement.h"

namespace {

using std::chrono::seconds;

// So many deaths within the time are too many.
constexpr size_t MOST_DEATHS = 5;
constexpr seconds DEATHS_TIME(60);

// The pause after the first death; each further one doubles it.
constexpr seconds FIRST_PAUSE(1);

// A configuration that minidlnad has lived with for so long is not why it died.
constexpr seconds PROOF_TIME(5);

// After SIGTERM; then it is killed. The control script kills dms itself after ten.
constexpr seconds STOP_TIME(6);

std::string HowItEnded(int status) {
    return WIFSIGNALED(status) ? "was killed by signal " + std::to_string(WTERMSIG(status))
                               : "ended with status " + std::to_string(WEXITSTATUS(status));
}

}  // namespace

void Keeper::Use(const Configuration& configuration) {
    if (configuration.text == wanted_.text && configuration.user == wanted_.user) {
        return;
    }
    wanted_ = configuration;
    next_ = configuration;
    if (child_ > 0) {
        log_.Write(Level::Info, "minidlnad's configuration has changed: it starts anew");
        StopChild();
    } else {
        due_ = Clock::now();
    }
}

void Keeper::Prove() {
    if (child_ > 0 && Clock::now() - started_ >= PROOF_TIME) {
        proven_ = used_;
    }
}

void Keeper::StopChild() {
    Prove();
    if (!stopping_) {
        kill(child_, SIGTERM);
        stopping_ = true;
        due_ = Clock::now() + STOP_TIME;
    }
}

bool Keeper::WriteConfiguration(const Configuration& configuration) {
    const bool written = FileReplacement(CONFIGURATION_FILE).Replace(configuration.text) == Saved::Yes;
    if (!written) {
        log_.Write(Level::Error, std::string("can't write ") + CONFIGURATION_FILE + ": " + strerror(errno));
    }
    return written;
}

// Pictures are chosen when media are scanned: with other names they are looked for again.
void Keeper::StartNow() {
    std::string before;
    ReadFile(CONFIGURATION_FILE, before);
    const bool rescan =
        !before.empty() && ValuesOf(before, "album_art_names") != ValuesOf(next_.text, "album_art_names");
    due_ = Clock::time_point::max();
    used_ = next_;
    WriteConfiguration(used_);
    child_ = StartMinidlnad({used_.database, used_.user, rescan}, output_, log_);
    if (child_ < 0) {
        OnDeath(NOT_STARTED << 8);
        return;
    }
    started_ = Clock::now();
    runningSince_ = time(nullptr);
    log_.Write(Level::Info, "started minidlnad, process " + std::to_string(child_));
}

void Keeper::OnDeath(int status) {
    const Clock::time_point now = Clock::now();
    while (!deaths_.empty() && now - deaths_.front() > DEATHS_TIME) {
        deaths_.pop_front();
    }
    deaths_.push_back(now);
    log_.Write(Level::Error, WIFEXITED(status) && WEXITSTATUS(status) == NOT_STARTED
                                 ? std::string("can't start ") + MINIDLNAD + ": install the package minidlna"
                                 : "minidlnad " + HowItEnded(status));
    if (deaths_.size() >= MOST_DEATHS) {
        log_.Write(Level::Error,
                   "minidlnad has died " + std::to_string(MOST_DEATHS) + " times in a minute: dms ends");
        gaveUp_ = true;
        return;
    }
    if (!proven_.text.empty() && used_.text != proven_.text) {
        log_.Write(Level::Error, "minidlnad goes on with the configuration that it had before");
        next_ = proven_;
    }
    const auto pause = FIRST_PAUSE * (1 << (deaths_.size() - 1));
    log_.Write(Level::Info, "minidlnad starts again in " + std::to_string(pause.count()) + " seconds");
    due_ = now + pause;
}

void Keeper::Step() {
    int status = 0;
    const Clock::time_point now = Clock::now();
    Prove();
    if (child_ > 0 && TakeIn(child_, status)) {
        child_ = -1;
        runningSince_ = 0;
        if (!stopping_) {
            OnDeath(status);
            return;
        }
        stopping_ = false;
        due_ = now;
    }
    if (now < due_) {
        return;
    }
    if (child_ < 0) {
        StartNow();
    } else if (stopping_) {
        kill(-child_, SIGKILL);
        due_ = now + STOP_TIME;
    }
}

Clock::time_point Keeper::Due() const { return due_; }

void Keeper::Stop() {
    constexpr useconds_t PAUSE = 20'000;
    int status = 0;
    if (child_ < 0) {
        return;
    }
    kill(child_, SIGTERM);
    const Clock::time_point end = Clock::now() + STOP_TIME;
    while (!TakeIn(child_, status)) {
        usleep(PAUSE);
        if (Clock::now() > end) {
            kill(-child_, SIGKILL);
        }
    }
    child_ = -1;
    runningSince_ = 0;
}
