// The daemon's texts in the language of the request or of the settings.
#include <sstream>

#include "tests/appliance.h"

namespace {

class LanguageTextsTest : public Appliance {
  protected:
    static void WriteTexts(const std::string& language, const std::string& content) {
        WriteAll(ROOT + "/var/packages/Dalmira/target/app/texts/" + language + "/strings.json", content);
    }
};

std::string Texts(const std::string& texts) { return R"({"success":true,"text":{"mediaservice":{)" + texts + "}}}\n"; }

TEST_F(LanguageTextsTest, TheRequestThenTheSettingsChooseTheLanguage) {
    const std::string longest(31, 'l');
    const std::string longer(40, 'l');
    // Texts lie also where a code that is no name would lead.
    for (const char* language : {"enu", "fre", longest.c_str(), ".", "..", "a/b"}) {
        WriteTexts(language, R"({"customize":{"name":")" + std::string(language) + "\"}}");
    }
    // The stored code, the code sent and the language of the answer, "-" for none.
    std::istringstream cases("- - enu fre - fre fre enu enu - ENU - - . - - .. - - a/b - - enu/ - ../texts/enu - - - " +
                             longer + " " + longest + " " + longer + " - " + longest);
    for (std::string stored, sent, name; cases >> stored >> sent >> name;) {
        WriteAll(SETTINGS, stored == "-" ? "" : "language_mediaservice=\"" + stored + "\"\n");
        const std::string body = name == "-" ? SUCCESS : Texts("\"name\":\"" + name + "\"");
        EXPECT_EQ(Post("getdmslangtext", {{"lang", sent == "-" ? "" : sent}}).body, body);
        EXPECT_TRUE(sent != "-" || Post("getdmslangtext").body == body) << stored;
    }
}

TEST_F(LanguageTextsTest, OnlyTheTextsOfTheSectionAreHandedOut) {
    const std::pair<std::string, std::string> cases[] = {{R"({"customize":{}})", Texts("")},
        {R"({"other":{"x":"y"},"customize":{"b":7,"a":"\u00e9\"","c":"","d":true,"e":[1],"f":{"g":"h"}},"more":{}})",
            Texts(R"("a":"\u00e9\"","b":"7","c":"","d":"true")")},
        {R"({"Customize":{"a":"b"}})", SUCCESS}, {R"({"customize":"a"})", SUCCESS}, {R"({"customize":["a"]})", SUCCESS},
        {R"(["customize"])", SUCCESS}, {"", SUCCESS}, {R"({"customize":{"a":"b")", SUCCESS},
        {std::string(100000, '['), SUCCESS}};
    for (const auto& [content, body] : cases) {
        WriteTexts("enu", content);
        const Answer answer = Post("getdmslangtext");
        EXPECT_TRUE(answer.body == body && answer.log.empty()) << content.substr(0, 60) << answer.body;
    }
}

}  // namespace
