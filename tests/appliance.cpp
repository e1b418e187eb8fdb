#include "tests/appliance.h"

#include <fcntl.h>
#include <json/reader.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>

namespace fs = std::filesystem;

const std::string Appliance::ROOT = APPLIANCE_ROOT;
const std::string Appliance::ETC = ROOT + "/var/packages/Dalmira/etc";
const std::string Appliance::SETTINGS = ETC + "/dmsinfo.conf";
const std::string Appliance::SCRIPT = ROOT + "/var/packages/Dalmira/target/scripts/S86vexadms.sh";

namespace {

const int RECORDED_SIGNALS[] = {SIGHUP, SIGUSR2, SIGCONT};

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

// Reads both outputs to their ends, as a web server does before it closes a request.
void ReadOutputs(int out, int err, std::string& output, std::string& errors) {
    pollfd open[] = {{out, POLLIN, 0}, {err, POLLIN, 0}};
    std::string* texts[] = {&output, &errors};
    while (open[0].fd >= 0 || open[1].fd >= 0) {
        poll(open, 2, -1);
        for (int i = 0; i < 2; ++i) {
            char piece[65536];
            const ssize_t count = open[i].revents != 0 ? read(open[i].fd, piece, sizeof piece) : -1;
            if (count > 0) {
                texts[i]->append(piece, static_cast<size_t>(count));
            } else if (open[i].revents != 0) {
                open[i].fd = -1;
            }
        }
    }
}

[[noreturn]] void Exec(const std::string& program, const Request& request, int in, int out, int err) {
    dup2(in, STDIN_FILENO);
    dup2(out, STDOUT_FILENO);
    dup2(err, STDERR_FILENO);
    std::vector<std::string> variables;
    for (const auto& [name, value] : request.environment) {
        variables.push_back(name + "=" + value);
    }
    std::vector<char*> environment;
    for (std::string& variable : variables) {
        environment.push_back(variable.data());
    }
    environment.push_back(nullptr);
    char* arguments[] = {const_cast<char*>(program.c_str()), nullptr};
    request.beforeExec();
    execve(program.c_str(), arguments, environment.data());
    _exit(127);
}

// The daemon's process: passes on the numbers of the signals that reach it. A real-time signal, taken after
// all others, marks the end of what has come so far.
[[noreturn]] void RecordSignals(int out, const sigset_t& set) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    for (;;) {
        const auto number = static_cast<unsigned char>(sigwaitinfo(&set, nullptr));
        if (write(out, &number, 1) != 1) {
            _exit(1);
        }
    }
}

}  // namespace

Json::Value Answer::Json() const {
    std::istringstream stream(body);
    ::Json::Value value;
    std::string errors;
    EXPECT_TRUE(::Json::parseFromStream(::Json::CharReaderBuilder(), stream, &value, &errors)) << body;
    return value;
}

std::vector<std::string> Answer::Events() const {
    std::vector<std::string> events;
    for (const std::string& line : log) {
        const std::string start = "event ";
        const std::string end = R"( "" "" "")";
        if (line.starts_with(start)) {
            EXPECT_TRUE(line.ends_with(end) && line.substr(16, 5) == " 2 1 ") << line;
            const std::string text = line.substr(22, line.size() - 22 - end.size() - 1);
            events.push_back(line.substr(6, 10) + (text.empty() ? "" : " " + text));
        }
    }
    return events;
}

bool Answer::Logged(const std::string& part) const {
    return std::any_of(log.begin(), log.end(), [&](const std::string& line) { return line.find(part) != line.npos; });
}

std::string Error(int line) {
    return R"({"error":{"key":"error_system","line":)" + std::to_string(line) +
           R"(,"section":"common"},"success":false})" + "\n";
}

std::string UrlEncode(const std::string& text) {
    std::string result;
    for (const char c : text) {
        char code[4];
        snprintf(code, sizeof code, "%%%02X", static_cast<unsigned char>(c));
        result += isalnum(static_cast<unsigned char>(c)) != 0 ? std::string(1, c) : code;
    }
    return result;
}

Request PostRequest(const std::string& action, const Fields& fields) {
    Request request;
    request.body = "action=" + action;
    for (const auto& [name, value] : fields) {
        request.body += "&" + UrlEncode(name) + "=" + UrlEncode(value);
    }
    request.environment = {{"REQUEST_METHOD", "POST"}, {"REMOTE_USER", "root"},
        {"CONTENT_TYPE", "application/x-www-form-urlencoded"}, {"CONTENT_LENGTH", std::to_string(request.body.size())}};
    return request;
}

