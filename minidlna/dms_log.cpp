#include "minidlna/dms_log.h"

#include <fcntl.h>
#include <unistd.h>

#include "log/log_paths.h"
#include "platform/files/file_io.h"
#include "platform/text/log_text.h"

namespace dms {
namespace {

constexpr const char* LEVEL_NAMES[] = {"", "error", "warning", "info"};

}  // namespace

void DmsLog::Write(Level level, const std::string& text) {
    const time_t now = time(nullptr);
    if (level == Level::Error) {
        lastError_ = {now, text};
    }
    if (level > level_) {
        return;
    }
    tm local{};
    char head[64];
    const size_t length = strftime(head, sizeof head, "%F %T dms[", localtime_r(&now, &local));
    const Descriptor file(open(DMS_LOG_FILE, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644));
    if (file.IsOpen()) {
        WriteAll(file.Get(), std::string(head, length) + std::to_string(getpid()) + "] " +
                                 LEVEL_NAMES[static_cast<size_t>(level)] + ": " + EscapeForLog(text) + "\n");
    }
}

}  // namespace dms
