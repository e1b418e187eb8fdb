// The download and the replacement of menu templates.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
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

TEST_F(MenuTemplatesTest, TemplatesAreLoadedByteForByte) {
    const std::pair<std::string, size_t> cases[] = {{"x", 0}, {"", 8192}, {"..", 8193}, {"m\xC3\xBCsic a\"b", 20000}};
    for (const auto& [name, size] : cases) {
        std::string content;
        for (size_t i = 0; i < size; ++i) {
            content += static_cast<char>(i % 257);
        }
        WriteAll(Path(name), content);
        EXPECT_TRUE(Post("loadmenu", {{"template", name}}).output == TemplateHeader(size) + content) << name;
    }
    umask(022);
    EXPECT_EQ(Post("savemenu", {{"template", "new"}, {"content", ""}}).body, SUCCESS);
    EXPECT_EQ(std::filesystem::status(Path("new")).permissions(), std::filesystem::perms(0644));
}

TEST_F(MenuTemplatesTest, ATemplateLargerThanMemoryIsStreamed) {
    constexpr uintmax_t SIZE = 5ULL << 30U;
    WriteAll(Path("big"), "");
    std::filesystem::resize_file(Path("big"), SIZE);
    Request request = PostRequest("loadmenu", {{"template", "big"}, {"songpath", "a\nb"}});
    request.beforeExec = [] {
        // The client disconnects after these bytes.
        const std::string client = "(head -c 300; head -c 300000000 | wc -c) > " + ROOT + "/received";
        dup2(fileno(popen(client.c_str(), "we")), STDOUT_FILENO);
#ifndef __SANITIZE_ADDRESS__
        const rlimit memory = {64U << 20U, 64U << 20U};
        setrlimit(RLIMIT_AS, &memory);
#endif
    };
    EXPECT_EQ(
        Send(request).log, Strings{"mediaserv (1030) FAILED TO WRITE SONG FILE:a\\x0Ab TO STREAM, reason=Broken pipe"});
    // A failed write of the last piece is logged as well.
    WriteAll(Path("big"), "small");
    request.beforeExec = [] { dup2(open("/dev/full", O_WRONLY | O_CLOEXEC), STDOUT_FILENO); };
    EXPECT_EQ(Send(request).log,
        Strings{"mediaserv (1030) FAILED TO WRITE SONG FILE:a\\x0Ab TO STREAM, reason=No space left on device"});
    const std::string received = ReadAll(ROOT + "/received");
    EXPECT_TRUE(received.starts_with(TemplateHeader(SIZE)) && received.ends_with("300000000\n"));
}

}  // namespace
