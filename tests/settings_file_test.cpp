// The settings file: hand-edited lines are read, and a write keeps all other lines.
#include "settings/settings_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "mediaserv/media_service_handler.h"
#include "platform/system/last_error.h"
#include "tests/appliance.h"

namespace fs = std::filesystem;

namespace {

using std::string_literals::operator""s;

class SettingsFileTest : public Appliance {
  protected:
    static std::string Value(int size = 32) {
        std::string buffer(static_cast<size_t>(size), '*');
        const int found = VLIBCFileGetKeyValue(SETTINGS_FILE, "key", buffer.data(), size, 0);
        return found > 0 ? buffer.c_str() : buffer[0] == '*' ? "(none)" : "(overwritten)";
    }

    static int Set(const std::string& value, const std::string& key = "key") {
        return VLIBCFileSetKeyValue(SETTINGS_FILE, key.c_str(), value.c_str(), KV_LINE_FORMAT);
    }
};

TEST_F(SettingsFileTest, HandEditedLinesAreRead) {
    const std::pair<std::string, std::string> cases[] = {{"key=\"value\"\r\n", "value"}, {"key=value\n", "value"},
        {"key= spaced value \r\n", " spaced value "}, {"key=\"a \"quoted\" word\" # remark\n", "a \"quoted\" word"},
        {"key=say \"x\"\n", "say \"x\""}, {"key=\"open\n", "open"}, {"key=\"\"", ""}, {"key=", ""}, {"key=\"\n", ""},
        {"key=first\nkey=second\n", "first"}, {"# key=no\n key=no\nkeys=no\nxkey=no\nkey =no\nKEY=no\nkey\n", "(none)"},
        {"\n\nother=1\nkey=last", "last"}, {"\xFF\0\x01\nkey=\"\xC3\xA4\xFF\"\n"s, "\xC3\xA4\xFF"},
        {"key=\"a\0b\"\n"s, "a"},
        {std::string(1 << 20, 'y') + "\nkey=\"" + std::string(10240, 'x') + "\"\n", std::string(31, 'x')}};
    for (const auto& [content, value] : cases) {
        WriteAll(SETTINGS, content);
        EXPECT_EQ(Value(), value) << content.substr(0, 80);
    }
    EXPECT_EQ(Value(1), "");
    EXPECT_EQ(VLIBCFileGetKeyValue(SETTINGS_FILE, "key", nullptr, 0, 0), -1);
    // In turn: no directory, no file, a directory and a FIFO in place of the file. Only without a file a write
    // succeeds.
    fs::remove_all(ETC);
    for (const auto make : {+[] { return 0; }, +[] { return mkdir(ETC.c_str(), 0755); },
             +[] { return mkdir(SETTINGS_FILE, 0700); }, +[] { return mkfifo(SETTINGS_FILE, 0600); }}) {
        fs::remove(SETTINGS);
        ASSERT_EQ(make(), 0);
        EXPECT_EQ(Value(), "(none)");
        const int written = Set("v");
        EXPECT_EQ(written == 0, fs::is_regular_file(SETTINGS));
    }
    EXPECT_TRUE(fs::is_fifo(SETTINGS));
}

TEST_F(SettingsFileTest, AWriteChangesOnlyOneLine) {
    const struct {
        std::string before, value, after;
    } cases[] = {{"", "v", "key=\"v\"\n"}, {"a=1\n", "v", "a=1\nkey=\"v\"\n"},
        {"# x\n\nkey=old\nb=\"2\"\r\n junk\n", "v", "# x\n\nkey=\"v\"\nb=\"2\"\r\n junk\n"},
        {"key=1\nb=2\nkey=3\nkey=4", "v", "key=\"v\"\nb=2\n"},
        {"keys=1\n#key=2\nb", "v", "keys=1\n#key=2\nb\nkey=\"v\"\n"}, {"\xFF\0\x01\n"s, "", "\xFF\0\x01\nkey=\"\"\n"s},
        {"key=1\n", "a\"b\\%s=", "key=\"a\"b\\%s=\"\n"}};
    for (const auto& [before, value, after] : cases) {
        WriteAll(SETTINGS, before);
        EXPECT_EQ(Set(value), 0);
        EXPECT_EQ(ReadAll(SETTINGS), after);
        EXPECT_EQ(Value(), value);
    }
    EXPECT_EQ(Set("x\nother=\"1"), -1);
    EXPECT_EQ(MediaServiceHandler::SetDmsLanguage(nullptr), -1);
    EXPECT_EQ(VLIBCErrGet(), 0xD00);
    EXPECT_GE(MediaServiceHandler::SetDmsLanguage("ger"), 0);
    EXPECT_EQ(ReadAll(SETTINGS), "key=\"a\"b\\%s=\"\nlanguage_mediaservice=\"ger\"\n");
}

}  // namespace
