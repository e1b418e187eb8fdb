#include "platform/cgi/reports.h"

#include <array>
#include <string>

#include "platform/json/json_writer.h"

namespace {

constexpr char JSON_TYPE[] = "application/json; charset=\"UTF-8\"";
constexpr char PROTECTIVE_HEADERS[] = "Cache-Control: no-store\r\nX-Content-Type-Options: nosniff\r\n";

}  // namespace

void WriteResponseHeader(const char* contentType, const char* fileName) {
    printf("Content-Type: %s", contentType);
    if (fileName != nullptr) {
        printf("; name=\"%s\"", fileName);
    }
    printf("\r\n%s\r\n", PROTECTIVE_HEADERS);
}

void WriteResponseBody(const Json::Value& body) {
    fputs(FormatJsonLine(body).c_str(), stdout);
    fflush(stdout);
}

// Inserts the formatted data into the text: a second document would need a copy of the data.
void WriteSuccessReport(const Json::Value& data) {
    std::string text = FormatJsonLine(data);
    text.pop_back();
    WriteResponseHeader(JSON_TYPE);
    printf("{\"data\":%s,\"success\":true}\n", text.c_str());
    fflush(stdout);
}

void WriteErrorReport(const char* section, const char* key, int line) {
    Json::Value report(Json::objectValue);
    report["error"]["section"] = section;
    report["error"]["key"] = key;
    report["error"]["line"] = line;
    report["success"] = false;
    WriteResponseHeader(JSON_TYPE);
    WriteResponseBody(report);
}

void HTTPFileOutputer::Output(FILE* stream, const char* fileName, const char* contentType) {
    WriteResponseHeader(contentType, fileName);
    std::array<char, 64U << 10U> piece;
    size_t count = 0;
    // Flushes the header before the first read, which may have to wait for the stream.
    while (fflush(stdout) == 0 && (count = fread(piece.data(), 1, piece.size(), stream)) > 0) {
        if (fwrite(piece.data(), 1, count, stdout) != count) {
            return;
        }
    }
}
