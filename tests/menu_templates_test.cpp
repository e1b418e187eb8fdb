// The download and the replacement of menu templates.
#include <sys/resource.h>
#include <unistd.h>

#include <filesystem>

#include "tests/appliance.h"

namespace {

class MenuTemplatesTest : public Appliance {
  protected:
    static std::string Path(const std::string& name) { return ETC + "/menu_" + name + ".xml"; }
};

std::string TemplateHeader(uintmax_t size) {
    return "Content-Length: " + std::to_string(size) + "\r\nContent-type: application/xml\r\n\r\n";
}

TEST_F(MenuTemplatesTest, TemplatesComeBackByteForByte) {
    const std::pair<std::string, size_t> cases[] = {{"x", 0}, {"", 8192}, {"..", 8193}, {"m\xC3\xBCsic a\"b", 20000}};
    for (const auto& [name, size] : cases) {
        std::string content;
        for (size_t i = 0; i < size; ++i) {
            content += static_cast<char>(i % 257);
        }
        WriteAll(Path(name), content);
        EXPECT_TRUE(Post("loadmenu", {{"template", name}}).output == TemplateHeader(size) + content) << name;
    }
}

TEST_F(MenuTemplatesTest, ATemplateLargerThanMemoryStreams) {
    constexpr uintmax_t SIZE = 5ULL << 30U;
    WriteAll(Path("big"), "");
    std::filesystem::resize_file(Path("big"), SIZE);
    Request request = PostRequest("loadmenu", {{"template", "big"}, {"songpath", "a\nb"}});
    request.beforeExec = [] {
        // A client that leaves when it has enough.
        const std::string client = "(head -c 300; head -c 300000000 | wc -c) > " + ROOT + "/received";
        dup2(fileno(popen(client.c_str(), "we")), STDOUT_FILENO);
#ifndef __SANITIZE_ADDRESS__
        const rlimit memory = {64U << 20U, 64U << 20U};
        setrlimit(RLIMIT_AS, &memory);
#endif
    };
    EXPECT_EQ(
        Send(request).log, Strings{"mediaserv (1030) FAILED TO WRITE SONG FILE:a\\x0Ab TO STREAM, reason=Broken pipe"});
    const std::string received = ReadAll(ROOT + "/received");
    EXPECT_TRUE(received.starts_with(TemplateHeader(SIZE)) && received.ends_with("300000000\n"));
}

TEST_F(MenuTemplatesTest, FailuresOfALoadAreLogged) {
    std::filesystem::create_directory(Path("directory"));
    std::filesystem::create_symlink("/proc/self/mem", Path("broken"));  // a regular file that can't be read
    const std::string cases[][3] = {
        {"n\"\\", FAILURE, "1008) FAILED TO OPEN FILE:" + Path("n\\\"\\\\") + ", reason=No such file or directory"},
        {"directory", FAILURE, "1013) FAILED TO STAT FILE:" + Path("directory") + ", reason="},
        {"broken", TemplateHeader(0), "1024) FAILED TO READ SONG FILE:a\\x0Ab, reason=Input/output error"}};
    for (const auto& [name, output, log] : cases) {
        const Answer answer = Post("loadmenu", {{"template", name}, {"songpath", "a\nb"}});
        EXPECT_TRUE(answer.output.ends_with(output)) << answer.output;
        EXPECT_TRUE(answer.log.size() == 1 && answer.log[0].starts_with("mediaserv (" + log)) << log;
    }
}

TEST_F(MenuTemplatesTest, SaveReplacesTheFileAndRestartsOnlyWhenAsked) {
    EXPECT_EQ(Post("savemenu", {{"template", ""}, {"content", "<menu/>\n\xFF\""}}).body, SUCCESS);
    EXPECT_EQ(ReadAll(Path("")), "<menu/>\n\xFF\"");
    for (const std::string restart : {"TRUE", "1", "true ", "", "true"}) {
        EXPECT_EQ(ScriptCalls(), Strings{}) << restart;
        const Fields fields = {{"template", "x"}, {"content", restart}, {"restartserver", restart}};
        EXPECT_EQ(Post("savemenu", fields).body, SUCCESS);
        EXPECT_TRUE(std::filesystem::exists(Path("x")) && ReadAll(Path("x")) == restart);
    }
    EXPECT_EQ(ScriptCalls(), Strings{"restart"});
    LetScriptFail();
    const Answer answer = Post("savemenu", {{"template", "x"}, {"content", "new"}, {"restartserver", "true"}});
    EXPECT_EQ(answer.body, FAILURE);
    EXPECT_EQ(answer.log, Strings{"mediaserv (1161) Failed to restart dalmira"});
    EXPECT_EQ(ReadAll(Path("x")), "new");
}

TEST_F(MenuTemplatesTest, OnlyATemplatesNameOpensAFile) {
    const auto expectRefused = [](const std::string& action, const Fields& fields) {
        const Answer answer = Post(action, fields);
        EXPECT_EQ(answer.body, FAILURE);
        EXPECT_EQ(answer.log,
            Strings{std::string("mediaserv (") + (action == "loadmenu" ? "999" : "1144") + ") Bad parameters."});
    };
    for (const std::string name : {"d/in", "d/../in", "a\nb", "\x7F"}) {
        WriteAll(Path(name), "old");
        expectRefused("loadmenu", {{"template", name}});
        expectRefused("savemenu", {{"template", name}, {"content", "new"}});
        EXPECT_EQ(ReadAll(Path(name)), "old");
    }
    expectRefused("loadmenu", {{"Template", "d"}});
    expectRefused("savemenu", {{"content", "new"}});
    expectRefused("savemenu", {{"template", "d"}});
    std::filesystem::remove_all(ETC);
    EXPECT_TRUE(Post("savemenu", {{"template", "x"}, {"content", "y"}, {"restartserver", "true"}})
                    .Logged("mediaserv (1153) FAILED TO OPEN FILE:" + Path("x") + ", reason=No such file"));
    EXPECT_EQ(ScriptCalls(), Strings{});
}

}  // namespace
