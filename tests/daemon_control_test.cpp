// The control of the daemon by its script and by signals, and what child processes inherit from the program.
#include "daemon/daemon_control.h"

#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "mediaserv/media_service_handler.h"
#include "platform/system/last_error.h"
#include "platform/system/processes.h"
#include "platform/text/log_text.h"
#include "tests/appliance.h"

namespace fs = std::filesystem;

namespace {

using std::string_literals::operator""s;

class DaemonControlTest : public Appliance {};

TEST_F(DaemonControlTest, ModesRunTheScript) {
    using Handler = MediaServiceHandler;
    const int modes[] = {DMS_STOP, DMS_START, DMS_RESTART};
    for (const int mode : modes) {
        EXPECT_EQ(Handler::ControlDms(mode), 0);
    }
    for (const int unknown : {3, -1}) {
        VLIBCErrSetEx(0, "", 0);
        EXPECT_EQ(Handler::ControlDms(unknown), -1);
        EXPECT_EQ(VLIBCErrGet(), 0xD00);
    }
    EXPECT_EQ(ScriptCalls(), (Strings{"stop", "start START", "restart"}));
    for (const std::string script : {"exit 1\n", "kill -9 $$\n", ""}) {
        script.empty() ? void(fs::remove(SCRIPT)) : WriteProgram(SCRIPT, script);
        for (const int mode : modes) {
            EXPECT_EQ(Handler::ControlDms(mode), -1) << script;
        }
        EXPECT_EQ(Handler::RestartDms(), 0) << script;
    }
}

TEST_F(DaemonControlTest, AChildInheritsNothingFromTheRequest) {
    WriteProgram(
        SCRIPT, "cd " + ROOT + "; cat /proc/$$/environ > environment; exec > files; readlink /proc/$$/fd/*; true\n");
    Request request = PostRequest("save_browsing_page", {{"enableradio", "true"}});
    request.environment["LD_DEBUG_OUTPUT"] = "/nowhere";
    request.beforeExec = [] {
        signal(SIGCHLD, SIG_IGN);
        dup2(STDOUT_FILENO, 3);
    };
    EXPECT_EQ(Send(request).body, SAVED);
    // The list itself is open, and the shell has the script open.
    const std::string own = ROOT + "/files\n" + SCRIPT + "\n";
    EXPECT_EQ(ReadAll(ROOT + "/files"), "/dev/null\n" + own + "/dev/null\n");
    EXPECT_EQ(ReadAll(ROOT + "/environment"), "PATH=/usr/sbin:/usr/bin:/sbin:/bin" + std::string(1, '\0'));
}

// Runs cp, not a script: a shell would change its own signal mask.
TEST_F(DaemonControlTest, AChildHasDefaultSignals) {
    const std::string status = ROOT + "/status";
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    sigprocmask(SIG_SETMASK, &all, &before);
    signal(SIGTERM, SIG_IGN);
    EXPECT_EQ(VLIBCExec("/bin/cp", "/proc/self/status", status.c_str(), nullptr, nullptr), 0);
    signal(SIGTERM, SIG_DFL);
    sigprocmask(SIG_SETMASK, &before, nullptr);
    // The C library reserves the signals 32 and 33 and never blocks them.
    unsigned long long blocked = 0;
    unsigned long long ignored = 0;
    const std::string text = ReadAll(status);
    const size_t masks = std::min(text.find("SigBlk"), text.size());
    ASSERT_EQ(sscanf(text.c_str() + masks, "SigBlk: %llx SigIgn: %llx", &blocked, &ignored), 2);
    EXPECT_EQ((blocked | ignored) & ~0x180000000ULL, 0U);
}

TEST_F(DaemonControlTest, AScriptCannotDelayOrCorruptAResponse) {
    WriteProgram(SCRIPT, "set -e; echo printed; echo printed >&2; sleep 20 & echo $! > " + ROOT + "/left\n");
    const Response response = Post("save_browsing_page", {{"enableradio", "true"}});
    EXPECT_TRUE(response.output.starts_with("Content-Type:") && response.body == SAVED) << response.output;
    EXPECT_FALSE(response.Logged("printed"));
    EXPECT_LT(response.seconds, 10);
    EXPECT_EQ(kill(std::stoi(ReadAll(ROOT + "/left")), SIGTERM), 0);
}

TEST_F(DaemonControlTest, OnlyAValidPidFileSendsASignal) {
    const std::string file = ROOT + "/var/run/dms.pid";
    const std::string pid = std::to_string(getpid());
    const auto send = [&](const std::string& content) {
        WriteAll(file, content);
        return VLIBCProcSignalByPidFile(DMS_PID_FILE, SIGCONT);
    };
    for (const std::string& good : {pid, pid + "\n", "  " + pid + " \r\n"}) {
        EXPECT_EQ(send(good), 0) << good;
        EXPECT_EQ(Signals(), std::vector<int>{SIGCONT});
    }
    for (const std::string& bad : {std::string(), "0"s, "1"s, "-1"s, "-" + pid, pid + "x", pid + " " + pid,
             "99999999999999"s, "rubbish"s, '\0' + pid}) {
        EXPECT_EQ(send(bad), -1) << bad;
    }
    fs::remove(file);
    fs::create_directory(file);
    EXPECT_EQ(VLIBCProcSignalByPidFile(DMS_PID_FILE, SIGCONT), -1);
    EXPECT_EQ(Signals(), std::vector<int>{});
}

TEST_F(DaemonControlTest, EventTextsStayOnOneLine) {
    const Response response = Post("save_browsing_page", {{"musicdisplayinfo", "a\"\\\x1B[0m\r\x7F\xC3\xA4"}});
    EXPECT_EQ(response.log.front(), "event 0x11B00513 2 1 \"a\\\"\\\\\\x1B[0m\\x0D\\x7F\xC3\xA4\" \"\" \"\" \"\"");
    EXPECT_EQ(EscapeForLog(std::string(5000, 'x')).size(), 4096U);
}

}  // namespace
