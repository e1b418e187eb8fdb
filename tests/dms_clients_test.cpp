// What dms makes of the client list when it has seen clients.
#include <ctime>
#include <filesystem>

#include "clients/client_list.h"
#include "minidlna/clients.h"
#include "tests/appliance.h"

namespace {

constexpr std::time_t NOW = 1'800'000'000;
constexpr std::time_t DAY = 24 * 60 * 60;

dms::SeenClient Seen(int number) {
    char mac[32];
    snprintf(mac, sizeof mac, "02:00:00:00:%02X:%02X", number / 256 % 256, number % 256);
    return {"Roku", "192.0.2.1", mac};
}

Json::Value Stored(int number, const std::string& members = "{}") {
    Json::Value client;
    client[MAC_ADDRESS] = Seen(number).macAddress;
    return Merged(client, ParsedJson(members));
}

Json::Value ListOf(const std::vector<Json::Value>& clients) {
    Json::Value document;
    document[CLIENTS] = Json::arrayValue;
    for (const Json::Value& client : clients) {
        document[CLIENTS].append(client);
    }
    return document;
}

TEST(DmsClientsTest, AddsAndUpdatesClients) {
    const auto lastSeen = [](std::time_t time) { return "\"lastSeen\":" + std::to_string(time); };
    const std::string now = lastSeen(NOW);
    const struct {
        std::string stored;
        dms::SeenClient seen;
        std::string expected;
    } cases[] = {
        {"[]", {"Samsung Series [Q]", "192.0.2.1", "02:00:5E:10:00:01"},
            R"([{"macAddr":"02:00:5E:10:00:01","ip":"192.0.2.1","name":"Samsung Series [Q]","profileName":"Television","isAccess":true,)" +
                now + "}]"},
        {"[]", {"Unknown", "192.0.2.1", "m"},
            R"([{"macAddr":"m","ip":"192.0.2.1","name":"192.0.2.1","profileName":"Generic","isAccess":true,)" + now +
                "}]"},
        {"[]", {"", "", "m"},
            R"([{"macAddr":"m","ip":"","name":"m","profileName":"Generic","isAccess":true,)" + now + "}]"},
        {R"([{"macAddr":1},{"macAddr":"aB","name":"n","x":[1]},{"macAddr":"AB"}])", {"Roku", "ip", "Ab"},
            R"([{"macAddr":1},{"macAddr":"aB","name":"n","x":[1],"ip":"ip",)" + now + R"(},{"macAddr":"AB"}])"},
        {R"([{"macAddr":"m","ip":"old",)" + lastSeen(NOW - DAY + 1) + "}]", {"Roku", "", "m"},
            R"([{"macAddr":"m","ip":"old",)" + lastSeen(NOW - DAY + 1) + "}]"},
        {R"([{"macAddr":"m",)" + lastSeen(NOW - DAY) + "}]", {"Roku", "", "m"}, R"([{"macAddr":"m",)" + now + "}]"},
        {R"([{"macAddr":"m",)" + lastSeen(NOW + DAY) + "}]", {"Roku", "", "m"}, R"([{"macAddr":"m",)" + now + "}]"},
        {R"([{"macAddr":"m","lastSeen":-9223372036854775808}])", {"Roku", "", "m"}, R"([{"macAddr":"m",)" + now + "}]"},
        {R"([{"macAddr":"m","lastSeen":"x"}])", {"Roku", "", "m"}, R"([{"macAddr":"m",)" + now + "}]"},
    };
    for (const auto& row : cases) {
        Json::Value document = ParsedJson(R"({"other":1,"ClientList":)" + row.stored + "}");
        EXPECT_EQ(dms::MergeClients({row.seen}, NOW, document), 0U);
        EXPECT_EQ(document, ParsedJson(R"({"other":1,"ClientList":)" + row.expected + "}")) << row.stored;
    }
}

TEST(DmsClientsTest, RemovesTheClientsThatWereSeenLeastRecently) {
    constexpr size_t LIMIT = 4;
    const std::string changed = R"({"isAccess":false,"lastSeen":1})";
    const struct {
        std::vector<Json::Value> stored;
        std::vector<int> seen;
        std::string left;  // the numbers of the clients
        size_t unstored;
    } cases[] = {
        {{Stored(1, R"({"lastSeen":3})"), Stored(2, R"({"lastSeen":2})"), Stored(3), Stored(4, changed)}, {5, 6},
            "1456", 0},
        {{Stored(1, R"({"lastSeen":3})"), Stored(2, R"({"lastSeen":2})"), Stored(3), Stored(4)}, {3, 5}, "1235", 0},
        {{Stored(1, changed), Stored(2, R"({"profileName_UserSelected":"x"})"), Stored(3, R"({"note":1})"),
             Stored(4, changed)},
            {5, 1, 6}, "1234", 2},
        {{Stored(1, changed), Stored(2, R"({"isAccess":"no"})"), Stored(3)}, {4, 5, 6}, "1245", 1},
        // Seen less than a day ago, so its member is not updated.
        {{Stored(1, R"({"lastSeen":1799999990})"), Stored(2, R"({"lastSeen":1799999995})")}, {1, 3, 4, 5}, "1345", 0},
        {{Stored(1), Stored(2), Stored(3), Stored(4), Stored(5), Stored(6)}, {1}, "1456", 0},
        {{}, {1, 2, 3, 4, 5}, "1234", 1},
    };
    for (const auto& row : cases) {
        std::vector<dms::SeenClient> seen;
        for (const int number : row.seen) {
            seen.push_back(Seen(number));
        }
        Json::Value document = ListOf(row.stored);
        EXPECT_EQ(dms::MergeClients(seen, NOW, document, LIMIT), row.unstored) << row.left;
        std::string left;
        for (const Json::Value& client : document[CLIENTS]) {
            left += client[MAC_ADDRESS].asString().back();
        }
        EXPECT_EQ(left, row.left);
    }
}

TEST(DmsClientsTest, TenTimesTheClientsTakeNotMuchMoreThanTenTimesAsLong) {
    const auto clocksToMerge = [](int count) {
        std::vector<dms::SeenClient> seen;
        Json::Value document = ListOf({});
        for (int i = 0; i < count; ++i) {
            document[CLIENTS].append(Stored(i));
            seen.push_back(Seen(2 * count - i));
        }
        const std::clock_t start = std::clock();  // of this process, so that a busy machine does not matter
        EXPECT_EQ(dms::MergeClients(seen, NOW, document, static_cast<size_t>(count)), 0U);
        return std::clock() - start;
    };
    const std::clock_t twoThousand = clocksToMerge(2000);
    EXPECT_LT(clocksToMerge(20000), 50 * twoThousand);
}

class DmsClientsFileTest : public Appliance {
  protected:
    static inline const std::string STORED = ETC + "/client_list.json";
    DmsClientsFileTest() { log_.SetLevel(dms::Level::Info); }

