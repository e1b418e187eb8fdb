// The system's JSON files: what is read, what is refused, and the form in which they are written.
#include <filesystem>

#include "tests/appliance.h"

namespace {

using std::string_literals::operator""s;

std::string Times(int times, const std::string& text) {
    std::string result;
    while (times-- > 0) {
        result += text;
    }
    return result;
}

std::string Nested(int depth) { return Times(depth, "{\"a\":") + "1" + Times(depth, "}"); }

// Read by an action that hands the file's object out with one member more.
class JsonFileTest : public Appliance {
  protected:
    static inline const std::string PROFILES = ROOT + "/var/packages/Dalmira/target/etc/agent.conf";

    // The answer's start; "" when it is that of a file that is not read.
    static void ExpectAnswer(const std::string& file, const std::string& start, const Strings& log) {
        const Answer answer = Post("loadProfileList");
        EXPECT_EQ(
            answer.body, (start.empty() ? "{\"ClientList\":0,\"success\":false" : start + "\"success\":true") + "}\n");
        EXPECT_EQ(answer.log, log) << file.substr(0, 60);
    }
};

TEST_F(JsonFileTest, DocumentsAreRead) {
    const std::pair<std::string, std::string> cases[] = {
        {R"({"b": [1, 2.5], "a": {"c": true, "success": 1}})", R"({"a":{"c":true,"success":1},"b":[1,2.5],)"},
        {R"({"success": "the file's own"})", "{"}, {"null", "{"}, {"// a\n{\"a\": /* b\n */ 1} // c", R"({"a":1,)"},
        {"/* [{ \" // */ {\"[{\": \"]\\\"[/*\"} // {{", R"({"[{":"]\"[/*",)"},
        {"{\"a\": \"\xC3\xA4\xF0\x9F\x8E\xAC\xFF\"}", R"({"a":"\u00e4\ud83c\udfac\ufffd",)"},
        {"{\"a\": \"b\0c\"}\0"s, R"({"a":"b\u0000c",)"}, {Nested(999), Nested(999).substr(0, 999 * 6) + ","},
        // Read as well, but nothing that a member can be added to.
        {"[1, 2]", ""}, {"/**/ 42", ""}};
    for (const auto& [content, start] : cases) {
        WriteAll(PROFILES, content);
        ExpectAnswer(content, start, {});
    }
}

TEST_F(JsonFileTest, RubbishIsRefused) {
    const std::string reader = " Error: MediaServiceHandler::GetJsonFromFile - ";
    ExpectAnswer("none", "", {"mediaserv:1579" + reader + PROFILES + " could not open"});
    for (const std::string& content : {""s, " \n"s, "// only"s, "/* only */"s, "{"s, "}"s, "\"a"s, "\"\\"s, "/*"s, "/"s,
             "rubbish"s, "[1,]"s, "[/* in an empty array */]"s, "{\"a\": 1e999}"s, "\xFF\xFE{}"s,
             std::string(100, '\0'), Nested(1000), Times(100000, "["), Times(100000, "[{\"a\":"), Times(100000, "[}"),
             Times(1000, "]") + Nested(1001), Times(1200, "{\"a\":\"\\\"}\",\"b\":"),
             // The library takes any token behind a comment for a comma.
             Times(1200, "{\"a\":1/**/]\"b\":"), Times(998, "[{\"a\":1/**/]\"b\":"), "a directory"s}) {
        if (content == "a directory") {
            std::filesystem::remove(PROFILES);
            std::filesystem::create_directory(PROFILES);
        } else {
            WriteAll(PROFILES, content);
        }
        ExpectAnswer(content, "", {"mediaserv:1584" + reader + "Json::Reader::parse failed"});
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
