// The log of minidlnad: an input is the text of the log.
#include <algorithm>
#include <string>
#include <vector>

#include "fuzz/target.h"
#include "minidlna/log_reader.h"

namespace {

// Far more than escaped text, date, process ID and level need.
constexpr size_t MAX_OUTPUT_LINE = 4 * 4096 + 256;

// Returns the lines of a log that arrives in pieces of `size` bytes.
std::vector<std::string> Lines(std::string_view log, size_t size) {
    std::vector<std::string> lines;
    std::string pending;
    for (size_t at = 0; at < log.size(); at += size) {
        pending += log.substr(at, size);
        for (std::string line; dms::TakeLogLine(pending, line);) {
            if (!line.empty()) {
                lines.push_back(line);
            }
        }
        Require(pending.size() < dms::MAX_LOG_READER_LINE, "an incomplete line has a limited length");
    }
    return lines;
}

}  // namespace

void Try(std::string_view input) {
    const std::vector<std::string> lines = Lines(input, input.size() + 1);
    Require(lines == Lines(input, 7), "the lines do not depend on the pieces");
    for (const std::string& line : lines) {
        Require(line.size() <= dms::MAX_LOG_READER_LINE && input.find(line) != input.npos,
                "a line is a part of the log");
        const dms::LogMessage message = dms::ReadLogLine(line);
        Require(message.level != dms::Level::Off, "a message has a level");
        const std::string written = dms::FormatLogLine(message.level, 0, message.text);
        Require(written.size() <= MAX_OUTPUT_LINE && written.ends_with('\n'), "a line has a limited length");
        Require(std::count_if(written.begin(), written.end(), [](unsigned char c) { return c < 0x20; }) == 1,
                "a message is one line without control characters");
    }
}
