// The renderers: what a save makes of the daemon's file, and how the list is loaded and cleared.
#include <linux/capability.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "platform/json_text.h"
#include "tests/appliance.h"

namespace {

using Strings = std::vector<std::string>;
using Numbers = std::vector<int>;

constexpr char NOT_READ[] = "{\"ClientList\":0,\"success\":false}\n";

std::string Client(const std::string& address, const std::string& profile, bool access, const std::string& more = "") {
    return R"({"macAddr":")" + address + R"(","profileName":")" + profile +
           (access ? R"(","isAccess":true)" : R"(","isAccess":false)") + more + "}";
}

std::string Chosen(const std::string& profile) { return R"(,"profileName_UserSelected":")" + profile + "\""; }

std::string List(const std::string& clients) { return R"({"ClientList":[)" + clients + R"(],"v":[1]})"; }

class ClientListTest : public Appliance {
  protected:
    static inline const std::string STORED = ETC + "/client_list.json";
    static inline const std::string NOT_OPENED =
        "mediaserv:1579 Error: MediaServiceHandler::GetJsonFromFile - " + STORED + " could not open";

    static Request Save(const std::string& changes) {
        return PostRequest("saveClientList", {{"modifiedInfo", changes}});
    }

    // Nothing changes.
    void ExpectFailure(const Request& request, const Strings& log = {}) {
        const std::string before = ReadAll(STORED);
        const Answer answer = Send(request);
        EXPECT_EQ(answer.body, FAILURE) << request.body.substr(0, 200) << before;
        EXPECT_EQ(answer.log, log);
        EXPECT_EQ(ReadAll(STORED), before);
        EXPECT_EQ(Signals(), Numbers{});
    }

    void ExpectSaved(const std::string& stored, const std::string& changes, const std::string& expected) {
        WriteAll(STORED, stored);
        const Answer answer = Send(Save(changes));
        EXPECT_EQ(answer.body, SUCCESS) << changes;
        EXPECT_EQ(answer.log, Strings{}) << changes;
        Json::Value documents[2];
        EXPECT_TRUE(ParseJson(ReadAll(STORED), documents[0]) && ParseJson(expected, documents[1])) << expected;
        EXPECT_EQ(documents[0], documents[1]) << changes;
        EXPECT_EQ(Signals(), Numbers{SIGUSR2}) << changes;
    }

    // The daemon writes its list so many seconds after it was asked to.
    Answer PostWithDaemon(const char* action, double seconds, const std::string& list) {
        Request request = PostRequest(action);
        request.whileRunning = [&](pid_t) {
            for (secondsToSignal_ = 0; Signals() != Numbers{SIGCONT} && secondsToSignal_ < 10;) {
                usleep(10000);
                secondsToSignal_ += 0.01;
            }
            usleep(static_cast<useconds_t>(seconds * 1e6));
            WriteAll(STORED, list);
        };
        return Send(request);
    }

    double secondsToSignal_ = 0;
};

TEST_F(ClientListTest, ASaveMergesTheChanges) {
    const std::string more = R"(,"ip":"10.0.0.2","n":[{}])";
    const std::string a = Client("A1", "P", true, more) + ",";
    const std::string b = Client("B2", "TV", false, Chosen("Old")) + ",";
    const std::string rest = Client("A1", "Second", true) + R"(,{"macAddr":"C3"})";
    const std::string film = "\xC3\xA4\xF0\x9F\x8E\xAC \\\"q\\\"";
    const struct {
        std::string changes, expected;
    } cases[] = {
        {"", a + b + rest},
        {Client("A1", "P", false), Client("A1", "P", false, more) + "," + b + rest},
        {Client("A1", film, true), Client("A1", film, true, more + Chosen(film)) + "," + b + rest},
        // A choice stays where the profile does.
        {Client("B2", "TV", true), a + Client("B2", "TV", true, Chosen("Old")) + "," + rest},
        {Client("B2", "", false), a + Client("B2", "", false, Chosen("")) + "," + rest},
        // No client of the list; clients are never added.
        {Client("a1", "X", false) + "," + Client("A1\\u0000", "X", false), a + b + rest},
        // Where no profile is stored it is the empty one.
        {Client("C3", "", true), a + b + Client("A1", "Second", true) + "," + Client("C3", "", true)},
        // All, in another order, with what does not belong in a change.
        {Client("C3", "X", true) + "," + Client("B2", "X", true, R"(,"ip":"9")") + "," + Client("A1", "P", false),
            Client("A1", "P", false, more) + "," + Client("B2", "X", true, Chosen("X")) + "," +
                Client("A1", "Second", true) + "," + Client("C3", "X", true, Chosen("X"))},
        // The later of two changes wins; to and fro is two changes.
        {Client("A1", "X", true) + "," + Client("A1", "Y", false),
            Client("A1", "Y", false, more + Chosen("Y")) + "," + b + rest},
        {Client("A1", "X", true) + "," + Client("A1", "P", true),
            Client("A1", "P", true, more + Chosen("P")) + "," + b + rest},
    };
    for (const auto& [changes, expected] : cases) {
        ExpectSaved(List(a + b + rest), "[" + changes + "]", List(expected));
    }
}

