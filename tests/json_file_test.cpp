// The system's JSON files: what the library must not be given.
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

}  // namespace
