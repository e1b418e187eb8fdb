// Keeps minidlnad running: starts it anew when its configuration has changed, and when it has died, after
// pauses that grow.
#pragma once

#include <chrono>
#include <deque>
#include <string>

#include "minidlna/child.h"
#include "minidlna/configuration.h"

using Clock = std::chrono::steady_clock;

class Keeper {
  public:
    Keeper(DmsLog& log, int output) : log_(log), output_(output) {}

    // Lets the next Step start minidlnad with a configuration; one that runs with the same is left alone.
    void Use(const Configuration& configuration);

    // Does what is due: takes in a child that has ended, starts one. To be called after SIGCHLD and at Due.
    void Step();

    // When something is due without a signal.
    Clock::time_point Due() const;

    // minidlnad has died too often.
    bool GaveUp() const { return gaveUp_; }

    // Ends minidlnad and waits for that.
    void Stop();

    pid_t Child() const { return child_; }                      // -1 while there is none
    std::time_t RunningSince() const { return runningSince_; }  // 0 while there is none

  private:
    void StartNow();
    void StopChild();
    void OnDeath(int status);
    void Prove();
    bool WriteConfiguration(const Configuration& configuration);

    DmsLog& log_;
    int output_;
    Configuration wanted_;  // what the settings ask for
    Configuration next_;    // what minidlnad is started with next
    Configuration used_;    // what it was last started with
    Configuration proven_;  // what it has run with for a while
    pid_t child_ = -1;
    std::time_t runningSince_ = 0;
    bool stopping_ = false;
    bool gaveUp_ = false;
    Clock::time_point started_;
    Clock::time_point due_ = Clock::time_point::max();
    std::deque<Clock::time_point> deaths_;
};
