#include "platform/cgi/login.h"

#include <strings.h>
#include <syslog.h>

#include <cstdlib>
#include <cstring>

#include "platform/text/log_text.h"

namespace {

const char* TextOrEmpty(const char* text) { return text != nullptr ? text : ""; }

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

}  // namespace

bool IsLoggedIn() {
    if (*LoginUserName() == '\0') {
        return false;
    }
    const char* site = getenv("HTTP_SEC_FETCH_SITE");
    const char* origin = getenv("HTTP_ORIGIN");
    if (IsForeign(site, origin, getenv("HTTP_HOST"))) {
        syslog(LOG_WARNING, "request of a foreign page refused: site \"%s\", origin \"%s\"",
               EscapeForLog(TextOrEmpty(site)).c_str(), EscapeForLog(TextOrEmpty(origin)).c_str());
        return false;
    }
    return true;
}

const char* LoginUserName() { return TextOrEmpty(getenv("REMOTE_USER")); }
