#include "platform/cgi/multipart.h"

#include <algorithm>

#include "platform/text/scanning.h"

namespace {

constexpr std::string_view CRLF = "\r\n";
constexpr std::string_view BLANKS = " \t";
constexpr std::string_view SPACES = " \t\r\n";  // those of a header that goes on in the next line, too
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
    bool present = false;  // with a value, be it empty
};

// Takes what stands before the next semicolon off a header's value (RFC 9110, 5.6.6): the value proper, or a
// parameter, with blanks around its '=' or without. A quoted value may hold semicolons; one without its end
// counts as none.
Parameter NextParameter(std::string_view& rest) {
    const size_t nameEnd = std::min(rest.find_first_of("=;"), rest.size());
    Parameter parameter = {Trimmed(rest.substr(0, nameEnd)), {}};
    rest.remove_prefix(nameEnd);
    if (TakePrefix(rest, "=")) {
        rest.remove_prefix(std::min(rest.find_first_not_of(SPACES), rest.size()));
        if (TakePrefix(rest, "\"")) {
            parameter.present = rest.find('"') != std::string_view::npos;
            const std::string_view quoted = TakeUntil(rest, "\"");
            parameter.value = parameter.present ? quoted : "";
        } else {
            parameter.value = Trimmed(rest.substr(0, rest.find(';')));
            parameter.present = !parameter.value.empty();
        }
    }
    TakeUntil(rest, ";");
    return parameter;
}

// The parameter `name` of a header's value.
Parameter FindParameter(std::string_view header, std::string_view name) {
    while (!header.empty()) {
        const Parameter parameter = NextParameter(header);
        if (EqualsIgnoringCase(parameter.name, name)) {
            return parameter;
        }
    }
    return {};
}

// One of hyphens alone would be found a second time in the hyphens around it.
bool IsBoundary(std::string_view text) {
    return text.size() <= MAX_BOUNDARY && !text.ends_with(' ') &&
           text.find_first_not_of(BOUNDARY_CHARACTERS) == std::string_view::npos &&
           text.find_first_not_of('-') != std::string_view::npos;
}

// Takes a header with the lines that continue it off `rest`.
std::string_view TakeHeader(std::string_view& rest) {
    const std::string_view all = rest;
    do {
        TakeUntil(rest, CRLF);
    } while (!rest.empty() && BLANKS.find(rest.front()) != BLANKS.npos);
    return all.substr(0, all.size() - rest.size());
}

// Takes the headers and the empty line behind them off `part`. False when they don't name a field.
bool TakeHeaders(std::string_view& part, std::string_view& fieldName) {
    Parameter field;
    bool disposed = false;
    while (!part.empty() && !part.starts_with(CRLF)) {
        std::string_view value = TakeHeader(part);
        if (!value.ends_with(CRLF)) {
            return false;
        }
        const std::string_view name = Trimmed(TakeUntil(value, ":"));
        if (!disposed && EqualsIgnoringCase(name, DISPOSITION)) {
            disposed = true;
            field = FindParameter(value, "name");
        }
    }
    TakePrefix(part, CRLF);
    fieldName = field.value;
    return field.present;
}

// The first place from `start` on where a line begins with `delimiter`, npos when there is none.
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

bool SplitMultipart(std::string_view body, std::string_view boundary, size_t most,
                    std::vector<MultipartField>& fields) {
    const std::string delimiter = "--" + std::string(boundary);
    const size_t first = FindLine(body, delimiter, 0);
    for (size_t position = first; position != std::string_view::npos && fields.size() <= most;) {
        std::string_view rest = body.substr(position + delimiter.size());
        const bool closes = TakePrefix(rest, "--");
        // Mail systems may have put blanks behind a boundary.
        if (!Trimmed(TakeUntil(rest, CRLF)).empty()) {
            return false;
        }
        if (closes) {
            // A form without fields is the closing boundary alone: behind anything else a boundary was lost.
            return first == 0 || !fields.empty();
        }
        const size_t start = body.size() - rest.size();
        position = FindLine(body, delimiter, start);
        if (position == std::string_view::npos || position < start + CRLF.size()) {
            return false;
        }
        std::string_view part = body.substr(start, position - CRLF.size() - start);
        std::string_view name;
        if (!TakeHeaders(part, name)) {
            return false;
        }
        fields.push_back({name, part});
    }
    return fields.size() > most;
}
