// The exposed collections: each user's choice, and their list from a PostgreSQL server that the test starts.
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>
#include <future>
#include <optional>
#include <sstream>
#include <thread>

#include "tests/appliance.h"

namespace {

constexpr char EMPTY_LIST[] = "{\"data\":{\"collections\":[]},\"success\":true}\n";
constexpr char INVALID_JSON[] =
    "mediaserv:1584 Error: MediaServiceHandler::GetJsonFromFile - Json::Reader::parse failed";

class CollectionsTest : public Appliance {
  protected:
    static inline const std::string STORED = ETC + "/exposed_collection.json";
    static inline std::string server_ = "/nowhere";

    // Returns a request of a user in a user database that only this request sees.
    static Request RequestOf(const std::string& user, const std::string& action, const Fields& fields = {}) {
        WriteAll(ROOT + "/group", "root:x:0:\n");
        WriteAll(ROOT + "/passwd", "root:x:0:0::/:\nann:x:1026:0::/:\nlast:x:4294967295:0::/:\n");
        Request request = PostRequest(action, fields);
        request.environment.insert({{"LD_PRELOAD", "libnss_wrapper.so"}, {"NSS_WRAPPER_GROUP", ROOT + "/group"},
            {"NSS_WRAPPER_PASSWD", ROOT + "/passwd"}, {"ASAN_OPTIONS", "verify_asan_link_order=0"},
            {"PGHOST", server_}});
        request.environment["REMOTE_USER"] = user;
        return request;
    }

    static Request Save(const std::string& user, const std::string& list) {
        return RequestOf(user, "saveCollection", {{"exposed_collections", list}});
    }
};

TEST_F(CollectionsTest, NoChoiceMakesTheFileUnreadable) {
    for (const std::string& list : {NestedArrays(100000), NestedArrays(998)}) {
        EXPECT_EQ(Send(Save("ann", list)).body, FAILURE);
    }
    for (const std::string& list : {NestedArrays(997), std::string("[\"1\"] // open"),
             std::string("\"\xFF\xED\xA0\x80\\udc00\""), std::string("[]")}) {
        const Response response = Send(Save("ann", list));
        EXPECT_EQ(response.body, SUCCESS);
        EXPECT_EQ(response.log, Strings{}) << list;
    }
}

// The dynamic linker reports the libraries that a process loads.
TEST_F(CollectionsTest, OnlyOneOfNineteenActionsLoadsLibpq) {
    WriteAll(ROOT + "/lib/libpq.so.5", "not a library");
    std::istringstream actions(
        "load_dma_page save_dma_page load_browsing_page save_browsing_page load_general_page save_general_page "
        "loadmenu savemenu getdmslangtext loadlogconf applylogconf downloadlog clearlog saveClientList "
        "loadClientList loadProfileList clearClientList saveCollection loadCollection");
    for (std::string action; actions >> action;) {
        Request request = PostRequest(action);
        request.environment.insert({{"LD_LIBRARY_PATH", ROOT + "/lib"}, {"LD_DEBUG", "files"}});
        const Response response = Send(request);
        const bool needsLibpq = action == "loadCollection";
        EXPECT_TRUE(needsLibpq ? response.body == EMPTY_LIST : !response.body.empty()) << action;
        EXPECT_EQ(response.Logged("libpq"), needsLibpq) << action;
    }
}

class VideoLibraryTest : public CollectionsTest {
  protected:
    static inline const std::string CLUSTER = BINARY_DIRECTORY "/video_library";

    // Passes the commands to a shell as standard input, like a request body. Returns the first line of its output.
    static std::string Run(const std::string& shell, const std::string& commands, const std::string& database = "") {
        const Response response = RunProgram("/usr/bin/" + shell,
            {{{"PATH", "/usr/bin:/bin"}, {"PGHOST", server_}, {"PGUSER", "postgres"}, {"PGDATABASE", database}},
                commands});
        EXPECT_EQ(response.exitStatus, 0) << commands << testing::PrintToString(response.log);
        return response.output.substr(0, response.output.find('\n'));
    }

    static std::string ControlServer(const std::string& order) {
        return Run("sh", SOURCE_DIRECTORY "/demo/postgres.sh " + order + " " + CLUSTER);
    }

    static void Sql(const std::string& statements, const std::string& database = "video_metadata") {
        Run("psql", "\\set ON_ERROR_STOP 1\n" + statements, database);
    }

