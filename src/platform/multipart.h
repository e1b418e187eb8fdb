// multipart/form-data (RFC 7578, RFC 2046): what has to hold before a body is given to the form parser.
#pragma once

#include <string>
#include <string_view>

// ASCII letters of either case are equal, as in media types and header names.
bool EqualsIgnoringCase(std::string_view text, std::string_view other);

// The boundary named in a multipart content type, without quotes; empty when there is none or it is not one
// of RFC 2046 (1 to 70 characters of its own set).
std::string MultipartBoundary(std::string_view contentType);

// Whether `body` is a chain of complete form fields from the first boundary to the closing one. A body that
// isn't would lose fields in the parser, or end the program there.
bool IsCompleteMultipart(std::string_view body, std::string_view boundary);
