#include "platform/json_text.h"

// The reader is what the files' format is defined by, and the writer costs a start less than its successor.
// The library keeps both, but calls them deprecated.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

#include <json/reader.h>
#include <json/writer.h>

#include <algorithm>

namespace {

constexpr std::string_view SPACES = " \t\r\n";
constexpr std::string_view LINE_ENDS = "\r\n";

// On one line; for each of them the library looks through the line again.
constexpr size_t MAX_COMMENTS_OF_A_LINE = 100;

// The last character of the comment that starts at `start`, as the library reads it; npos when none does, or
// it has no end.
size_t EndOfComment(std::string_view text, size_t start) {
    if (text.substr(start).starts_with("//")) {
        return std::min(text.find_first_of(LINE_ENDS, start), text.size());
    }
    const size_t end = text.substr(start).starts_with("/*") ? text.find("*/", start + 2) : text.npos;
    return end == text.npos ? end : end + 1;
}

size_t EndOfString(std::string_view text, size_t start) {
    size_t end = start + 1;
    while (end < text.size() && text[end] != '"') {
        end += text[end] == '\\' ? 2 : 1;
    }
    return end;
}

// Judged before the library reads the text: it recurses, and ends the program beyond a limit of its own;
// behind a comment it takes a bracket of the other kind for a comma; it doesn't look at what stands behind a
// document, and takes '/' there for a comment, which swallows what is written behind it later.
bool IsReadable(std::string_view text, size_t maxDepth) {
    std::string open;
    bool ended = false;
    size_t comments = 0;
    size_t lastComment = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '/') {
            const bool sameLine =
                text.substr(lastComment, i - lastComment).find_first_of(LINE_ENDS) == text.npos;
            comments = sameLine ? comments + 1 : 1;
            lastComment = i;
            i = EndOfComment(text, i);
            if (i == text.npos || comments > MAX_COMMENTS_OF_A_LINE) {
                return false;
            }
        } else if (ended && SPACES.find(c) == SPACES.npos) {
            return false;
        } else if (c == '"') {
            i = EndOfString(text, i);
            ended = open.empty();
        } else if (c == '[' || c == '{') {
            open += c;
            if (open.size() > maxDepth) {
                return false;
            }
        } else if (c == ']' || c == '}') {
            if (open.empty() || open.back() != (c == ']' ? '[' : '{')) {
                return false;
            }
            open.pop_back();
            ended = open.empty();
        }
    }
    return true;
}

}  // namespace

bool ParseJson(std::string_view text, Json::Value& value, size_t maxDepth) {
    value = Json::Value();
    if (!IsReadable(text, maxDepth)) {
        return false;
    }
    if (!Json::Reader().parse(text.data(), text.data() + text.size(), value, true)) {
        value = Json::Value();
        return false;
    }
    return true;
}

std::string FormatJsonLine(const Json::Value& value) { return Json::FastWriter().write(value); }
