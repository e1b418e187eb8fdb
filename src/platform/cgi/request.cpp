#include "platform/cgi/request.h"

#include <syslog.h>

#include <csignal>
#include <cstdio>
#include <utility>

#include "platform/cgi/login.h"
#include "platform/cgi/reports.h"

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
    web_.fields_ = std::move(form.fields);
    if (form.errorStatus != nullptr) {
        printf("Status: %s\r\n", form.errorStatus);
        ReportError();
    }
}

ServerFormHandler::~ServerFormHandler() = default;
void ServerFormHandler::ExLock() {}
void ServerFormHandler::ShLock() {}

bool ServerFormHandler::Authenticate() { return authenticated_; }

void ServerFormHandler::ReportSuccess(const Json::Value& data) { WriteSuccessReport(data); }

void ServerFormHandler::SetFormErrInfo(const char* section, const char* key, int line) {
    error_ = {section, key, line};
}

void ServerFormHandler::ReportError() {
    WriteErrorReport(error_.section.c_str(), error_.key.c_str(), error_.line);
}

const char* WebMan::In(const char* name, const char* defaultValue) const {
    for (const FormField& field : fields_) {
        if (field.name == name) {
            return field.value.c_str();
        }
    }
    return defaultValue;
}

void WebMan::WriteHeader(const char* contentType) { WriteResponseHeader(contentType); }

void WebMan::WriteBody(Json::Value& body) { WriteResponseBody(body); }

std::string WebMan::GetLoginUserName() const { return LoginUserName(); }
