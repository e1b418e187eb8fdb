#include <utility>

#include "platform/json_text.h"
#include "platform/web_framework.h"

namespace {

constexpr char JSON_TYPE[] = "application/json; charset=\"UTF-8\"";
constexpr char PROTECTIVE_HEADERS[] = "Cache-Control: no-store\r\nX-Content-Type-Options: nosniff\r\n\r\n";

}  // namespace

void WebMan::WriteHeader(const char* contentType) {
    printf("Content-Type: %s\r\n%s", contentType, PROTECTIVE_HEADERS);
}

void WebMan::WriteBody(Json::Value& body) {
    fputs(FormatJsonLine(body).c_str(), stdout);
    fflush(stdout);
}

void ServerFormHandler::Report(Json::Value report) {
    web_.WriteHeader(JSON_TYPE);
    web_.WriteBody(report);
}

void ServerFormHandler::ReportSuccess(const Json::Value& data) {
    Json::Value report(Json::objectValue);
    report["data"] = data;
    report["success"] = true;
    Report(std::move(report));
}

void ServerFormHandler::SetFormErrInfo(const char* section, const char* key, int line) {
    error_ = {section, key, line};
}

void ServerFormHandler::ReportError() {
    Json::Value report(Json::objectValue);
    report["error"]["section"] = error_.section;
    report["error"]["key"] = error_.key;
    report["error"]["line"] = error_.line;
    report["success"] = false;
    Report(std::move(report));
}

void HTTPFileOutputer::Output(FILE* stream, const char* fileName, const char* contentType) {
    printf("Content-Type: %s; name=\"%s\"\r\n%s", contentType, fileName, PROTECTIVE_HEADERS);
    std::array<char, 64U << 10U> piece;
    size_t count = 0;
    // The header leaves before the first read: a stream may take its time.
    while (fflush(stdout) == 0 && (count = fread(piece.data(), 1, piece.size(), stream)) > 0) {
        if (fwrite(piece.data(), 1, count, stdout) != count) {
            return;
        }
    }
}
