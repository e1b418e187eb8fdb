// Helpers for parsers that read a text from its start. `rest` is the part that is still to be read.
#pragma once

#include <string_view>

// If `rest` starts with `prefix`, removes it and returns true.
inline bool ConsumePrefix(std::string_view& rest, std::string_view prefix) {
    const bool found = rest.starts_with(prefix);
    rest.remove_prefix(found ? prefix.size() : 0);
    return found;
}

// Removes the text before the first `end`, and `end` itself, from `rest` and returns that text. Without an
// `end`, removes and returns the whole rest.
std::string_view ConsumeUntil(std::string_view& rest, std::string_view end);

// Compares ASCII texts, as in media types and header names.
bool EqualsIgnoringCase(std::string_view text, std::string_view other);
