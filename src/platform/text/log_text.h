// Text from outside this system, made safe for one line of a log.
#pragma once

#include <string>
#include <string_view>

// Replaces control characters by \xHH and puts a backslash before quotes and backslashes. Only the first 4096
// bytes of `text` are used.
std::string EscapeForLog(std::string_view text);
