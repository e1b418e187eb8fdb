// The control of the daemon: its script, its signals, and what a child gets from this program.
#include "daemon/daemon_control.h"

#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <sstream>

#include "mediaserv/media_service_handler.h"
#include "platform/system_library.h"
#include "tests/appliance.h"

namespace {

class DaemonControlTest : public Appliance {};

TEST_F(DaemonControlTest, ModesRunTheScript) {
    using Handler = MediaServiceHandler;
    EXPECT_EQ(Handler::ControlDms(DMS_STOP), 0);
    EXPECT_EQ(Handler::ControlDms(DMS_START), 0);
    EXPECT_EQ(Handler::ControlDms(DMS_RESTART), 0);
    EXPECT_EQ(ScriptCalls(), (std::vector<std::string>{"stop", "start START", "restart"}));
    for (const int unknown : {3, -1, 1000}) {
        VLIBCErrSetEx(0, "", 0);
        EXPECT_EQ(Handler::ControlDms(unknown), -1);
        EXPECT_EQ(VLIBCErrGet(), 0xD00);
    }
    EXPECT_EQ(ScriptCalls(), std::vector<std::string>{});
    LetScriptFail();
    for (const int mode : {DMS_STOP, DMS_START, DMS_RESTART}) {
        EXPECT_EQ(Handler::ControlDms(mode), -1);
    }
    EXPECT_EQ(Handler::RestartDms(), 0);
    std::filesystem::remove(SCRIPT);
    EXPECT_EQ(Handler::ControlDms(DMS_START), -1);
    WriteProgram(SCRIPT, "kill -9 $$\n");
    EXPECT_EQ(Handler::ControlDms(DMS_STOP), -1);
}

TEST_F(DaemonControlTest, AChildGetsNothingOfTheRequest) {
    WriteProgram(SCRIPT, "ls -l /proc/$$/fd > " + ROOT + "/fds; env > " + ROOT + "/env; grep -E 'Sig(Ign|Blk)' " +
                             "/proc/self/status > " + ROOT + "/signals\n");
    Request request = PostRequest("save_browsing_page", {{"enableradio", "true"}});
    request.environment["HTTP_COOKIE"] = "secret";
    request.environment["LD_DEBUG_OUTPUT"] = "/nowhere";
    request.beforeExec = [] {
        signal(SIGCHLD, SIG_IGN);
        sigset_t all;
        sigfillset(&all);
        sigprocmask(SIG_SETMASK, &all, nullptr);
        dup2(STDOUT_FILENO, 77);
    };
    EXPECT_EQ(Send(request).body, SAVED);
    std::istringstream descriptors(ReadAll(ROOT + "/fds"));
    int count = 0;
    for (std::string line; std::getline(descriptors, line);) {
        if (line.find(" -> ") != std::string::npos && line.find("S86vexadms.sh") == std::string::npos) {
            EXPECT_TRUE(line.ends_with("/dev/null") || line.find("/fds") != std::string::npos) << line;
            ++count;
        }
    }
    EXPECT_GE(count, 3);
    const std::string environment = ReadAll(ROOT + "/env");
    EXPECT_NE(environment.find("PATH=/usr/sbin:/usr/bin:/sbin:/bin\n"), std::string::npos);
    EXPECT_EQ(environment.find("HTTP_"), std::string::npos);
    EXPECT_EQ(environment.find("LD_"), std::string::npos);
    // 32 and 33 are the C library's own: nobody can set them.
    unsigned long long blocked = 0;
    unsigned long long ignored = 0;
    ASSERT_EQ(sscanf(ReadAll(ROOT + "/signals").c_str(), "SigBlk: %llx SigIgn: %llx", &blocked, &ignored), 2);
    EXPECT_EQ((blocked | ignored) & ~0x180000000ULL, 0U);
}

TEST_F(DaemonControlTest, AScriptCannotDelayOrCorruptAnAnswer) {
    WriteProgram(SCRIPT, "echo printed; echo printed >&2; sleep 20 & echo $! > " + ROOT + "/left\n");
    const Answer answer = Post("save_browsing_page", {{"enableradio", "true"}});
    EXPECT_EQ(answer.body, SAVED);
    EXPECT_FALSE(answer.Logged("printed"));
    EXPECT_LT(answer.seconds, 10);
    const pid_t left = std::stoi(ReadAll(ROOT + "/left"));
    EXPECT_EQ(kill(left, SIGTERM), 0);
}

TEST_F(DaemonControlTest, OnlyAProcessNumberIsSignalled) {
    const std::string file = ROOT + "/var/run/dms.pid";
    const std::string pid = ReadAll(file).substr(0, ReadAll(file).size() - 1);
    const auto send = [&](const std::string& content) {
        WriteAll(file, content);
        return VLIBCProcSignalByPidFile(DMS_PID_FILE, SIGCONT);
    };
    for (const std::string& good : {pid, pid + "\n", pid + " \r\n"}) {
        EXPECT_EQ(send(good), 0) << good;
        EXPECT_EQ(Signals(), std::vector<int>{SIGCONT});
    }
    for (const std::string& bad :
        {std::string("-") + pid, std::string(), std::string("0"), std::string("1"), std::string("-1"), pid + "x",
            pid + " " + pid, std::string("99999999999999"), std::string("rubbish"), std::string(1, '\0') + pid}) {
        EXPECT_EQ(send(bad), -1) << bad;
    }
    std::filesystem::remove(file);
    EXPECT_EQ(VLIBCProcSignalByPidFile(DMS_PID_FILE, SIGCONT), -1);
    std::filesystem::create_directory(file);
    EXPECT_EQ(VLIBCProcSignalByPidFile(DMS_PID_FILE, SIGCONT), -1);
    EXPECT_EQ(Signals(), std::vector<int>{});
}

TEST_F(DaemonControlTest, EventTextsStayOnOneLine) {
    EXPECT_EQ(EscapeForLog("a\"b\\c\nd\x7F\t\xC3\xA4"), "a\\\"b\\\\c\\x0Ad\\x7F\\x09\xC3\xA4");
    const Answer answer = Post("save_browsing_page", {{"musicdisplayinfo", "a\"\\\x1B[0m\r"}});
    EXPECT_EQ(answer.log.front(), R"(event 0x11B00513 2 1 "a\"\\\x1B[0m\x0D" "" "" "")");
}

}  // namespace
