#include "platform/cgi/conditional_request.h"

#include <algorithm>
#include <cstdio>

#include "platform/text/scanning.h"

namespace {

constexpr char BLANKS[] = " \t";
constexpr uint64_t FNV_PRIME = 0x100000001B3;

bool IsTagCharacter(unsigned char c) { return c > ' ' && c != '"' && c != 0x7F; }

void SkipBlanks(std::string_view& rest) {
    rest.remove_prefix(std::min(rest.find_first_not_of(BLANKS), rest.size()));
}

// Removes a quoted tag from `rest` and returns it with its quotes. Returns an empty text if there is none.
std::string_view ConsumeTag(std::string_view& rest) {
    const std::string_view all = rest;
    if (!ConsumePrefix(rest, "\"")) {
        return {};
    }
    while (!rest.empty() && IsTagCharacter(static_cast<unsigned char>(rest.front()))) {
        rest.remove_prefix(1);
    }
    return ConsumePrefix(rest, "\"") ? all.substr(0, all.size() - rest.size()) : std::string_view();
}

}  // namespace

void EntityTag::AddValue(std::string_view value) {
    const uint64_t size = value.size();
    AddBytes({reinterpret_cast<const char*>(&size), sizeof size});
    AddBytes(value);
}

void EntityTag::AddBytes(std::string_view bytes) {
    for (const char c : bytes) {
        hash_ = (hash_ ^ static_cast<unsigned char>(c)) * FNV_PRIME;
    }
}

std::string EntityTag::Text() const {
    char text[sizeof "\"0123456789abcdef\""];
    snprintf(text, sizeof text, "\"%016llx\"", static_cast<unsigned long long>(hash_));
    return text;
}

IfMatch::IfMatch(const char* field) : present_(field != nullptr) {
    std::string_view rest = field != nullptr ? field : "";
    rest = rest.substr(0, rest.find_last_not_of(BLANKS) + 1);
    SkipBlanks(rest);
    any_ = rest == "*";
    // Lists may have empty elements (RFC 9110, 5.6.1).
    for (bool afterComma = true; !any_ && !malformed_ && !rest.empty(); SkipBlanks(rest)) {
        if (ConsumePrefix(rest, ",")) {
            afterComma = true;
            continue;
        }
        const bool weak = ConsumePrefix(rest, "W/");
        const std::string_view tag = ConsumeTag(rest);
        malformed_ = tag.empty() || !afterComma;
        afterComma = false;
        if (!weak) {
            tags_.push_back(tag);
        }
    }
}

bool IfMatch::Holds(const EntityTag& state) const {
    return !present_ || any_ || (!malformed_ && std::ranges::find(tags_, state.Text()) != tags_.end());
}
