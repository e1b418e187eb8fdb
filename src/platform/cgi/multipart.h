// A parser for multipart/form-data (RFC 7578, RFC 2046). It exists because common parsers reject valid forms,
// for example unquoted parameters, or accept a form that was cut off.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// Returns the boundary parameter of a multipart content type, without quotes. Returns an empty text if it is
// missing or invalid (RFC 2046 allows 1 to 70 characters of a fixed set).
std::string MultipartBoundary(std::string_view contentType);

// One part of a body.
struct MultipartField {
    std::string_view name;
    std::string_view value;
};

// Splits `body` into its parts and appends them to `fields`, which must be empty and then view `body`.
// Recognises a boundary only at the start of a line, and skips text before the first boundary and after the
// closing one. Stops after `maxFields` + 1 fields, so that the caller can reject the form; the rest of the
// body is then not checked. Returns false if the body is cut off, or if a part is malformed or has no field
// name.
bool SplitMultipart(std::string_view body, std::string_view boundary, size_t maxFields,
                    std::vector<MultipartField>& fields);
