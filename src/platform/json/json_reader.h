// A JSON reader. It exists because jsoncpp's own reader needs quadratic time for comments and has no limit on
// the memory that it uses.
//
// A text is exactly one document of RFC 8259, with these extensions: comments ("// ..." to the end of the
// line, "/* ... */") are allowed wherever white space is allowed, and strings can contain control characters
// and bytes that are not UTF-8. Rejected: a number that is too large for a double, a first half of a
// surrogate pair without its second half, and a member name with U+0000.
#pragma once

#include <json/value.h>

#include <cstddef>
#include <functional>
#include <string_view>

#include "platform/files/file_io.h"

// The size limit of a text, in bytes. Every byte that is not ASCII has the cost of six, because a response
// may need the escape sequence \uFFFD for it.
constexpr size_t MAX_JSON_TEXT = MAX_FILE_SIZE;

constexpr size_t MAX_JSON_COMMENTS = 1000;  // between two tokens

struct JsonLimits {
    size_t values = 1'500'000;  // elements, member values and comments together
    size_t depth = 999;         // arrays and objects inside each other
};

// Parses a text. A comment after a value on the same line belongs to that value (of several, the last one is
// kept), any other comment to the next value, and a comment after the last value to the document. Returns
// false with `value` null if the text is not valid JSON or exceeds a limit.
bool ParseJson(std::string_view text, Json::Value& value, const JsonLimits& limits = {});

// Parses a text and passes each element of the outermost array to `handle`, without building the whole
// document. A document that is not an array has no elements. Returns false as ParseJson does; `handle` may
// have been called before the error was found.
using JsonElementHandler = std::function<void(const Json::Value& element)>;
bool ParseJsonElements(std::string_view text, const JsonElementHandler& handle);

// Returns whether ParseJson would accept the text.
bool IsJson(std::string_view text);
