#include "platform/json/json_file.h"

#include <cerrno>
#include <cstring>
#include <string>

#include "platform/files/file_io.h"
#include "platform/json/json_reader.h"
#include "platform/json/json_writer.h"

JsonFileStatus ReadJsonFile(const char* path, Json::Value& value, std::string& reason) {
    const Descriptor file(OpenToRead(path));
    if (!file.IsOpen()) {
        reason = strerror(errno);
        return JsonFileStatus::CantOpen;
    }
    std::string text;
    if (!ReadToEnd(file.Get(), text)) {
        reason = strerror(errno);
        value = Json::Value();
        return JsonFileStatus::Invalid;
    }
    if (!ParseJson(text, value)) {
        reason = "not valid JSON";
        return JsonFileStatus::Invalid;
    }
    return JsonFileStatus::Read;
}

Saved SaveJsonFile(FileReplacement& file, const Json::Value& document) {
    const std::string text = FormatJsonFile(document);
    // Never write a file that the reader would reject.
    const bool readable = text.size() > MAX_FILE_SIZE || IsJson(text);
    return readable ? file.Replace(text) : file.Fail("it has too many values or comments to be read again");
}
