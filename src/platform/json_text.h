// JSON texts: those of files and form fields, and answers.
#pragma once

#include <json/value.h>

#include <cstddef>
#include <string>
#include <string_view>

// Arrays and objects within each other; the JSON library throws at deeper ones.
constexpr size_t MAX_JSON_DEPTH = 999;

// Parses one JSON document, comments kept with the values they belong to. False with `value` null when the
// text is no document or nests deeper than `maxDepth`.
bool ParseJson(std::string_view text, Json::Value& value, size_t maxDepth = MAX_JSON_DEPTH);

// `value` as one line of ASCII with its line feed: compact, members in name order, without the comments that
// a file's value may carry.
std::string FormatJsonLine(const Json::Value& value);
