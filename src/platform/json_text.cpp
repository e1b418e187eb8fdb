#include "platform/json_text.h"

// The reader is what the files' format is defined by, and the writer costs a start less than its successor.
// The library keeps both, but calls them deprecated.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

#include <json/reader.h>
#include <json/writer.h>

#include <algorithm>
#include <string_view>

namespace {

// The last character of the string or comment that starts at `start`, as the JSON library reads it; `start`
// itself where none does, and npos for a block comment without an end.
size_t SkipText(std::string_view text, size_t start) {
    const std::string_view rest = text.substr(start);
    if (rest.starts_with("//")) {
        return std::min(text.find_first_of("\r\n", start), text.size());
    }
    if (rest.starts_with("/*")) {
        const size_t end = text.find("*/", start + 2);
        return end == std::string_view::npos ? end : end + 1;
    }
    if (rest.starts_with('/')) {
        return start;
    }
    size_t end = start + 1;
    while (end < text.size() && text[end] != '"') {
        end += text[end] == '\\' ? 2 : 1;
    }
    return end;
}

// Judged before the library reads the text: it recurses, and ends the program beyond a limit of its own. It
// also takes a bracket of the other kind for a comma, and '/' at the text's end for the end of a comment,
// which then swallows what is written behind it.
bool IsReadable(std::string_view text, size_t maxDepth) {
    std::string open;
    for (size_t i = 0; i < text.size(); ++i) {
        switch (text[i]) {
            case '"':
            case '/':
                i = SkipText(text, i);
                if (i == std::string_view::npos) {
                    return false;
                }
                break;
            case '[':
            case '{':
                open += text[i];
                if (open.size() > maxDepth) {
                    return false;
                }
                break;
            case ']':
            case '}':
                if (!open.empty() && text[i] == (open.back() == '[' ? ']' : '}')) {
                    open.pop_back();
                }
                break;
            default:
                break;
        }
    }
    return true;
}

}  // namespace

bool ParseJson(const std::string& text, Json::Value& value, size_t maxDepth) {
    value = Json::Value();
    if (!IsReadable(text, maxDepth)) {
        return false;
    }
    if (!Json::Reader().parse(text, value, true)) {
        value = Json::Value();
        return false;
    }
    return true;
}

std::string FormatJsonLine(const Json::Value& value) { return Json::FastWriter().write(value); }
