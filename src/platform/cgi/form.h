// The form of a CGI request: the query string and a urlencoded or multipart request body. The parser decodes
// percent-encoding itself, because one small function does not justify a library.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

constexpr size_t MAX_REQUEST_BODY = 32U << 20U;  // bytes
constexpr size_t MAX_FORM_FIELDS = 10'000;       // of the body and the query string together

struct FormField {
    std::string name;
    std::string value;
};

struct Form {
    // The fields of the body, then those of the query string, both in the order of the request. Empty if the
    // request is rejected.
    std::vector<FormField> fields;

    // The HTTP status of a rejected request ("413 Content Too Large"); null if the request is valid.
    const char* errorStatus = nullptr;
};

// Reads the form of this process's request from the CGI environment and standard input (RFC 3875). Checks
// length and content type before it allocates memory. Rejects a body that is shorter than announced.
Form ReadForm();

// Both functions append the fields of `text` or `body` to `fields` and return null. They return the HTTP
// status 413 if `fields` would have more than MAX_FORM_FIELDS elements; AppendMultipart also returns 400 for
// a malformed body. `fields` may then contain the fields before the error.

// Parses application/x-www-form-urlencoded, in a body or a query string. Only '&' separates fields.
const char* AppendUrlencoded(std::string_view text, std::vector<FormField>& fields);

// Parses a body of the multipart content type `contentType`.
const char* AppendMultipart(std::string_view body, std::string_view contentType,
                            std::vector<FormField>& fields);