TEST_F(ClientListTest, ListsAndChangesOfAnyShape) {
    const std::string change = "[" + Client("A1", "X", false) + "]";
    for (const char* stored : {"[]", "42", "null", R"({"ClientList":{}})", R"({"ClientList":null})",
             R"({"ClientList":[{"macAddr":"A1"},7]})", R"({"ClientList":[{"macAddr":"A1"},[]]})"}) {
        WriteAll(STORED, stored);
        ExpectFailure(Save(change));
    }
    ExpectSaved("{}", change, "{}");
    const std::string unmatched = List(R"({"macAddr":1},{"macAddr":null},{})");
    ExpectSaved(unmatched, "[" + Client("", "X", true) + "," + Client("1", "X", true) + "]", unmatched);
    ExpectSaved(List(R"({"macAddr":"A1","profileName":{"a":1},"isAccess":[2]})"), change,
        List(Client("A1", "X", false, Chosen("X"))));

    const auto nested = [](size_t depth) { return std::string(depth, '[') + std::string(depth, ']'); };
    const std::string stored = List(Client("A1", "P", true));
    WriteAll(STORED, stored);
    ExpectFailure(PostRequest("saveClientList"));
    for (const std::string& refused : {std::string(), std::string("no"), std::string("[{]"), nested(1000),
             nested(100000), std::string(100000, '[')}) {
        ExpectFailure(Save(refused));
    }
    for (const std::string& none : {nested(999), Client("A1", "X", false), std::string("{}"), std::string("null")}) {
        ExpectSaved(stored, none, stored);
    }
    for (const char* skipped :
        {"null", "[]", "\"A1\"", R"({"macAddr":"A1","profileName":"Y"})", R"({"macAddr":"A1","isAccess":true})",
            R"({"profileName":"Y","isAccess":true})", R"({"macAddr":"A1","profileName":"Y","isAccess":null})",
            R"({"macAddr":"A1","profileName":7,"isAccess":true})", R"({"macAddr":"A1","profileName":"Y","isAccess":0})",
            R"({"macAddr":"A1","profileName":"Y","isAccess":"true"})",
            R"({"macAddr":["A1"],"profileName":"Y","isAccess":true})"}) {
        ExpectSaved(
            stored, "[" + std::string(skipped) + "," + Client("A1", "P", false) + "]", List(Client("A1", "P", false)));
    }
}

TEST_F(ClientListTest, SavesWithoutFileSpaceOrDaemon) {
    ExpectFailure(Save("[]"), {NOT_OPENED});
    EXPECT_FALSE(std::filesystem::exists(STORED));
    WriteAll(STORED, "{}");
    std::filesystem::permissions(STORED, std::filesystem::perms::owner_read);
    Request readOnly = Save("[]");
    readOnly.beforeExec = [] { prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE, 0, 0, 0); };  // root obeys modes, too
    ExpectFailure(
        readOnly, {"mediaserv:1655 Error: MediaServiceHandler::SaveClientList - " + STORED + " could not open"});
    std::filesystem::remove(STORED);
    WriteAll(STORED, "{}");
    EXPECT_EQ(Send(OnFullDisk(Save("[]"))).body, SUCCESS);
    EXPECT_EQ(ReadAll(STORED), "");
    WriteAll(STORED, "{}");
    std::filesystem::remove(ROOT + "/var/run/dms.pid");
    EXPECT_EQ(Send(Save("[]")).body, SUCCESS);
    EXPECT_EQ(ReadAll(STORED), "{}\n");
}

