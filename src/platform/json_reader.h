// JSON texts, those of files and of form fields.
//
// A text is exactly one document of RFC 8259, and more: comments ("// to the line's end", "/* */") may stand
// where white space may, strings may hold control characters as they are, and their bytes need not be UTF-8.
// A number that a double can't hold, half a surrogate pair that begins one, and a member name with U+0000
// make it no document.
#pragma once

#include <json/value.h>

#include <cstddef>
#include <string>
#include <string_view>

#include "platform/file_io.h"

// What a document may cost: bytes of its text, values (each array, object, member and element) with comments,
// comments between two values, and arrays and objects within each other.
constexpr size_t MAX_JSON_TEXT = MAX_FILE_SIZE;
constexpr size_t MAX_JSON_VALUES = 1'000'000;
constexpr size_t MAX_JSON_COMMENTS = 1000;
constexpr size_t MAX_JSON_DEPTH = 999;

// Parses a text, comments kept with the values they belong to: one behind a value on its line with that
// value, any other with the value that follows it, or with the document behind its last one. False with
// `value` null when the text is no document or would cost more than it may.
bool ParseJson(std::string_view text, Json::Value& value, size_t maxDepth = MAX_JSON_DEPTH);
