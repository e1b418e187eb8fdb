#include "platform/json/json_file.h"

#include <string>

#include "platform/files/file_io.h"
#include "platform/json/json_reader.h"
#include "platform/json/json_writer.h"

JsonFileStatus ReadJsonFile(const char* path, Json::Value& value) {
    const Descriptor file(OpenToRead(path));
    if (!file.IsOpen()) {
        return JsonFileStatus::CantOpen;
    }
    std::string text;
    return ReadToEnd(file.Get(), text) && ParseJson(text, value) ? JsonFileStatus::Read
                                                                 : JsonFileStatus::Invalid;
}

Saved SaveJsonFile(FileReplacement& file, const Json::Value& document) {
    const std::string text = FormatJsonFile(document);
    // Never write a file that the reader would reject.
    const bool readable = text.size() > MAX_FILE_SIZE || IsJson(text);
    return readable ? file.Replace(text) : file.Fail("it has too many values or comments to be read again");
}
