// Text from outside this program, made safe for one line of a log.
#pragma once

#include <string>
#include <string_view>

// Returns `text` with \xHH for each control character and a backslash before quotes and backslashes. Uses
// only the first 4096 bytes of `text`.
std::string EscapeForLog(std::string_view text);
