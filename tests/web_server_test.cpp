// The appliance in a box, used through its web server.
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "tests/appliance.h"

namespace {

std::string Shell(const std::string& command) {
    const std::string output = BINARY_DIRECTORY "/command.output";
    EXPECT_NE(system((command + " > " + output).c_str()), -1);
    return ReadAll(output);
}

class WebServerTest : public testing::Test {
  protected:
    void SetUp() override {
        const std::string command = "exec " SOURCE_DIRECTORY "/demo/appliance.sh --fresh --build " BINARY_DIRECTORY
                                    " --port any > " +
                                    OUTPUT + " 2>&1";
        box_ = fork();
        if (box_ == 0) {
            execl("/bin/bash", "bash", "-c", command.c_str(), nullptr);
        }
        for (int tenths = 0; tenths < 2000 && url_.empty() && waitpid(box_, nullptr, WNOHANG) == 0; ++tenths) {
            usleep(100000);
            const std::string output = ReadAll(OUTPUT);
            const std::string lines = output.substr(std::min(output.find("login: "), output.size()));
            if (const auto parts = Match("login: (.*)\nready: (.*)\n(.*\n)*", lines)) {
                login_ = "--user " + parts->at(0);
                url_ = parts->at(1);
            }
        }
        ASSERT_NE(url_, "") << ReadAll(OUTPUT);
    }

    void TearDown() override {
        kill(box_, SIGTERM);
        int status = 0;
        waitpid(box_, &status, 0);
        EXPECT_EQ(status, 0) << ReadAll(OUTPUT);
        EXPECT_EQ(Shell("pgrep -f '^" APPLIANCE_ROOT "/'"), "") << "the box left processes running";
    }

    std::string Curl(const std::string& arguments) const {
        return Shell("curl -s --noproxy '*' -w '%{http_code}' " + arguments + " " + url_);
    }
    std::string Post(const std::string& form) const { return Curl(login_ + " -d '" + form + "'"); }

    const std::string LOG = APPLIANCE_ROOT "/var/log/dms.log";
    const std::string OUTPUT = BINARY_DIRECTORY "/appliance.output";
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

    const auto expectSaved = [&](const std::string& settings) {
        EXPECT_EQ(Post("action=save_browsing_page&" + settings), std::string(SAVED) + "200");
    };
    const auto daemon = [] { return ReadAll(APPLIANCE_ROOT "/var/run/dms.pid"); };
    const auto timesRead = [&] { return Shell("grep -c settings: " + LOG); };
    EXPECT_TRUE(Post("action=applylogconf&dmslog=true").ends_with("200"));
    expectSaved("musicdisplayinfo=artist");
    const std::string running = daemon();
    const std::string before = timesRead();
    expectSaved("musicdisplayinfo=artist&sendthumb=true");
    for (int tenths = 0; tenths < 600 && timesRead() == before; ++tenths) {
        usleep(100000);
    }
    EXPECT_NE(timesRead(), before) << "the daemon was not reloaded";
    EXPECT_EQ(daemon(), running);
    expectSaved("musicdisplayinfo=title&sendthumb=true");
    EXPECT_NE(daemon(), running);
    EXPECT_EQ(kill(std::stoi(daemon()), 0), 0);
    EXPECT_NE(ReadAll(OUTPUT).find("event 0x11B00513 2 1 \"title\""), std::string::npos);

    // The daemon may write to its log at any time.
    const std::string logBefore = ReadAll(LOG);
    const std::string archive = BINARY_DIRECTORY "/downloaded.tgz";
    EXPECT_EQ(Curl("-o " + archive + " " + login_ + " -d action=downloadlog -w '%header{content-disposition}'"),
        "attachment; filename=dms.dmslog");
    const std::string downloaded = Shell("tar xzOf " + archive + " dms.log");
    EXPECT_TRUE(!logBefore.empty() && downloaded.starts_with(logBefore)) << downloaded;
    EXPECT_TRUE(ReadAll(LOG).starts_with(downloaded)) << downloaded;

    EXPECT_NE(Post("action=loadCollection").find("\"id\":\"-1\""), std::string::npos);
    EXPECT_NE(Post("action=loadClientList").find("macAddr"), std::string::npos);
    EXPECT_EQ(Post("action=clearClientList"), "{\"ClientList\":[],\"success\":true}\n200");
}

}  // namespace
