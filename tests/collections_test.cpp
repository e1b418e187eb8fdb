// The exposed collections: each user's choice, and the listing out of a PostgreSQL server of the test's own.
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <filesystem>

#include "platform/json_text.h"
#include "tests/appliance.h"

namespace {

using Strings = std::vector<std::string>;

constexpr char EMPTY_LIST[] = "{\"data\":{\"collections\":[]},\"success\":true}\n";
constexpr char PARSING_FAILED[] =
    "mediaserv:1584 Error: MediaServiceHandler::GetJsonFromFile - Json::Reader::parse failed";

Json::Value Parsed(const std::string& text) {
    Json::Value value;
    EXPECT_TRUE(ParseJson(text, value)) << text;
    return value;
}

class CollectionsTest : public Appliance {
  protected:
    static inline const std::string STORED = ETC + "/exposed_collection.json";
    static inline std::string server_ = "/nowhere";

    // The answer to a user of a user database of the test's own.
    static Request By(const std::string& user, const std::string& action, const Fields& fields = {}) {
        WriteAll(ROOT + "/group", "root:x:0:\n");
        WriteAll(ROOT + "/passwd",
            "root:x:0:0::/:/bin/sh\nann:x:1026:0::/:/bin/sh\nbob:x:1027:0::/:/bin/sh\n"
            "last:x:4294967295:0::/:/bin/sh\n");
        Request request = PostRequest(action, fields);
        request.environment.merge(std::map<std::string, std::string>{{"LD_PRELOAD", "libnss_wrapper.so"},
            {"ASAN_OPTIONS", "verify_asan_link_order=0"}, {"NSS_WRAPPER_GROUP", ROOT + "/group"},
            {"NSS_WRAPPER_PASSWD", ROOT + "/passwd"}, {"PGHOST", server_}});
        request.environment["REMOTE_USER"] = user;
        return request;
    }

    static Request Save(const std::string& user, const std::string& list) {
        return By(user, "saveCollection", {{"exposed_collections", list}});
    }

