// JSON texts, those of files and of form fields.
//
// A text is exactly one document of RFC 8259, and more: comments ("// to the line's end", "/* */") may stand
// where white space may, strings may hold control characters as they are, and their bytes need not be UTF-8.
// A number that a double can't hold, half a surrogate pair that begins one, and a member name with U+0000
// make it no document.
#pragma once

#include <json/value.h>

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "platform/files/file_io.h"

// What a text may cost: bytes, those beyond ASCII counted as the six characters that an answer may need for
// each; comments between two values; values (each element and each member's) together with comments; arrays
// and objects within each other.
constexpr size_t MAX_JSON_TEXT = MAX_FILE_SIZE;
constexpr size_t MAX_JSON_COMMENTS = 1000;
struct JsonLimits {
    size_t values = 1'500'000;
    size_t depth = 999;
};

// Parses a text, comments kept with the values they belong to: one behind a value on its line with that
// value, any other with the value that follows it, or with the document behind its last one. False with
// `value` null when the text is no document or would cost more than it may.
bool ParseJson(std::string_view text, Json::Value& value, const JsonLimits& limits = {});

// The same for a text that is worth no document of its own: the elements of its array are handed out one
// after the other, and dropped. What is no array is read and has none; of a text that is refused some may
// have been handed out.
using JsonElementTaker = std::function<void(const Json::Value& element)>;
bool ParseJsonElements(std::string_view text, const JsonElementTaker& take);

// Whether ParseJson would take the text.
bool IsJson(std::string_view text);
