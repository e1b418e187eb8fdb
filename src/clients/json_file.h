// The system's JSON files. Reading them is MediaServiceHandler::GetJsonFromFile.
#pragma once

#include <json/value.h>

#include <ios>

// Writes `document` as the file's whole content: indented by tabs, members in name order, comments kept. The
// file is opened in `mode` and truncated. False when it can't be opened; a failure to write is not detected.
bool WriteJsonFile(const char* path, const Json::Value& document, std::ios::openmode mode = std::ios::out);