    // A refusal, where nothing is expected, leaves the file's bytes.
    static void ExpectSaved(
        const std::string& user, const std::string& list, const std::string& expected, const Strings& log = {}) {
        const std::string before = ReadAll(STORED);
        const Answer answer = Send(Save(user, list));
        EXPECT_EQ(answer.body, expected.empty() ? FAILURE : SUCCESS) << list.substr(0, 60) << before;
        EXPECT_EQ(answer.log, log) << list.substr(0, 60) << before;
        if (expected.empty()) {
            EXPECT_EQ(ReadAll(STORED), before);
        } else {
            EXPECT_EQ(Parsed(ReadAll(STORED)), Parsed(expected));
        }
    }
};

TEST_F(CollectionsTest, EachUserHasAChoice) {
    const std::string bobs = R"("1027":{"exposed_collections":["7"]})";
    ExpectSaved("ann", R"(["-1","7"])", R"({"1026":{"exposed_collections":["-1","7"]}})");
    ExpectSaved("bob", R"(["7"])", R"({"1026":{"exposed_collections":["-1","7"]},)" + bobs + "}");
    for (const char* refused : {"", "no", "[", "[\"7\",]"}) {
        ExpectSaved("bob", refused, "");
    }
    EXPECT_EQ(Send(By("ann", "saveCollection")).body, FAILURE);
    ExpectSaved("ann", "[]", R"({"1026":{"exposed_collections":[]},)" + bobs + "}");
    ExpectSaved("ann", R"({"a":[1,null]})", R"({"1026":{"exposed_collections":{"a":[1,null]}},)" + bobs + "}");
    EXPECT_EQ(Signals(), std::vector<int>{});
    std::filesystem::remove(STORED);
    EXPECT_EQ(Send(Save("last", "[\"1\"]")).body, SUCCESS);
    EXPECT_EQ(Send(Save("root", "[]")).body, SUCCESS);
    EXPECT_EQ(ReadAll(STORED),
        "{\n\t\"0\" : \n\t{\n\t\t\"exposed_collections\" : []\n\t},\n"
        "\t\"4294967295\" : \n\t{\n\t\t\"exposed_collections\" : [ \"1\" ]\n\t}\n}\n");
}

TEST_F(CollectionsTest, OtherChoicesAreWorthMoreThanASave) {
    const std::string own = R"("1026":{"exposed_collections":["1"]})";
    for (const char* refused : {"[1]", "42", "\"\"", R"({"1026":["-1"],"1027":1})", R"({"1026":"-1"})"}) {
        WriteAll(STORED, refused);
        ExpectSaved("ann", "[\"1\"]", "");
    }
    for (const char* none : {"null", R"({"1026":null})", R"({"1026":{"exposed_collections":7}})"}) {
        WriteAll(STORED, none);
        ExpectSaved("ann", "[\"1\"]", "{" + own + "}");
    }
    for (const char* unreadable : {R"({"1027":{})", ""}) {
        WriteAll(STORED, unreadable);
        ExpectSaved("ann", "[\"1\"]", "{" + own + "}", {PARSING_FAILED});
    }
    WriteAll(STORED, R"({"1026":{"exposed_collections":[],"a":[1]},"1027":[],"x":null})");
    ExpectSaved("ann", "[\"1\"]", R"({"1026":{"exposed_collections":["1"],"a":[1]},"1027":[],"x":null})");
}

TEST_F(CollectionsTest, NoListMakesTheFileUnreadable) {
    const auto nested = [](size_t depth) { return std::string(depth, '[') + std::string(depth, ']'); };
    WriteAll(STORED, "// all\n{\"1027\": {\"exposed_collections\": [\"7\"]} /* Bob */}\n");
    for (const std::string& list :
        {nested(996), nested(997), nested(998), nested(100000), std::string("[\"1\"] /* open /"),
            std::string("[\"1\"] // open"), std::string("\"\xFF\xED\xA0\x80\\udc00\"")}) {
        EXPECT_EQ(Send(Save("ann", list)).log, Strings{});
        EXPECT_EQ(Send(Save("ann", "[]")).log, Strings{}) << list.substr(0, 60);
    }
    EXPECT_EQ(Send(Save("ann", nested(997))).body, SUCCESS);
    EXPECT_EQ(Send(Save("ann", nested(998))).body, FAILURE);
    EXPECT_EQ(Send(Save("ann", "[]")).body, SUCCESS);
    EXPECT_EQ(ReadAll(STORED),
        "// all\n{\n\t\"1026\" : \n\t{\n\t\t\"exposed_collections\" : []\n\t},\n"
        "\t\"1027\" : \n\t{\n\t\t\"exposed_collections\" : [ \"7\" ]\n\t} /* Bob */\n}\n");
}

TEST_F(CollectionsTest, SavesWithoutUserFileOrSpace) {
    const std::string unknown = " Failed to get login user";
    WriteAll(STORED, "{");
    ExpectSaved("eve", "[]", "", {PARSING_FAILED, "mediaserv:1475" + unknown, "mediaserv:1441" + unknown});
    const Answer listed = Send(By("eve", "loadCollection"));
    EXPECT_EQ(listed.body, "{\"data\":{\"collections\":[]},\"success\":false}\n");
    EXPECT_EQ(listed.log, Strings{"mediaserv:1475" + unknown});
    EXPECT_EQ(Send(OnFullDisk(Save("ann", "[]"))).body, SUCCESS);
    EXPECT_EQ(ReadAll(STORED), "");
    std::filesystem::remove(STORED);
    std::filesystem::create_directory(STORED);
    ExpectSaved("ann", "[]", "", {PARSING_FAILED});
}

// What a process loads is told by the dynamic linker.
TEST_F(CollectionsTest, OneActionOfNineteenNeedsLibpq) {
    WriteAll(ROOT + "/lib/libpq.so.5", "no library");
    WriteAll(ETC + "/client_list.json", "{}");
    const std::string done = "\"success\":true";
    const std::string lacking = "\"success\":false";  // a field or a file
    const std::pair<const char*, std::string> cases[] = {{"load_dma_page", done}, {"save_dma_page", done},
        {"load_browsing_page", done}, {"save_browsing_page", done}, {"load_general_page", done},
        {"save_general_page", done}, {"loadmenu", lacking}, {"savemenu", lacking}, {"getdmslangtext", done},
        {"loadlogconf", done}, {"applylogconf", done}, {"downloadlog", "dms.tgz"}, {"clearlog", done},
        {"saveClientList", lacking}, {"loadClientList", done}, {"loadProfileList", lacking},
        {"clearClientList", lacking}, {"saveCollection", lacking}, {"loadCollection", EMPTY_LIST}};
    for (const auto& [action, expected] : cases) {
        Request request = PostRequest(action);
        request.environment["LD_LIBRARY_PATH"] = ROOT + "/lib";
        request.environment["LD_DEBUG"] = "files";
        request.environment["LD_DEBUG_OUTPUT"] = ROOT + "/loads/by";
        std::filesystem::create_directory(ROOT + "/loads");
        EXPECT_NE(Send(request).output.find(expected), std::string::npos) << action;
        bool loaded = false;
        for (const auto& file : std::filesystem::directory_iterator(ROOT + "/loads")) {
            loaded = loaded || ReadAll(file.path()).find("libpq") != std::string::npos;
        }
        EXPECT_FALSE(std::filesystem::is_empty(ROOT + "/loads"));
        EXPECT_EQ(loaded, std::string(action) == "loadCollection") << action;
        std::filesystem::remove_all(ROOT + "/loads");
    }
}

class VideoLibraryTest : public CollectionsTest {
  protected:
    static inline const std::string CLUSTER = BINARY_DIRECTORY "/video_library";

