// A fresh appliance for each test, and the program run in it as a web server runs it.
#pragma once

#include <gtest/gtest.h>
#include <json/value.h>
#include <sys/types.h>

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

using Fields = std::vector<std::pair<std::string, std::string>>;

struct Request {
    std::map<std::string, std::string> environment;  // the CGI variables
    std::string body;
    std::function<void()> beforeExec = [] {};      // in the program's process
    std::function<void(pid_t)> whileRunning = {};  // in this one, once the program runs
};

struct Answer {
    int exitStatus = -1;  // -1 when it was killed
    std::string output;
    std::string header;            // up to and with the empty line
    std::string body;              // behind it
    std::vector<std::string> log;  // lines of standard error, without "mediaserv: "
    double seconds = 0;            // until both outputs were closed
    long peakKilobytes = 0;

    Json::Value Json() const;
    std::vector<std::string> Events() const;  // code and first text, "0x11B00508" or "0x11B00513 artist"
    bool Logged(const std::string& part) const;
};

constexpr char SUCCESS[] = "{\"success\":true}\n";
constexpr char FAILURE[] = "{\"success\":false}\n";
constexpr char SAVED[] = "{\"data\":{},\"success\":true}\n";

// The framework's error report.
std::string Error(int line);

std::string UrlEncode(const std::string& text);
Request PostRequest(const std::string& action, const Fields& fields = {});
Answer RunProgram(const std::string& program, const Request& request);

std::string ReadAll(const std::string& path);  // "" when there is no such file
void WriteAll(const std::string& path, const std::string& content);
void WriteProgram(const std::string& path, const std::string& script);

class Appliance : public testing::Test {
  protected:
    static const std::string ROOT;
    static const std::string ETC;       // the package's settings directory
    static const std::string SETTINGS;  // the settings file
    static const std::string SCRIPT;    // the control script

    Appliance();
    ~Appliance() override;

    static Answer Send(const Request& request);
    static Answer Post(const std::string& action, const Fields& fields = {}) {
        return Send(PostRequest(action, fields));
    }

    // What the control script was run with, in order; "start STATUS" with the variable of a start.
    static std::vector<std::string> ScriptCalls();
    static void LetScriptFail();
    // The settings file as it was when the control script was last run.
    static std::string SettingsAtScript();

    // The signals that reached the daemon since the last call.
    std::vector<int> Signals() const;

    // Lets every write of a file fail in a request, as on a full disk.
    static Request OnFullDisk(Request request);

  private:
    pid_t daemon_ = -1;
    int signals_ = -1;
};
