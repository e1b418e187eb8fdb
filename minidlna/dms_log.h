// The log of dms: one line for each message, with its level.
//
//     2026-01-31 08:15:30 dms[4711] error: port 8200 is taken
#pragma once

#include <ctime>
#include <string>

// A line is logged when its level is at most the one in the settings; the pages switch the log on with 3.
enum class Level : long { Off, Error, Warning, Info };

struct LoggedError {
    std::time_t time = 0;  // 0 when there was none
    std::string text;
};

class DmsLog {
  public:
    void SetLevel(Level level) { level_ = level; }
    Level GetLevel() const { return level_; }

    // Adds a line to the file, which is opened for each one, since the pages delete it.
    void Write(Level level, const std::string& text);

    // The last message at Level::Error, whether it was logged or not.
    const LoggedError& LastError() const { return lastError_; }

  private:
    Level level_ = Level::Off;
    LoggedError lastError_;
};
