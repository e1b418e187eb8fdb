#include "platform/cgi/request.h"

#include <syslog.h>

#include <csignal>
#include <cstdlib>
#include <utility>

#include "platform/cgi/login.h"
#include "platform/cgi/reports.h"
#include "platform/json/json_writer.h"

namespace {

void PrepareProcess() {
    // A save is completed even if its client disconnects.
    for (const int ignored : {SIGTERM, SIGHUP, SIGINT, SIGPIPE}) {
        signal(ignored, SIG_IGN);
    }
    // If SIGCHLD is ignored, waitpid can't return the exit status of a child.
    signal(SIGCHLD, SIG_DFL);
    openlog("mediaserv", LOG_PERROR, LOG_USER);
}

}  // namespace

ServerFormHandler::ServerFormHandler(const char* /*name*/) : authenticated_(false) {
    PrepareProcess();
    authenticated_ = IsLoggedIn();
    if (!authenticated_) {
        return;
    }
    Form form = ReadForm();
    condition_ = IfMatch(getenv("HTTP_IF_MATCH"));
    if (form.errorStatus != nullptr) {
        Refuse(form.errorStatus);
    } else if (condition_.IsMalformed()) {
        syslog(LOG_WARNING, "request refused: the header field If-Match is malformed");
        Refuse("400 Bad Request");
    } else {
        web_.fields_ = std::move(form.fields);
    }
}

ServerFormHandler::~ServerFormHandler() = default;
void ServerFormHandler::ExLock() {}
void ServerFormHandler::ShLock() {}

bool ServerFormHandler::Authenticate() { return authenticated_; }

void ServerFormHandler::ReportSuccess(const Json::Value& data) { WriteSuccessReport(web_.header_, data); }

void ServerFormHandler::SetFormErrInfo(const char* section, const char* key, int line) {
    error_ = {section, key, line};
}

void ServerFormHandler::ReportError() {
    WriteErrorReport(web_.header_, error_.section.c_str(), error_.key.c_str(), error_.line);
}

bool ServerFormHandler::CheckCondition(const EntityTag& state) {
    if (!condition_.Holds(state)) {
        Refuse("412 Precondition Failed");
        return false;
    }
    return true;
}

void ServerFormHandler::TagResponse(const EntityTag& state) {
    if (IsConditional()) {
        web_.AddHeaderField("ETag: " + state.Text() + "\r\n");
    }
}

void ServerFormHandler::Refuse(const char* status) {
    web_.AddHeaderField(std::string("Status: ") + status + "\r\n");
    ReportError();
}

const char* WebMan::In(const char* name, const char* defaultValue) const {
    for (const FormField& field : fields_) {
        if (field.name == name) {
            return field.value.c_str();
        }
    }
    return defaultValue;
}

void WebMan::WriteHeader(const char* contentType) { AddHeaderField(ResponseHeader(contentType)); }

void WebMan::WriteBody(Json::Value& body) { WriteOutput(header_, FormatJsonLine(body)); }

std::string WebMan::GetLoginUserName() const { return LoginUserName(); }
