#include "platform/multipart.h"

#include <strings.h>

namespace {

constexpr std::string_view CRLF = "\r\n";
constexpr std::string_view BOUNDARY_CHARACTERS =
    "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz'()+_,-./:=? ";
constexpr size_t MAX_BOUNDARY = 70;

std::string_view Trimmed(std::string_view text) {
    const size_t first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

bool StartsWithIgnoringCase(std::string_view text, std::string_view start) {
    return text.size() >= start.size() && strncasecmp(text.data(), start.data(), start.size()) == 0;
}

// The parser takes the first name="..." of a part's header for the field's name, wherever it stands.
bool HasFieldName(std::string_view header) {
    constexpr std::string_view NAME = "name=\"";
    const size_t name = header.find(NAME);
    if (name == std::string_view::npos || name == 0 || (header[name - 1] != ' ' && header[name - 1] != ';')) {
        return false;
    }
    const size_t lineEnd = header.rfind(CRLF, name);
    const std::string_view line =
        header.substr(lineEnd == std::string_view::npos ? 0 : lineEnd + CRLF.size());
    const size_t quote = header.find('"', name + NAME.size());
    return StartsWithIgnoringCase(line, "Content-Disposition:") && quote < header.find(CRLF, name);
}

bool IsField(std::string_view part) {
    constexpr std::string_view HEADER_END = "\r\n\r\n";
    const size_t end = part.find(HEADER_END);
    return end != std::string_view::npos && HasFieldName(part.substr(0, end + CRLF.size()));
}

}  // namespace

std::string MultipartBoundary(std::string_view contentType) {
    for (size_t start = contentType.find(';'); start != std::string_view::npos;) {
        const std::string_view parameter = Trimmed(contentType.substr(start + 1));
        const size_t equals = parameter.find('=');
        const bool quoted = equals != std::string_view::npos && parameter.substr(equals + 1).starts_with('"');
        const size_t value = quoted ? equals + 2 : equals + 1;
        const size_t end = parameter.find(quoted ? '"' : ';', quoted ? value : 0);
        if (StartsWithIgnoringCase(parameter, "boundary=") && !(quoted && end == std::string_view::npos)) {
            const std::string_view boundary =
                quoted ? parameter.substr(value, end - value) : Trimmed(parameter.substr(value, end - value));
            const bool valid = !boundary.empty() && boundary.size() <= MAX_BOUNDARY &&
                               !boundary.ends_with(' ') &&
                               boundary.find_first_not_of(BOUNDARY_CHARACTERS) == std::string_view::npos;
            return valid ? std::string(boundary) : std::string();
        }
        const size_t offset = static_cast<size_t>(parameter.data() - contentType.data());
        start = end == std::string_view::npos ? end : contentType.find(';', offset + end);
    }
    return {};
}

bool IsCompleteMultipart(std::string_view body, std::string_view boundary) {
    const std::string delimiter = "--" + std::string(boundary);
    if (!body.starts_with(delimiter)) {
        return false;
    }
    for (size_t position = 0;;) {
        const std::string_view rest = body.substr(position + delimiter.size());
        if (rest.starts_with("--")) {
            return rest == "--" || rest == "--\r\n";
        }
        if (!rest.starts_with(CRLF)) {
            return false;
        }
        const size_t start = position + delimiter.size() + CRLF.size();
        position = body.find(delimiter, start);
        if (position == std::string_view::npos) {
            return false;
        }
        const std::string_view part = body.substr(start, position - start);
        if (!part.ends_with(CRLF) || !IsField(part)) {
            return false;
        }
    }
}
