// The system's JSON files: what is read, what is refused, and the form in which they are written.
#include "tests/appliance.h"

namespace {

std::string Times(int times, const std::string& text) {
    std::string result;
    while (times-- > 0) {
        result += text;
    }
    return result;
}

std::string Nested(int depth) { return Times(depth, "{\"a\":") + "1" + Times(depth, "}"); }

class JsonFileTest : public Appliance {};

// What the library would throw at, or read in quadratic time, and what is none of its texts.
TEST_F(JsonFileTest, TextsAreJudgedBeforeTheyAreParsed) {
    const std::string unread = "{\"ClientList\":0,\"success\":false}\n";
    const std::string comments = "{\"a\": 1 " + Times(100, "/**/");
    const std::pair<std::string, std::string> cases[] = {
        {"{\"a\": \"\xFF\xC3\"}", "{\"a\":\"\\ufffd\\ufffd\",\"success\":true}\n"},
        {Nested(999), Nested(999).substr(0, 999 * 5) + "1" + Times(998, "}") + ",\"success\":true}\n"},
        {comments + "\n/**/}", "{\"a\":1,\"success\":true}\n"}, {comments + "/**/}", unread}, {"\xFF\xFE{}", unread},
        {Nested(1000), unread}, {Times(100000, "["), unread}, {Times(100000, "[{\"a\":"), unread},
        {Times(100000, "[}"), unread}, {Times(1000, "]") + Nested(1001), unread},
        {Times(1200, "{\"a\":\"\\\"}\",\"b\":"), unread},
        // The library takes any token behind a comment for a comma.
        {Times(1200, "{\"a\":1/**/]\"b\":"), unread}, {Times(998, "[{\"a\":1/**/]\"b\":"), unread}};
    for (const auto& [content, body] : cases) {
        WriteAll(ROOT + "/var/packages/Dalmira/target/etc/agent.conf", content);
        EXPECT_EQ(Post("loadProfileList").body, body) << content.substr(0, 60);
    }
}

TEST_F(JsonFileTest, SavesKeepTheFormAndTheComments) {
    const std::string file = ETC + "/client_list.json";
    WriteAll(file,
        "// the file\n{\"z\": [], /* beside z */ \"ClientList\": [\n// the first\n{\"profileName\": \"O\", // profile\n"
        "\"macAddr\": \"m1\",\n/* may it? */\n\"isAccess\": true, // yes\n\"more\": [1, [2.5, null], {}]},\n"
        "{\"macAddr\": \"m\xC3\xA4\" /* another */}]}\n// the end\n");
    for (int i = 0; i < 2; ++i) {
        const char* changes = R"([{"macAddr": "m1", "profileName": "P", "isAccess": false}])";
        EXPECT_EQ(Post("saveClientList", {{"modifiedInfo", changes}}).body, SUCCESS);
        EXPECT_EQ(ReadAll(file),
            "// the file\n{\n\t\"ClientList\" : \n\t[\n\t\t// the first\n\t\t{\n\t\t\t/* may it? */\n"
            "\t\t\t\"isAccess\" : false, // yes\n\t\t\t\"macAddr\" : \"m1\",\n\t\t\t\"more\" : \n\t\t\t[\n\t\t\t\t1,\n"
            "\t\t\t\t[ 2.5, null ],\n\t\t\t\t{}\n\t\t\t],\n\t\t\t\"profileName\" : \"P\", // profile\n"
            "\t\t\t\"profileName_UserSelected\" : \"P\"\n\t\t},\n\t\t{\n\t\t\t\"macAddr\" : \"m\\u00e4\" /* another "
            "*/\n"
            "\t\t}\n\t],\n\t\"z\" : [] /* beside z */\n}\n// the end\n");
    }
}

}  // namespace
