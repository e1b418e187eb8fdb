#include <strings.h>
#include <syslog.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "platform/system_library.h"
#include "platform/web_framework.h"

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

// Fetch metadata (W3C) where the browser sends it, else the origin (RFC 6454) against the host asked for.
bool IsForeign(const char* site, const char* origin, const char* host) {
    if (site != nullptr) {
        return strcmp(site, "same-origin") != 0 && strcmp(site, "none") != 0;
    }
    if (origin == nullptr) {
        return false;
    }
    const char* authority = strstr(origin, "://");
    return authority == nullptr || host == nullptr || strcasecmp(authority + 3, host) != 0;
}

bool JudgeLogin() {
    const char* user = getenv("REMOTE_USER");
    if (user == nullptr || *user == '\0') {
        return false;
    }
    const char* site = getenv("HTTP_SEC_FETCH_SITE");
    const char* origin = getenv("HTTP_ORIGIN");
    if (IsForeign(site, origin, getenv("HTTP_HOST"))) {
        syslog(LOG_WARNING, "request of a foreign page refused: site \"%s\", origin \"%s\"",
               EscapeForLog(site != nullptr ? site : "").c_str(),
               EscapeForLog(origin != nullptr ? origin : "").c_str());
        return false;
    }
    return true;
}

}  // namespace

ServerFormHandler::ServerFormHandler(const char* /*name*/) : authenticated_(false) {
    PrepareProcess();
    authenticated_ = JudgeLogin();
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

const char* WebMan::In(const char* name, const char* defaultValue) const {
    for (const FormField& field : fields_) {
        if (field.name == name) {
            return field.value.c_str();
        }
    }
    return defaultValue;
}

std::string WebMan::GetLoginUserName() const {
    const char* user = getenv("REMOTE_USER");
    return user != nullptr ? user : "";
}
