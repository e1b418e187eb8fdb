#include "platform/files/key_value_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "platform/files/file_io.h"
#include "platform/files/file_replacement.h"

namespace {

// Removes the first line from `rest` and returns it with its line end.
std::string_view ConsumeLine(std::string_view& rest) {
    const size_t end = rest.find('\n');
    const std::string_view line = rest.substr(0, end == std::string_view::npos ? end : end + 1);
    rest.remove_prefix(line.size());
    return line;
}

bool IsLineOf(std::string_view line, std::string_view key) {
    return line.starts_with(key) && line.substr(key.size()).starts_with('=');
}

std::string_view ValueOf(std::string_view line, std::string_view key) {
    std::string_view value = line.substr(key.size() + 1);
    for (const char end : {'\n', '\r'}) {
        if (value.ends_with(end)) {
            value.remove_suffix(1);
        }
    }
    if (!value.starts_with('"')) {
        return value;
    }
    value.remove_prefix(1);
    // Without a closing quote, the value is the rest of the line.
    return value.substr(0, value.rfind('"'));
}

std::string FormatLine(const char* format, const char* key, const char* value) {
    char* text = nullptr;
    const int length = asprintf(&text, format, key, value);
    std::string line;
    if (length > 0) {
        line.assign(text, static_cast<size_t>(length));
        free(text);
    }
    return line;
}

std::string ReplaceLine(std::string_view content, std::string_view key, const std::string& newLine) {
    std::string result;
    result.reserve(content.size() + newLine.size() + 1);
    bool replaced = false;
    while (!content.empty()) {
        const std::string_view line = ConsumeLine(content);
        if (!IsLineOf(line, key)) {
            result += line;
        } else if (!replaced) {
            result += newLine;
            replaced = true;
        }
    }
    if (!replaced) {
        if (!result.empty() && !result.ends_with('\n')) {
            result += '\n';
        }
        result += newLine;
    }
    return result;
}

}  // namespace

bool GetKeyValue(std::string_view content, const char* key, char* buffer, size_t size) {
    while (!content.empty()) {
        const std::string_view line = ConsumeLine(content);
        if (IsLineOf(line, key)) {
            const std::string_view value = ValueOf(line, key);
            const size_t count = std::min(value.size(), size - 1);
            memcpy(buffer, value.data(), count);
            buffer[count] = '\0';
            return true;
        }
    }
    return false;
}

bool SetKeyValue(std::string& content, const char* key, const char* value, const char* format) {
    const std::string line = FormatLine(format, key, value);
    if (!line.ends_with('\n') || line.find('\n') != line.size() - 1) {
        return false;
    }
    content = ReplaceLine(content, key, line);
    return true;
}

int VLIBCFileGetKeyValue(const char* path, const char* key, char* buffer, int size, int /*flags*/) {
    std::string content;
    if (size <= 0 || !ReadFile(path, content)) {
        return -1;
    }
    return GetKeyValue(content, key, buffer, static_cast<size_t>(size)) ? 1 : 0;
}

int VLIBCFileSetKeyValue(const char* path, const char* key, const char* value, const char* format) {
    FileReplacement file(path);
    std::string content;
    if (!ReadFile(path, content) && errno != ENOENT) {
        return -1;
    }
    return SetKeyValue(content, key, value, format) && file.Replace(content) == Saved::Yes ? 0 : -1;
}
