// The fixture: prepares a fresh root for each test and runs the program as a web server does.
#pragma once

#include <gtest/gtest.h>
#include <json/json.h>
#include <sys/types.h>

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

using Fields = std::vector<std::pair<std::string, std::string>>;
using Strings = std::vector<std::string>;

Strings Lines(const std::string& text);
Json::Value ParsedJson(const std::string& text);
// Returns `base` with the members of `more`, which replace those of the same name; objects are merged recursively.
Json::Value Merged(Json::Value base, const Json::Value& more);
std::string NestedArrays(size_t depth);

// Returns the groups of a POSIX extended regular expression that matches all of `text`, or nothing if it doesn't match.
// '.' matches no line feed. (std::regex takes many seconds to compile under the sanitizers.)
std::optional<Strings> Match(const std::string& pattern, const std::string& text);

struct Request {
    std::map<std::string, std::string> environment;  // all variables of the program, the CGI ones included
    std::string body;
    std::function<void()> beforeExec = [] {};               // called in the child process before it becomes the program
    std::function<void(pid_t)> whileRunning = [](auto) {};  // called in this process once the program is running
};

struct Response {
    int exitStatus = -1;  // -1 if a signal killed the program
    std::string output;
    std::string header;  // the part of `output` up to the empty line, included
    std::string body;    // the rest of `output`
    Strings log;         // lines of standard error, without "mediaserv: "
    double seconds = 0;  // from the start until both outputs were closed
    long peakKilobytes = 0;

    Json::Value Json() const { return ParsedJson(body); }
    // Returns the events in the log: "508" for 0x11B00508, "513 artist" for 0x11B00513 with a text.
    Strings Events() const;
    bool Logged(const std::string& part) const;  // returns whether a line contains `part`
};

constexpr char SUCCESS[] = "{\"success\":true}\n";
constexpr char FAILURE[] = "{\"success\":false}\n";
constexpr char SAVED[] = "{\"data\":{},\"success\":true}\n";

// Returns the error response with a failure number.
std::string Error(int failureNumber);

Request PostRequest(const std::string& action, const Fields& fields = {});
Response RunProgram(const std::string& program, const Request& request);

// Returns a table of tests/cases/FILE.json, which must not be empty.
Json::Value Cases(const std::string& file, const std::string& table);
Fields ToFields(const Json::Value& object);  // omits the members that are null
Strings ToStrings(const Json::Value& array);

std::string ReadAll(const std::string& path);                              // "" if the file can't be read
void WriteAll(const std::string& path, const std::string& content);        // also creates the directories
void WriteProgram(const std::string& path, const std::string& shellCode);  // writes an executable shell script

class Appliance : public testing::Test {
  protected:
    static inline const std::string ROOT = APPLIANCE_ROOT;
    static inline const std::string ETC = ROOT + "/var/packages/Dalmira/etc";  // the package's settings directory
    static inline const std::string SETTINGS = ETC + "/dmsinfo.conf";
    static inline const std::string SCRIPT = ROOT + "/var/packages/Dalmira/target/scripts/S86vexadms.sh";

    Appliance() { Prepare(); }
    static void Prepare();

    static Response Send(const Request& request);
    static Response Post(const std::string& action, const Fields& fields = {});

    // Returns a line for each run of the control script since the previous ScriptCalls: its argument and, if it is set,
    // the value of VEXAPKG_PKG_STATUS, for example "start START".
    static Strings ScriptCalls();
    static void LetScriptFail();

    // Returns the signals that the daemon got since the last call. The PID file names this process as the daemon.
    static std::vector<int> Signals();

    // Returns the request with every write to a file failing, as on a full disk.
    static Request OnFullDisk(Request request);
};
