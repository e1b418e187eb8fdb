#include "platform/cgi/login.h"

#include <strings.h>
#include <syslog.h>

#include <cstdlib>
#include <cstring>

#include "platform/text/log_text.h"

namespace {

const char* TextOrEmpty(const char* text) { return text != nullptr ? text : ""; }

// Uses the fetch metadata (W3C) if the browser sends it. Otherwise compares the origin (RFC 6454) with the
// requested host.
bool IsCrossSite(const char* site, const char* origin, const char* host) {
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
    if (IsCrossSite(site, origin, getenv("HTTP_HOST"))) {
        syslog(LOG_WARNING, "request of a foreign page refused: site \"%s\", origin \"%s\"",
               EscapeForLog(TextOrEmpty(site)).c_str(), EscapeForLog(TextOrEmpty(origin)).c_str());
        return false;
    }
    return true;
}

const char* LoginUserName() { return TextOrEmpty(getenv("REMOTE_USER")); }