Answer RunProgram(const std::string& program, const Request& request) {
    const std::unique_ptr<FILE, int (*)(FILE*)> input(tmpfile(), fclose);
    fwrite(request.body.data(), 1, request.body.size(), input.get());
    rewind(input.get());
    int out[2];
    int err[2];
    EXPECT_TRUE(pipe2(out, O_CLOEXEC) == 0 && pipe2(err, O_CLOEXEC) == 0);
    const auto start = std::chrono::steady_clock::now();
    const pid_t child = fork();
    if (child == 0) {
        Exec(program, request, fileno(input.get()), out[1], err[1]);
    }
    close(out[1]);
    close(err[1]);
    if (request.whileRunning) {
        request.whileRunning(child);
    }
    Answer answer;
    std::string errors;
    ReadOutputs(out[0], err[0], answer.output, errors);
    answer.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    close(out[0]);
    close(err[0]);
    int status = 0;
    rusage usage = {};
    wait4(child, &status, 0, &usage);
    answer.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    answer.peakKilobytes = usage.ru_maxrss;
    const size_t end = answer.output.find("\r\n\r\n");
    answer.header = end == std::string::npos ? "" : answer.output.substr(0, end + 4);
    answer.body = answer.output.substr(answer.header.size());
    const std::string prefix = "mediaserv: ";
    for (const std::string& line : Lines(errors)) {
        answer.log.push_back(line.starts_with(prefix) ? line.substr(prefix.size()) : line);
    }
    return answer;
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

void WriteProgram(const std::string& path, const std::string& script) {
    WriteAll(path, "#!/bin/sh\n" + script);
    fs::permissions(path, fs::perms(0755));
}

Appliance::Appliance() {
    std::error_code error;
    fs::remove_all(ROOT, error);
    for (const char* directory : {"/var/run", "/var/log/lighttpd", "/var/packages/Dalmira/etc"}) {
        fs::create_directories(ROOT + directory);
    }
    WriteProgram(SCRIPT, "echo $1 $VEXAPKG_PKG_STATUS >> " + ROOT + "/calls; cp " + SETTINGS + " " + ROOT +
                             "/settings_at_script; test ! -e " + ROOT + "/script_fails\n");

    sigset_t recorded;
    sigset_t old;
    sigemptyset(&recorded);
    for (const int number : RECORDED_SIGNALS) {
        sigaddset(&recorded, number);
    }
    sigaddset(&recorded, SIGRTMIN);
    int pipe[2];
    EXPECT_EQ(pipe2(pipe, O_CLOEXEC), 0);
    sigprocmask(SIG_BLOCK, &recorded, &old);
    daemon_ = fork();
    if (daemon_ == 0) {
        RecordSignals(pipe[1], recorded);
    }
    sigprocmask(SIG_SETMASK, &old, nullptr);
    close(pipe[1]);
    signals_ = pipe[0];
    WriteAll(ROOT + "/var/run/dms.pid", std::to_string(daemon_) + "\n");
}

Appliance::~Appliance() {
    kill(daemon_, SIGKILL);
    waitpid(daemon_, nullptr, 0);
    close(signals_);
}

Answer Appliance::Send(const Request& request) {
    const Answer answer = RunProgram(MEDIASERV_PROGRAM, request);
    EXPECT_EQ(answer.exitStatus, 0) << testing::PrintToString(answer.log);
    return answer;
}

std::vector<std::string> Appliance::ScriptCalls() {
    std::vector<std::string> calls = Lines(ReadAll(ROOT + "/calls"));
    fs::remove(ROOT + "/calls");
    return calls;
}

void Appliance::LetScriptFail() { WriteAll(ROOT + "/script_fails", ""); }

std::string Appliance::SettingsAtScript() { return ReadAll(ROOT + "/settings_at_script"); }

std::vector<int> Appliance::Signals() const {
    std::vector<int> numbers;
    kill(daemon_, SIGRTMIN);
    for (unsigned char number = 0; read(signals_, &number, 1) == 1 && number != SIGRTMIN;) {
        numbers.push_back(number);
    }
    return numbers;
}

Request Appliance::OnFullDisk(Request request) {
    request.beforeExec = [] {
        const rlimit nothing = {0, 0};
        setrlimit(RLIMIT_FSIZE, &nothing);
        signal(SIGXFSZ, SIG_IGN);
    };
    return request;
}
