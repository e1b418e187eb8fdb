#include "clients/json_file.h"

#include <json/writer.h>
#include <syslog.h>

#include <array>
#include <fstream>
#include <string>

#include "mediaserv/media_service_handler.h"
#include "platform/json_text.h"

namespace {

// By read(), which marks the stream when reading fails, of a directory say; other ways throw.
std::string ReadToEnd(std::ifstream& stream) {
    std::string text;
    std::array<char, 16U << 10U> piece;
    do {
        stream.read(piece.data(), piece.size());
        text.append(piece.data(), static_cast<size_t>(stream.gcount()));
    } while (stream.good());
    return text;
}

}  // namespace

bool MediaServiceHandler::GetJsonFromFile(const char* path, Json::Value& value) {
    std::ifstream stream(path);
    if (!stream.is_open()) {
        syslog(LOG_ERR, "%s:%d Error: MediaServiceHandler::GetJsonFromFile - %s could not open", SOURCE_NAME,
               1579, path);
        return false;
    }
    if (!ParseJson(ReadToEnd(stream), value)) {
        syslog(LOG_ERR, "%s:%d Error: MediaServiceHandler::GetJsonFromFile - Json::Reader::parse failed",
               SOURCE_NAME, 1584);
        return false;
    }
    return true;
}

bool WriteJsonFile(const char* path, const Json::Value& document, std::ios::openmode mode) {
    std::ofstream stream;
    stream.open(path, mode | std::ios::trunc);
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
