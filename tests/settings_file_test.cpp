// The settings file: what is read from a hand-edited one, and that a write loses nothing.
#include "settings/settings_file.h"

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "mediaserv/media_service_handler.h"
#include "tests/appliance.h"

namespace fs = std::filesystem;

namespace {

class SettingsFileTest : public Appliance {
  protected:
    static std::string Value(int size = 32) {
        std::string buffer(static_cast<size_t>(size), '*');
        const int found = VLIBCFileGetKeyValue(SETTINGS_FILE, "key", buffer.data(), size, 0);
        return found > 0 ? buffer.c_str() : buffer[0] == '*' ? "(none)" : "(spoilt)";
    }

    static int Set(const std::string& value, const char* key = "key") {
        return VLIBCFileSetKeyValue(SETTINGS_FILE, key, value.c_str(), KV_LINE_FORMAT);
    }
};

TEST_F(SettingsFileTest, HandEditedLinesAreRead) {
    using std::string_literals::operator""s;
    const struct {
        std::string content, value;
    } cases[] = {
        {"key=\"value\"\n", "value"},
        {"key=\"value\"", "value"},
        {"key=\"value\"\r\n", "value"},
        {"key=value\n", "value"},
        {"key=value\r\n", "value"},
        {"key= spaced value \n", " spaced value "},
        {"key=\"a \"quoted\" word\"\n", "a \"quoted\" word"},
        {"key=\"value\" # remark\n", "value"},
        {"key=say \"x\"\n", "say \"x\""},
        {"key=\"open\n", "open"},
        {"key=\"\"\n", ""},
        {"key=\n", ""},
        {"key=", ""},
        {"key=\"\n", ""},
        {"key=first\nkey=second\n", "first"},
        {"# key=no\n key=no\nkeys=no\nxkey=no\nkey =no\nKEY=no\nkey\n", "(none)"},
        {"\n\nother=1\nkey=last", "last"},
        {"", "(none)"},
        {"\xFF\0\x01\nkey=\"\xC3\xA4\xFF\"\n"s, "\xC3\xA4\xFF"},
        {"key=\"a\0b\"\n"s, "a"},
        {"key=\"" + std::string(10240, 'x') + "\"\n", std::string(31, 'x')},
        {std::string(1 << 20, 'y') + "\nkey=v\n", "v"},
    };
    for (const auto& [content, value] : cases) {
        WriteAll(SETTINGS, content);
        EXPECT_EQ(Value(), value) << content.substr(0, 80);
    }
    WriteAll(SETTINGS, "key=abc\n");
    EXPECT_EQ(Value(3), "ab");
    EXPECT_EQ(Value(1), "");
    EXPECT_EQ(VLIBCFileGetKeyValue(SETTINGS_FILE, "key", nullptr, 0, 0), -1);
    fs::remove(SETTINGS);
    EXPECT_EQ(Value(), "(none)");
    fs::create_directory(SETTINGS);
    EXPECT_EQ(Value(), "(none)");
    fs::remove(SETTINGS);
    ASSERT_EQ(mkfifo(SETTINGS_FILE, 0600), 0);
    EXPECT_EQ(Value(), "(none)");
}

TEST_F(SettingsFileTest, AWriteChangesOneLineAndNothingElse) {
    using std::string_literals::operator""s;
    const struct {
        std::string before, value, after;
    } cases[] = {
        {"", "v", "key=\"v\"\n"},
        {"a=1\n", "v", "a=1\nkey=\"v\"\n"},
        {"a=1", "v", "a=1\nkey=\"v\"\n"},
        {"# x\n\nkey=old\nb=\"2\"\r\n junk\n", "v", "# x\n\nkey=\"v\"\nb=\"2\"\r\n junk\n"},
        {"key=1\nb=2\nkey=3\nkey=4", "v", "key=\"v\"\nb=2\n"},
        {"keys=1\n#key=2\nb", "v", "keys=1\n#key=2\nb\nkey=\"v\"\n"},
        {"\xFF\0\x01\n"s, "", "\xFF\0\x01\nkey=\"\"\n"s},
        {"key=1\n", "a\"b\\%s=", "key=\"a\"b\\%s=\"\n"},
    };
    for (const auto& [before, value, after] : cases) {
        WriteAll(SETTINGS, before);
        EXPECT_EQ(Set(value), 0);
        EXPECT_EQ(ReadAll(SETTINGS), after);
        EXPECT_EQ(Value(), value);
    }
    EXPECT_EQ(Set("x\n"), -1);
    EXPECT_EQ(Set("x\nother=\"1"), -1);
    EXPECT_EQ(Value(), "a\"b\\%s=");
    EXPECT_EQ(MediaServiceHandler::SetDmsLanguage(nullptr), -1);
    EXPECT_EQ(VLIBCErrGet(), 0xD00);
    EXPECT_EQ(ReadAll(SETTINGS), cases[std::size(cases) - 1].after);
    EXPECT_GE(MediaServiceHandler::SetDmsLanguage("ger"), 0);
    EXPECT_TRUE(ReadAll(SETTINGS).ends_with("language_mediaservice=\"ger\"\n"));
    EXPECT_EQ(std::distance(fs::directory_iterator(ETC), {}), 1);
}

TEST_F(SettingsFileTest, ModeOwnerAndLinkStay) {
    struct stat status = {};
    umask(077);
    EXPECT_EQ(Set("v"), 0);
    ASSERT_EQ(stat(SETTINGS_FILE, &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0644U);

    const bool root = geteuid() == 0;
    ASSERT_EQ(chmod(SETTINGS_FILE, 0640), 0);
    ASSERT_EQ(chown(SETTINGS_FILE, root ? 1234 : geteuid(), root ? 4321 : getegid()), 0);
    EXPECT_EQ(Set("w"), 0);
    ASSERT_EQ(stat(SETTINGS_FILE, &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0640U);
    EXPECT_EQ(status.st_uid, root ? 1234 : geteuid());
    EXPECT_EQ(status.st_gid, root ? 4321 : getegid());

    const std::string real = ROOT + "/real.conf";
    fs::rename(SETTINGS, real);
    fs::create_symlink("../../../../real.conf", SETTINGS);
    EXPECT_EQ(Set("linked"), 0);
    EXPECT_TRUE(fs::is_symlink(SETTINGS));
    EXPECT_EQ(ReadAll(real), "key=\"linked\"\n");

    fs::remove(real);
    EXPECT_EQ(Set("nowhere"), -1);
    EXPECT_TRUE(fs::is_symlink(SETTINGS));
    fs::remove_all(ETC);
    EXPECT_EQ(Set("v"), -1);
    fs::create_directories(SETTINGS);
    EXPECT_EQ(Set("v"), -1);
    EXPECT_TRUE(fs::is_directory(SETTINGS));
}

TEST_F(SettingsFileTest, WritersTakeTurns) {
    constexpr int WRITERS = 64;
    std::vector<pid_t> writers;
    for (int i = 0; i < WRITERS; ++i) {
        const pid_t writer = fork();
        if (writer == 0) {
            const std::string key = "key" + std::to_string(i);
            bool good = true;
            for (const char* value : {"1", "2", "3"}) {
                good = good && Set(value, key.c_str()) == 0;
            }
            _exit(good ? 0 : 1);
        }
        writers.push_back(writer);
    }
    for (const pid_t writer : writers) {
        int status = 0;
        waitpid(writer, &status, 0);
        EXPECT_EQ(status, 0);
    }
    const std::string content = ReadAll(SETTINGS);
    EXPECT_EQ(std::count(content.begin(), content.end(), '\n'), WRITERS);
    for (int i = 0; i < WRITERS; ++i) {
        EXPECT_NE(content.find("key" + std::to_string(i) + "=\"3\"\n"), std::string::npos) << i;
    }
}

TEST_F(SettingsFileTest, AKilledWriterLeavesAWholeFile) {
    const std::string rest = "# " + std::string(200000, 'x') + "\n";
    const std::string values[] = {std::string(1000, 'a'), std::string(1000, 'b')};
    WriteAll(SETTINGS, rest + "key=\"" + values[0] + "\"\n");
    for (int round = 0; round < 60; ++round) {
        const pid_t writer = fork();
        if (writer == 0) {
            for (int i = 0;; i = 1 - i) {
                Set(values[i]);
            }
        }
        usleep(static_cast<useconds_t>(500 + round * 97));
        kill(writer, SIGKILL);
        waitpid(writer, nullptr, 0);
        const std::string content = ReadAll(SETTINGS);
        ASSERT_TRUE(content == rest + "key=\"" + values[0] + "\"\n" || content == rest + "key=\"" + values[1] + "\"\n");
    }
    EXPECT_EQ(Set("after"), 0);
    EXPECT_EQ(Value(), "after");
    EXPECT_LE(std::distance(fs::directory_iterator(ETC), {}), 1);
}

TEST_F(SettingsFileTest, AFullDiskKeepsTheOldFile) {
    const std::string old = "key=\"old\"\n# " + std::string(5000, 'x') + "\n";
    WriteAll(SETTINGS, old);
    const pid_t writer = fork();
    if (writer == 0) {
        const rlimit limit = {4096, 4096};
        setrlimit(RLIMIT_FSIZE, &limit);
        signal(SIGXFSZ, SIG_IGN);
        _exit(Set("new") == -1 ? 0 : 1);
    }
    int status = 0;
    waitpid(writer, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(ReadAll(SETTINGS), old);
    EXPECT_EQ(std::distance(fs::directory_iterator(ETC), {}), 1);
}

}  // namespace
