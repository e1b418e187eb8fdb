// multipart/form-data (RFC 7578, RFC 2046).
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// The boundary named in a multipart content type, without quotes; empty when there is none or it is not one
// of RFC 2046 (1 to 70 characters of its own set).
std::string MultipartBoundary(std::string_view contentType);

// One part of a body: the name of its field, and the field's bytes.
struct MultipartField {
    std::string_view name;
    std::string_view value;
};

// Takes `body` apart, up to `most` fields and one more. A boundary counts at the start of a line alone; what
// stands before the first and behind the closing one is skipped. False when the body isn't a chain of parts,
// each with a field's name, from the first boundary to the closing one: it was cut off, or is no form.
bool SplitMultipart(std::string_view body, std::string_view boundary, size_t most,
                    std::vector<MultipartField>& fields);
