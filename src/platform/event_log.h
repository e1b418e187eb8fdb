// The system event log, and texts fit for a log.
#pragma once

#include <string>
#include <string_view>

// Records one event: a syslog(3) line at LOG_NOTICE with all arguments, the texts escaped. Returns 0.
int VEXALogSet1(int level, int user, unsigned int eventCode, const char* text1, const char* text2,
                const char* text3, const char* text4);

// `text` fit for one line of a log: control characters as \xHH, quotes and backslashes behind a backslash;
// cut to 4096 bytes of it.
std::string EscapeForLog(std::string_view text);