    // Returns the messages of the given levels since the last call.
    Strings Logged(const std::string& level) {
        Strings messages;
        for (const std::string& line : Lines(ReadAll(ROOT + "/var/log/dms.log"))) {
            if (const size_t at = line.find("] " + level + ": "); at != std::string::npos) {
                messages.push_back(line.substr(at + level.size() + 4));
            }
        }
        std::filesystem::remove(ROOT + "/var/log/dms.log");
        return messages;
    }

    dms::DmsLog log_;
    dms::Clients clients_{log_};
};

TEST_F(DmsClientsFileTest, NeverReplacesAFileThatItCannotRead) {
    WriteAll(STORED, R"({"ClientList":[{"macAddr":"02:00:00:00:00:01","isAccess":false}]})");
    clients_.Read();
    const std::pair<std::string, std::string> cases[] = {{"", "it is not valid JSON"},
        {"{\"ClientList\":[", "it is not valid JSON"}, {"[]", "it has no array of clients"},
        {"{}", "it has no array of clients"}, {R"({"ClientList":{}})", "it has no array of clients"},
        {R"({"ClientList":[1]})", "it has no array of clients"}};
    std::string previous;
    for (const auto& [content, reason] : cases) {
        WriteAll(STORED, content);
        clients_.Merge({Seen(2)});
        clients_.Merge({Seen(2)});
        clients_.Read();
        EXPECT_EQ(ReadAll(STORED), content);
        const Strings errors = Logged("error");
        EXPECT_EQ(errors.size(), reason == previous ? 0U : 1U) << content;
        EXPECT_TRUE(errors.empty() || errors[0].starts_with(STORED + " is not a valid client list: " + reason))
            << errors[0];
        previous = reason;
    }
    std::filesystem::remove(STORED);
    std::filesystem::create_symlink(STORED, STORED);
    clients_.Merge({Seen(2)});
    EXPECT_TRUE(std::filesystem::is_symlink(STORED));
    EXPECT_TRUE(Logged("error").at(0).starts_with("cannot read " + STORED + ": Too many levels of symbolic links"));
    EXPECT_EQ(clients_.Denied(), Strings{"02:00:00:00:00:01"});

    std::filesystem::remove(STORED);
    clients_.Merge({Seen(2)});
    EXPECT_EQ(ParsedJson(ReadAll(STORED))[CLIENTS].size(), 2U);
    EXPECT_EQ(Logged("error"), Strings());
}

TEST_F(DmsClientsFileTest, WritesTheFileOnlyIfItChanges) {
    clients_.Merge({});
    EXPECT_EQ(ParsedJson(ReadAll(STORED)), ListOf({}));
    for (const size_t written : {1U, 0U}) {
        Logged("info");
        clients_.Merge({Seen(1)});
        EXPECT_EQ(Logged("info").size(), written);
    }
    EXPECT_NEAR(ParsedJson(ReadAll(STORED))[CLIENTS][0][LAST_SEEN].asDouble(), static_cast<double>(time(nullptr)), 60);
}

TEST_F(DmsClientsFileTest, LogsOnceThatTheListIsFull) {
    std::vector<Json::Value> stored;
    for (int i = 0; i < static_cast<int>(dms::MAX_CLIENTS); ++i) {
        stored.push_back(Stored(i, R"({"isAccess":false})"));
    }
    WriteAll(STORED, ListOf(stored).toStyledString());
    clients_.Merge({Seen(20000)});
    clients_.Merge({Seen(20001)});
    EXPECT_EQ(Logged("warning").size(), 1U);
    EXPECT_EQ(ParsedJson(ReadAll(STORED)), ListOf(stored));
}

}  // namespace