    static void SetUpTestSuite() { server_ = ControlServer("start"); }
    static void TearDownTestSuite() {
        ControlServer("stop");
        std::filesystem::remove_all(CLUSTER);
    }

    static Response List(const std::string& user = "ann") { return Send(RequestOf(user, "loadCollection")); }

    // Returns the ids of the listed collections, each exposed one with a star.
    static std::string Ids(const Response& response) {
        const Json::Value document = response.Json();
        std::string ids;
        for (const Json::Value& collection : document["data"]["collections"]) {
            ids += collection["id"].asString() + (collection["exposed"].asBool() ? "* " : " ");
        }
        return ids;
    }

    // Expects a success with the list, and one log line if there is a problem.
    static void Expect(const Response& response, const std::string& ids, const std::string& problem = "") {
        EXPECT_TRUE(response.Json()["success"].asBool());
        EXPECT_EQ(Ids(response), ids);
        EXPECT_EQ(response.log.size(), problem.empty() ? 0U : 1U);
        EXPECT_EQ(response.Logged(problem), !problem.empty()) << problem << testing::PrintToString(response.log);
        EXPECT_FALSE(response.Logged("\\x0A"));
    }
};

TEST_F(VideoLibraryTest, AUsersCollectionsAreListed) {
    Sql("TRUNCATE collection; INSERT INTO collection VALUES (5, 1026, 'b'), (9, 1026, 'vexa_favorite'),"
        "(8, 1026, 'vexa_default_shared'), (7, 1026, 'vexa_watchlist'), (6, 1026, 'z'), (3, 1026, 'b'),"
        "(2147483647, 1026, 'Z'), (-4, 1026, 'Vexa_favorite'), (2, 1027, 'c');"
        "ALTER TABLE collection ADD COLUMN IF NOT EXISTS more jsonb;"
        "INSERT INTO collection VALUES (1, 4294967295, 'Zoë''s \"映画\" \\ 🎄', '{\"k\": [1, null]}');");
    EXPECT_EQ(List("last").body, R"({"data":{"collections":[{"exposed":false,"id":"1","more":{"k":[1,null]},"title":)"
                                 R"("Zo\u00eb's \"\u6620\u753b\" \\ \ud83c\udf84","uid":4294967295}]},"success":true})"
                                 "\n");
    EXPECT_EQ(List("root").body, EMPTY_LIST);
    EXPECT_EQ(List().log, Strings{});
    for (const Json::Value& listing : Cases("collections", "listings")) {
        WriteAll(STORED, listing["stored"].toStyledString());
        EXPECT_EQ(Ids(List()), listing["ids"].asString()) << listing;
    }
    WriteAll(STORED, "{");
    EXPECT_EQ(List().log, Strings{INVALID_JSON});
}

TEST_F(VideoLibraryTest, UnusableRowsAndDatabasesAreOmitted) {
    Sql("ALTER TABLE collection RENAME TO kept; CREATE TABLE collection (uid bigint, id jsonb, title jsonb);"
        "INSERT INTO collection VALUES (1026, '1', '\"a\"'), (1026, null, '\"e\"'), (1026, '4', null);");
    Expect(List(), "1 ");
    Sql("INSERT INTO collection VALUES (1026, '3000000000', '\"b\"'), (1026, '\"2\"', '\"c\"'), (1026, '3', '7'),"
        "(1026, '2.5', '\"d\"'), (1026, '1e400', '\"d\"'), (1026, '5', to_jsonb(repeat('f', 70000)));");
    Expect(List(), "1 ",
        R"(: 6 rows are not valid JSON or have no usable id and title, the first one: )"
        R"({\"uid\":1026,\"id\":3000000000,\"title\":\"b\"})");
    Sql("TRUNCATE collection; INSERT INTO collection SELECT 1026, '1', to_jsonb(repeat('a', 60000)) "
        "FROM generate_series(1, 100);");
    EXPECT_TRUE(List().Logged("only the first 87 collections are listed"));
    Sql("DROP TABLE collection;");
    Expect(List(), "", "relation \\\"collection\\\" does not exist");
    Sql("ALTER TABLE kept RENAME TO collection;");
    Sql("ALTER DATABASE video_metadata RENAME TO kept;", "postgres");
    Expect(List(), "");
    Sql("ALTER DATABASE kept RENAME TO video_metadata;", "postgres");
    ControlServer("stop");
    Expect(List(), "");
    EXPECT_EQ(ControlServer("start"), server_);
}

// What a misbehaving server does after its two messages: it disconnects, or waits until the client disconnects, or
// repeats a third message until then.
using Then = std::optional<std::string>;
const Then DISCONNECT = std::nullopt;
const Then WAIT = "";

// Starts a server that sends every client two messages, each after it received something. Returns its address, which is
// an abstract one and needs no directory.
std::string MisbehavingServer(const std::string& login, const std::string& result, const Then& then) {
    static int count = 0;
    const std::string name = "mediaserv-" + std::to_string(getpid()) + "-" + std::to_string(++count);
    const std::string path = name + "/.s.PGSQL.5432";
    sockaddr_un address = {AF_UNIX, ""};
    path.copy(address.sun_path + 1, path.size());
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + path.size());
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(bind(listener, reinterpret_cast<const sockaddr*>(&address), size), 0);
    EXPECT_EQ(listen(listener, 1), 0);
    std::thread([=] {
        char received[4096];
        for (int client = 0; (client = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC)) >= 0; close(client)) {
            for (const std::string& message : {login, result}) {
                recv(client, received, sizeof received, 0);
                send(client, message.data(), message.size(), MSG_NOSIGNAL);
            }
            while (then == WAIT && recv(client, received, sizeof received, 0) > 0) {
            }
            while (then.value_or("") != "" && send(client, then->data(), then->size(), MSG_NOSIGNAL) > 0) {
                usleep(20000);
            }
        }
    }).detach();
    return "@" + name;
}

