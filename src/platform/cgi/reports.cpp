#include "platform/cgi/reports.h"

#include <array>
#include <string>

#include "platform/json/json_writer.h"

namespace {

constexpr char JSON_TYPE[] = "application/json; charset=\"UTF-8\"";
constexpr char PROTECTIVE_HEADERS[] = "Cache-Control: no-store\r\nX-Content-Type-Options: nosniff\r\n";

}  // namespace

void WriteAnswerHeader(const char* contentType, const char* fileName) {
    printf("Content-Type: %s", contentType);
    if (fileName != nullptr) {
        printf("; name=\"%s\"", fileName);
    }
    printf("\r\n%s\r\n", PROTECTIVE_HEADERS);
}

void WriteAnswerBody(const Json::Value& body) {
    fputs(FormatJsonLine(body).c_str(), stdout);
    fflush(stdout);
}

// Around the text of the data: as a member of a second document it would be copied whole.
void WriteSuccessReport(const Json::Value& data) {
    std::string text = FormatJsonLine(data);
    text.pop_back();
    WriteAnswerHeader(JSON_TYPE);
    printf("{\"data\":%s,\"success\":true}\n", text.c_str());
    fflush(stdout);
}

void WriteErrorReport(const char* section, const char* key, int line) {
    Json::Value report(Json::objectValue);
    report["error"]["section"] = section;
    report["error"]["key"] = key;
    report["error"]["line"] = line;
    report["success"] = false;
    WriteAnswerHeader(JSON_TYPE);
    WriteAnswerBody(report);
}

void HTTPFileOutputer::Output(FILE* stream, const char* fileName, const char* contentType) {
    WriteAnswerHeader(contentType, fileName);
    std::array<char, 64U << 10U> piece;
    size_t count = 0;
    // The header leaves before the first read: a stream may take its time.
    while (fflush(stdout) == 0 && (count = fread(piece.data(), 1, piece.size(), stream)) > 0) {
        if (fwrite(piece.data(), 1, count, stdout) != count) {
            return;
        }
    }
}
