// The strings and numbers of JSON (RFC 8259, 6 and 7), taken off the head of a text.
#pragma once

#include <json/value.h>

#include <string>
#include <string_view>

// A string. Its characters are a view of the text where they stand there as they are, else of `unescaped`.
// Control characters may stand as they are, and bytes need not be UTF-8. False for what is no string, or
// begins a surrogate pair without ending it.
bool TakeJsonString(std::string_view& rest, std::string& unescaped, std::string_view& characters);

// A number: an integer where 64 bits, signed or unsigned, have room for it, else a double. False for what is
// no number or has no room in a double.
bool TakeJsonNumber(std::string_view& rest, Json::Value& number);
