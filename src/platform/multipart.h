// multipart/form-data (RFC 7578, RFC 2046): what has to hold before a body is given to the form parser.
#pragma once

#include <string>
#include <string_view>
#include <vector>

// ASCII letters of either case are equal, as in media types and header names.
bool EqualsIgnoringCase(std::string_view text, std::string_view other);

// The boundary named in a multipart content type, without quotes; empty when there is none or it is not one
// of RFC 2046 (1 to 70 characters of its own set).
std::string MultipartBoundary(std::string_view contentType);

// Takes `body` apart into its form fields, each from its header to the line end before the next boundary.
// False when it isn't a chain of complete fields from the first boundary to the closing one: the parser would
// lose some of them, or end the program.
bool SplitMultipart(std::string_view body, std::string_view boundary, std::vector<std::string_view>& parts);
