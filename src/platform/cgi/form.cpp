#include "platform/cgi/form.h"

#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>

#include "platform/cgi/multipart.h"
#include "platform/files/file_io.h"
#include "platform/text/scanning.h"

namespace {

constexpr char URLENCODED[] = "application/x-www-form-urlencoded";
constexpr char MULTIPART[] = "multipart/form-data";

// The byte limit for reading a rejected body. Web servers usually have a lower limit of their own.
constexpr size_t MAX_DISCARDED_BODY = 2 * MAX_REQUEST_BODY;

constexpr char BAD_REQUEST[] = "400 Bad Request";
constexpr char TOO_LARGE[] = "413 Content Too Large";
constexpr char UNSUPPORTED_TYPE[] = "415 Unsupported Media Type";

// Decodes percent-encoding, and '+' as a space. Keeps a '%' that is not followed by two hexadecimal
// digits.
std::string DecodePercent(std::string_view text) {
    std::string decoded;
    decoded.reserve(text.size());
    for (const char *next = text.data(), *end = next + text.size(); next != end;) {
        unsigned char byte = 0;
        if (*next == '%' && end - next > 2 && std::from_chars(next + 1, next + 3, byte, 16).ptr == next + 3) {
            decoded += static_cast<char>(byte);
            next += 3;
        } else {
            decoded += *next == '+' ? ' ' : *next;
            ++next;
        }
    }
    return decoded;
}

const char* EnvironmentText(const char* name) {
    const char* value = getenv(name);
    return value != nullptr ? value : "";
}

// Parses CONTENT_LENGTH (RFC 3875, 4.1.2): decimal digits, or empty without a body. Returns null, or the
// HTTP status to reject the request with.
const char* ReadLength(std::string_view text, size_t& length) {
    length = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), length);
    if (!text.empty() && (error == std::errc::invalid_argument || end != text.data() + text.size())) {
        return BAD_REQUEST;
    }
    return error == std::errc::result_out_of_range || length > MAX_REQUEST_BODY ? TOO_LARGE : nullptr;
}

bool ReadStandardInput(std::string& body, size_t length) {
    body.resize(length);
    for (size_t done = 0; done < length;) {
        const ssize_t count =
            Uninterrupted([&] { return read(STDIN_FILENO, body.data() + done, length - done); });
        if (count <= 0) {
            return false;
        }
        done += static_cast<size_t>(count);
    }
    return true;
}

// A web server that sends the whole body before it reads the response reports an error if the program ends
// without reading the body.
void DiscardStandardInput(size_t length) {
    std::array<char, 64U << 10U> piece;
    for (size_t left = std::min(length, MAX_DISCARDED_BODY); left > 0;) {
        const ssize_t count = read(STDIN_FILENO, piece.data(), std::min(left, piece.size()));
        if (count <= 0) {
            return;
        }
        left -= static_cast<size_t>(count);
    }
}

bool IsMediaType(std::string_view contentType, std::string_view type) {
    return EqualsIgnoringCase(contentType.substr(0, contentType.find_first_of("; \t")), type);
}

// Reads the request body from standard input and appends its fields. Returns null, or the HTTP status of a
// rejected request.
const char* ReadBody(std::vector<FormField>& fields) {
    size_t length = 0;
    const char* errorStatus = ReadLength(EnvironmentText("CONTENT_LENGTH"), length);
    const std::string_view type = EnvironmentText("CONTENT_TYPE");
    const bool multipart = IsMediaType(type, MULTIPART);
    if (errorStatus == nullptr && length > 0 && !multipart && !IsMediaType(type, URLENCODED)) {
        errorStatus = UNSUPPORTED_TYPE;
    }
    if (errorStatus != nullptr || length == 0) {
        DiscardStandardInput(length);
        return errorStatus;
    }
    std::string body;
    if (!ReadStandardInput(body, length)) {
        return BAD_REQUEST;
    }
    return multipart ? AppendMultipart(body, type, fields) : AppendUrlencoded(body, fields);
}

}  // namespace

const char* AppendUrlencoded(std::string_view text, std::vector<FormField>& fields) {
    while (!text.empty()) {
        std::string_view value = ConsumeUntil(text, "&");
        if (value.empty()) {
            continue;
        }
        if (fields.size() == MAX_FORM_FIELDS) {
            return TOO_LARGE;
        }
        const std::string_view name = ConsumeUntil(value, "=");
        fields.push_back({DecodePercent(name), DecodePercent(value)});
    }
    return nullptr;
}

const char* AppendMultipart(std::string_view body, std::string_view contentType,
                            std::vector<FormField>& fields) {
    const std::string boundary = MultipartBoundary(contentType);
    std::vector<MultipartField> parts;
    if (boundary.empty() || !SplitMultipart(body, boundary, MAX_FORM_FIELDS, parts)) {
        return BAD_REQUEST;
    }
    if (fields.size() + parts.size() > MAX_FORM_FIELDS) {
        return TOO_LARGE;
    }
    for (const MultipartField& part : parts) {
        fields.push_back({std::string(part.name), std::string(part.value)});
    }
    return nullptr;
}

Form ReadForm() {
    Form form;
    form.errorStatus = ReadBody(form.fields);
    if (form.errorStatus == nullptr) {
        form.errorStatus = AppendUrlencoded(EnvironmentText("QUERY_STRING"), form.fields);
    }
    if (form.errorStatus != nullptr) {
        form.fields.clear();
        syslog(LOG_WARNING, "request refused: %s", form.errorStatus);
    }
    return form;
}
