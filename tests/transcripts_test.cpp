// Runs the exchanges of tests/transcripts. Each prepares a fresh root with some files, sends one request and lists all
// its effects: response, events, log lines, calls of the control script, signals, files. An effect that is not listed
// must not occur, and a file that is missing in "after" must not change. Members beside a list "exchanges" apply to all
// exchanges in the list.
#include <sys/stat.h>

#include <filesystem>

#include "tests/appliance.h"

namespace fs = std::filesystem;

namespace {

class TranscriptTest : public Appliance, public testing::WithParamInterface<std::string> {
  protected:
    // Returns the path in the root. A name without a leading '/' is relative to the settings directory.
    static std::string Path(const std::string& name) { return (name.starts_with('/') ? ROOT : ETC + "/") + name; }

    // Creates a file with a text as content, a directory for {}, a program, link or FIFO as the member says; null
    // deletes.
    static void Make(const std::string& path, const Json::Value& file) {
        if (file.isNull()) {
            fs::remove_all(path);
        } else if (file.isString()) {
            WriteAll(path, file.asString());
        } else if (file.isMember("program")) {
            WriteProgram(path, file["program"].asString());
        } else if (file.isMember("link")) {
            fs::create_directories(fs::path(path).parent_path());
            fs::create_symlink(file["link"].asString(), path);
        } else if (file.isMember("fifo")) {
            ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
        } else {
            fs::create_directories(path);
        }
    }

    static Json::Value Found(const std::string& path) {
        Json::Value found(Json::objectValue);
        switch (fs::symlink_status(path).type()) {
            case fs::file_type::not_found:
                return Json::Value();
            case fs::file_type::symlink:
                found["link"] = fs::read_symlink(path).string();
                return found;
            case fs::file_type::fifo:
                found["fifo"] = true;
                return found;
            case fs::file_type::directory:
                return found;
            default:
                return ReadAll(path);
        }
    }

    static void Exchange(const Json::Value& exchange) {
        SCOPED_TRACE(exchange.toStyledString());
        Prepare();
        const Json::Value& files = exchange["files"];
        for (const std::string& name : files.getMemberNames()) {
            Make(Path(name), files[name]);
        }
        Request request = PostRequest(exchange["action"].asString(), ToFields(exchange["fields"]));
        if (exchange.isMember("body")) {
            request.body = exchange["body"].asString();
            request.environment["CONTENT_LENGTH"] = std::to_string(request.body.size());
        }
        for (const auto& [name, value] : ToFields(exchange["environment"])) {
            request.environment[name] = value;
        }
        const Response response = Send(exchange["full disk"].asBool() ? OnFullDisk(request) : request);
        const Json::Value& expected = exchange["response"];
        EXPECT_EQ(expected.isString() ? response.output : response.body,
            expected.isString() ? expected.asString() : Json::FastWriter().write(expected));
        EXPECT_EQ(response.Events(), ToStrings(exchange["events"]));
        Strings log = response.log;
        std::erase_if(log, [](const std::string& line) { return line.starts_with("event "); });
        EXPECT_EQ(log, ToStrings(exchange["log"]));
        EXPECT_EQ(ScriptCalls(), ToStrings(exchange["calls"]));
        Strings signals;
        for (const int number : Signals()) {
            signals.push_back(sigabbrev_np(number));
        }
        EXPECT_EQ(signals, ToStrings(exchange["signals"]));
        for (const std::string& name : files.getMemberNames()) {
            const Json::Value file = exchange["after"].get(name, files[name]);
            if (!file.isObject() || !file.isMember("program")) {
                EXPECT_EQ(Found(Path(name)), file) << name;
            }
        }
    }

    static void Run(Json::Value exchanges, const Json::Value& inherited) {
        Json::Value list;
        if (exchanges.removeMember("exchanges", &list)) {
            for (const Json::Value& exchange : list) {
                Run(exchange, Merged(inherited, exchanges));
            }
        } else {
            Exchange(Merged(inherited, exchanges));
        }
    }
};

TEST_P(TranscriptTest, EveryExchangeHasTheListedEffects) {
    std::string text = ReadAll(SOURCE_DIRECTORY "/tests/transcripts/" + GetParam() + ".json");
    for (size_t at = 0; (at = text.find("$ROOT", at)) != std::string::npos;) {
        text.replace(at, 5, ROOT);
    }
    const Json::Value exchanges = ParsedJson(text);
    ASSERT_FALSE(exchanges["exchanges"].empty());
    Run(exchanges, Json::objectValue);
}

INSTANTIATE_TEST_SUITE_P(, TranscriptTest,
    testing::Values(
        "client_list", "collections", "forms", "language_texts", "languages", "login", "logs", "menu_templates"),
    [](const auto& file) { return file.param; });

}  // namespace
