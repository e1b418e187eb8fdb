// The log's switch, the download of the logs and their deletion.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <regex>

#include "tests/appliance.h"

namespace fs = std::filesystem;

namespace {

constexpr char DONE[] = "{\"data\":null,\"success\":true}\n";

class LogTest : public Appliance {
  protected:
    const std::string LOGS = ROOT + "/var/log";
    const std::string WEB_LOGS = LOGS + "/lighttpd";
    const std::string DIAGNOSTICS = ETC + "/etc.log";

    static int Shell(const std::string& command) { return std::system(("cd " + ROOT + "; " + command).c_str()); }
};

std::string Level(const std::string& value) { return "loglevel_mediaservice=\"" + value + "\"\n"; }

TEST_F(LogTest, TheSwitchIsWrittenAndRestarts) {
    using Events = std::vector<std::string>;
    const Events on = {"0x11B00514", "0x11B00508"};
    const Events off = {"0x11B00515", "0x11B00508"};
    const struct {
        std::string before;
        Fields fields;
        std::string after;
        Events events = {};
    } cases[] = {{"", {{"dmslog", "true"}}, Level("3"), on}, {Level(""), {{"dmslog", "TRUE"}}, Level("3"), on},
        {Level("3"), {{"dmslog", "false"}}, Level(""), off}, {Level("debug"), {{"dmslog", "yes"}}, Level(""), off},
        {Level("no"), {}, Level(""), off}, {Level("5"), {{"dmslog", "true"}}, Level("5")}, {"", {}, ""},
        {Level(""), {{"dmslog", "1"}}, Level("")}};
    for (const auto& [before, fields, after, events] : cases) {
        WriteAll(SETTINGS, before);
        EXPECT_EQ(Post("loadlogconf").Json()["data"]["dmslog"], events == off || before == Level("5"));
        const Answer answer = Post("applylogconf", fields);
        EXPECT_EQ(answer.body, DONE);
        EXPECT_EQ(ReadAll(SETTINGS), after);
        EXPECT_EQ(answer.Events(), events);
        EXPECT_EQ(ScriptCalls().size(), events.size() / 2) << before;
    }
    WriteAll(SETTINGS, Level("3"));
    EXPECT_EQ(Send(OnFullDisk(PostRequest("applylogconf"))).body, Error(1101));
    EXPECT_EQ(ScriptCalls(), std::vector<std::string>{});
    LetScriptFail();
    const Answer answer = Post("applylogconf");
    EXPECT_EQ(answer.body, Error(0));
    EXPECT_EQ(answer.Events(), Events{off[0]});
    EXPECT_EQ(answer.log.back(), "mediaserv:1109 Failed to restart dalmira");
    EXPECT_EQ(ReadAll(SETTINGS), Level(""));
}

TEST_F(LogTest, SwitchingOnMakesTheWebLogDirectory) {
    fs::remove(WEB_LOGS);
    Request request = OnFullDisk(PostRequest("applylogconf", {{"dmslog", "true"}}));
    request.beforeExec = [limit = request.beforeExec] {
        limit();
        umask(0027);
    };
    // It stays when the setting can't be written.
    EXPECT_EQ(Send(request).body, Error(1095));
    struct stat status = {};
    ASSERT_EQ(stat(WEB_LOGS.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode, S_IFDIR | 0750U);
    EXPECT_TRUE(geteuid() != 0 || (status.st_uid == 1024 && status.st_gid == 100));
    fs::remove(WEB_LOGS);
    WriteAll(WEB_LOGS, "what is there stays");
    EXPECT_EQ(Post("applylogconf", {{"dmslog", "true"}}).body, DONE);
    ASSERT_EQ(stat(WEB_LOGS.c_str(), &status), 0);
    EXPECT_TRUE(S_ISREG(status.st_mode) && status.st_uid == geteuid());
}

TEST_F(LogTest, ClearingDeletesTheLogsAloneAndAnswersBeforeTheRestart) {
    const std::string out = ROOT + "/out";
    WriteProgram(SCRIPT, "cp " + out + " " + out + "_at_script; test ! -e " + ROOT + "/script_fails\n");
    Request request = PostRequest("clearlog");
    request.beforeExec = [&] {
        dup2(open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600), STDOUT_FILENO);
    };
    const auto clear = [&](const std::string& body) {
        fs::remove(out + "_at_script");
        const Answer answer = Send(request);
        EXPECT_TRUE(ReadAll(out).ends_with("\r\n\r\n" + body)) << ReadAll(out);
        EXPECT_EQ(ReadAll(out + "_at_script"), ReadAll(out));
        return answer.log.back();
    };
    for (const char* file : {"/dms.log", "/dms.log.1.gz", "/other.log", "/lighttpd/access.log"}) {
        WriteAll(LOGS + file, "");
    }
    const std::string restarted = R"(event 0x11B00508 2 1 "" "" "" "")";
    EXPECT_EQ(clear(DONE), restarted);
    EXPECT_TRUE(
        fs::is_empty(WEB_LOGS) && fs::remove(LOGS + "/other.log") && fs::remove(WEB_LOGS) && fs::is_empty(LOGS));
    EXPECT_EQ(clear(DONE), restarted);  // nothing to delete
    fs::create_directory(LOGS + "/dms.logs");
    EXPECT_EQ(clear(Error(976)), restarted);
    LetScriptFail();
    EXPECT_EQ(clear(Error(976)), "mediaserv:983 Failed to restart dalmira");
}

TEST_F(LogTest, DownloadHoldsLogsDiagnosticsAndSettings) {
    WriteAll(LOGS + "/dms.log", "daemon");
    WriteAll(ROOT + "/elsewhere", "behind a link");
    fs::create_symlink(ROOT + "/elsewhere", LOGS + "/dms.log.1");
    WriteAll(WEB_LOGS + "/access.log", "web");
    WriteAll(LOGS + "/other.log", "");
    WriteAll(ETC + "/menu_a b.xml", "<menu/>");
    WriteAll(ROOT + "/volume1/dms.core", "");
    ASSERT_EQ(Shell("cp /bin/sleep dms; ./dms 60 & echo $! > pid; until grep -q dms /proc/$!/comm; do :; done"), 0);
    const std::string pid = std::to_string(std::stoi(ReadAll(ROOT + "/pid")));
    const Answer answer = Post("downloadlog");
    kill(std::stoi(pid), SIGKILL);
    EXPECT_EQ(answer.header,
        "Content-Disposition: attachment; filename=dms.dmslog\nAccept-Ranges: none\n"
        "Content-Type: application/force-download; name=\"dms.tgz\"\r\nCache-Control: no-store\r\n"
        "X-Content-Type-Options: nosniff\r\n\r\n");
    EXPECT_FALSE(fs::exists(DIAGNOSTICS));
    WriteAll(ROOT + "/archive", answer.body);
    ASSERT_EQ(Shell("mkdir unpacked && cd unpacked && tar xzf ../archive && mv ." + ETC +
                    " package; find . -type f |"
                    "LC_ALL=C sort | while read -r file; do echo \"$file: $(cat \"$file\")\"; done > ../listing"),
        0);
    const std::string listing = ReadAll(ROOT + "/listing");
    const std::string expected =
        "./dms.log: daemon\n./dms.log.1: behind a link\n./lighttpd/access.log: web\n"
        "./package/etc.log: PID of dms:\n(.* )?" +
        pid +
        "( .*)?\nPID of lighttpd:\n([0-9 ]+\n)?-{16}\n-rw.*/volume1/dms.core\n"
        "./package/menu_a b.xml: <menu/>\n";
    EXPECT_TRUE(std::regex_match(listing, std::regex(expected))) << listing;
}

TEST_F(LogTest, FailuresOfTheDownloadLeaveNoDiagnostics) {
#ifndef __SANITIZE_ADDRESS__  // the sanitizer has pipes of its own
    Request request = PostRequest("downloadlog");
    request.beforeExec = [] {
        const rlimit tooFewForAPipe = {4, 4};
        setrlimit(RLIMIT_NOFILE, &tooFewForAPipe);
    };
    const Answer answer = Send(request);
    EXPECT_EQ(answer.body, Error(954));
    EXPECT_EQ(answer.log.back(), "mediaserv:953 Failed to open pipe /bin/tar czhO dms.log* lighttpd " + ETC);
    EXPECT_FALSE(fs::exists(DIAGNOSTICS));
#endif
    fs::remove_all(LOGS);
    EXPECT_EQ(Post("downloadlog").body, Error(946));
    EXPECT_FALSE(fs::exists(DIAGNOSTICS));
}

TEST_F(LogTest, DownloadStreams) {
    const Answer withoutLogs = Post("downloadlog");
    EXPECT_GT(withoutLogs.body.size(), 20U);
    ASSERT_EQ(Shell("head -c 40000000 /dev/urandom > var/log/dms.log"), 0);
    const Answer answer = Post("downloadlog");
    EXPECT_GT(answer.body.size(), 40000000U);
    EXPECT_LT(answer.peakKilobytes, withoutLogs.peakKilobytes + (8 << 10));
}

TEST_F(LogTest, AClientThatLeavesEndsTheDownload) {
    WriteAll(LOGS + "/dms.log", "");
    fs::resize_file(LOGS + "/dms.log", 100ULL << 30U);
    Request request = PostRequest("downloadlog");
    request.beforeExec = [] {
        dup2(fileno(popen(("head -c 20000 > " + ROOT + "/received").c_str(), "we")), STDOUT_FILENO);
    };
    // A tar left behind would hold the error output open.
    EXPECT_LT(Send(request).seconds, 10);
    EXPECT_EQ(fs::file_size(ROOT + "/received"), 20000U);
    EXPECT_FALSE(fs::exists(DIAGNOSTICS));
}

}  // namespace
