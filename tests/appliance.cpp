#include "tests/appliance.h"

#include <fcntl.h>
#include <regex.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <future>
#include <memory>
#include <sstream>

namespace fs = std::filesystem;

namespace {

std::atomic<int> signals[64];
std::atomic<size_t> signalCount;

void RecordSignal(int number) { signals[signalCount++ % std::size(signals)] = number; }

std::string ReadToEnd(int descriptor) {
    std::string text;
    char piece[65536];
    for (ssize_t count = 0; (count = read(descriptor, piece, sizeof piece)) > 0;) {
        text.append(piece, static_cast<size_t>(count));
    }
    close(descriptor);
    return text;
}

}  // namespace

Strings Lines(const std::string& text) {
    Strings lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

Json::Value ParsedJson(const std::string& text) {
    Json::Value value;
    std::istringstream(text) >> value;
    return value;
}

Json::Value Merged(Json::Value base, const Json::Value& more) {
    for (const std::string& name : more.getMemberNames()) {
        const bool objects = base[name].isObject() && more[name].isObject();
        base[name] = objects ? Merged(base[name], more[name]) : more[name];
    }
    return base;
}

std::string NestedArrays(size_t depth) { return std::string(depth, '[') + std::string(depth, ']'); }

std::optional<Strings> Match(const std::string& pattern, const std::string& text) {
    regex_t expression;
    EXPECT_EQ(regcomp(&expression, ("^(" + pattern + ")$").c_str(), REG_EXTENDED | REG_NEWLINE), 0) << pattern;
    std::vector<regmatch_t> found(expression.re_nsub + 1);
    const bool matches = regexec(&expression, text.c_str(), found.size(), found.data(), 0) == 0;
    regfree(&expression);
    const auto part = [&](const regmatch_t& range) {
        return range.rm_so < 0
                   ? ""
                   : text.substr(static_cast<size_t>(range.rm_so), static_cast<size_t>(range.rm_eo - range.rm_so));
    };
    // '^' and '$' also match at the line feeds within the text.
    if (!matches || part(found[0]) != text) {
        return std::nullopt;
    }
    Strings groups;
    std::transform(found.begin() + 2, found.end(), std::back_inserter(groups), part);
    return groups;
}

Strings Response::Events() const {
    Strings events;
    for (const std::string& line : log) {
        if (const auto parts = Match(R"-(event 0x11B00(5..) 2 1 "(.*)" "" "" "")-", line)) {
            events.push_back(parts->at(0) + (parts->at(1).empty() ? "" : " ") + parts->at(1));
        } else {
            EXPECT_FALSE(line.starts_with("event ")) << line;
        }
    }
    return events;
}

bool Response::Logged(const std::string& part) const {
    return std::any_of(log.begin(), log.end(), [&](const std::string& line) { return line.find(part) != line.npos; });
}

std::string Error(int failureNumber) {
    return R"({"error":{"key":"error_system","line":)" + std::to_string(failureNumber) +
           R"(,"section":"common"},"success":false})" + "\n";
}

Request PostRequest(const std::string& action, const Fields& fields) {
    Request request;
    request.body = "action=" + action;
    for (const auto& [name, value] : fields) {
        request.body += "&" + name + "=";
        for (const char c : value) {
            char code[4];
            snprintf(code, sizeof code, "%%%02X", static_cast<unsigned char>(c));
            request.body += code;
        }
    }
    request.environment = {{"REQUEST_METHOD", "POST"}, {"REMOTE_USER", "root"},
        {"CONTENT_TYPE", "application/x-www-form-urlencoded"}, {"CONTENT_LENGTH", std::to_string(request.body.size())}};
    return request;
}

Response RunProgram(const std::string& program, const Request& request) {
    const std::unique_ptr<FILE, int (*)(FILE*)> input(tmpfile(), fclose);
    fwrite(request.body.data(), 1, request.body.size(), input.get());
    rewind(input.get());
    int out[2];
    int err[2];
    EXPECT_TRUE(pipe2(out, O_CLOEXEC) == 0 && pipe2(err, O_CLOEXEC) == 0);
    // The child must not allocate memory: another thread could have held the lock of the allocator during the fork.
    Strings variables;
    for (const auto& [name, value] : request.environment) {
        variables.push_back(name + "=" + value);
    }
    std::vector<char*> environment;
    for (std::string& variable : variables) {
        environment.push_back(variable.data());
    }
    environment.push_back(nullptr);
    char* const arguments[] = {const_cast<char*>(program.c_str()), nullptr};
    const auto start = std::chrono::steady_clock::now();
    const pid_t child = fork();
    if (child == 0) {
        dup2(fileno(input.get()), STDIN_FILENO);
        close(fileno(input.get()));
        dup2(out[1], STDOUT_FILENO);
        dup2(err[1], STDERR_FILENO);
        request.beforeExec();
        execve(arguments[0], arguments, environment.data());
        _exit(127);
    }
    close(out[1]);
    close(err[1]);
    request.whileRunning(child);
    // Read both outputs to their ends, as a web server does before it ends a request.
    std::future<std::string> errors = std::async(std::launch::async, ReadToEnd, err[0]);
    Response response;
    response.output = ReadToEnd(out[0]);
    for (const std::string& line : Lines(errors.get())) {
        const std::string prefix = "mediaserv: ";
        response.log.push_back(line.starts_with(prefix) ? line.substr(prefix.size()) : line);
    }
    response.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    int status = 0;
    rusage usage = {};
    wait4(child, &status, 0, &usage);
    response.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    response.peakKilobytes = usage.ru_maxrss;
    const size_t end = response.output.find("\r\n\r\n");
    response.header = end == std::string::npos ? "" : response.output.substr(0, end + 4);
    response.body = response.output.substr(response.header.size());
    return response;
}

Json::Value Cases(const std::string& file, const std::string& table) {
    Json::Value cases = ParsedJson(ReadAll(SOURCE_DIRECTORY "/tests/cases/" + file + ".json"))[table];
    EXPECT_FALSE(cases.empty()) << file << " " << table;
    return cases;
}

Fields ToFields(const Json::Value& object) {
    Fields fields;
    for (const std::string& name : object.getMemberNames()) {
        if (!object[name].isNull()) {
            fields.emplace_back(name, object[name].asString());
        }
    }
    return fields;
}

Strings ToStrings(const Json::Value& array) {
    Strings strings;
    for (const Json::Value& value : array) {
        strings.push_back(value.asString());
    }
    return strings;
}

std::string ReadAll(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    std::ostringstream content;
    content << stream.rdbuf();
    return content.str();
}

void WriteAll(const std::string& path, const std::string& content) {
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream stream(path, std::ios::binary | std::ios::trunc);
    stream << content;
    ASSERT_TRUE(stream.flush().good()) << path;
}

void WriteProgram(const std::string& path, const std::string& shellCode) {
    WriteAll(path, "#!/bin/sh\n" + shellCode);
    fs::permissions(path, fs::perms(0755));
}

void Appliance::Prepare() {
    std::error_code error;
    fs::remove_all(ROOT, error);
    for (const char* directory : {"/var/log/lighttpd", "/var/packages/Dalmira/etc"}) {
        fs::create_directories(ROOT + directory);
    }
    WriteProgram(SCRIPT, "echo $1 $VEXAPKG_PKG_STATUS >> " + ROOT + "/calls; cp " + SETTINGS + " " + ROOT +
                             "/settings_at_script; test ! -e " + ROOT + "/script_fails\n");
    for (const int number : {SIGHUP, SIGUSR2, SIGCONT}) {
        signal(number, RecordSignal);
    }
    signalCount = 0;
    WriteAll(ROOT + "/var/run/dms.pid", std::to_string(getpid()) + "\n");
}

Response Appliance::Send(const Request& request) {
    // foreign_test.sh sets the variable to a program for another architecture with the same root.
    const char* foreign = getenv("MEDIASERV_PROGRAM");
    const Response response = RunProgram(foreign != nullptr ? foreign : MEDIASERV_PROGRAM, request);
    EXPECT_EQ(response.exitStatus, 0) << testing::PrintToString(response.log);
    return response;
}

Response Appliance::Post(const std::string& action, const Fields& fields) { return Send(PostRequest(action, fields)); }

Strings Appliance::ScriptCalls() {
    Strings calls = Lines(ReadAll(ROOT + "/calls"));
    fs::remove(ROOT + "/calls");
    return calls;
}

void Appliance::LetScriptFail() { WriteAll(ROOT + "/script_fails", ""); }

std::vector<int> Appliance::Signals() { return {signals, signals + signalCount.exchange(0)}; }

Request Appliance::OnFullDisk(Request request) {
    request.beforeExec = [] {
        const rlimit nothing = {0, 0};
        setrlimit(RLIMIT_FSIZE, &nothing);
        signal(SIGXFSZ, SIG_IGN);
    };
    return request;
}
