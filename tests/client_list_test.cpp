// The renderers: what a save makes of the daemon's file, and how the list is loaded and cleared.
#include <linux/capability.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "tests/appliance.h"

namespace {

using Numbers = std::vector<int>;

constexpr char NOT_READ[] = "{\"ClientList\":0,\"success\":false}\n";

std::string Client(const std::string& address, const std::string& profile, bool access, const std::string& more = "") {
    return R"({"macAddr":")" + address + R"(","profileName":")" + profile + R"(","isAccess":)" +
           (access ? "true" : "false") + more + "}";
}

std::string Chosen(const std::string& profile) { return R"(,"profileName_UserSelected":")" + profile + "\""; }

std::string List(const std::string& clients) { return R"({"ClientList":[)" + clients + R"(],"v":[1]})"; }

Json::Value Parsed(const std::string& text) {
    Answer answer;
    answer.body = text;
    return answer.Json();
}

class ClientListTest : public Appliance {
  protected:
    static inline const std::string STORED = ETC + "/client_list.json";
    static inline const std::string NOT_OPENED =
        "mediaserv:1579 Error: MediaServiceHandler::GetJsonFromFile - " + STORED + " could not open";

    static Request Save(const std::string& changes) {
        return PostRequest("saveClientList", {{"modifiedInfo", changes}});
    }

    static void ExpectAnswer(const Request& request, const std::string& body, const Strings& log = {}) {
        const Answer answer = Send(request);
        EXPECT_EQ(answer.body, body) << request.body.substr(0, 200);
        EXPECT_EQ(answer.log, log) << request.body.substr(0, 200);
    }

    // A refusal, where nothing is expected, leaves the file's bytes and the daemon alone.
    void ExpectSaved(const std::string& stored, const std::string& changes, const std::string& expected = "") {
        const bool saved = !expected.empty();
        WriteAll(STORED, stored);
        ExpectAnswer(Save(changes), saved ? SUCCESS : FAILURE);
        const std::string left = ReadAll(STORED);
        EXPECT_TRUE(saved ? Parsed(left) == Parsed(expected) : left == stored) << changes << left;
        EXPECT_EQ(Signals(), saved ? Numbers{SIGUSR2} : Numbers{}) << changes;
    }

