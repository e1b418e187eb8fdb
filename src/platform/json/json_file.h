// The system's JSON files, read and replaced as a whole.
#pragma once

#include <json/value.h>

#include <string>

#include "platform/files/file_replacement.h"

enum class JsonFileStatus : char {
    Read,
    CantOpen,  // `value` is unchanged
    Invalid,   // the file can't be read or is not valid JSON; `value` is null
};

// Reads the JSON document at `path` into `value`. On failure `reason` says why.
JsonFileStatus ReadJsonFile(const char* path, Json::Value& value, std::string& reason);

// Makes `document` the file's whole content: indented by tabs, members in name order, with its comments.
// Fails with Saved::CantWrite and one log line if ReadJsonFile would reject the document.
Saved SaveJsonFile(FileReplacement& file, const Json::Value& document);
