#include "minidlna/status_file.h"

#include "platform/files/file_replacement.h"
#include "platform/json/json_writer.h"

namespace dms {

void StatusFile::Update(std::time_t runningSince, const StatusPage& page) {
    Json::Value status;
    status["running_since"] = runningSince == 0 ? Json::Value() : Json::Value(Json::Int64(runningSince));
    status["audio"] = Json::Int64(page.audio);
    status["video"] = Json::Int64(page.video);
    status["images"] = Json::Int64(page.images);
    status["scanning"] = page.scanning;
    status["clients"] = Json::UInt64(page.clients.size());
    Json::Value& error = status["last_error"];
    if (const LoggedError& last = log_.LastError(); last.time != 0) {
        error["time"] = Json::Int64(last.time);
        error["text"] = last.text;
    }
    const std::string content = FormatJsonLine(status);
    if (content == written_) {
        return;
    }
    const bool written = FileReplacement(STATUS_FILE).Replace(content) == Saved::Yes;
    if (written) {
        written_ = content;
    } else if (!failed_) {
        log_.Write(Level::Warning, std::string("cannot write ") + STATUS_FILE +
                                       ": check the owner and the mode of its directory");
    }
    failed_ = !written;
}

}  // namespace dms
