// The client list: how a save changes the daemon's file, and how the list is loaded and cleared.
#include <linux/capability.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>

#include "tests/appliance.h"

namespace {

using Numbers = std::vector<int>;

constexpr char LOAD_FAILURE[] = "{\"ClientList\":0,\"success\":false}\n";

class ClientListTest : public Appliance {
  protected:
    static inline const std::string STORED = ETC + "/client_list.json";
    static inline const std::string OPEN_FAILURE =
        "mediaserv:1579 Error: MediaServiceHandler::GetJsonFromFile - " + STORED + " could not open";

    static Request Save(const std::string& changes) {
        return PostRequest("saveClientList", {{"modifiedInfo", changes}});
    }

    static void ExpectAnswer(const Request& request, const std::string& body, const Strings& log = {}) {
        const Response response = Send(request);
        EXPECT_EQ(response.body, body) << request.body.substr(0, 200);
        EXPECT_EQ(response.log, log) << request.body.substr(0, 200);
    }

    // Sends the request. The daemon writes its list `seconds` after the signal that asks for it.
    Response PostWithDaemon(const char* action, double seconds, const std::string& list) {
        Request request = PostRequest(action);
        request.whileRunning = [&](pid_t) {
            const auto start = std::chrono::steady_clock::now();
            do {
                usleep(10000);
                secondsToSignal_ = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
            } while (Signals() != Numbers{SIGCONT} && secondsToSignal_ < 20);
            usleep(static_cast<useconds_t>(seconds * 1e6));
            WriteAll(STORED, list);
        };
        return Send(request);
    }

    double secondsToSignal_ = 0;
};

TEST_F(ClientListTest, ASaveMergesTheChanges) {
    const Json::Value stored = Cases("client_list", "stored");
    for (const Json::Value& change : Cases("client_list", "changes")) {
        SCOPED_TRACE(change["why"].asString());
        Json::Value expected = stored;
        for (const std::string& client : change["changed"].getMemberNames()) {
            for (const std::string& member : change["changed"][client].getMemberNames()) {
                expected["ClientList"][std::stoi(client)][member] = change["changed"][client][member];
            }
        }
        WriteAll(STORED, stored.toStyledString());
        ExpectAnswer(Save(change["sent"].toStyledString()), SUCCESS);
        EXPECT_EQ(ParsedJson(ReadAll(STORED)), expected);
        EXPECT_EQ(Signals(), Numbers{SIGUSR2});
    }
}

TEST_F(ClientListTest, NestingAndReadOnlyModeNeverLoseTheList) {
    WriteAll(STORED, "{}");
    ExpectAnswer(Save(NestedArrays(1000)), FAILURE);
    EXPECT_EQ(ReadAll(STORED), "{}");
    ExpectAnswer(Save(NestedArrays(999)), SUCCESS);
    std::filesystem::permissions(STORED, std::filesystem::perms(0400));
    Request readOnly = Save("[]");
    readOnly.beforeExec = [] {
        prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE, 0, 0, 0);
    };  // without this capability root is subject to file modes
    const std::string problem = "mediaserv:1655 Error: MediaServiceHandler::SaveClientList - ";
    ExpectAnswer(readOnly, FAILURE, {problem + STORED + " could not open"});
    EXPECT_EQ(Signals(), Numbers{SIGUSR2});
}

TEST_F(ClientListTest, TheTimeOfASaveGrowsLinearly) {
    const auto secondsToSave = [](int count) {
        std::string clients;
        std::string changes;
        for (int i = 0; i < count; ++i) {
            const std::string rest = R"(","isAccess":true,"profileName":"P"},)";
            clients += R"({"macAddr":")" + std::to_string(i) + rest;
            changes += R"({"macAddr":")" + std::to_string(count - i) + rest;
        }
        WriteAll(STORED, "{\"ClientList\":[" + clients + "{}]}");
        const Response response = Send(Save("[" + changes + "{}]"));
        EXPECT_EQ(response.body, SUCCESS);
        return response.seconds;
    };
    const double tenThousand = secondsToSave(10000);
    EXPECT_LT(secondsToSave(100000), 50 * tenThousand);
}

TEST_F(ClientListTest, ALoadWaitsOneSecondForTheDaemon) {
    const std::string empty = "{\"ClientList\":[],\"success\":true}\n";
    const std::tuple<double, std::string, std::string> cases[] = {{0, R"({"ClientList":[]})", empty},
        {2.5, R"({"ClientList":[1]})", empty}, {0, R"({"ClientList":[{"mac)", LOAD_FAILURE}};
    for (const auto& [seconds, list, expected] : cases) {
        const Response response = PostWithDaemon("loadClientList", seconds, list);
        EXPECT_EQ(response.body, expected) << list;
        EXPECT_TRUE(secondsToSignal_ < 1 && response.seconds >= 1 && response.seconds < 3 + seconds)
            << response.seconds;
    }
}

TEST_F(ClientListTest, AClearStopsDeletesStartsAndLoads) {
    WriteAll(STORED, R"({"ClientList": [{"macAddr": "old"}]})");
    WriteProgram(SCRIPT, "echo $1 $VEXAPKG_PKG_STATUS $(ls " + ETC + ") >> " + ROOT + "/calls\n");
    const Response response = PostWithDaemon("clearClientList", 0, R"({"ClientList": [{"macAddr": "new"}]})");
    EXPECT_EQ(response.body, "{\"ClientList\":[{\"macAddr\":\"new\"}],\"success\":true}\n");
    EXPECT_EQ(ScriptCalls(), (Strings{"stop client_list.json", "start"}));
    EXPECT_TRUE(secondsToSignal_ >= 3 && secondsToSignal_ < 5 && response.seconds >= 4 && response.seconds < 6)
        << response.seconds;
    // There is no list to delete, and the daemon writes none.
    std::filesystem::remove(STORED);
    ExpectAnswer(PostRequest("clearClientList"), LOAD_FAILURE, {OPEN_FAILURE});
    EXPECT_EQ(ScriptCalls(), (Strings{"stop", "start"}));
}

}  // namespace
