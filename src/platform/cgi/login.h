// The authenticated user of the request, as the web server reports it in the CGI environment (RFC 3875).
#pragma once

// Returns whether the web server has authenticated the user (REMOTE_USER) and the request comes from a page
// of its own site. Logs and rejects a request from a page of another site.
bool IsLoggedIn();

// Returns the user's name; empty if nobody is authenticated.
const char* LoginUserName();