    static void Control(const std::string& order) {
        FILE* output = popen((SOURCE_DIRECTORY "/demo/postgres.sh " + order + " " + CLUSTER).c_str(), "r");
        std::array<char, 4096> line = {};
        if (fgets(line.data(), line.size(), output) != nullptr) {
            server_ = std::string(line.data(), strlen(line.data()) - 1);
        }
        EXPECT_EQ(pclose(output), 0) << order;
    }

    static void SetUpTestSuite() { Control("start"); }

    static void TearDownTestSuite() {
        Control("stop");
        std::filesystem::remove_all(CLUSTER);
    }

    // psql reads its statements where the program reads a body.
    static void Sql(const std::string& statements, const std::string& database = "video_metadata") {
        const Request request = {
            {{"PGHOST", server_}, {"PGUSER", "postgres"}, {"PGDATABASE", database}, {"PATH", "/usr/bin:/bin"}},
            "\\set ON_ERROR_STOP 1\n" + statements};
        const Answer answer = RunProgram("/usr/bin/psql", request);
        ASSERT_EQ(answer.exitStatus, 0) << testing::PrintToString(answer.log);
    }

    static Answer List(const std::string& user = "ann") { return Send(By(user, "loadCollection")); }
};

TEST_F(VideoLibraryTest, AUsersCollectionsAreListed) {
    Sql("TRUNCATE collection; ALTER TABLE collection ADD COLUMN IF NOT EXISTS more jsonb;"
        "INSERT INTO collection (id, uid, title, more) VALUES (3, 1026, 'b', '{\"k\": [1, \"x\"]}'),"
        "(9, 1026, 'vexa_favorite', null), (8, 1026, 'vexa_default_shared', null), (7, 1026, "
        "'vexa_watchlist', null),"
        "(6, 1026, 'z', null), (5, 1026, 'b', null), (2147483647, 1026, 'Zoë''s \"映画\" \\ 🎄', null),"
        "(-4, 1026, 'Vexa_favorite', null), (2, 1027, 'c', null), (1, 4294967295, 'd', null);");
    const auto entry = [](const char* id, const char* title, const char* more = "null") {
        return std::string(R"({"exposed":false,"id":")") + id + R"(","more":)" + more + R"(,"title":")" + title +
               R"(","uid":1026})";
    };
    const Answer answer = List();
    EXPECT_EQ(answer.body, "{\"data\":{\"collections\":[" + entry("-4", "Vexa_favorite") + "," +
                               entry("2147483647", R"(Zo\u00eb's \"\u6620\u753b\" \\ \ud83c\udf84)") + "," +
                               entry("3", "b", R"({"k":[1,"x"]})") + "," + entry("5", "b") + "," +
                               entry("-1", "vexa_favorite") + "," + entry("-2", "vexa_watchlist") + "," +
                               entry("6", "z") + "]},\"success\":true}\n");
    EXPECT_EQ(answer.log, Strings{});
    EXPECT_EQ(List("last").Json()["data"]["collections"][0]["title"], "d");
    EXPECT_EQ(List("root").body, EMPTY_LIST);

    const std::pair<std::string, std::string> cases[] = {
        {R"({"1026":{"exposed_collections":["-1","6"]}})", "-1 6 "},
        {R"({"1026":{"exposed_collections":["5","5","-2","9","99"," 3"]}})", "5 -2 "},
        {R"({"1026":{"exposed_collections":[3,-1,null,["6"],{"5":"5"},"3"]}})", "3 "},
        {R"({"1027":{"exposed_collections":["3"]},"1026":{"a":["3"]}})", ""},
        {R"({"1026":{"exposed_collections":{"3":"3"}}})", ""},
        {R"({"1026":{"exposed_collections":"3"}})", ""},
        {R"({"1026":["3"]})", ""},
        {R"(["1026"])", ""},
        {R"({"1026":{"exposed_collections":["3"]})", ""},
    };
    for (const auto& [stored, expected] : cases) {
        WriteAll(STORED, stored);
        const Json::Value document = List().Json();
        std::string exposed;
        for (const Json::Value& collection : document["data"]["collections"]) {
            exposed += collection["exposed"].asBool() ? collection["id"].asString() + " " : "";
        }
        EXPECT_EQ(exposed, expected) << stored;
    }
    EXPECT_EQ(List().log, Strings{PARSING_FAILED});
}

