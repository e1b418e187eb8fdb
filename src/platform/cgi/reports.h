// The bytes of an answer.
#pragma once

#include <json/value.h>

#include <cstdio>

// Ends the header block of an answer with its content type and the protective headers: no caching, no content
// sniffing. `fileName` is the name parameter of the type, null for none.
void WriteAnswerHeader(const char* contentType, const char* fileName = nullptr);

// Writes `body` as compact ASCII JSON, members in name order, and a line feed; nothing stays buffered.
void WriteAnswerBody(const Json::Value& body);

// Writes {"data":data,"success":true} with its header.
void WriteSuccessReport(const Json::Value& data);

// Writes {"error":{"key":...,"line":...,"section":...},"success":false} with its header.
void WriteErrorReport(const char* section, const char* key, int line);

// Sends a stream to the client as a file.
class HTTPFileOutputer {
  public:
    // Ends the header block with `contentType`, `fileName` as its name and the protective headers, then
    // copies `stream` to its end. A client that has gone ends the copy quietly.
    void Output(FILE* stream, const char* fileName, const char* contentType);
};
