// The settings file: what is read from a hand-edited one, and that a write loses nothing.
#include "settings/settings_file.h"

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <sstream>

#include "mediaserv/media_service_handler.h"
#include "tests/appliance.h"

namespace fs = std::filesystem;

namespace {

using std::string_literals::operator""s;

class SettingsFileTest : public Appliance {
  protected:
    static std::string Value(int size = 32) {
        std::string buffer(static_cast<size_t>(size), '*');
        const int found = VLIBCFileGetKeyValue(SETTINGS_FILE, "key", buffer.data(), size, 0);
        return found > 0 ? buffer.c_str() : buffer[0] == '*' ? "(none)" : "(spoilt)";
    }

    static int Set(const std::string& value, const std::string& key = "key") {
        return VLIBCFileSetKeyValue(SETTINGS_FILE, key.c_str(), value.c_str(), KV_LINE_FORMAT);
    }

    static pid_t Start(const std::function<bool()>& work) {
        const pid_t writer = fork();
        if (writer == 0) {
            _exit(work() ? 0 : 1);
        }
        return writer;
    }

    static bool EndedWell(pid_t writer) {
        int status = -1;
        return waitpid(writer, &status, 0) == writer && status == 0;
    }

    // Mode and owner of the settings file, which lies alone in its directory.
    static std::string Status() {
        struct stat status = {};
        EXPECT_EQ(stat(SETTINGS_FILE, &status), 0);
        EXPECT_EQ(std::distance(fs::directory_iterator(ETC), {}), 1);
        std::ostringstream text;
        text << std::oct << status.st_mode << std::dec << " " << status.st_uid << " " << status.st_gid;
        return text.str();
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
    // None, a folder, a FIFO.
    for (const auto make :
        {+[] { return 0; }, +[] { return mkdir(SETTINGS_FILE, 0700); }, +[] { return mkfifo(SETTINGS_FILE, 0600); }}) {
        fs::remove(SETTINGS);
        ASSERT_EQ(make(), 0);
        EXPECT_EQ(Value(), "(none)");
    }
}

TEST_F(SettingsFileTest, AWriteChangesOneLineAndNothingElse) {
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
    Status();
}

TEST_F(SettingsFileTest, ModeOwnerAndLinkStay) {
    umask(077);
    EXPECT_EQ(Set("v"), 0);
    EXPECT_EQ(Status(), "100644 " + std::to_string(geteuid()) + " " + std::to_string(getegid()));
    ASSERT_TRUE(chmod(SETTINGS_FILE, 02640) == 0 && (geteuid() != 0 || chown(SETTINGS_FILE, 1234, 4321) == 0));
    const std::string before = Status();
    EXPECT_EQ(Set("w"), 0);
    EXPECT_EQ(Status(), before);

    const std::string real = ROOT + "/real.conf";
    fs::rename(SETTINGS, real);
    fs::create_symlink("../../../../real.conf", SETTINGS);
    EXPECT_EQ(Set("linked"), 0);
    EXPECT_EQ(ReadAll(real), "key=\"linked\"\n");
    fs::remove(real);
    EXPECT_EQ(Set("nowhere"), -1);
    EXPECT_TRUE(fs::is_symlink(SETTINGS));
    fs::remove_all(ETC);
    EXPECT_EQ(Set("v"), -1);
    fs::create_directories(SETTINGS);
    EXPECT_EQ(Set("v"), -1);
    fs::remove(SETTINGS);
    ASSERT_EQ(mkfifo(SETTINGS_FILE, 0600), 0);
    EXPECT_EQ(Set("v"), -1);
    EXPECT_TRUE(fs::is_fifo(SETTINGS));
}

TEST_F(SettingsFileTest, WritersTakeTurns) {
    std::vector<pid_t> writers(64);
    for (size_t i = 0; i < writers.size(); ++i) {
        const std::string key = "key" + std::to_string(i);
        writers[i] = Start([&] { return Set("1", key) == 0 && Set("2", key) == 0 && Set("3", key) == 0; });
    }
    EXPECT_TRUE(std::ranges::all_of(writers, EndedWell));
    std::string content = ReadAll(SETTINGS);
    EXPECT_EQ(std::ranges::count(content, '\n'), writers.size());
    for (size_t i = 0; i < writers.size(); ++i) {
        EXPECT_TRUE(content.find("key" + std::to_string(i) + "=\"3\"\n") != content.npos) << i;
    }
}

TEST_F(SettingsFileTest, AKilledWriterLeavesAWholeFile) {
    const std::string rest = "# " + std::string(200000, 'x') + "\n";
    WriteAll(SETTINGS, rest + "key=\"a\"\n");
    for (useconds_t round = 0; round < 60; ++round) {
        const pid_t writer = Start([&] {
            while (Set("b") == 0 && Set("a") == 0) {
            }
            return false;
        });
        usleep(500 + round * 97);
        kill(writer, SIGKILL);
        EXPECT_FALSE(EndedWell(writer));
        const std::string content = ReadAll(SETTINGS);
        ASSERT_TRUE(content == rest + "key=\"a\"\n" || content == rest + "key=\"b\"\n");
    }
    EXPECT_EQ(Set("after"), 0);
    Status();  // nothing is left beside it
}

TEST_F(SettingsFileTest, AFullDiskKeepsTheOldFile) {
    const std::string old = "key=\"old\"\n# " + std::string(5000, 'x') + "\n";
    WriteAll(SETTINGS, old);
    EXPECT_TRUE(EndedWell(Start([] {
        const rlimit limit = {4096, 4096};
        setrlimit(RLIMIT_FSIZE, &limit);
        signal(SIGXFSZ, SIG_IGN);
        return Set("new") == -1;
    })));
    EXPECT_EQ(ReadAll(SETTINGS), old);
    Status();
}

}  // namespace
