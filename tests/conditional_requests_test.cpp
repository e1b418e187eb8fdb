// Conditional requests (RFC 9110, 13.1.1): which state a tag covers, and what a save does whose state has changed.
#include <gmock/gmock.h>

#include "tests/appliance.h"

namespace {

constexpr char FIRST[] = "02:00:00:00:00:01";
constexpr char SECOND[] = "02:00:00:00:00:02";

std::string ClientList(const std::string& ip) {
    return R"({"ClientList": [{"macAddr": "02:00:00:00:00:01", "profileName": "a", "isAccess": true, "ip": ")" + ip +
           R"("}, {"macAddr": "02:00:00:00:00:02", "profileName": "a", "isAccess": true}]})";
}

std::string Change(const char* mac, const std::string& profile, bool access) {
    return std::string("[{\"macAddr\":\"") + mac + "\",\"profileName\":\"" + profile +
           "\",\"isAccess\":" + (access ? "true" : "false") + "}]";
}

struct Save {
    const char* action;
    Fields fields;
};

// A load, two saves that change what it shows, and saves that do not.
struct Row {
    const char* load;
    Fields loadFields;
    Save first;
    Save second;
    std::vector<Save> others;
};

const Save BROWSING = {"save_browsing_page", {{"musicdisplayinfo", "artist"}}};
const Save DMA = {"save_dma_page", {{"oggtranscoding", "true"}}};
const Save GENERAL = {"save_general_page", {{"ssdp_advr", "700"}}};
const Save LOG = {"applylogconf", {{"dmslog", "true"}}};

const std::vector<Row>& Rows() {
    static const std::vector<Row> rows = {
        {"load_general_page", {}, GENERAL, {"save_general_page", {{"ssdp_advr", "800"}}}, {BROWSING, DMA, LOG}},
        {"load_browsing_page", {}, BROWSING, {"save_browsing_page", {{"sendthumb", "true"}}}, {GENERAL, DMA, LOG}},
        {"load_dma_page", {}, DMA, {"save_dma_page", {{"cmzmimetype", "true"}}}, {GENERAL, BROWSING, LOG}},
        {"loadlogconf", {}, LOG, {"applylogconf", {{"dmslog", "false"}}}, {GENERAL, BROWSING, DMA}},
        {"loadmenu", {{"template", "x"}}, {"savemenu", {{"template", "x"}, {"content", "<a/>"}}},
            {"savemenu", {{"template", "x"}, {"content", ""}, {"restartserver", "true"}}},
            {{"savemenu", {{"template", "y"}, {"content", "<a/>"}}}, GENERAL}},
        {"loadClientList", {}, {"saveClientList", {{"modifiedInfo", Change(FIRST, "b", true)}}},
            {"saveClientList", {{"modifiedInfo", Change(SECOND, "a", false)}}}, {GENERAL}},
        {"loadCollection", {}, {"saveCollection", {{"exposed_collections", "[\"7\"]"}}},
            {"saveCollection", {{"exposed_collections", "[]"}}}, {GENERAL}},
    };
    return rows;
}

class ConditionalRequestsTest : public Appliance {
  protected:
    ConditionalRequestsTest() { PrepareFiles(); }

    static void PrepareFiles() {
        Prepare();
        WriteAll(ETC + "/menu_x.xml", "<x/>");
        WriteAll(ETC + "/client_list.json", ClientList("192.0.2.1"));
    }

    static Request As(Request request, const std::string& user) {
        WriteAll(ROOT + "/group", "root:x:0:\n");
        WriteAll(ROOT + "/passwd", "root:x:0:0::/:\nann:x:1026:0::/:\nbob:x:1027:0::/:\n");
        request.environment.insert({{"LD_PRELOAD", "libnss_wrapper.so"}, {"NSS_WRAPPER_GROUP", ROOT + "/group"},
            {"NSS_WRAPPER_PASSWD", ROOT + "/passwd"}, {"ASAN_OPTIONS", "verify_asan_link_order=0"},
            {"PGHOST", "/nowhere"}});
        request.environment["REMOTE_USER"] = user;
        return request;
    }

    // Without a condition if it is empty.
    static Response Send(const Save& save, const std::string& condition = "", const std::string& user = "ann") {
        Request request = As(PostRequest(save.action, save.fields), user);
        if (!condition.empty()) {
            request.environment["HTTP_IF_MATCH"] = condition;
        }
        return Appliance::Send(request);
    }

    static std::string Tag(const Response& response) {
        const size_t start = response.header.find("ETag: ");
        return start == std::string::npos
                   ? ""
                   : response.header.substr(start + 6, response.header.find("\r\n", start) - start - 6);
    }

    static std::string Load(const Row& row, const std::string& user = "ann") {
        return Tag(Send({row.load, row.loadFields}, "*", user));
    }

    static std::string AllFiles() {
        std::string all;
        for (const char* name : {"dmsinfo.conf", "menu_x.xml", "client_list.json", "exposed_collection.json"}) {
            all += ReadAll(ETC + "/" + name) + "\n--\n";
        }
        return all;
    }

    static void ExpectRefused(const Save& save, const std::string& condition) {
        const std::string before = AllFiles();
        ScriptCalls();
        Signals();
        const Response response = Send(save, condition);
        EXPECT_EQ(response.header.substr(0, response.header.find("\r\n")), "Status: 412 Precondition Failed");
        EXPECT_EQ(response.body, Error(0));
        EXPECT_EQ(Tag(response), "");
        EXPECT_EQ(response.log, Strings{});
        EXPECT_EQ(AllFiles(), before);
        EXPECT_EQ(ScriptCalls(), Strings{});
        EXPECT_EQ(Signals(), std::vector<int>{});
    }
};

