#include "platform/json/json_scalars.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <utility>

#include "platform/text/scanning.h"

namespace {

void AppendUtf8(uint32_t code, std::string& text) {
    if (code < 0x80) {
        text += static_cast<char>(code);
        return;
    }
    unsigned int bits = code < 0x800 ? 6 : code < 0x10000 ? 12 : 18;  // the bits in the continuation bytes
    text += static_cast<char>((bits == 6 ? 0xC0U : bits == 12 ? 0xE0U : 0xF0U) | code >> bits);
    while (bits > 0) {
        bits -= 6;
        text += static_cast<char>(0x80U | (code >> bits & 0x3FU));
    }
}

bool ConsumeCodeUnit(std::string_view& rest, uint32_t& unit) {
    constexpr size_t DIGITS = 4;
    const char* end = rest.data() + DIGITS;
    if (rest.size() < DIGITS || std::from_chars(rest.data(), end, unit, 16).ptr != end) {
        return false;
    }
    rest.remove_prefix(DIGITS);
    return true;
}

// Reads the rest of a "\u" escape, and the second escape of a surrogate pair.
bool ConsumeCodePoint(std::string_view& rest, std::string& text) {
    uint32_t code = 0;
    if (!ConsumeCodeUnit(rest, code)) {
        return false;
    }
    if (code >= 0xD800 && code <= 0xDBFF) {
        uint32_t low = 0;
        if (!ConsumePrefix(rest, "\\u") || !ConsumeCodeUnit(rest, low) || low < 0xDC00 || low > 0xDFFF) {
            return false;
        }
        code = 0x10000 + ((code & 0x3FFU) << 10U) + (low & 0x3FFU);
    }
    AppendUtf8(code, text);
    return true;
}

// Reads the rest of an escape, after the backslash.
bool ConsumeEscape(std::string_view& rest, std::string& text) {
    constexpr std::string_view NAMES = "\"\\/bfnrt";
    constexpr std::string_view CHARACTERS = "\"\\/\b\f\n\r\t";
    if (ConsumePrefix(rest, "u")) {
        return ConsumeCodePoint(rest, text);
    }
    const size_t index = rest.empty() ? NAMES.npos : NAMES.find(rest.front());
    if (index == NAMES.npos) {
        return false;
    }
    rest.remove_prefix(1);
    text += CHARACTERS[index];
    return true;
}

bool ConsumeDigits(std::string_view& rest) {
    const std::string_view all = rest;
    while (!rest.empty() && rest.front() >= '0' && rest.front() <= '9') {
        rest.remove_prefix(1);
    }
    return rest.size() < all.size();
}

// Reads fraction and exponent; both are optional. Returns false if one of them has no digits.
bool ConsumeFraction(std::string_view& rest) {
    if (ConsumePrefix(rest, ".") && !ConsumeDigits(rest)) {
        return false;
    }
    if (ConsumePrefix(rest, "e") || ConsumePrefix(rest, "E")) {
        if (!ConsumePrefix(rest, "+")) {
            ConsumePrefix(rest, "-");
        }
        return ConsumeDigits(rest);
    }
    return true;
}

// Returns false if the integer does not fit into a `T`.
template <typename T>
bool ReadInteger(std::string_view text, Json::Value& number) {
    T integer = 0;
    const bool fits = std::from_chars(text.data(), text.data() + text.size(), integer).ec == std::errc();
    number = std::in_range<Json::LargestInt>(integer) ? Json::Value(static_cast<Json::LargestInt>(integer))
                                                      : Json::Value(integer);
    return fits;
}

}  // namespace

bool ConsumeJsonString(std::string_view& rest, std::string& unescaped, std::string_view& characters) {
    if (!ConsumePrefix(rest, "\"")) {
        return false;
    }
    unescaped.clear();
    for (;;) {
        size_t length = 0;
        while (length < rest.size() && rest[length] != '"' && rest[length] != '\\') {
            ++length;
        }
        const std::string_view plain = rest.substr(0, length);
        rest.remove_prefix(length);
        if (ConsumePrefix(rest, "\"")) {
            characters = unescaped.empty() ? plain : unescaped.append(plain);
            return true;
        }
        unescaped += plain;
        if (!ConsumePrefix(rest, "\\") || !ConsumeEscape(rest, unescaped)) {
            return false;
        }
    }
}

bool ConsumeJsonNumber(std::string_view& rest, Json::Value& number) {
    const std::string_view all = rest;
    const bool negative = ConsumePrefix(rest, "-");
    if (!ConsumePrefix(rest, "0") && !ConsumeDigits(rest)) {
        return false;
    }
    const size_t integerEnd = all.size() - rest.size();
    if (!ConsumeFraction(rest)) {
        return false;
    }
    const std::string_view text = all.substr(0, all.size() - rest.size());
    if (text.size() == integerEnd && (negative ? ReadInteger<Json::LargestInt>(text, number)
                                               : ReadInteger<Json::LargestUInt>(text, number))) {
        return true;
    }
    const double real = strtod(std::string(text).c_str(), nullptr);
    number = Json::Value(real);
    return std::isfinite(real);
}
