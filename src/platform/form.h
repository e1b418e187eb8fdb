// The form of a CGI request: query string, urlencoded and multipart bodies.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

constexpr std::size_t MAX_REQUEST_BODY = 32U << 20U;

struct FormField {
    std::string name;
    std::string value;
};

struct Form {
    // Those of the body before those of the query string, each in the order in which they came.
    std::vector<FormField> fields;

    // The HTTP status that a malformed request is refused with ("413 Content Too Large"), null for a good
    // one. A refused form has no fields.
    const char* refusal = nullptr;
};

// Reads the form of this process's request from the CGI environment and standard input (RFC 3875). Length and
// content type are judged before memory is taken; a body that is cut short is refused.
Form ReadForm();