TEST_F(ConditionalRequestsTest, ATagChangesWithTheStateThatASaveReplaces) {
    for (const Row& row : Rows()) {
        SCOPED_TRACE(row.load);
        PrepareFiles();
        const Response unconditional = Send({row.load, row.loadFields});
        EXPECT_EQ(Tag(unconditional), "");
        const Response loaded = Send({row.load, row.loadFields}, "*");
        const std::string before = Tag(loaded);
        EXPECT_THAT(before, testing::MatchesRegex("\"[0-9a-f]+\""));
        EXPECT_EQ(loaded.header, "ETag: " + before + "\r\n" + unconditional.header);
        EXPECT_EQ(loaded.body, unconditional.body);

        const Response saved = Send(row.first, before);
        EXPECT_NE(saved.body.find("\"success\":true"), std::string::npos);
        const std::string after = Tag(saved);
        EXPECT_NE(after, before);
        EXPECT_EQ(Load(row), after);
        ExpectRefused(row.second, before);
        ExpectRefused(row.first, before);
        for (const Save& other : row.others) {
            Send(other);
            EXPECT_EQ(Load(row), after) << other.action;
        }
        EXPECT_EQ(Tag(Send(row.second)), "");
        EXPECT_NE(Load(row), after);
    }
}

TEST_F(ConditionalRequestsTest, AConditionIsAListOfTags) {
    const Row& row = Rows().front();
    for (const char* holding : {"*", " * ", "\"x\", %", "%", ",, \"\" ,%,", "W/\"x\",\t%"}) {
        std::string condition = holding;
        if (const size_t at = condition.find('%'); at != std::string::npos) {
            condition.replace(at, 1, Load(row));
        }
        EXPECT_EQ(Send(row.first, condition).body, SAVED) << condition;
        EXPECT_EQ(Send(row.second, "*").body, SAVED);
    }
    for (const std::string& condition :
        {"W/" + Load(row), std::string("\"x\""), std::string(","), std::string("\"*\"")}) {
        ExpectRefused(row.first, condition);
    }
    for (const char* malformed : {"x", "\"x", "**", "*, \"x\"", "\"x\" \"y\"", "w/\"x\"", "\"a b\"", "W/", "\"x\"*"}) {
        const std::string before = AllFiles();
        const Response response = Send(row.first, malformed);
        EXPECT_TRUE(response.header.starts_with("Status: 400 Bad Request\r\n")) << malformed;
        EXPECT_EQ(response.body, Error(0));
        EXPECT_EQ(response.log, Strings{"request refused: the header field If-Match is malformed"});
        EXPECT_EQ(AllFiles(), before);
    }
    Request nobody = PostRequest("load_general_page");
    nobody.environment.erase("REMOTE_USER");
    nobody.environment["HTTP_IF_MATCH"] = "x";
    EXPECT_EQ(Appliance::Send(nobody).output, "");
}

TEST_F(ConditionalRequestsTest, ATagIgnoresTheRestOfAFile) {
    const Row& clients = Rows()[5];
    const std::string before = Load(clients);
    WriteAll(ETC + "/client_list.json", ClientList("192.0.2.9"));
    EXPECT_EQ(Load(clients), before);
    const Row& collections = Rows()[6];
    const std::string ann = Load(collections);
    Send(collections.first, "", "bob");
    EXPECT_EQ(Load(collections), ann);
    EXPECT_NE(Load(collections, "bob"), ann);
    const Row& general = Rows()[0];
    const std::string address = Load(general);
    WriteAll(ROOT + "/var/run/dms.ip", "192.0.2.1");
    EXPECT_EQ(Load(general), address);
}

// A missing template has no tag, but a page can load and save it.
TEST_F(ConditionalRequestsTest, ANewTemplateIsSaved) {
    const Save save = {"savemenu", {{"template", "new"}, {"content", "<new/>"}}};
    EXPECT_EQ(Tag(Send({"loadmenu", {{"template", "new"}}}, "*")), "");
    ExpectRefused(save, "\"x\"");
    EXPECT_NE(Tag(Send(save, "*")), "");
    EXPECT_EQ(ReadAll(ETC + "/menu_new.xml"), "<new/>");
}

// A request that fails anyway reports its own failure. Other actions ignore the condition and have no tag.
TEST_F(ConditionalRequestsTest, OtherResponsesHaveNoTag) {
    for (const Save& save : {Save{"saveClientList", {{"modifiedInfo", "["}}}, Save{"saveCollection", {}},
             Save{"savemenu", {{"template", "a/b"}, {"content", ""}}}}) {
        EXPECT_EQ(Send(save, "\"x\"").body, FAILURE);
        EXPECT_EQ(Tag(Send(save, "*")), "");
    }
    EXPECT_EQ(Send({"save_general_page", {{"ssdp_advr", "7\n"}}}, "*").body, Error(399));
    for (const char* action : {"getdmslangtext", "loadProfileList", "downloadlog", "clearlog"}) {
        const Response response = Send({action, {}}, "\"x\"");
        EXPECT_EQ(response.header.find("Status"), std::string::npos) << action;
        EXPECT_EQ(Tag(response), "") << action;
    }
}

}  // namespace
