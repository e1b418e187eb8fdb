// The logs: those of the daemon and of the web server.
#pragma once

// Macros, since the shell commands about them are literals that hold them.
#define LOG_DIRECTORY APPLIANCE_ROOT "/var/log"
#define WEB_LOG_DIRECTORY LOG_DIRECTORY "/lighttpd"
