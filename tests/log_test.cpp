// The directory of the web server's logs, and the download and deletion of logs.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "tests/appliance.h"

namespace fs = std::filesystem;

namespace {

constexpr char DONE[] = "{\"data\":null,\"success\":true}\n";

class LogTest : public Appliance {
  protected:
    const std::string LOGS = ROOT + "/var/log";
    const std::string WEB_LOGS = LOGS + "/lighttpd";
    const std::string DIAGNOSTICS = ETC + "/etc.log";

    static void Shell(const std::string& command) { EXPECT_EQ(system(("cd " + ROOT + "; " + command).c_str()), 0); }

    // Returns the request with a file as standard output.
    static Request WithOutputTo(const std::string& file, Request request) {
        request.beforeExec = [=] {
            dup2(open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600), STDOUT_FILENO);
        };
        return request;
    }
};

TEST_F(LogTest, TheWebServerOwnsItsLogDirectory) {
    fs::remove(WEB_LOGS);
    const mode_t mask = umask(0002);
    EXPECT_EQ(Post("applylogconf", {{"dmslog", "true"}}).body, DONE);
    umask(mask);
    Shell("test $(stat -c %f var/log/lighttpd) = 41fd");
    Shell("test $(id -u) != 0 || test $(stat -c %u.%g var/log/lighttpd) = 1024.100");
    // An existing directory keeps its owner.
    Shell("test $(id -u) != 0 || chown 1 var/log/lighttpd");
    WriteAll(SETTINGS, "");
    EXPECT_EQ(Post("applylogconf", {{"dmslog", "true"}}).body, DONE);
    Shell("test $(id -u) != 0 || test $(stat -c %u var/log/lighttpd) = 1");
}

TEST_F(LogTest, ClearingDeletesOnlyTheLogsAndRespondsBeforeTheRestart) {
    const std::string out = ROOT + "/out";
    WriteProgram(SCRIPT, "cp " + out + " " + out + "_at_script; test ! -e " + ROOT + "/script_fails\n");
    const auto clear = [&](const std::string& body) {
        fs::remove(out + "_at_script");
        const Response response = Send(WithOutputTo(out, PostRequest("clearlog")));
        EXPECT_TRUE(ReadAll(out).ends_with("\r\n\r\n" + body)) << ReadAll(out);
        EXPECT_EQ(ReadAll(out + "_at_script"), ReadAll(out));
        return response.log.back();
    };
    for (const char* file : {"/dms.log", "/dms.log.1.gz", "/other.log", "/lighttpd/access.log"}) {
        WriteAll(LOGS + file, "");
    }
    const std::string restarted = R"(event 0x11B00508 2 1 "" "" "" "")";
    EXPECT_EQ(clear(DONE), restarted);
    Shell("rm var/log/other.log; rmdir var/log/lighttpd var/log");  // rmdir fails if anything else is left
    EXPECT_EQ(clear(DONE), restarted);
    fs::create_directories(LOGS + "/dms.logs");
    LetScriptFail();
    EXPECT_EQ(clear(Error(976)), "mediaserv:983 Failed to restart dalmira");
}

TEST_F(LogTest, TheDownloadContainsLogsDiagnosticsAndSettings) {
    Shell(
        "cd var/log; echo daemon > dms.log; echo link > ../at; ln -s ../at dms.log.1; echo web > lighttpd/access.log; "
        ">other.log");
    WriteAll(ETC + "/menu_a b.xml", "<menu/>");
    WriteAll(DIAGNOSTICS, "old\n");
    WriteAll(ROOT + "/volume1/x.core", "");
    Shell(
        "for name in dms lighttpd; do cp /bin/sleep $name; ./$name 60 & echo -n $! > $name.pid;"
        "until grep -q $name /proc/$!/comm; do :; done; done");
    const Response response = Post("downloadlog");
    Shell("kill $(cat dms.pid) $(cat lighttpd.pid)");
    EXPECT_EQ(response.header,
        "Content-Disposition: attachment; filename=dms.dmslog\nAccept-Ranges: none\n"
        "Content-Type: application/force-download; name=\"dms.tgz\"\r\nCache-Control: no-store\r\n"
        "X-Content-Type-Options: nosniff\r\n\r\n");
    EXPECT_FALSE(fs::exists(DIAGNOSTICS));
    WriteAll(ROOT + "/archive", response.body);
    Shell("mkdir unpacked && cd unpacked && tar xzf ../archive && mv ." + ETC +
          " package; find . -type f |"
          "LC_ALL=C sort | while read -r file; do echo \"$file: $(cat \"$file\")\"; done > ../listing");
    const std::string expected =
        "./dms.log: daemon\n./dms.log.1: link\n./lighttpd/access.log: web\n"
        "./package/etc.log: PID of dms:\n(.* )?" +
        ReadAll(ROOT + "/dms.pid") + "( .*)?\nPID of lighttpd:\n(.* )?" + ReadAll(ROOT + "/lighttpd.pid") +
        "( .*)?\n-{16}\n"
        "-rw.*/volume1/x.core\n./package/menu_a b.xml: <menu/>\n";
    EXPECT_TRUE(Match(expected, ReadAll(ROOT + "/listing"))) << ReadAll(ROOT + "/listing");
}

TEST_F(LogTest, TheHeaderIsSentBeforeTheArchive) {
    const std::string out = ROOT + "/out";
    WriteProgram(ROOT + "/bin/gzip", "sleep 1; cp " + out + " " + out + "_at_gzip; exec /bin/gzip\n");
    Request request = PostRequest("downloadlog");
    request.environment["PATH"] = ROOT + "/bin:/usr/bin:/bin";
    Send(WithOutputTo(out, request));
    EXPECT_TRUE(ReadAll(out + "_at_gzip").ends_with("nosniff\r\n\r\n")) << ReadAll(out + "_at_gzip");
}

#ifndef __SANITIZE_ADDRESS__  // AddressSanitizer opens pipes itself
TEST_F(LogTest, AnArchiveThatCannotStartLeavesNoDiagnostics) {
    Request request = PostRequest("downloadlog");
    request.beforeExec = [] {
        close_range(STDERR_FILENO + 1, ~0U, 0);
        const rlimit tooLowForAPipe = {4, 4};
        setrlimit(RLIMIT_NOFILE, &tooLowForAPipe);
    };
    const Response response = Send(request);
    EXPECT_EQ(response.body, Error(954));
    EXPECT_EQ(response.log.back(), "mediaserv:953 Failed to open pipe /bin/tar czhO dms.log* lighttpd " + ETC);
    EXPECT_FALSE(fs::exists(DIAGNOSTICS));
}
#endif

// The logs are practically endless, and the client disconnects. RunProgram would wait for a tar process that is left
// running, because it holds standard error open.
TEST_F(LogTest, ADownloadStreamsUntilTheClientDisconnects) {
    Shell("head -c 40000000 /dev/urandom > var/log/dms.log; truncate -s 100G var/log/dms.log.1");
    Request request = PostRequest("downloadlog");
    request.beforeExec = [] {
        dup2(fileno(popen(("head -c 39000000 > " + ROOT + "/received").c_str(), "we")), STDOUT_FILENO);
    };
    const Response response = Send(request);
    EXPECT_LT(response.seconds, 10);
    EXPECT_LT(response.peakKilobytes, Post("loadlogconf").peakKilobytes + (8 << 10));
    EXPECT_EQ(fs::file_size(ROOT + "/received"), 39000000U);
    EXPECT_FALSE(fs::exists(DIAGNOSTICS));
}

}  // namespace
