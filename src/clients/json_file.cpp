#include "clients/json_file.h"

#include <syslog.h>

#include <string>

#include "mediaserv/media_service_handler.h"
#include "platform/file_io.h"
#include "platform/json_reader.h"
#include "platform/json_writer.h"

bool MediaServiceHandler::GetJsonFromFile(const char* path, Json::Value& value) {
    const Descriptor file(OpenToRead(path));
    if (!file.IsOpen()) {
        syslog(LOG_ERR, "%s:%d Error: MediaServiceHandler::GetJsonFromFile - %s could not open", SOURCE_NAME,
               1579, path);
        return false;
    }
    std::string text;
    if (!ReadToEnd(file.Get(), text) || !ParseJson(text, value)) {
        syslog(LOG_ERR, "%s:%d Error: MediaServiceHandler::GetJsonFromFile - Json::Reader::parse failed",
               SOURCE_NAME, 1584);
        return false;
    }
    return true;
}

Saved SaveJsonFile(FileReplacement& file, const Json::Value& document) {
    const std::string text = FormatJsonFile(document);
    // Whoever could not read it would take it for lost.
    const bool readable = text.size() > MAX_FILE_SIZE || IsJson(text);
    return readable ? file.Replace(text) : file.Refuse("it has too many values or comments to be read again");
}