TEST_F(VideoLibraryTest, WhatCannotBeListedIsLeftOut) {
    Sql("ALTER TABLE collection RENAME TO kept; CREATE TABLE collection (uid bigint, id jsonb, title jsonb);"
        "INSERT INTO collection VALUES (1026, '1', '\"a\"'), (1026, '\"2\"', '\"b\"'), (1026, '2.5', "
        "'\"c\"'),"
        "(1026, '3000000000', '\"d\"'), (1026, null, '\"e\"'), (1026, '3', '7'), (1026, '4', null);");
    EXPECT_EQ(List().body,
        R"({"data":{"collections":[{"exposed":false,"id":"1","title":"a","uid":1026}]},"success":true})"
        "\n");
    Sql("DROP TABLE collection;");
    const Answer noTable = List();
    EXPECT_EQ(noTable.body, EMPTY_LIST);
    ASSERT_EQ(noTable.log.size(), 1U);
    EXPECT_TRUE(noTable.Logged("relation \\\"collection\\\" does not exist"));
    Sql("ALTER TABLE kept RENAME TO collection;");

    const auto expectEmpty = [] {
        const Answer answer = List();
        EXPECT_EQ(answer.body, EMPTY_LIST);
        EXPECT_EQ(answer.log, Strings{});
        EXPECT_LT(answer.seconds, 8);
    };
    Sql("ALTER DATABASE video_metadata RENAME TO kept;", "postgres");
    expectEmpty();
    Sql("ALTER DATABASE kept RENAME TO video_metadata;", "postgres");
    Control("stop");
    expectEmpty();
    // A server that never answers.
    sockaddr_un address = {AF_UNIX, ""};
    server_ = ROOT;
    snprintf(address.sun_path, sizeof address.sun_path, "%s/.s.PGSQL.5432", server_.c_str());
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(listen(listener, 5), 0);
    expectEmpty();
    close(listener);
    Control("start");
    EXPECT_EQ(List().log, Strings{});
}

}  // namespace
