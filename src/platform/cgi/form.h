// The form of a CGI request: query string, urlencoded and multipart bodies.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// What a form may cost.
constexpr size_t MAX_REQUEST_BODY = 32U << 20U;
constexpr size_t MAX_FORM_FIELDS = 10'000;

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

// Each takes a text apart and appends its fields: of a body or a query string
// (application/x-www-form-urlencoded;
// '&' alone separates), and of a body of the given multipart content type. They return the status that the
// text is refused with, null for a good one.
const char* AppendUrlencoded(std::string_view text, std::vector<FormField>& fields);
const char* AppendMultipart(std::string_view body, std::string_view contentType,
                            std::vector<FormField>& fields);
