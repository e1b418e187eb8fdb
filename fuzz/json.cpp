// JSON texts: an input is one.
#include <iconv.h>
#include <json/reader.h>

#include <string>

#include "fuzz/target.h"
#include "platform/json/json_reader.h"
#include "platform/json/json_writer.h"

// The reader that says where comments belong; the library calls it deprecated.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace {

// By way of UTF-16, which has no room beyond U+10FFFF.
bool IsUtf8(std::string text) {
    static const iconv_t converter = iconv_open("UTF-16LE", "UTF-8");
    std::u16string characters(text.size(), u'\0');
    char* from = text.data();
    char* to = reinterpret_cast<char*>(characters.data());
    size_t fromLeft = text.size();
    size_t toLeft = characters.size() * sizeof(char16_t);
    iconv(converter, nullptr, nullptr, nullptr, nullptr);
    return iconv(converter, &from, &fromLeft, &to, &toLeft) == 0;
}

// It recurses, throws beyond its limit on levels and looks back from each comment, so it sees none but small
// documents.
void RequireAsLibrary(std::string_view text, const std::string& file) {
    Json::Value value;
    const bool taken = Json::Reader().parse(text.data(), text.data() + text.size(), value, true);
    Require(taken || text.find('/') != text.npos, "a document without comments is one to the library, too");
    Require(!taken || FormatJsonFile(value) == file, "value and comments are those that the library reads");
}

}  // namespace

void Try(std::string_view input) {
    Json::Value value;
    const bool taken = ParseJson(input, value);
    Require(IsJson(input) == taken && ParseJsonElements(input, [](const Json::Value&) {}) == taken,
            "all ways of reading take the same texts");
    if (!taken) {
        Require(value.isNull(), "what is no document leaves no value");
        return;
    }
    const std::string file = FormatJsonFile(value);
    const std::string line = FormatJsonLine(value);
    Require(line.size() <= 8 * input.size(),
            "a document is as large as its text, give or take escapes and digits");
    RequireAsLibrary(input, file);
    if (!IsUtf8(std::string(input)) || line.find("\\ufffd") != line.npos) {
        return;  // what isn't UTF-8, or half a surrogate pair, can't be written as it was read
    }
    Json::Value again;
    Require(ParseJson(line, again) && again == value, "a line is read as it was written");
    Require(FormatJsonLine(again) == line, "a line is written again as it was");
    Require(ParseJson(file, again) && again == value, "a file is read as it was written");
    Require(FormatJsonFile(again) == file, "a file is written again as it was, comments and all");
}
