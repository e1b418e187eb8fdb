// Fuzzes key/value files: an input is a key, a value and the content of the file.
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "fuzz/target.h"
#include "platform/files/file_io.h"
#include "settings/settings_file.h"

namespace {

const std::string& Path() {
    static const std::string path = [] {
        std::string directory = std::filesystem::temp_directory_path() / "fuzz.XXXXXX";
        Require(mkdtemp(directory.data()) != nullptr, "a temporary directory can be created");
        return directory + "/settings.conf";
    }();
    return path;
}

int Set(const std::string& key, const std::string& value) {
    return VLIBCFileSetKeyValue(Path().c_str(), key.c_str(), value.c_str(), KV_LINE_FORMAT);
}

std::string Content() {
    std::string content;
    Require(ReadFile(Path().c_str(), content), "the file can be read");
    return content;
}

// Returns the value of the key, cut to `size` bytes. The buffer has exactly this size, so that
// AddressSanitizer detects a write after its end.
std::optional<std::string> Get(const std::string& key, size_t size) {
    std::vector<char> buffer(size, '*');
    const int found =
        VLIBCFileGetKeyValue(Path().c_str(), key.c_str(), buffer.data(), static_cast<int>(size), 0);
    Require(found == 1 || (found == 0 && buffer == std::vector<char>(size, '*')),
            "a missing value does not change the buffer");
    return found == 1 ? std::optional<std::string>(buffer.data()) : std::nullopt;
}

// Returns the content with the first line of the key as `KEY=`, appended if there is none, and without the
// key's other lines. Sets `lines` to the number of lines of the key.
std::string WithoutValue(std::string_view content, const std::string& key, int& lines) {
    const std::string bare = key + "=";
    std::string without;
    for (lines = 0; !content.empty();) {
        const std::string_view line = ConsumeUntil(content, "\n");
        if (!line.starts_with(bare)) {
            without += std::string(line) + '\n';
        } else if (lines++ == 0) {
            without += bare + '\n';
        }
    }
    return lines == 0 ? without + bare + '\n' : without;
}

}  // namespace

void Try(std::string_view input) {
    // Both end at their first zero byte, like all texts of the platform functions.
    const std::string key = std::string(TakePiece(input)).c_str();
    const std::string value = std::string(TakePiece(input)).c_str();
    if (key.find_first_of("=\n") != std::string::npos) {
        return;
    }
    std::ofstream(Path(), std::ios::binary) << input;
    int lines = 0;
    const std::string before = WithoutValue(input, key, lines);
    Require(Get(key, input.size() + 1).has_value() == (lines > 0),
            "a key is found if and only if it starts a line");

    const int set = Set(key, value);
    Require((set == 0) == (value.find('\n') == std::string::npos),
            "only a value with a line feed is rejected");
    const std::string content = Content();
    if (set != 0) {
        Require(content == input, "a rejected value does not change the file");
        return;
    }
    Require(WithoutValue(content, key, lines) == before && lines == 1, "no other line changes");
    Require(Get(key, value.size() + 1) == value, "the stored value is read");
    Require(Get(key, value.size() / 2 + 1) == value.substr(0, value.size() / 2),
            "a value is cut to the size of the buffer");
    Require(Set(key, value) == 0 && Content() == content, "storing a value again does not change the file");
}
