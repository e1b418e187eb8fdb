// The download and the replacement of menu templates.
#include <sys/resource.h>
#include <unistd.h>

#include <filesystem>

#include "tests/appliance.h"

namespace fs = std::filesystem;

namespace {

class MenuTemplatesTest : public Appliance {
  protected:
    static std::string Path(const std::string& name) { return ETC + "/menu_" + name + ".xml"; }
};

std::string TemplateHeader(uintmax_t size) {
    return "Content-Length: " + std::to_string(size) + "\r\nContent-type: application/xml\r\n\r\n";
}

TEST_F(MenuTemplatesTest, TemplatesComeBackByteForByte) {
    for (const size_t size : {0, 8192, 8193, 20000}) {
        std::string content(size, '\0');
        for (size_t i = 0; i < size; ++i) {
            content[i] = static_cast<char>(i % 257);
        }
        for (const std::string name : {"x", "", "..", "m\xC3\xBCsic a\"b"}) {
            WriteAll(Path(name), content);
            EXPECT_TRUE(Post("loadmenu", {{"template", name}}).output == TemplateHeader(size) + content) << name;
        }
    }
}

TEST_F(MenuTemplatesTest, ATemplateLargerThanMemoryStreams) {
    constexpr uintmax_t SIZE = 5ULL << 30U;
    WriteAll(Path("big"), "");
    fs::resize_file(Path("big"), SIZE);
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
    EXPECT_EQ(Send(request).log,
        std::vector<std::string>{"mediaserv (1030) FAILED TO WRITE SONG FILE:a\\x0Ab TO STREAM, reason=Broken pipe"});
    const std::string received = ReadAll(ROOT + "/received");
    EXPECT_TRUE(received.starts_with(TemplateHeader(SIZE)) && received.ends_with("300000000\n"));
}

TEST_F(MenuTemplatesTest, FailuresOfALoadAreLogged) {
    fs::create_directory(Path("directory"));
    fs::create_symlink("/proc/self/mem", Path("broken"));  // a regular file that can't be read
    const struct {
        const char* name;
        std::string output, log;
    } cases[] = {
        {"none", FAILURE, "1008) FAILED TO OPEN FILE:" + Path("none") + ", reason=No such file or directory"},
        {"n\"\\", FAILURE, "1008) FAILED TO OPEN FILE:" + Path("n\\\"\\\\") + ", reason=No such file"},
        {"directory", FAILURE, "1013) FAILED TO STAT FILE:" + Path("directory") + ", reason="},
        {"broken", TemplateHeader(0), "1024) FAILED TO READ SONG FILE:a\\x0Ab, reason=Input/output error"},
    };
    for (const auto& [name, output, log] : cases) {
        const Answer answer = Post("loadmenu", {{"template", name}, {"songpath", "a\nb"}});
        EXPECT_TRUE(answer.output.ends_with(output)) << answer.output;
        EXPECT_TRUE(answer.log.size() == 1 && answer.log[0].starts_with("mediaserv (" + log)) << log;
    }
}

TEST_F(MenuTemplatesTest, SaveReplacesTheFileAndRestartsOnlyWhenAsked) {
    Fields fields = {{"template", ""}, {"content", "<menu/>\n\xFF\""}};
    EXPECT_EQ(Post("savemenu", fields).body, SUCCESS);
    EXPECT_EQ(ReadAll(Path("")), fields[1].second);
    for (const char* restart : {"", "TRUE", "1", "true ", "true"}) {
        fields = {{"template", "x"}, {"content", restart}, {"restartserver", restart}};
        EXPECT_EQ(ScriptCalls(), std::vector<std::string>{}) << restart;
        EXPECT_EQ(Post("savemenu", fields).body, SUCCESS);
        EXPECT_TRUE(fs::exists(Path("x")) && ReadAll(Path("x")) == restart);
    }
    EXPECT_EQ(ScriptCalls(), std::vector<std::string>{"restart"});
    LetScriptFail();
    fields[1].second = "new";
    const Answer answer = Post("savemenu", fields);
    EXPECT_EQ(answer.body, FAILURE);
    EXPECT_EQ(answer.log, std::vector<std::string>{"mediaserv (1161) Failed to restart dalmira"});
    EXPECT_EQ(ReadAll(Path("x")), "new");
}

TEST_F(MenuTemplatesTest, OnlyATemplatesNameOpensAFile) {
    const std::string files[] = {ETC + "/menu_d/in.xml", ETC + "/out.xml", Path("a\nb"), Path("\x7F")};
    for (const std::string& file : files) {
        WriteAll(file, "old");
    }
    for (const char* name : {"d/in", "d/../out", "a\nb", "\x7F", ""}) {
        for (const auto& [action, line] : {std::pair("loadmenu", "999"), {"savemenu", "1144"}}) {
            const Answer answer = Post(action, {{"content", "new"}, {*name == '\0' ? "Template" : "template", name}});
            EXPECT_EQ(answer.body, FAILURE) << name;
            EXPECT_EQ(answer.log, std::vector<std::string>{std::string("mediaserv (") + line + ") Bad parameters."});
        }
    }
    for (const std::string& file : files) {
        EXPECT_EQ(ReadAll(file), "old");
    }
    EXPECT_TRUE(Post("savemenu", {{"template", "d"}}).Logged("(1144) Bad parameters."));
    fs::remove_all(ETC);
    EXPECT_TRUE(Post("savemenu", {{"template", "x"}, {"content", "y"}, {"restartserver", "true"}})
                    .Logged("mediaserv (1153) FAILED TO OPEN FILE:" + Path("x") + ", reason=No such file"));
    EXPECT_EQ(ScriptCalls(), std::vector<std::string>{});
}

}  // namespace
