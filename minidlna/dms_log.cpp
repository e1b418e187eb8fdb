#include "minidlna/dms_log.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

#include "log/log_paths.h"
#include "platform/files/file_io.h"
#include "platform/text/log_text.h"

namespace dms {
namespace {

constexpr const char* LEVEL_NAMES[] = {"", "error", "warning", "info"};

constexpr char PREVIOUS_LOG_FILE[] = DMS_LOG_FILE ".1";

}  // namespace

std::string FormatLogLine(Level level, std::time_t now, const std::string& text) {
    tm local{};
    char head[64];
    const size_t length = strftime(head, sizeof head, "%F %T dms[", localtime_r(&now, &local));
    return std::string(head, length) + std::to_string(getpid()) + "] " +
           LEVEL_NAMES[static_cast<size_t>(level)] + ": " + EscapeForLog(text) + "\n";
}

void DmsLog::Write(Level level, const std::string& text) {
    const time_t now = time(nullptr);
    if (level == Level::Error) {
        lastError_ = {now, text};
    }
    if (level > level_) {
        return;
    }
    struct stat status = {};
    if (stat(DMS_LOG_FILE, &status) == 0 && status.st_size >= MAX_LOG_SIZE) {
        rename(DMS_LOG_FILE, PREVIOUS_LOG_FILE);
    }
    const Descriptor file(open(DMS_LOG_FILE, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644));
    if (file.IsOpen()) {
        WriteAll(file.Get(), FormatLogLine(level, now, text));
    }
}

}  // namespace dms
