#include "minidlna/log_reader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "minidlna/configuration.h"

namespace dms {
namespace {

// A longer line is split.
constexpr size_t MAX_LINE_LENGTH = 4096;

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

void ForwardLine(const std::string& line, DmsLog& log) {
    Level level = UNMARKED_LEVEL;
    std::string message = line;
    for (const LevelMark& row : LEVEL_MARKS) {
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
    char buffer[4096];
    for (ssize_t count = 0; (count = read(fifo_, buffer, sizeof buffer)) > 0;) {
        incompleteLine_.append(buffer, static_cast<size_t>(count));
        for (size_t end = 0; (end = incompleteLine_.find('\n')) != std::string::npos ||
                             incompleteLine_.size() > MAX_LINE_LENGTH;) {
            const std::string line = incompleteLine_.substr(0, end);
            incompleteLine_.erase(0, end == std::string::npos ? end : end + 1);
            if (!line.empty()) {
                ForwardLine(line, log_);
            }
        }
    }
}

}  // namespace dms
