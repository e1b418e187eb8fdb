// The daemon's menu templates. Each template is a file; this program does not interpret its content.
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <functional>
#include <optional>
#include <string>

#include "mediaserv/media_service_handler.h"
#include "platform/cgi/reports.h"
#include "platform/files/file_replacement.h"
#include "platform/text/log_text.h"

namespace {

constexpr char CANT_OPEN[] = "%s (%d) FAILED TO OPEN FILE:%s, reason=%s";
constexpr char BAD_PARAMETERS[] = "%s (%d) Bad parameters.";

// Rejects a name that would leave the directory of the templates, and control characters, which no name
// needs.
bool IsTemplateName(const char* name) {
    return name != nullptr && std::none_of(name, name + strlen(name),
                                           [](unsigned char c) { return c == '/' || c < 0x20 || c == 0x7F; });
}

std::string TemplatePath(const char* name) {
    return std::string(APPLIANCE_ROOT "/var/packages/Dalmira/etc/menu_") + name + ".xml";
}

// Logs a failure with the text of errno. The arguments of `format` are source, number, file and reason.
void LogFailure(const char* format, int number, const std::string& file) {
    const int reason = errno;
    syslog(LOG_ERR, format, SOURCE_NAME, number, EscapeForLog(file).c_str(), strerror(reason));
}

// Reads `file` in pieces and passes each one to `handle` until `handle` returns false. All calls share one
// buffer, so a piece is valid only during the call. Returns false with errno set if a read fails.
bool ReadPieces(const Descriptor& file, const std::function<bool(std::string_view piece)>& handle) {
    static char buffer[8192];
    for (;;) {
        const ssize_t count = Uninterrupted([&] { return read(file.Get(), buffer, sizeof buffer); });
        if (count <= 0) {
            return count == 0;
        }
        if (!handle(std::string_view(buffer, static_cast<size_t>(count)))) {
            return true;
        }
    }
}

// Returns the tag of a template. A template that does not exist or can't be read has a tag, too.
EntityTag TagOf(const Descriptor& file) {
    EntityTag tag;
    const bool read = file.IsOpen() && ReadPieces(file, [&](std::string_view piece) {
                          tag.AddBytes(piece);
                          return true;
                      });
    if (!read) {
        tag.AddValue("missing");
    }
    return tag;
}

// Copies `file` to standard output. Log lines name the file by `songPath`, a field of the request.
void StreamTemplate(const Descriptor& file, const char* songPath) {
    const bool read = ReadPieces(file, [&](std::string_view piece) {
        if (!WriteOutput(piece)) {
            LogFailure("%s (%d) FAILED TO WRITE SONG FILE:%s TO STREAM, reason=%s", 1030, songPath);
            return false;
        }
        return true;
    });
    if (!read) {
        LogFailure("%s (%d) FAILED TO READ SONG FILE:%s, reason=%s", 1024, songPath);
    }
}

}  // namespace

void MediaServiceHandler::LoadMenu() {
    const char* name = web_.In("template", nullptr);
    if (!IsTemplateName(name)) {
        syslog(LOG_ERR, BAD_PARAMETERS, SOURCE_NAME, 999);
        WriteResult(false);
        return;
    }
    const std::string path = TemplatePath(name);
    const Descriptor file(OpenToRead(path.c_str()));
    if (!file.IsOpen()) {
        LogFailure(CANT_OPEN, 1008, path);
        WriteResult(false);
        return;
    }
    struct stat status = {};
    if (Uninterrupted([&] { return stat(path.c_str(), &status); }) != 0 || !S_ISREG(status.st_mode)) {
        LogFailure("%s (%d) FAILED TO STAT FILE:%s, reason=%s", 1013, path);
        WriteResult(false);
        return;
    }
    if (IsConditional()) {
        TagResponse(TagOf(file));
        lseek(file.Get(), 0, SEEK_SET);
    }
    WriteOutput(web_.HeaderFields() + "Content-Length: " + std::to_string(status.st_size) +
                "\r\nContent-type: application/xml\r\n\r\n");
    StreamTemplate(file, web_.In("songpath", ""));
}

void MediaServiceHandler::SaveMenu() {
    const char* name = web_.In("template", nullptr);
    const char* content = web_.In("content", nullptr);
    if (!IsTemplateName(name) || content == nullptr) {
        syslog(LOG_ERR, BAD_PARAMETERS, SOURCE_NAME, 1144);
        WriteResult(false);
        return;
    }
    const std::string path = TemplatePath(name);
    std::optional<FileReplacement> file(path.c_str());
    if (IsConditional() && !CheckCondition(TagOf(Descriptor(OpenToRead(path.c_str()))))) {
        return;
    }
    const Saved saved = file->Replace(content);
    file.reset();  // other saves must not wait for the restart
    if (saved == Saved::CantOpen) {
        LogFailure(CANT_OPEN, 1153, path);
    }
    if (saved != Saved::Yes) {
        WriteResult(false);
        return;
    }
    if (strcmp(web_.In("restartserver", ""), "true") == 0 && RestartDms() == 0) {
        syslog(LOG_ERR, "%s (%d) Failed to restart dalmira", SOURCE_NAME, 1161);
        WriteResult(false);
        return;
    }
    if (IsConditional()) {
        EntityTag tag;
        tag.AddBytes(content);
        TagResponse(tag);
    }
    WriteResult(true);
}