TEST_F(ClientListTest, ALoadWaitsOneSecondForTheDaemon) {
    const struct {
        double seconds;
        std::string list, answer;
    } cases[] = {
        {0, R"({"ClientList": []})", "{\"ClientList\":[],\"success\":true}\n"},
        {1.5, R"({"ClientList": [1]})", "{\"ClientList\":[],\"success\":true}\n"},
        {0, R"({"ClientList": [{"mac)", NOT_READ},
    };
    for (const auto& [seconds, list, expected] : cases) {
        const Answer answer = PostWithDaemon("loadClientList", seconds, list);
        EXPECT_EQ(answer.body, expected) << list;
        EXPECT_LT(secondsToSignal_, 1);
        EXPECT_GE(answer.seconds, 1);
        EXPECT_LT(answer.seconds, 3);
    }
    std::filesystem::remove(STORED);
    std::filesystem::remove(ROOT + "/var/run/dms.pid");
    const Answer answer = Post("loadClientList");
    EXPECT_EQ(answer.body, NOT_READ);
    EXPECT_EQ(answer.log, Strings{NOT_OPENED});
}

TEST_F(ClientListTest, AClearStopsDeletesStartsAndLoads) {
    WriteAll(STORED, R"({"ClientList": [{"macAddr": "old"}]})");
    WriteProgram(SCRIPT, "echo $1 $VEXAPKG_PKG_STATUS $(ls " + ETC + ") >> " + ROOT + "/calls\n");
    const Answer answer = PostWithDaemon("clearClientList", 0, R"({"ClientList": [{"macAddr": "new"}]})");
    EXPECT_EQ(answer.body, "{\"ClientList\":[{\"macAddr\":\"new\"}],\"success\":true}\n");
    EXPECT_EQ(ScriptCalls(), (Strings{"stop client_list.json", "start"}));
    EXPECT_GE(secondsToSignal_, 2);
    EXPECT_GE(answer.seconds, 4);
    EXPECT_LT(answer.seconds, 6);

    // Nothing to delete, and nothing from the daemon.
    std::filesystem::remove(STORED);
    const Answer silent = Post("clearClientList");
    EXPECT_EQ(silent.body, NOT_READ);
    EXPECT_EQ(silent.log, Strings{NOT_OPENED});
    EXPECT_EQ(ScriptCalls(), (Strings{"stop", "start"}));
    EXPECT_EQ(Signals(), Numbers{SIGCONT});
}

TEST_F(ClientListTest, AClearEndsWhereTheScriptFails) {
    const std::string failed = " Error: MediaServiceHandler::ClearClientList() - ";
    const Request clear = PostRequest("clearClientList");
    WriteAll(STORED, "{}");
    LetScriptFail();
    ExpectFailure(clear, {"mediaserv:1494" + failed + "stop dms error"});
    EXPECT_EQ(ScriptCalls(), Strings{"stop"});
    std::filesystem::remove(SCRIPT);
    ExpectFailure(clear, {"mediaserv:1494" + failed + "stop dms error"});
    WriteProgram(SCRIPT, "echo $1 >> " + ROOT + "/calls; test $1 = stop\n");
    const Answer answer = Send(clear);
    EXPECT_EQ(answer.body, FAILURE);
    EXPECT_EQ(answer.log, Strings{"mediaserv:1506" + failed + "start dms error"});
    EXPECT_EQ(ScriptCalls(), (Strings{"stop", "start"}));
    EXPECT_FALSE(std::filesystem::exists(STORED));
}

}  // namespace
