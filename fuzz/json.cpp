// Fuzzes the JSON reader and writer: an input is a JSON text.
#include <iconv.h>
#include <json/reader.h>

#include <string>

#include "fuzz/target.h"
#include "platform/json/json_reader.h"
#include "platform/json/json_writer.h"

// The deprecated reader of the library is the one that keeps comments at their places.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace {

// Converts to UTF-16, which also rejects characters above U+10FFFF.
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

// Compares with the reader of the library. Its time grows with the square of the number of comments, and it
// throws if a text is nested too deeply. So it reads only texts that ParseJson has accepted.
void RequireSameAsLibrary(std::string_view text, const std::string& file) {
    Json::Value value;
    const bool accepted = Json::Reader().parse(text.data(), text.data() + text.size(), value, true);
    Require(accepted || text.find('/') != text.npos, "the library also accepts a text without comments");
    Require(!accepted || FormatJsonFile(value) == file, "the library reads the same value and comments");
}

}  // namespace

void Try(std::string_view input) {
    Json::Value value;
    const bool accepted = ParseJson(input, value);
    Require(IsJson(input) == accepted && ParseJsonElements(input, [](const Json::Value&) {}) == accepted,
            "all functions accept the same texts");
    if (!accepted) {
        Require(value.isNull(), "a rejected text leaves no value");
        return;
    }
    const std::string file = FormatJsonFile(value);
    const std::string line = FormatJsonLine(value);
    Require(line.size() <= 8 * input.size(),
            "a written text is at most eight times as long as the one that was read");
    RequireSameAsLibrary(input, file);
    if (!IsUtf8(std::string(input)) || line.find("\\ufffd") != line.npos) {
        return;  // invalid UTF-8 and half a surrogate pair are replaced when written
    }
    Json::Value again;
    Require(ParseJson(line, again) && again == value, "reading a written line gives the same value");
    Require(FormatJsonLine(again) == line, "writing it again gives the same line");
    Require(ParseJson(file, again) && again == value, "reading a written file gives the same value");
    Require(FormatJsonFile(again) == file, "writing it again gives the same file, comments included");
}
