// JSON values as texts: answers, and the content of files.
#pragma once

#include <json/value.h>

#include <string>

// `value` as one line of ASCII with its line feed: compact, members in name order, without the comments that
// a file's value may carry.
std::string FormatJsonLine(const Json::Value& value);

// `value` as the content of a file: ASCII, indented by tabs, members in name order, with its comments. One
// that no file may hold is cut one byte behind MAX_FILE_SIZE, so that it can't be saved.
std::string FormatJsonFile(const Json::Value& value);
