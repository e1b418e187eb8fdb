// Formats JSON values for responses and files, with jsoncpp's writers. This header adds the size limit of a
// file, which they do not have.
#pragma once

#include <json/value.h>

#include <string>

// Returns `value` as one line of ASCII with its line feed: compact, members in name order, without comments.
std::string FormatJsonLine(const Json::Value& value);

// Returns `value` as the content of a file: ASCII, indented by tabs, members in name order, with comments.
// Stops after MAX_FILE_SIZE + 1 bytes: such a content is too large to be saved.
std::string FormatJsonFile(const Json::Value& value);
