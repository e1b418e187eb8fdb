#include "platform/text/scanning.h"

#include <strings.h>

#include <algorithm>

std::string_view TakeUntil(std::string_view& rest, std::string_view end) {
    const std::string_view taken = rest.substr(0, rest.find(end));
    rest.remove_prefix(std::min(taken.size() + end.size(), rest.size()));
    return taken;
}

bool EqualsIgnoringCase(std::string_view text, std::string_view other) {
    return text.size() == other.size() && strncasecmp(text.data(), other.data(), other.size()) == 0;
}
