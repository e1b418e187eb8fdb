#include "platform/cgi/request.h"

#include <syslog.h>

#include <csignal>
#include <cstdio>
#include <utility>

#include "platform/cgi/login.h"
#include "platform/cgi/reports.h"

namespace {

void PrepareProcess() {
    // A save whose client leaves half-way is completed all the same.
    for (const int ignored : {SIGTERM, SIGHUP, SIGINT, SIGPIPE}) {
        signal(ignored, SIG_IGN);
    }
    // Inherited as ignored it would hide how children end.
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
    if (form.refusal != nullptr) {
        printf("Status: %s\r\n", form.refusal);
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

void WebMan::WriteHeader(const char* contentType) { WriteAnswerHeader(contentType); }

void WebMan::WriteBody(Json::Value& body) { WriteAnswerBody(body); }

std::string WebMan::GetLoginUserName() const { return LoginUserName(); }
