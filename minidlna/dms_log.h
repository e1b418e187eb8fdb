// The log of dms, DMS_LOG_FILE. A message is one line:
//
//     2026-01-31 08:15:30 dms[4711] info: started
#pragma once

#include <ctime>
#include <string>

namespace dms {

// The values are those of LOG_LEVEL_KEY in the settings file.
enum class Level : char { Off, Error, Warning, Info };

struct LoggedError {
    std::time_t time = 0;  // 0 if there was no error
    std::string text;
};

class DmsLog {
  public:
    // Messages above this level are not written to the file.
    void SetLevel(Level level) { level_ = level; }

    // Appends a message. Opens the file each time because a user can delete it on the administration page.
    void Write(Level level, const std::string& text);

    // Returns the last message with Level::Error, even if the log is off.
    const LoggedError& LastError() const { return lastError_; }

  private:
    Level level_ = Level::Off;
    LoggedError lastError_;
};

}  // namespace dms
