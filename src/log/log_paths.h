// The logs of the daemon and of the web server.
#pragma once

// Macros because the literals of shell commands contain them.
#define LOG_DIRECTORY APPLIANCE_ROOT "/var/log"
#define DMS_LOG_FILE LOG_DIRECTORY "/dms.log"
#define WEB_LOG_DIRECTORY LOG_DIRECTORY "/lighttpd"
