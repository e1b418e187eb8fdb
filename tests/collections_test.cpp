// The exposed collections: each user's choice, and the listing out of a PostgreSQL server of the test's own.
#include <csignal>
#include <filesystem>
#include <sstream>

#include "tests/appliance.h"

namespace {

constexpr char EMPTY_LIST[] = "{\"data\":{\"collections\":[]},\"success\":true}\n";
constexpr char UNREAD[] = "mediaserv:1584 Error: MediaServiceHandler::GetJsonFromFile - Json::Reader::parse failed";

class CollectionsTest : public Appliance {
  protected:
    static inline const std::string STORED = ETC + "/exposed_collection.json";
    static inline std::string server_ = "/nowhere";

    // A request of a user of a user database of the test's own.
    static Request By(const std::string& user, const std::string& action, const Fields& fields = {}) {
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
        return By(user, "saveCollection", {{"exposed_collections", list}});
    }
};

TEST_F(CollectionsTest, NoListMakesTheFileUnreadable) {
    for (const std::string& list : {NestedArrays(100000), NestedArrays(998)}) {
        EXPECT_EQ(Send(Save("ann", list)).body, FAILURE);
    }
    for (const std::string& list : {NestedArrays(997), std::string("[\"1\"] // open"),
             std::string("\"\xFF\xED\xA0\x80\\udc00\""), std::string("[]")}) {
        const Answer answer = Send(Save("ann", list));
        EXPECT_EQ(answer.body, SUCCESS);
        EXPECT_EQ(answer.log, Strings{}) << list;
    }
}

// What a process loads is told by the dynamic linker.
TEST_F(CollectionsTest, OneActionOfNineteenNeedsLibpq) {
    WriteAll(ROOT + "/lib/libpq.so.5", "no library");
    std::istringstream actions(
        "load_dma_page save_dma_page load_browsing_page save_browsing_page load_general_page save_general_page "
        "loadmenu savemenu getdmslangtext loadlogconf applylogconf downloadlog clearlog saveClientList "
        "loadClientList loadProfileList clearClientList saveCollection loadCollection");
    for (std::string action; actions >> action;) {
        Request request = PostRequest(action);
        request.environment.insert({{"LD_LIBRARY_PATH", ROOT + "/lib"}, {"LD_DEBUG", "files"}});
        const Answer answer = Send(request);
        const bool lists = action == "loadCollection";
        EXPECT_TRUE(lists ? answer.body == EMPTY_LIST : !answer.body.empty()) << action;
        EXPECT_EQ(answer.Logged("libpq"), lists) << action;
    }
}

class VideoLibraryTest : public CollectionsTest {
  protected:
    static inline const std::string CLUSTER = BINARY_DIRECTORY "/video_library";

    // Shells read their commands where the program reads a body.
    static std::string Run(
        const std::string& shell, const std::string& commands, const std::string& database = "",
        const std::function<void()>& meanwhile = [] {}) {
        const Answer answer = RunProgram("/usr/bin/" + shell,
            {{{"PATH", "/usr/bin:/bin"}, {"PGHOST", server_}, {"PGUSER", "postgres"}, {"PGDATABASE", database}},
                commands, [] {}, [&](pid_t) { meanwhile(); }});
        EXPECT_EQ(answer.exitStatus, 0) << commands << testing::PrintToString(answer.log);
        return answer.output.substr(0, answer.output.find('\n'));
    }

    static std::string Control(const std::string& order) {
        return Run("sh", SOURCE_DIRECTORY "/demo/postgres.sh " + order + " " + CLUSTER);
    }

    static void Sql(
        const std::string& statements, const std::string& database = "video_metadata",
        const std::function<void()>& meanwhile = [] {}) {
        Run("psql", "\\set ON_ERROR_STOP 1\n" + statements, database, meanwhile);
    }

    static void SetUpTestSuite() { server_ = Control("start"); }
    static void TearDownTestSuite() {
        Control("stop");
        std::filesystem::remove_all(CLUSTER);
    }

    static Answer List(const std::string& user = "ann") { return Send(By(user, "loadCollection")); }

    // The ids of a list, those that are exposed with a star.
    static std::string Ids(const Answer& answer) {
        const Json::Value document = answer.Json();
        std::string ids;
        for (const Json::Value& collection : document["data"]["collections"]) {
            ids += collection["id"].asString() + (collection["exposed"].asBool() ? "* " : " ");
        }
        return ids;
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
    EXPECT_EQ(List().log, Strings{UNREAD});
}

TEST_F(VideoLibraryTest, WhatCannotBeListedIsLeftOut) {
    Sql("ALTER TABLE collection RENAME TO kept; CREATE TABLE collection (uid bigint, id jsonb, title jsonb);"
        "INSERT INTO collection VALUES (1026, '1', '\"a\"'), (1026, '\"2\"', '\"b\"'), (1026, '2.5', '\"c\"'),"
        "(1026, '3000000000', '\"d\"'), (1026, null, '\"e\"'), (1026, '3', '7'), (1026, '4', null);");
    EXPECT_EQ(Ids(List()), "1 ");
    const auto expectEmpty = [](const std::string& problem = "") {
        const Answer answer = List();
        EXPECT_EQ(answer.body, EMPTY_LIST);
        EXPECT_EQ(answer.log.size(), problem.empty() ? 0U : 1U);
        EXPECT_EQ(answer.Logged(problem), !problem.empty());
        EXPECT_FALSE(answer.Logged("\\x0A"));
        EXPECT_LT(answer.seconds, 15);
        return answer.seconds;
    };
    Sql("BEGIN; LOCK TABLE collection;\n\\! sleep 14\n", "video_metadata", [&] {
        sleep(2);
        EXPECT_GT(expectEmpty("canceling statement due to statement timeout"), 8);
    });
    Sql("DROP TABLE collection;");
    expectEmpty("relation \\\"collection\\\" does not exist");
    Sql("ALTER TABLE kept RENAME TO collection;");
    Sql("ALTER DATABASE video_metadata RENAME TO kept;", "postgres");
    expectEmpty();
    Sql("ALTER DATABASE kept RENAME TO video_metadata;", "postgres");
    const int server = std::stoi(ReadAll(server_ + "/data/postmaster.pid"));
    kill(server, SIGSTOP);  // it never answers
    expectEmpty();
    kill(server, SIGCONT);
    Control("stop");
    expectEmpty();
    EXPECT_EQ(Control("start"), server_);
}

}  // namespace
