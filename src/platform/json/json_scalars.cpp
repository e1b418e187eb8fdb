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
    unsigned int bits = code < 0x800 ? 6 : code < 0x10000 ? 12 : 18;  // behind those of the first byte
    text += static_cast<char>((bits == 6 ? 0xC0U : bits == 12 ? 0xE0U : 0xF0U) | code >> bits);
    while (bits > 0) {
        bits -= 6;
        text += static_cast<char>(0x80U | (code >> bits & 0x3FU));
    }
}

bool TakeCodeUnit(std::string_view& rest, uint32_t& unit) {
    constexpr size_t DIGITS = 4;
    const char* end = rest.data() + DIGITS;
    if (rest.size() < DIGITS || std::from_chars(rest.data(), end, unit, 16).ptr != end) {
        return false;
    }
    rest.remove_prefix(DIGITS);
    return true;
}

// What stands behind "\u".
bool TakeCodePoint(std::string_view& rest, std::string& text) {
    uint32_t code = 0;
    if (!TakeCodeUnit(rest, code)) {
        return false;
    }
    if (code >= 0xD800 && code <= 0xDBFF) {
        uint32_t low = 0;
        if (!TakePrefix(rest, "\\u") || !TakeCodeUnit(rest, low) || low < 0xDC00 || low > 0xDFFF) {
            return false;
        }
        code = 0x10000 + ((code & 0x3FFU) << 10U) + (low & 0x3FFU);
    }
    AppendUtf8(code, text);
    return true;
}

// What stands behind a backslash.
bool TakeEscape(std::string_view& rest, std::string& text) {
    constexpr std::string_view NAMES = "\"\\/bfnrt";
    constexpr std::string_view CHARACTERS = "\"\\/\b\f\n\r\t";
    if (TakePrefix(rest, "u")) {
        return TakeCodePoint(rest, text);
    }
    const size_t index = rest.empty() ? NAMES.npos : NAMES.find(rest.front());
    if (index == NAMES.npos) {
        return false;
    }
    rest.remove_prefix(1);
    text += CHARACTERS[index];
    return true;
}

bool TakeDigits(std::string_view& rest) {
    const std::string_view all = rest;
    while (!rest.empty() && rest.front() >= '0' && rest.front() <= '9') {
        rest.remove_prefix(1);
    }
    return rest.size() < all.size();
}

// Takes fraction and exponent, each if it is there. False when one of them has no digits.
bool TakeFraction(std::string_view& rest) {
    if (TakePrefix(rest, ".") && !TakeDigits(rest)) {
        return false;
    }
    if (TakePrefix(rest, "e") || TakePrefix(rest, "E")) {
        if (!TakePrefix(rest, "+")) {
            TakePrefix(rest, "-");
        }
        return TakeDigits(rest);
    }
    return true;
}

// False when the integer has no room in a `T`.
template <typename T>
bool ReadInteger(std::string_view text, Json::Value& number) {
    T integer = 0;
    const bool fits = std::from_chars(text.data(), text.data() + text.size(), integer).ec == std::errc();
    number = std::in_range<Json::LargestInt>(integer) ? Json::Value(static_cast<Json::LargestInt>(integer))
                                                      : Json::Value(integer);
    return fits;
}

}  // namespace

bool TakeJsonString(std::string_view& rest, std::string& unescaped, std::string_view& characters) {
    if (!TakePrefix(rest, "\"")) {
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
        if (TakePrefix(rest, "\"")) {
            characters = unescaped.empty() ? plain : unescaped.append(plain);
            return true;
        }
        unescaped += plain;
        if (!TakePrefix(rest, "\\") || !TakeEscape(rest, unescaped)) {
            return false;
        }
    }
}

bool TakeJsonNumber(std::string_view& rest, Json::Value& number) {
    const std::string_view all = rest;
    const bool negative = TakePrefix(rest, "-");
    if (!TakePrefix(rest, "0") && !TakeDigits(rest)) {
        return false;
    }
    const size_t integerEnd = all.size() - rest.size();
    if (!TakeFraction(rest)) {
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
