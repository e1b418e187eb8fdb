#include "minidlna/server_log.h"

#include <unistd.h>

namespace {

// A longer line is cut in two.
constexpr size_t LONGEST_LINE = 4096;

struct LevelRow {
    const char* mark;  // behind file and line
    Level level;
};
constexpr LevelRow LEVELS[] = {{": fatal: ", Level::Error},
                               {": error: ", Level::Error},
                               {": warn: ", Level::Info},
                               {": info: ", Level::Info}};

// Lines without a level complain about the configuration file.
constexpr Level OTHER_LEVEL = Level::Warning;

struct Advice {
    const char* part;  // of the message
    const char* text;
};
constexpr Advice ADVICE[] = {
    {"bind(http): Address already in use",
     "another program has the port: end it (the service minidlna, say), or change 'port' in "
     "/etc/minidlna.conf"},
    {"Media directory",
     "create the folder, let minidlnad's user read it, or correct 'media_dir' in /etc/minidlna.conf"},
    {"Network interface", "choose another one on the general page"},
    {"Database path", "create the folder for minidlnad's user, or correct 'db_dir' in /etc/minidlna.conf"},
    {"socket for receiving SSDP", "another program keeps UDP port 1900 to itself: end it"},
    {"parsing error file", "correct /etc/minidlna.conf"},
};

void TakeOverLine(const std::string& line, DmsLog& log) {
    Level level = OTHER_LEVEL;
    std::string message = line;
    for (const LevelRow& row : LEVELS) {
        const std::string mark = row.mark;
        if (const size_t at = line.find(mark); at != std::string::npos) {
            level = row.level;
            message = line.substr(at + mark.size());
            break;
        }
    }
    if (level != Level::Info) {
        for (const Advice& advice : ADVICE) {
            if (message.find(advice.part) != std::string::npos) {
                message += std::string(" (") + advice.text + ")";
                break;
            }
        }
    }
    log.Write(level, "minidlnad: " + message);
}

}  // namespace

void ServerLog::TakeOver() {
    char piece[4096];
    for (ssize_t count = 0; (count = read(fifo_, piece, sizeof piece)) > 0;) {
        rest_.append(piece, static_cast<size_t>(count));
        for (size_t end = 0; (end = rest_.find('\n')) != std::string::npos || rest_.size() > LONGEST_LINE;) {
            const std::string line = rest_.substr(0, end);
            rest_.erase(0, end == std::string::npos ? end : end + 1);
            if (!line.empty()) {
                TakeOverLine(line, log_);
            }
        }
    }
}
