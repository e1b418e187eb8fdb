#include "clients/json_file.h"

#include <json/writer.h>
#include <sys/stat.h>
#include <syslog.h>

#include <fstream>
#include <string>

#include "mediaserv/media_service_handler.h"
#include "platform/file_io.h"
#include "platform/json_text.h"

bool MediaServiceHandler::GetJsonFromFile(const char* path, Json::Value& value) {
    const Descriptor file(OpenToRead(path));
    if (!file.IsOpen()) {
        syslog(LOG_ERR, "%s:%d Error: MediaServiceHandler::GetJsonFromFile - %s could not open", SOURCE_NAME,
               1579, path);
        return false;
    }
    struct stat status = {};
    std::string text;
    if (fstat(file.Get(), &status) != 0 || !ReadToEnd(file.Get(), status.st_size, text) ||
        !ParseJson(text, value)) {
        syslog(LOG_ERR, "%s:%d Error: MediaServiceHandler::GetJsonFromFile - Json::Reader::parse failed",
               SOURCE_NAME, 1584);
        return false;
    }
    return true;
}

bool WriteJsonFile(const char* path, const Json::Value& document, std::ios::openmode mode) {
    std::ofstream stream;
    struct stat status = {};
    // Opening anything but a file would wait for a reader, or write to a device.
    if (stat(path, &status) != 0 || S_ISREG(status.st_mode)) {
        stream.open(path, mode | std::ios::trunc);
    }
    if (!stream.is_open()) {
        return false;
    }
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    // The writer that the files' form is defined by; the library keeps it, but calls it deprecated.
    Json::StyledStreamWriter writer("\t");
#pragma GCC diagnostic pop
    writer.write(stream, document);
    stream.close();
    return true;
}
