// The whole appliance in a box, through a real web server.
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <memory>

#include "tests/appliance.h"

namespace {

int FreePort() {
    sockaddr_in address = {};
    socklen_t size = sizeof address;
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), size), 0);
    EXPECT_EQ(getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size), 0);
    close(listener);
    return ntohs(address.sin_port);
}

std::string Shell(const std::string& command) {
    const std::unique_ptr<FILE, int (*)(FILE*)> output(popen(command.c_str(), "re"), pclose);
    std::string text;
    for (int c = getc(output.get()); c != EOF; c = getc(output.get())) {
        text += static_cast<char>(c);
    }
    return text;
}

std::string LineAfter(const std::string& text, const std::string& start) {
    const size_t position = text.find("\n" + start);
    return position == std::string::npos
               ? ""
               : text.substr(position + 1 + start.size(), text.find('\n', position + 1) - position - 1 - start.size());
}

class WebServerTest : public testing::Test {
  protected:
    void SetUp() override {
        box_ = fork();
        if (box_ == 0) {
            const std::string command = SOURCE_DIRECTORY "/demo/appliance.sh --fresh --build " BINARY_DIRECTORY
                                                         " --port " +
                                        std::to_string(FreePort()) + " > " + OUTPUT + " 2>&1";
            execl("/bin/bash", "bash", "-c", ("exec " + command).c_str(), nullptr);
            _exit(127);
        }
        for (int tenths = 0; tenths < 600 && url_.empty() && waitpid(box_, nullptr, WNOHANG) == 0; ++tenths) {
            usleep(100000);
            url_ = LineAfter(ReadAll(OUTPUT), "ready: ");
        }
        ASSERT_NE(url_, "") << ReadAll(OUTPUT);
        login_ = "--user " + LineAfter(ReadAll(OUTPUT), "login: ");
    }

    void TearDown() override {
        kill(box_, SIGTERM);
        int status = 0;
        waitpid(box_, &status, 0);
        EXPECT_EQ(status, 0) << ReadAll(OUTPUT);
        EXPECT_EQ(Shell("pgrep -f '^" APPLIANCE_ROOT "/'"), "") << "left behind";
    }

    std::string Curl(const std::string& arguments) const {
        return Shell("curl -s --noproxy '*' -w '%{http_code}' " + arguments + " " + url_);
    }
    std::string Post(const std::string& form) const { return Curl(login_ + " -d '" + form + "'"); }

    const std::string OUTPUT = BINARY_DIRECTORY "/appliance.output";
    const std::string ROOT = APPLIANCE_ROOT;
    pid_t box_ = -1;
    std::string url_;
    std::string login_;
};

TEST_F(WebServerTest, ServesTheWholeSystem) {
    const std::string load = "-d action=load_browsing_page";
    EXPECT_TRUE(Curl(load).ends_with("401"));
    EXPECT_TRUE(Curl(load + " --user root:wrong").ends_with("401"));
    EXPECT_TRUE(Curl(login_ + " --get " + load).ends_with("403"));
    EXPECT_TRUE(Curl(login_ + " " + load).ends_with("\"success\":true}\n200"));

    const auto saves = [&](const std::string& settings) { return Post("action=save_browsing_page&" + settings); };
    const auto daemon = [&] { return ReadAll(ROOT + "/var/run/dms.pid"); };
    const auto timesRead = [&] { return Shell("cat " + ROOT + "/var/log/dms.log | grep -c settings:"); };
    const std::string saved = std::string(SAVED) + "200";
    EXPECT_TRUE(Post("action=applylogconf&dmslog=true").ends_with("200"));
    EXPECT_EQ(saves("musicdisplayinfo=artist"), saved);
    const std::string running = daemon();
    const std::string before = timesRead();
    EXPECT_EQ(saves("musicdisplayinfo=artist&sendthumb=true"), saved);
    for (int tenths = 0; tenths < 50 && timesRead() == before; ++tenths) {
        usleep(100000);
    }
    EXPECT_NE(timesRead(), before) << "the daemon was not reloaded";
    EXPECT_EQ(daemon(), running);
    EXPECT_EQ(saves("musicdisplayinfo=title&sendthumb=true"), saved);
    EXPECT_NE(daemon(), running);
    EXPECT_EQ(kill(std::stoi(daemon()), 0), 0);
    EXPECT_NE(ReadAll(OUTPUT).find("event 0x11B00513 2 1 \"title\""), std::string::npos);

    const std::string archive = BINARY_DIRECTORY "/downloaded.tgz";
    EXPECT_EQ(Shell("curl -s --noproxy '*' -D - -o " + archive + " " + login_ + " -d action=downloadlog " + url_ +
                    " | grep -ci '^content-disposition: attachment; filename=dms.dmslog'"),
        "1\n");
    EXPECT_NE(Shell("tar xzOf " + archive + " dms.log"), "");

    EXPECT_NE(Post("action=loadCollection").find("\"id\":\"-1\""), std::string::npos);
    EXPECT_NE(Post("action=loadClientList").find("macAddr"), std::string::npos);
    EXPECT_EQ(Post("action=clearClientList"), "{\"ClientList\":[],\"success\":true}\n200");
}

}  // namespace
