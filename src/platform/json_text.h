// JSON texts from files and form fields.
#pragma once

#include <json/value.h>

#include <string>

// Arrays and objects within each other; the JSON library throws at deeper ones.
constexpr int MAX_JSON_DEPTH = 999;

// Parses one JSON document, comments kept with the values they belong to. False with `value` null when the
// text is no document or nests deeper than `maxDepth`.
bool ParseJson(const std::string& text, Json::Value& value, int maxDepth = MAX_JSON_DEPTH);
