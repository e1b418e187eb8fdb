// A fresh appliance for each test, and the program run in it as a web server runs it.
#pragma once

#include <gtest/gtest.h>
#include <json/json.h>
#include <sys/types.h>

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

using Fields = std::vector<std::pair<std::string, std::string>>;
using Strings = std::vector<std::string>;

Json::Value ParsedJson(const std::string& text);
Json::Value Merged(Json::Value base, const Json::Value& more);  // `more` over `base`; objects by their members
std::string NestedArrays(size_t depth);

struct Request {
    std::map<std::string, std::string> environment;  // the CGI variables
    std::string body;
    std::function<void()> beforeExec = [] {};               // in the program's process
    std::function<void(pid_t)> whileRunning = [](auto) {};  // in this one, once the program runs
};

struct Answer {
    int exitStatus = -1;  // -1 when it was killed
    std::string output;
    std::string header;  // up to and with the empty line
    std::string body;    // behind it
    Strings log;         // lines of standard error, without "mediaserv: "
    double seconds = 0;  // until both outputs were closed
    long peakKilobytes = 0;

    Json::Value Json() const { return ParsedJson(body); }
    Strings Events() const;  // 0x11B00508 is "508", 0x11B00513 with its text "513 artist"
    bool Logged(const std::string& part) const;
};

constexpr char SUCCESS[] = "{\"success\":true}\n";
constexpr char FAILURE[] = "{\"success\":false}\n";
constexpr char SAVED[] = "{\"data\":{},\"success\":true}\n";

// The framework's error report.
std::string Error(int line);

Request PostRequest(const std::string& action, const Fields& fields = {});
Answer RunProgram(const std::string& program, const Request& request);

// A table of tests/cases/FILE.json.
Json::Value Cases(const std::string& file, const std::string& table);
Fields ToFields(const Json::Value& object);  // null is not sent
Strings ToStrings(const Json::Value& array);

std::string ReadAll(const std::string& path);  // "" when there is no such file
void WriteAll(const std::string& path, const std::string& content);
void WriteProgram(const std::string& path, const std::string& script);

class Appliance : public testing::Test {
  protected:
    static inline const std::string ROOT = APPLIANCE_ROOT;
    static inline const std::string ETC = ROOT + "/var/packages/Dalmira/etc";  // the package's settings directory
    static inline const std::string SETTINGS = ETC + "/dmsinfo.conf";
    static inline const std::string SCRIPT = ROOT + "/var/packages/Dalmira/target/scripts/S86vexadms.sh";

    Appliance() { Prepare(); }
    static void Prepare();

    static Answer Send(const Request& request);
    static Answer Post(const std::string& action, const Fields& fields = {});

    // What the control script was run with, in order; "start STATUS" with the variable of a start.
    static Strings ScriptCalls();
    static void LetScriptFail();

    // The signals that reached the daemon, which is this process, since the last call.
    static std::vector<int> Signals();

    // Lets every write of a file fail in a request, as on a full disk.
    static Request OnFullDisk(Request request);
};
