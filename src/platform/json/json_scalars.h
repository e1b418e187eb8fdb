// The strings and numbers of JSON (RFC 8259, 6 and 7), for the JSON reader. Each function reads one at the
// start of `rest` and removes it from there.
#pragma once

#include <json/value.h>

#include <string>
#include <string_view>

// Reads a string. `characters` views the text itself if the string contains no escape, otherwise `unescaped`.
// Accepts control characters and bytes that are not UTF-8. Returns false if the string is not valid or
// contains a first half of a surrogate pair without its second half.
bool ConsumeJsonString(std::string_view& rest, std::string& unescaped, std::string_view& characters);

// Reads a number: an integer if it fits into 64 bits, signed or unsigned, otherwise a double. Returns false
// if the number is not valid or too large for a double.
bool ConsumeJsonNumber(std::string_view& rest, Json::Value& number);