    // The daemon writes its list so many seconds after it was asked to.
    Answer PostWithDaemon(const char* action, double seconds, const std::string& list) {
        Request request = PostRequest(action);
        request.whileRunning = [&](pid_t) {
            for (secondsToSignal_ = 0; Signals() != Numbers{SIGCONT} && secondsToSignal_ < 10;
                 secondsToSignal_ += 0.01) {
                usleep(10000);
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
    const std::string second = Client("A1", "Second", true) + ",";
    const std::string c = R"({"macAddr":"C3"})";
    const std::string film = "\xC3\xA4\xF0\x9F\x8E\xAC \\\"q\\\"";
    const std::pair<std::string, std::string> cases[] = {
        {Client("A1", film, true), Client("A1", film, true, more + Chosen(film)) + "," + b + second + c},
        // A choice stays where the profile does.
        {Client("B2", "TV", true), a + Client("B2", "TV", true, Chosen("Old")) + "," + second + c},
        {Client("B2", "", false), a + Client("B2", "", false, Chosen("")) + "," + second + c},
        // No client of the list; clients are never added.
        {Client("a1", "X", false) + "," + Client("A1\\u0000", "X", false), a + b + second + c},
        // Where no profile is stored it is the empty one. The changes' order is their own.
        {Client("C3", "", true) + "," + Client("B2", "X", true, R"(,"ip":"9")"),
            a + Client("B2", "X", true, Chosen("X")) + "," + second + Client("C3", "", true)},
        // The later of two changes wins; to and fro is two changes.
        {Client("A1", "X", true) + "," + Client("A1", "P", false),
            Client("A1", "P", false, more + Chosen("P")) + "," + b + second + c}};
    for (const auto& [changes, expected] : cases) {
        ExpectSaved(List(a + b + second + c), "[" + changes + "]", List(expected));
    }
}

TEST_F(ClientListTest, ListsAndChangesOfAnyShape) {
    const std::string change = Client("A1", "X", false);
    for (const char* list : {"[]", "42", "null", R"({"ClientList":{}})", R"({"ClientList":null})",
             R"({"ClientList":[{"macAddr":"A1"},7]})", R"({"ClientList":[{"macAddr":"A1"},[]]})"}) {
        ExpectSaved(list, "[" + change + "]");
    }
    ExpectSaved("{}", "[" + change + "]", "{}");
    const std::string unmatched = List(R"({"macAddr":1},{"macAddr":null},{})");
    ExpectSaved(unmatched, "[" + Client("", "X", true) + "," + Client("1", "X", true) + "]", unmatched);
    ExpectSaved(List(R"({"macAddr":"A1","profileName":{"a":1},"isAccess":[2]})"), "[" + change + "]",
        List(Client("A1", "X", false, Chosen("X"))));

    const std::string stored = List(Client("A1", "P", true));
    const auto nested = [](size_t depth) { return std::string(depth, '[') + std::string(depth, ']'); };
    for (const std::string& refused : {std::string(), std::string("no"), std::string("[{]"), nested(1000)}) {
        ExpectSaved(stored, refused);
    }
    ExpectAnswer(PostRequest("saveClientList"), FAILURE);
    for (const std::string& none : {nested(999), change, std::string("{}"), std::string("null")}) {
        ExpectSaved(stored, none, stored);
    }
    const std::string unusable =
        R"([null,[],"A1",{"macAddr":"A1","profileName":"Y"},{"macAddr":"A1","isAccess":true},)"
        R"({"profileName":"Y","isAccess":true},{"macAddr":"A1","profileName":"Y","isAccess":null},)"
        R"({"macAddr":"A1","profileName":7,"isAccess":true},{"macAddr":"A1","profileName":"Y","isAccess":0},)"
        R"({"macAddr":"A1","profileName":"Y","isAccess":"true"},{"macAddr":["A1"],"profileName":"Y","isAccess":true},)";
    ExpectSaved(stored, unusable + Client("A1", "P", false) + "]", List(Client("A1", "P", false)));
}

TEST_F(ClientListTest, SavesWithoutFileSpaceOrDaemon) {
    ExpectAnswer(Save("[]"), FAILURE, {NOT_OPENED});
    EXPECT_FALSE(std::filesystem::exists(STORED));
    WriteAll(STORED, "{}");
    std::filesystem::permissions(STORED, std::filesystem::perms(0400));
    Request readOnly = Save("[]");
    readOnly.beforeExec = [] { prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE, 0, 0, 0); };  // root obeys modes, too
    const std::string problem = "mediaserv:1655 Error: MediaServiceHandler::SaveClientList - ";
    ExpectAnswer(readOnly, FAILURE, {problem + STORED + " could not open"});
    EXPECT_EQ(Signals(), Numbers{});
    std::filesystem::permissions(STORED, std::filesystem::perms(0600));
    ExpectAnswer(OnFullDisk(Save("[]")), SUCCESS);
    EXPECT_EQ(ReadAll(STORED), "");
    WriteAll(ROOT + "/var/run/dms.pid", "");
    WriteAll(STORED, "{}");
    ExpectAnswer(Save("[]"), SUCCESS);
    EXPECT_EQ(ReadAll(STORED), "{}\n");
}

TEST_F(ClientListTest, TenTimesTheClientsTakeNotMuchMoreThanTenTimesAsLong) {
    const auto secondsToSave = [](int count) {
        std::string clients;
        std::string changes;
        for (int i = 1; i <= count; ++i) {
            clients += Client(std::to_string(i), "Old", true) + (i < count ? "," : "");
            changes += Client(std::to_string(count - i), "New", true) + (i < count ? "," : "");
        }
        WriteAll(STORED, List(clients));
        const Answer answer = Send(Save("[" + changes + "]"));
        EXPECT_EQ(answer.body, SUCCESS);
        return answer.seconds;
    };
    const double tenThousand = secondsToSave(10000);
    EXPECT_LT(secondsToSave(100000), 50 * tenThousand);
}

TEST_F(ClientListTest, ALoadWaitsOneSecondForTheDaemon) {
    const std::string empty = "{\"ClientList\":[],\"success\":true}\n";
    const std::tuple<double, std::string, std::string> cases[] = {{0, R"({"ClientList":[]})", empty},
        {1.5, R"({"ClientList":[1]})", empty}, {0, R"({"ClientList":[{"mac)", NOT_READ}};
    for (const auto& [seconds, list, expected] : cases) {
        const Answer answer = PostWithDaemon("loadClientList", seconds, list);
        EXPECT_EQ(answer.body, expected) << list;
        EXPECT_TRUE(secondsToSignal_ < 1 && answer.seconds >= 1 && answer.seconds < 3) << answer.seconds;
    }
    std::filesystem::remove(STORED);
    std::filesystem::remove(ROOT + "/var/run/dms.pid");
    ExpectAnswer(PostRequest("loadClientList"), NOT_READ, {NOT_OPENED});
}

TEST_F(ClientListTest, AClearStopsDeletesStartsAndLoads) {
    WriteAll(STORED, R"({"ClientList": [{"macAddr": "old"}]})");
    WriteProgram(SCRIPT, "echo $1 $VEXAPKG_PKG_STATUS $(ls " + ETC + ") >> " + ROOT + "/calls\n");
    const Answer answer = PostWithDaemon("clearClientList", 0, R"({"ClientList": [{"macAddr": "new"}]})");
    EXPECT_EQ(answer.body, "{\"ClientList\":[{\"macAddr\":\"new\"}],\"success\":true}\n");
    EXPECT_EQ(ScriptCalls(), (Strings{"stop client_list.json", "start"}));
    EXPECT_TRUE(secondsToSignal_ >= 2 && answer.seconds >= 4 && answer.seconds < 6) << answer.seconds;
    // Nothing to delete, and nothing from the daemon.
    std::filesystem::remove(STORED);
    ExpectAnswer(PostRequest("clearClientList"), NOT_READ, {NOT_OPENED});
    EXPECT_EQ(ScriptCalls(), (Strings{"stop", "start"}));
}

TEST_F(ClientListTest, AClearEndsWhereTheScriptFails) {
    const std::string failed = " Error: MediaServiceHandler::ClearClientList() - ";
    const Request clear = PostRequest("clearClientList");
    WriteAll(STORED, "{}");
    LetScriptFail();
    ExpectAnswer(clear, FAILURE, {"mediaserv:1494" + failed + "stop dms error"});
    EXPECT_EQ(ScriptCalls(), Strings{"stop"});
    std::filesystem::remove(SCRIPT);
    ExpectAnswer(clear, FAILURE, {"mediaserv:1494" + failed + "stop dms error"});
    EXPECT_EQ(ReadAll(STORED), "{}");
    WriteProgram(SCRIPT, "echo $1 >> " + ROOT + "/calls; test $1 = stop\n");
    ExpectAnswer(clear, FAILURE, {"mediaserv:1506" + failed + "start dms error"});
    EXPECT_EQ(ScriptCalls(), (Strings{"stop", "start"}));
    EXPECT_FALSE(std::filesystem::exists(STORED));
    EXPECT_EQ(Signals(), Numbers{});
}

}  // namespace
