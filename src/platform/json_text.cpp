#include "platform/json_text.h"

#include <json/reader.h>

#include <algorithm>
#include <string_view>

namespace {

// The end of a string or comment that starts at `start`, as the JSON library reads it; `start` itself
// elsewhere, npos for a block comment without an end.
size_t SkipText(std::string_view text, size_t start) {
    const std::string_view rest = text.substr(start);
    if (rest.starts_with("//")) {
        return std::min(text.find_first_of("\r\n", start), text.size());
    }
    if (rest.starts_with("/*")) {
        const size_t end = text.find("*/", start + 2);
        return end == std::string_view::npos ? end : end + 1;
    }
    if (!rest.starts_with('"')) {
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
bool IsReadable(int maxDepth, std::string_view text) {
    std::string open;
    for (size_t i = 0; i < text.size(); ++i) {
        i = SkipText(text, i);
        if (i >= text.size()) {
            return i != std::string_view::npos;
        }
        if (text[i] == '[' || text[i] == '{') {
            open += text[i];
            if (open.size() > static_cast<size_t>(maxDepth)) {
                return false;
            }
        } else if (!open.empty() && text[i] == (open.back() == '[' ? ']' : '}')) {
            open.pop_back();
        }
    }
    return true;
}

// The reader that the files' format is defined by; the library keeps it, but calls it deprecated.
bool ReadDocument(const std::string& text, Json::Value& value) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    return Json::Reader().parse(text, value, true);
#pragma GCC diagnostic pop
}

}  // namespace

bool ParseJson(const std::string& text, Json::Value& value, int maxDepth) {
    value = Json::Value();
    if (!IsReadable(maxDepth, text)) {
        return false;
    }
    if (!ReadDocument(text, value)) {
        value = Json::Value();
        return false;
    }
    return true;
}
