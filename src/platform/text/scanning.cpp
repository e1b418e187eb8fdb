#include "platform/text/scanning.h"

#include <strings.h>

#include <algorithm>

std::string_view ConsumeUntil(std::string_view& rest, std::string_view end) {
    const std::string_view text = rest.substr(0, rest.find(end));
    rest.remove_prefix(std::min(text.size() + end.size(), rest.size()));
    return text;
}

bool EqualsIgnoringCase(std::string_view text, std::string_view other) {
    return text.size() == other.size() && strncasecmp(text.data(), other.data(), other.size()) == 0;
}
