// The JSON files of the system: which texts are valid, and the limits on values, comments, nesting and size.
#include "tests/appliance.h"

namespace {

std::string Times(size_t times, const std::string& text) {
    std::string result;
    while (times-- > 0) {
        result += text;
    }
    return result;
}

std::string Nested(size_t depth) { return Times(depth, "{\"a\":") + "1" + Times(depth, "}"); }

class JsonFileTest : public Appliance {
  protected:
    static void Expect(const std::string& content, const std::string& body, const Strings& log = {}) {
        WriteAll(ROOT + "/var/packages/Dalmira/target/etc/agent.conf", content);
        const Response response = Post("loadProfileList");
        EXPECT_EQ(response.body, body) << content.substr(0, 200);
        EXPECT_EQ(response.log, log) << content.substr(0, 200);
    }

    static void ExpectDocument(const std::string& content, Json::Value document) {
        document["success"] = true;
        Expect(content, Json::FastWriter().write(document));
    }

    static void ExpectInvalid(const std::string& content) {
        Expect(content, LOAD_FAILURE,
            {"mediaserv:1584 Error: MediaServiceHandler::GetJsonFromFile - Json::Reader::parse failed"});
    }

    static constexpr char LOAD_FAILURE[] = "{\"ClientList\":0,\"success\":false}\n";
};

TEST_F(JsonFileTest, AFileContainsExactlyOneValue) {
    for (const Json::Value& document : Cases("json_texts", "valid")) {
        ExpectDocument(document[0].asString(), document[1]);
    }
    for (const Json::Value& text : Cases("json_texts", "not objects")) {
        Expect(text.asString(), LOAD_FAILURE);
    }
    for (const Json::Value& text : Cases("json_texts", "invalid")) {
        ExpectInvalid(text.asString());
    }
    Expect("{\"a\": \"\xFF\xC3\"}", "{\"a\":\"\\ufffd\\ufffd\",\"success\":true}\n");
    ExpectInvalid("\xFF\xFE{}");
}

TEST_F(JsonFileTest, TextsBeyondTheLimitsAreRejected) {
    const std::string comments = Times(1000, "//\n");
    Expect(Nested(999), Nested(999).substr(0, 999 * 5) + "1" + Times(998, "}") + ",\"success\":true}\n");
    ExpectDocument(comments + "{" + comments + "\"a\"" + comments + ":" + comments + "1}", ParsedJson("{\"a\":1}"));
    for (const std::string& text : {Nested(1000), Times(100000, "["), Times(100000, "[{\"a\":"), Times(100000, "[}"),
             Times(1000, "]"), "[" + comments + "//\n1]", "[" + Times(1001, "/**/") + "]",
             "[1," + Times(500000, " ") + "\n" + Times(100000, "//\n"), "{\"a\":[" + Times(1499998, "0,") + "0]}",
             "[" + Times(750000, "0/**/,") + "0]", std::string(64U << 20U, ' ') + "{}",
             "\"" + Times(6U << 20U, "\xC3\xA4") + "\""}) {
        ExpectInvalid(text);
    }
    const std::string most = "{\"a\":[" + Times(1499997, "0,") + "0]}";
    WriteAll(ROOT + "/var/packages/Dalmira/target/etc/agent.conf", most);
    EXPECT_EQ(Post("loadProfileList").body.size(), most.size() + sizeof ",\"success\":true");
    // A save never writes a file that the reader would reject.
    const std::string choices = ETC + "/exposed_collection.json";
    WriteAll(choices, most);
    const Response response = Post("saveCollection", {{"exposed_collections", "[]"}});
    EXPECT_EQ(response.body, FAILURE);
    EXPECT_EQ(response.log, Strings{choices + " can't be saved: it has too many values or comments to be read again"});
    EXPECT_EQ(ReadAll(choices).size(), most.size());
}

}  // namespace
