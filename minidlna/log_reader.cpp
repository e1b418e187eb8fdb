#include "minidlna/log_reader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "minidlna/configuration.h"

namespace dms {
namespace {

// Bounds one call of ForwardLines, so that a flood of messages cannot keep dms from handling signals. A FIFO
// holds 64 KiB by default.
constexpr int MAX_READS = 16;
constexpr size_t READ_SIZE = 4096;

// minidlnad logs routine messages, such as its start, as warnings.
struct LevelMark {
    const char* mark;  // follows the source location
    Level level;
};
constexpr LevelMark LEVEL_MARKS[] = {{": fatal: ", Level::Error},
                                     {": error: ", Level::Error},
                                     {": warn: ", Level::Info},
                                     {": info: ", Level::Info}};

// Lines without a level report errors in the configuration file.
constexpr Level UNMARKED_LEVEL = Level::Warning;

struct Advice {
    const char* part;  // of the message
    const char* text;
};
constexpr Advice ADVICE[] = {
    {"bind(http): Address already in use",
     "another program uses the port: stop it (for example the service minidlna), or change 'port' "
     "in " ADMINISTRATOR_CONFIGURATION_FILE},
    {"Media directory",
     "create the directory, let the user of minidlnad read it, or correct 'media_dir' "
     "in " ADMINISTRATOR_CONFIGURATION_FILE},
    {"Network interface", "choose another interface in the section General of the administration page"},
    {"Database path",
     "create the directory for the user of minidlnad, or correct 'db_dir' "
     "in " ADMINISTRATOR_CONFIGURATION_FILE},
    {"socket for receiving SSDP", "another program uses UDP port 1900 exclusively: stop it"},
    {"parsing error file", "correct " ADMINISTRATOR_CONFIGURATION_FILE},
};

}  // namespace

bool TakeLogLine(std::string& pending, std::string& line) {
    const size_t end = pending.find('\n');
    if (end == std::string::npos && pending.size() < MAX_LOG_READER_LINE) {
        return false;
    }
    const bool split = end > MAX_LOG_READER_LINE;
    line = pending.substr(0, split ? MAX_LOG_READER_LINE : end);
    pending.erase(0, split ? line.size() : end + 1);
    return true;
}

LogMessage ReadLogLine(const std::string& line) {
    LogMessage message{UNMARKED_LEVEL, "minidlnad: " + line};
    // The first mark is that of minidlnad. Another one is part of the message, for example of a file name.
    size_t first = std::string::npos;
    for (const LevelMark& row : LEVEL_MARKS) {
        if (const size_t at = line.find(row.mark); at < first) {
            first = at;
            message = {row.level, "minidlnad: " + line.substr(at + strlen(row.mark))};
        }
    }
    if (message.level != Level::Info) {
        for (const Advice& advice : ADVICE) {
            if (message.text.find(advice.part) != std::string::npos) {
                message.text += std::string(" (") + advice.text + ")";
                break;
            }
        }
    }
    return message;
}

int OpenLogFifo(DmsLog& log) {
    mkdir(DMS_RUN_DIRECTORY, 0755);
    unlink(MINIDLNAD_LOG_FIFO);
    // O_RDWR makes dms a writer, too: the FIFO never reaches its end, so poll(2) waits even without
    // minidlnad.
    const int fifo = mkfifo(MINIDLNAD_LOG_FIFO, 0600) == 0
                         ? open(MINIDLNAD_LOG_FIFO, O_RDWR | O_NONBLOCK | O_CLOEXEC)
                         : -1;
    if (fifo < 0) {
        log.Write(Level::Error, std::string("cannot create ") + MINIDLNAD_LOG_FIFO + ": " + strerror(errno));
    }
    return fifo;
}

void LogReader::ForwardLines() {
    char buffer[READ_SIZE];
    ssize_t count = 0;
    for (int i = 0; i < MAX_READS && (count = read(fifo_, buffer, sizeof buffer)) > 0; ++i) {
        incompleteLine_.append(buffer, static_cast<size_t>(count));
        for (std::string line; TakeLogLine(incompleteLine_, line);) {
            if (!line.empty()) {
                const LogMessage message = ReadLogLine(line);
                log_.Write(message.level, message.text);
            }
        }
    }
}

}  // namespace dms
