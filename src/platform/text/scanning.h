// Texts taken apart from the front.
#pragma once

#include <string_view>

// Takes `prefix` off `rest` when it stands there.
inline bool TakePrefix(std::string_view& rest, std::string_view prefix) {
    const bool is = rest.starts_with(prefix);
    rest.remove_prefix(is ? prefix.size() : 0);
    return is;
}

// Takes what stands before `end`, and `end` itself, off `rest`: all of it when there is no `end`.
std::string_view TakeUntil(std::string_view& rest, std::string_view end);

// ASCII letters of either case are equal, as in media types and header names.
bool EqualsIgnoringCase(std::string_view text, std::string_view other);
