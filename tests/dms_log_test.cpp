// The messages of minidlnad in the log of dms.
#include <fcntl.h>
#include <unistd.h>

#include "minidlna/log_reader.h"
#include "tests/appliance.h"

namespace {

class DmsLogTest : public Appliance {
  protected:
    static inline const std::string LOG = ROOT + "/var/log/dms.log";
    DmsLogTest() { log_.SetLevel(dms::Level::Info); }

    dms::DmsLog log_;
};

TEST_F(DmsLogTest, ReadsLevelAndMessage) {
    using enum dms::Level;
    const std::string head = "[2026/01/31 08:15:30] minidlna.c:138";
    const std::tuple<std::string, dms::Level, std::string> cases[] = {
        {head + ": warn: Starting MiniDLNA", Info, "Starting MiniDLNA"},
        {head + ": info: x", Info, "x"},
        {head + ": fatal: x", Error, "x"},
        {head + ": warn: a: error: b: fatal: c", Info, "a: error: b: fatal: c"},
        {head + ": error: ", Error, ""},
        {": error:", Warning, ": error:"},
        {head, Warning, head},
        {head + ": error: Media directory \"/x\" not accessible", Error,
            "Media directory \"/x\" not accessible (create the directory, let the user of minidlnad read it, or "
            "correct "
            "'media_dir' in " APPLIANCE_ROOT "/etc/minidlna.conf)"},
        {head + ": info: Media directory", Info, "Media directory"},
    };
    for (const auto& [line, level, text] : cases) {
        const dms::LogMessage message = dms::ReadLogLine(line);
        EXPECT_EQ(message.level, level) << line;
        EXPECT_EQ(message.text, "minidlnad: " + text);
    }
}

TEST_F(DmsLogTest, ForwardsLinesOfLimitedLength) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_NONBLOCK), 0);
    dms::LogReader reader(log_, ends[0]);
    const std::string sent =
        "a: info: first\n\n: error: \x1B[31mred\n: info: " + std::string(5000, 'x') + "\nincomplete";
    ASSERT_EQ(write(ends[1], sent.data(), sent.size()), static_cast<ssize_t>(sent.size()));
    reader.ForwardLines();
    std::string levels, texts;
    for (const std::string& line : Lines(ReadAll(LOG))) {
        const std::string text = line.substr(line.find(']') + 2);
        levels += text.substr(0, text.find(':')) + " ";
        texts += text.substr(0, 35) + "|";
        EXPECT_LT(line.size(), 4200U);
    }
    EXPECT_EQ(levels, "info error info warning ");
    EXPECT_EQ(texts,
        "info: minidlnad: first|error: minidlnad: \\x1B[31mred|info: minidlnad: xxxxxxxxxxxxxxxxxx|"
        "warning: minidlnad: xxxxxxxxxxxxxxx|");
    close(ends[0]);
    close(ends[1]);
}

TEST_F(DmsLogTest, RenamesALargeLog) {
    WriteAll(LOG, std::string(dms::MAX_LOG_SIZE - 1, 'x'));
    for (const char* text : {"last", "first"}) {
        log_.Write(dms::Level::Info, text);
    }
    EXPECT_TRUE(ReadAll(LOG + ".1").ends_with("info: last\n"));
    EXPECT_TRUE(ReadAll(LOG).ends_with("info: first\n"));
    EXPECT_LT(ReadAll(LOG).size(), 100U);
}

}  // namespace
