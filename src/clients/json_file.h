// The system's JSON files. Reading them is MediaServiceHandler::GetJsonFromFile.
#pragma once

#include <json/value.h>

#include "platform/file_replacement.h"

// Makes `document` the file's whole content: indented by tabs, members in name order, comments kept. One that
// could not be read again is refused as one that can't be written is.
Saved SaveJsonFile(FileReplacement& file, const Json::Value& document);
