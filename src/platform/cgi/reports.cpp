#include "platform/cgi/reports.h"

#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>

#include "platform/files/file_io.h"
#include "platform/json/json_writer.h"

namespace {

constexpr char JSON_TYPE[] = "application/json; charset=\"UTF-8\"";
constexpr char PROTECTIVE_FIELDS[] = "Cache-Control: no-store\r\nX-Content-Type-Options: nosniff\r\n";

}  // namespace

bool WriteOutput(std::string_view head, std::string_view body) {
    const iovec pieces[] = {{const_cast<char*>(head.data()), head.size()},
                            {const_cast<char*>(body.data()), body.size()}};
    const ssize_t count =
        Uninterrupted([&] { return writev(STDOUT_FILENO, pieces, static_cast<int>(std::size(pieces))); });
    if (count < 0) {
        return false;
    }
    const size_t ofHead = std::min(head.size(), static_cast<size_t>(count));
    head.remove_prefix(ofHead);
    body.remove_prefix(static_cast<size_t>(count) - ofHead);
    return WriteAll(STDOUT_FILENO, head) && WriteAll(STDOUT_FILENO, body);
}

std::string ResponseHeader(const char* contentType, const char* fileName) {
    std::string header = std::string("Content-Type: ") + contentType;
    if (fileName != nullptr) {
        header += std::string("; name=\"") + fileName + "\"";
    }
    return header + "\r\n" + PROTECTIVE_FIELDS + "\r\n";
}

// Puts the formatted data between the other members: a second document would need a copy of the data.
void WriteSuccessReport(const std::string& fields, const Json::Value& data) {
    std::string text = FormatJsonLine(data);
    text.pop_back();
    text += ",\"success\":true}\n";
    WriteOutput(fields + ResponseHeader(JSON_TYPE) + "{\"data\":", text);
}

void WriteErrorReport(const std::string& fields, const char* section, const char* key, int line) {
    Json::Value report(Json::objectValue);
    report["error"]["section"] = section;
    report["error"]["key"] = key;
    report["error"]["line"] = line;
    report["success"] = false;
    WriteOutput(fields + ResponseHeader(JSON_TYPE), FormatJsonLine(report));
}

void HTTPFileOutputer::Output(FILE* stream, const char* fileName, const char* contentType) {
    // The header is written before the first read, which may have to wait for the stream.
    bool connected = WriteOutput(ResponseHeader(contentType, fileName));
    std::array<char, 64U << 10U> piece;
    while (connected) {
        const size_t count = fread(piece.data(), 1, piece.size(), stream);
        connected = count > 0 && WriteOutput({piece.data(), count});
    }
}
