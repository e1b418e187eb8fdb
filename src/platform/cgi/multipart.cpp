#include "platform/cgi/multipart.h"

#include <algorithm>

#include "platform/text/scanning.h"

namespace {

constexpr std::string_view CRLF = "\r\n";
constexpr std::string_view BLANKS = " \t";
constexpr std::string_view SPACES = " \t\r\n";  // includes the line ends of a continued header
constexpr std::string_view BOUNDARY_CHARACTERS =
    "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz'()+_,-./:=? ";
constexpr size_t MAX_BOUNDARY = 70;
constexpr std::string_view DISPOSITION = "Content-Disposition";

std::string_view Trimmed(std::string_view text) {
    const size_t first = text.find_first_not_of(SPACES);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(SPACES) - first + 1);
}

struct Parameter {
    std::string_view name;
    std::string_view value;
    bool hasValue = false;  // tells an empty quoted value from a missing one
};

// Removes the text up to the next semicolon from a header's value and returns it as a parameter (RFC 9110,
// 5.6.6). The first text, for example form-data, is returned as a name without a value. Accepts blanks around
// '='. A quoted value can contain semicolons; without its closing quote it is ignored. A backslash has no
// special meaning, because browsers encode a quote as %22.
Parameter ConsumeParameter(std::string_view& rest) {
    const size_t nameEnd = std::min(rest.find_first_of("=;"), rest.size());
    Parameter parameter = {Trimmed(rest.substr(0, nameEnd)), {}};
    rest.remove_prefix(nameEnd);
    if (ConsumePrefix(rest, "=")) {
        rest.remove_prefix(std::min(rest.find_first_not_of(SPACES), rest.size()));
        if (ConsumePrefix(rest, "\"")) {
            parameter.hasValue = rest.find('"') != std::string_view::npos;
            const std::string_view quoted = ConsumeUntil(rest, "\"");
            parameter.value = parameter.hasValue ? quoted : "";
        } else {
            parameter.value = Trimmed(rest.substr(0, rest.find(';')));
            parameter.hasValue = !parameter.value.empty();
        }
    }
    ConsumeUntil(rest, ";");
    return parameter;
}

// Returns the parameter `name` of a header's value. If it is missing, `hasValue` is false.
Parameter FindParameter(std::string_view header, std::string_view name) {
    while (!header.empty()) {
        const Parameter parameter = ConsumeParameter(header);
        if (EqualsIgnoringCase(parameter.name, name)) {
            return parameter;
        }
    }
    return {};
}

// A boundary of hyphens only would be ambiguous, because hyphens start and end the closing delimiter.
bool IsBoundary(std::string_view text) {
    return text.size() <= MAX_BOUNDARY && !text.ends_with(' ') &&
           text.find_first_not_of(BOUNDARY_CHARACTERS) == std::string_view::npos &&
           text.find_first_not_of('-') != std::string_view::npos;
}

// Removes a header, with its continuation lines, from `rest` and returns it.
std::string_view ConsumeHeader(std::string_view& rest) {
    const std::string_view all = rest;
    do {
        ConsumeUntil(rest, CRLF);
    } while (!rest.empty() && BLANKS.find(rest.front()) != BLANKS.npos);
    return all.substr(0, all.size() - rest.size());
}

// Removes the headers and the empty line after them from `part`, and stores the field's name in `fieldName`.
// Returns false if a header has no line end or if no header names a field.
bool ConsumeHeaders(std::string_view& part, std::string_view& fieldName) {
    Parameter field;
    bool hasDisposition = false;
    while (!part.empty() && !part.starts_with(CRLF)) {
        std::string_view header = ConsumeHeader(part);
        if (!header.ends_with(CRLF)) {
            return false;
        }
        const std::string_view name = Trimmed(ConsumeUntil(header, ":"));
        if (!hasDisposition && EqualsIgnoringCase(name, DISPOSITION)) {
            hasDisposition = true;
            field = FindParameter(header, "name");
        }
    }
    ConsumePrefix(part, CRLF);
    fieldName = field.value;
    return field.hasValue;
}

// Returns the first position, `start` or later, of a line that begins with `delimiter`, or npos.
size_t FindLine(std::string_view text, std::string_view delimiter, size_t start) {
    size_t found = text.find(delimiter, start);
    while (found != std::string_view::npos && found != 0 && !text.substr(0, found).ends_with(CRLF)) {
        found = text.find(delimiter, found + 1);
    }
    return found;
}

}  // namespace

std::string MultipartBoundary(std::string_view contentType) {
    const std::string_view boundary = FindParameter(contentType, "boundary").value;
    return IsBoundary(boundary) ? std::string(boundary) : std::string();
}

bool SplitMultipart(std::string_view body, std::string_view boundary, size_t maxFields,
                    std::vector<MultipartField>& fields) {
    const std::string delimiter = "--" + std::string(boundary);
    const size_t first = FindLine(body, delimiter, 0);
    for (size_t position = first; position != std::string_view::npos && fields.size() <= maxFields;) {
        std::string_view rest = body.substr(position + delimiter.size());
        const bool isClosing = ConsumePrefix(rest, "--");
        // RFC 2046 allows blanks after a boundary.
        if (!Trimmed(ConsumeUntil(rest, CRLF)).empty()) {
            return false;
        }
        if (isClosing) {
            // A form without fields starts with its closing boundary. Other text before a closing boundary
            // that no other boundary precedes means that the first boundary is missing.
            return first == 0 || !fields.empty();
        }
        const size_t start = body.size() - rest.size();
        position = FindLine(body, delimiter, start);
        // The line end before a boundary is part of the boundary (RFC 2046), so an empty part needs one, too.
        if (position == std::string_view::npos || position < start + CRLF.size()) {
            return false;
        }
        std::string_view part = body.substr(start, position - CRLF.size() - start);
        std::string_view name;
        if (!ConsumeHeaders(part, name)) {
            return false;
        }
        fields.push_back({name, part});
    }
    return fields.size() > maxFields;
}
