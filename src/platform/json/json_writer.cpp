#include "platform/json/json_writer.h"

// jsoncpp calls these writers deprecated. The format of files and responses is defined by them, and their
// successor, Json::StreamWriterBuilder, costs more time at every start.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

#include <json/writer.h>

#include <algorithm>
#include <ostream>
#include <streambuf>
#include <utility>

#include "platform/files/file_io.h"

namespace {

// A stream buffer that accepts at most MAX_FILE_SIZE + 1 bytes.
class BoundedText : public std::streambuf {
  public:
    std::string text;

  private:
    std::streamsize xsputn(const char* data, std::streamsize count) override {
        const size_t accepted = std::min(static_cast<size_t>(count), MAX_FILE_SIZE + 1 - text.size());
        text.append(data, accepted);
        return static_cast<std::streamsize>(accepted);
    }

    int_type overflow(int_type character) override {
        const char c = traits_type::to_char_type(character);
        return xsputn(&c, 1) == 1 ? character : traits_type::eof();
    }
};

}  // namespace

std::string FormatJsonLine(const Json::Value& value) { return Json::FastWriter().write(value); }

std::string FormatJsonFile(const Json::Value& value) {
    BoundedText content;
    std::ostream stream(&content);
    Json::StyledStreamWriter("\t").write(stream, value);
    return std::move(content.text);
}
