#include "platform/multipart.h"

#include <strings.h>

#include <algorithm>

namespace {

constexpr std::string_view CRLF = "\r\n";
constexpr std::string_view BOUNDARY_CHARACTERS =
    "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz'()+_,-./:=? ";
constexpr size_t MAX_BOUNDARY = 70;
constexpr std::string_view DISPOSITION = "Content-Disposition:";

std::string_view Trimmed(std::string_view text) {
    const size_t first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

struct Parameter {
    std::string_view name;
    std::string_view value;
};

// Takes what stands before the next semicolon off a content type (RFC 9110, 8.3.1): the media type itself,
// which has no value, or a parameter. A quoted value may hold semicolons; one without its end counts as none.
Parameter NextParameter(std::string_view& rest) {
    const size_t nameEnd = std::min(rest.find_first_of("=;"), rest.size());
    Parameter parameter = {Trimmed(rest.substr(0, nameEnd)), {}};
    rest.remove_prefix(nameEnd);
    if (rest.starts_with("=\"")) {
        rest.remove_prefix(2);
        const size_t quote = rest.find('"');
        parameter.value = quote == std::string_view::npos ? "" : rest.substr(0, quote);
        rest.remove_prefix(std::min(quote, rest.size()));
    } else if (rest.starts_with('=')) {
        parameter.value = Trimmed(rest.substr(1, rest.find(';') - 1));
    }
    const size_t semicolon = rest.find(';');
    rest.remove_prefix(semicolon == std::string_view::npos ? rest.size() : semicolon + 1);
    return parameter;
}

// One of hyphens alone would be found a second time in the hyphens around it.
bool IsBoundary(std::string_view text) {
    return text.size() <= MAX_BOUNDARY && !text.ends_with(' ') &&
           text.find_first_not_of(BOUNDARY_CHARACTERS) == std::string_view::npos &&
           text.find_first_not_of('-') != std::string_view::npos;
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
    return EqualsIgnoringCase(line.substr(0, DISPOSITION.size()), DISPOSITION) &&
           quote < header.find(CRLF, name);
}

bool IsField(std::string_view part) {
    constexpr std::string_view HEADER_END = "\r\n\r\n";
    const size_t end = part.find(HEADER_END);
    return end != std::string_view::npos && HasFieldName(part.substr(0, end + CRLF.size()));
}

}  // namespace

bool EqualsIgnoringCase(std::string_view text, std::string_view other) {
    return text.size() == other.size() && strncasecmp(text.data(), other.data(), other.size()) == 0;
}

std::string MultipartBoundary(std::string_view contentType) {
    while (!contentType.empty()) {
        const Parameter parameter = NextParameter(contentType);
        if (EqualsIgnoringCase(parameter.name, "boundary")) {
            return IsBoundary(parameter.value) ? std::string(parameter.value) : std::string();
        }
    }
    return {};
}

bool SplitMultipart(std::string_view body, std::string_view boundary, std::vector<std::string_view>& parts) {
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
        parts.push_back(body.substr(start, position - start));
        if (!parts.back().ends_with(CRLF) || !IsField(parts.back())) {
            return false;
        }
    }
}
