// The header fields and bodies of responses.
#pragma once

#include <json/value.h>

#include <cstdio>

// Writes the content type and the protective header fields (no caching, no content sniffing), then the empty
// line that ends the header. `fileName` becomes the name parameter of the content type; null for none.
void WriteResponseHeader(const char* contentType, const char* fileName = nullptr);

// Writes `body` as compact ASCII JSON, members in name order, and a line feed. Flushes standard output.
void WriteResponseBody(const Json::Value& body);

// Writes {"data":data,"success":true} with its header. Flushes standard output.
void WriteSuccessReport(const Json::Value& data);

// Writes {"error":{"key":...,"line":...,"section":...},"success":false} with its header. Flushes standard
// output.
void WriteErrorReport(const char* section, const char* key, int line);

// Sends a stream to the client as a file. The appliance's CGI framework defines it as a class.
class HTTPFileOutputer {
  public:
    // Writes the header with `contentType` and the name parameter `fileName`, then copies `stream` to its
    // end. Stops without an error if the client has closed the connection.
    void Output(FILE* stream, const char* fileName, const char* contentType);
};
