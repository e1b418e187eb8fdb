// Supervises minidlnad: restarts it after a change of its configuration, and after an unexpected exit with a
// growing delay.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <ctime>
#include <deque>
#include <optional>
#include <string>

#include "minidlna/configuration.h"
#include "minidlna/dms_log.h"

namespace dms {

using Clock = std::chrono::steady_clock;

class Supervisor {
  public:
    // minidlnad gets `output` as standard output and standard error.
    Supervisor(DmsLog& log, int output) : log_(log), output_(output) {}

    // Requests that minidlnad runs with `configuration`. The next RunDueTasks starts it or begins the
    // restart. Does nothing if `configuration` equals the one of the previous call. As long as
    // MINIDLNAD_CONFIGURATION_FILE cannot be written, minidlnad keeps running with its previous
    // configuration, or is not started.
    void SetConfiguration(const Configuration& configuration);

    // Reaps minidlnad if it has ended. If it is due, writes the configuration and starts minidlnad, or stops
    // it for a restart. Call it after SIGCHLD and at NextDeadline.
    void RunDueTasks();

    // Returns the time at which RunDueTasks must be called even if no signal arrives.
    Clock::time_point NextDeadline() const { return deadline_; }

    // Returns true after too many unexpected exits in a short time: minidlnad is not restarted any more.
    bool HasGivenUp() const { return gaveUp_; }

    // Ends minidlnad and waits until it has ended.
    void Stop();

    bool IsRunning() const { return child_ > 0; }
    std::time_t RunningSince() const { return runningSince_; }  // 0 while minidlnad is not running

  private:
    void Start();
    void RequestStop();
    void ForgetChild();
    void RestartLater(const std::string& reason);
    void RememberGoodConfiguration();
    void ReturnToGoodConfiguration();
    bool WriteConfiguration();

    DmsLog& log_;
    int output_;
    Configuration requested_;                 // by the settings
    Configuration next_;                      // for the next start
    Configuration current_;                   // of the last start
    std::optional<Configuration> knownGood_;  // the last one that minidlnad kept running with
    pid_t child_ = -1;                        // -1 while minidlnad is not running
    std::time_t runningSince_ = 0;
    bool rescan_ = false;    // at the next start
    bool stopping_ = false;  // SIGTERM was sent
    bool writingFailed_ = false;
    bool gaveUp_ = false;
    Clock::time_point started_;
    Clock::time_point deadline_ = Clock::time_point::max();
    std::deque<Clock::time_point> exits_;  // unexpected ones within EXITS_TIME
};

}  // namespace dms