// The messages are those of PostgreSQL's protocol, version 3.
TEST_F(VideoLibraryTest, NoServerDelaysARequestForLong) {
    using namespace std::string_literals;
    const std::string welcome = "R\0\0\0\10\0\0\0\0Z\0\0\0\5I"s;
    const std::string columns = "T\0\0\0\34\0\1row\0\0\0\0\0\0\0\0\0\0\31\377\377\377\377\377\377\0\0"s;
    const std::string emptyRow = "D\0\0\0\12\0\1\0\0\0\0"s;
    const std::string halfRow = "D\0\0\0\30\0\1\0\0\0\16{\"id\""s;
    const std::string notice = "N\0\0\0\21SNOTICE\0MHm\0\0"s;
    const struct {
        std::string login, result;
        Then then;
        double seconds;
        std::string problem;
    } cases[] = {
        {"", "", WAIT, 5, ""},
        {"R", "", WAIT, 5, ""},
        {welcome, "", WAIT, 10, "no complete response within 10 seconds"},
        {welcome, columns + halfRow, WAIT, 10, "no complete response within 10 seconds"},
        {welcome, columns + halfRow, DISCONNECT, 0, "server closed the connection unexpectedly"},
        {welcome, "", notice, 10, "no complete response within 10 seconds"},
        {welcome, columns, emptyRow, 10, "no complete response within 10 seconds"},
        {welcome, "T\0\0\0\6\0\0D\0\0\0\6\0\0"s, WAIT, 0, "unexpected response from the server"},
        {welcome, "H\0\0\0\7\0\0\0"s, WAIT, 0, "unexpected response from the server"},
        {welcome, "HTTP/1.1 400 Bad Request\r\n", WAIT, 0, "lost synchronization with server"},
    };
    Sql("ALTER TABLE collection RENAME TO kept;"
        "CREATE VIEW collection AS SELECT 1 AS id, 1026 AS uid, pg_sleep(60)::text AS title;");
    std::vector<std::future<Response>> responses;
    Request request = RequestOf("ann", "loadCollection");
    auto slow = std::async(std::launch::async, Send, request);
    for (const auto& [login, result, then, seconds, problem] : cases) {
        request.environment["PGHOST"] = MisbehavingServer(login, result, then);
        responses.push_back(std::async(std::launch::async, Send, request));
    }
    const auto expect = [](const Response& response, double seconds, const std::string& problem) {
        Expect(response, "", problem);
        EXPECT_TRUE(response.seconds > seconds - 1 && response.seconds < seconds + 5) << response.seconds << problem;
    };
    expect(slow.get(), 10, "no complete response within 10 seconds");
    for (size_t i = 0; i < std::size(cases); ++i) {
        expect(responses[i].get(), cases[i].seconds, cases[i].problem);
    }
    // The server ends an abandoned query by itself: a running query would keep the view locked.
    Sql("SET lock_timeout = '5s'; DROP VIEW collection; ALTER TABLE kept RENAME TO collection;");
}

}  // namespace
