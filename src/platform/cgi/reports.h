// The header fields and bodies of responses.
#pragma once

#include <json/value.h>

#include <cstdio>
#include <string>
#include <string_view>

// Writes to standard output without buffering, with one system call if the kernel accepts all bytes at once.
// Returns false with errno set on failure.
bool WriteOutput(std::string_view head, std::string_view body = {});

// Returns the header fields of a response: the content type and the protective fields (no caching, no content
// sniffing), then the empty line that ends the header. `fileName` becomes the name parameter of the content
// type; null for none.
std::string ResponseHeader(const char* contentType, const char* fileName = nullptr);

// Writes `fields`, which are header fields with their line ends, and the report of a successful action:
// {"data":data,"success":true} with its header.
void WriteSuccessReport(const std::string& fields, const Json::Value& data);

// The same for a failed action: {"error":{"key":...,"line":...,"section":...},"success":false}.
void WriteErrorReport(const std::string& fields, const char* section, const char* key, int line);

// Sends a stream to the client as a file. The appliance's CGI framework defines it as a class.
class HTTPFileOutputer {
  public:
    // Writes the header with `contentType` and the name parameter `fileName`, then copies `stream` to its
    // end. Stops without an error if the client has closed the connection.
    void Output(FILE* stream, const char* fileName, const char* contentType);
};
