// The system's JSON files: what is read, what is refused, and the form in which they are written.
#include <filesystem>

#include "tests/appliance.h"

namespace {

using std::string_literals::operator""s;

constexpr char NOT_READ[] = "{\"ClientList\":0,\"success\":false}\n";

std::string Times(int times, const std::string& text) {
    std::string result;
    for (int i = 0; i < times; ++i) {
        result += text;
    }
    return result;
}

std::string Nested(int depth) { return Times(depth, "{\"a\":") + "1" + Times(depth, "}"); }

// Read by an action that hands the file's object out with one member more.
class JsonFileTest : public Appliance {
  protected:
    static inline const std::string PROFILES = ROOT + "/var/packages/Dalmira/target/etc/agent.conf";

    static void ExpectRefused(const std::string& name, const std::string& problem) {
        const Answer answer = Post("loadProfileList");
        EXPECT_EQ(answer.body, NOT_READ) << name;
        EXPECT_EQ(answer.log, std::vector<std::string>{problem}) << name;
    }
};

TEST_F(JsonFileTest, DocumentsAreRead) {
    const struct {
        std::string content, answer;
    } cases[] = {
        {R"({"b": [1, 2.5], "a": {"c": true, "success": 1}})", R"({"a":{"c":true,"success":1},"b":[1,2.5],)"},
        {R"({"success": "the file's own"})", "{"},
        {"null", "{"},
        {"// line\n{\"a\": /* block\n */ 1} // end", R"({"a":1,)"},
        {"/* [{ \" // */ {\"[{\": \"]\\\"[/*\"} // {{", R"({"[{":"]\"[/*",)"},
        {"{\"a\": \"\xC3\xA4\xF0\x9F\x8E\xAC\xFF\"}", R"({"a":"\u00e4\ud83c\udfac\ufffd",)"},
        {"{\"a\": \"b\0c\"}\0"s, R"({"a":"b\u0000c",)"},
        {Nested(999), Nested(999).substr(0, Nested(999).size() - 1) + ","},
        // Read as well, but nothing that a member can be added to.
        {"[1, 2]", ""},
        {"/**/ 42", ""},
    };
    for (const auto& [content, start] : cases) {
        WriteAll(PROFILES, content);
        const Answer answer = Post("loadProfileList");
        EXPECT_EQ(answer.body, start.empty() ? NOT_READ : start + "\"success\":true}\n") << content;
        EXPECT_EQ(answer.log.size(), 0U) << content;
    }
}

TEST_F(JsonFileTest, RubbishIsRefused) {
    const std::string reading = "mediaserv:1579 Error: MediaServiceHandler::GetJsonFromFile - ";
    const std::string parsing = "mediaserv:1584 Error: MediaServiceHandler::GetJsonFromFile - ";
    ExpectRefused("no file", reading + PROFILES + " could not open");
    for (const std::string& content :
        {""s, " \n"s, "// only"s, "/* only */"s, "{"s, "}"s, "\"a"s, "\"\\"s, "/*"s, "/"s, "rubbish"s, "[1,]"s,
            "[/* in an empty array */]"s, "{\"a\": 1e999}"s, "\xFF\xFE{}"s, std::string(100, '\0'), Nested(1000),
            Nested(100000), Times(1000, "["), Times(100000, "["), Times(100000, "[{\"a\":"), Times(100000, "[}"),
            Times(1000, "]") + Nested(1001), Times(1200, "{\"a\":\"\\\"}\",\"b\":"),
            // The library takes any token behind a comment for a comma.
            Times(1200, "{\"a\":1/**/]\"b\":"), Times(998, "[{\"a\":1/**/]\"b\":")}) {
        WriteAll(PROFILES, content);
        ExpectRefused(content.substr(0, 60), parsing + "Json::Reader::parse failed");
    }
    std::filesystem::remove(PROFILES);
    std::filesystem::create_directory(PROFILES);
    ExpectRefused("directory", parsing + "Json::Reader::parse failed");
}

TEST_F(JsonFileTest, SavesKeepTheFormAndTheComments) {
    const std::string file = ETC + "/client_list.json";
    const std::string changes = R"([{"macAddr": "m1", "profileName": "P", "isAccess": false}])";
    WriteAll(file,
        "// the file\n{\"z\": [], /* beside z */ \"ClientList\": [\n// the first\n"
        "{\"profileName\": \"O\", // profile\n\"macAddr\": \"m1\",\n/* may it? */\n\"isAccess\": true, "
        "// yes\n"
        "\"more\": [1, [2.5, null], {}]},\n{\"macAddr\": \"m\xC3\xA4\" /* another */}]}\n// the end\n");
    EXPECT_EQ(Post("saveClientList", {{"modifiedInfo", changes}}).body, SUCCESS);
    const std::string written = ReadAll(file);
    EXPECT_EQ(written,
        "// the file\n{\n\t\"ClientList\" : \n\t[\n\t\t// the first\n\t\t{\n"
        "\t\t\t/* may it? */\n\t\t\t\"isAccess\" : false, // yes\n\t\t\t\"macAddr\" : \"m1\",\n"
        "\t\t\t\"more\" : \n\t\t\t[\n\t\t\t\t1,\n\t\t\t\t[ 2.5, null ],\n\t\t\t\t{}\n\t\t\t],\n"
        "\t\t\t\"profileName\" : \"P\", // profile\n\t\t\t\"profileName_UserSelected\" : \"P\"\n\t\t},\n"
        "\t\t{\n\t\t\t\"macAddr\" : \"m\\u00e4\" /* another */\n\t\t}\n\t],\n"
        "\t\"z\" : [] /* beside z */\n}\n// the end\n");
    EXPECT_EQ(Post("saveClientList", {{"modifiedInfo", changes}}).body, SUCCESS);
    EXPECT_EQ(ReadAll(file), written);
}

}  // namespace
