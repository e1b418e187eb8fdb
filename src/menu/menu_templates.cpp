// The daemon's menu templates. Each template is a file; this system does not interpret its content.
#include <sys/stat.h>
#include <syslog.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "mediaserv/media_service_handler.h"
#include "platform/files/file_replacement.h"
#include "platform/text/log_text.h"

namespace {

constexpr char CANT_OPEN[] = "%s (%d) FAILED TO OPEN FILE:%s, reason=%s";
constexpr char BAD_PARAMETERS[] = "%s (%d) Bad parameters.";

// Rejects a name that would leave the directory of the templates or forge a log line.
bool IsTemplateName(const char* name) {
    return name != nullptr && std::none_of(name, name + strlen(name),
                                           [](unsigned char c) { return c == '/' || c < 0x20 || c == 0x7F; });
}

std::string TemplatePath(const char* name) {
    return std::string(APPLIANCE_ROOT "/var/packages/Dalmira/etc/menu_") + name + ".xml";
}

FILE* OpenTemplate(const std::string& path) {
    const int file = OpenToRead(path.c_str());
    return file < 0 ? nullptr : fdopen(file, "r");
}

void LogFailure(const char* format, int line, const std::string& subject) {
    const int reason = errno;
    syslog(LOG_ERR, format, SOURCE_NAME, line, EscapeForLog(subject).c_str(), strerror(reason));
}

bool StatRegularFile(const std::string& path, struct stat& status) {
    return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

// Copies `file` to standard output. Log lines name the file by `songPath`, a field of the request.
void StreamTemplate(FILE* file, const char* songPath) {
    static char buffer[8192];
    do {
        const size_t count = fread(buffer, 1, sizeof buffer, file);
        if (count == 0) {
            if (ferror(file) != 0) {
                LogFailure("%s (%d) FAILED TO READ SONG FILE:%s, reason=%s", 1024, songPath);
            }
            return;
        }
        if (fwrite(buffer, 1, count, stdout) < count || fflush(stdout) != 0) {
            LogFailure("%s (%d) FAILED TO WRITE SONG FILE:%s TO STREAM, reason=%s", 1030, songPath);
            return;
        }
    } while (feof(file) == 0);
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
    FILE* file = OpenTemplate(path);
    if (file == nullptr) {
        LogFailure(CANT_OPEN, 1008, path);
        WriteResult(false);
        return;
    }
    struct stat status = {};
    if (StatRegularFile(path, status)) {
        printf("Content-Length: %lld\r\nContent-type: application/xml\r\n\r\n",
               static_cast<long long>(status.st_size));
        StreamTemplate(file, web_.In("songpath", ""));
    } else {
        LogFailure("%s (%d) FAILED TO STAT FILE:%s, reason=%s", 1013, path);
        WriteResult(false);
    }
    fclose(file);
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
    const Saved saved = FileReplacement(path.c_str()).Replace(content);
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
    WriteResult(true);
}
