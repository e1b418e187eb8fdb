// Who sent the request, as the web server tells in the CGI environment (RFC 3875).
#pragma once

// Whether the web server has authenticated the user (REMOTE_USER) and the request comes from a page of its
// own site. One of another site's page is refused with a line in the log.
bool IsLoggedIn();

// The user's name; empty when there is none.
const char* LoginUserName();
