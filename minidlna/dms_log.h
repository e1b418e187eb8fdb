// The log of dms, DMS_LOG_FILE. A message is one line:
//
//     2026-01-31 08:15:30 dms[4711] info: started
#pragma once

#include <ctime>
#include <string>

namespace dms {

// The values are those of LOG_LEVEL_KEY in the settings file.
enum class Level : char { Off, Error, Warning, Info };

// When the log reaches this size, it is renamed to DMS_LOG_FILE ".1", which replaces the previous one.
constexpr long MAX_LOG_SIZE = 8L << 20U;  // bytes

// Returns a message as one line of the log, with its line feed. Escapes control characters and uses only the
// first 4096 bytes of `text`.
std::string FormatLogLine(Level level, std::time_t now, const std::string& text);

struct LoggedError {
    std::time_t time = 0;  // 0 if there was no error
    std::string text;
};

class DmsLog {
  public:
    // Messages above this level are not written to the file.
    void SetLevel(Level level) { level_ = level; }

    // Appends a message. Opens the file each time because a user can delete it on the administration page.
    // Renames a log that has reached MAX_LOG_SIZE first.
    void Write(Level level, const std::string& text);

    // Returns the last message with Level::Error, even if the log is off.
    const LoggedError& LastError() const { return lastError_; }

  private:
    Level level_ = Level::Off;
    LoggedError lastError_;
};

}  // namespace dms
