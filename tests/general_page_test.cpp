// The page of language, menu style, interface and advertisement expiry.
#include <sstream>

#include "tests/appliance.h"

namespace {

std::string Stored(
    const std::string& expiry, const std::string& language, const std::string& style, const std::string& interface) {
    return "advrexpire_mediaservice=\"" + expiry + "\"\nlanguage_mediaservice=\"" + language +
           "\"\nmenustyle_mediaservice=\"" + style + "\"\nnetwork_mediaservice=\"" + interface + "\"\n";
}

class GeneralPageTest : public Appliance {};

TEST_F(GeneralPageTest, SaveAndLoadTakeTextsByTheirRules) {
    const std::string stored = Stored("", "a", "b", "c");
    const std::string longer(40, 'l');
    const std::string longest = Stored("", longer.substr(9), longer.substr(9), longer.substr(9));
    const struct {
        std::string before;
        Fields fields;
        std::string after;
        size_t events = 0;
    } cases[] = {
        // What was not sent counts as stored; only the expiry counts as empty.
        {Stored("920", "a", "b", "c"), {{"ssdp_advr", "920"}}, Stored("920", "a", "b", "c")},
        {Stored("920", "a", "b", "c"), {}, stored, 1},
        {Stored("920", "a", "b", "c"), {{"ssdp_advr", ""}}, stored, 1},
        {Stored("", "a", "", "c"), {}, Stored("", "a", "simple", "c"), 2},
        {"", {}, "menustyle_mediaservice=\"simple\"\n", 2},
        {stored, {{"templatetype", ""}}, Stored("", "a", "simple", "c"), 2},
        {Stored("", "a", "simple", "c"), {{"templatetype", ""}}, Stored("", "a", "simple", "c")},
        // Sent and empty is a text like any other.
        {stored, {{"language", ""}, {"dmsInterface", ""}}, Stored("", "", "b", ""), 2},
        {stored, {{"language", "A"}, {"templatetype", "B"}}, Stored("", "A", "B", "c"), 3},
        {longest, {{"language", longer}, {"templatetype", longer}, {"dmsInterface", longer}}, longest},
    };
    for (const auto& [before, fields, after, events] : cases) {
        WriteAll(SETTINGS, before);
        const Answer answer = Post("save_general_page", fields);
        EXPECT_EQ(answer.body, SAVED);
        EXPECT_EQ(ReadAll(SETTINGS), after);
        EXPECT_EQ(answer.Events().size(), events) << after;
        EXPECT_EQ(ScriptCalls().size(), events > 0 ? 1U : 0U) << after;
    }
    // An expiry as it is sent, stored and shown.
    std::istringstream expiries(
        "3 5 5 0 5 5 -7 5 5 abc 5 5 4.9 5 5 5 5 5 6 6 6 0920 0920 920 10abc 10abc 10 "
        "99999999999999999999 999999999999999 999999999999999");
    Json::Int64 shown = 0;
    for (std::string sent, written; expiries >> sent >> written >> shown;) {
        WriteAll(SETTINGS, Stored("920", "a", "b", "c"));
        EXPECT_EQ(Post("save_general_page", {{"ssdp_advr", sent}}).body, SAVED);
        EXPECT_EQ(ReadAll(SETTINGS), Stored(written, "a", "b", "c"));
        EXPECT_EQ(Post("load_general_page").Json()["data"]["ssdp_advr"], Json::Value(shown));
    }
    for (const std::string& style : {std::string("simple"), std::string(31, 'l')}) {
        WriteAll(SETTINGS, style == "simple" ? "" : Stored("abc", longer, longer, ""));
        const Json::Value data = Post("load_general_page").Json()["data"];
        EXPECT_EQ(data["templatetype"], style);
        EXPECT_EQ(data["language"], style == "simple" ? "enu" : style);
        EXPECT_EQ(data["ssdp_advr"], style == "simple" ? 920 : 0);
    }
}

TEST_F(GeneralPageTest, LanguageEventHasTheDisplayTextOfTheUi) {
    const std::string texts = ROOT + "/usr/share/vexa/texts/";
    WriteAll(texts + "enu/strings.json", R"({"common":{"language_fre":"last","language_ger":"German"},)"
                                         R"("service":{"language_fre":"second"},"other":{"language_spn":"no"},)"
                                         R"("codepage":{"language_fre":"French","language_jpn":7}})");
    WriteAll(texts + "fre/strings.json", R"({"codepage":{"language_fre":"Fran\u00e7ais"}})");
    WriteAll(texts + "bad/strings.json", "{");
    std::istringstream cases(
        "enu fre French enu ger German enu spn language_spn enu jpn language_jpn "
        "fre fre Fran\xC3\xA7\x61is fre ger language_ger bad fre language_fre "
        "none fre language_fre enu 1234567890123456789012345 language_1234567890123456789012");
    for (std::string ui, language, text; cases >> ui >> language >> text;) {
        WriteAll(ROOT + "/etc/vexainfo.conf", ui == "enu" ? "" : "language=\"" + ui + "\"\n");
        WriteAll(SETTINGS, "");
        EXPECT_EQ(Post("save_general_page", {{"language", language}}).Events()[0], "0x11B00505 " + text);
    }
}

TEST_F(GeneralPageTest, EverythingIsWrittenInOrderUntilOneFails) {
    const Fields good = {{"ssdp_advr", "60"}, {"language", "fre"}, {"templatetype", "list"}, {"dmsInterface", "eth7"}};
    const std::vector<std::string> events = {"0x11B00505 language_fre", "0x11B00507 list", "0x11B00508"};
    const int failedLines[] = {399, 406, 417, 426};
    const int done[] = {0, 0, 1, 2, 3};  // events
    for (size_t i = 0; i <= good.size(); ++i) {
        WriteAll(SETTINGS, Stored("920", "enu", "simple", "eth0"));
        Fields fields = good;
        if (i < good.size()) {
            fields[i].second += "\nx";
        }
        const Answer answer = Post("save_general_page", fields);
        EXPECT_EQ(answer.body, i < good.size() ? Error(failedLines[i]) : SAVED);
        EXPECT_EQ(ReadAll(SETTINGS),
            Stored(i > 0 ? "60" : "920", i > 1 ? "fre" : "enu", i > 2 ? "list" : "simple", i > 3 ? "eth7" : "eth0"));
        EXPECT_EQ(answer.Events(), (std::vector<std::string>{events.begin(), events.begin() + done[i]}));
    }
    EXPECT_EQ(SettingsAtScript(), Stored("60", "fre", "list", "eth7"));
    // Saved once more: nothing is written, or it would fail.
    EXPECT_EQ(Send(OnFullDisk(PostRequest("save_general_page", good))).body, SAVED);
    EXPECT_EQ(ScriptCalls(), std::vector<std::string>{"restart"});
    LetScriptFail();
    const Answer answer = Post("save_general_page", {{"ssdp_advr", "61"}});
    EXPECT_EQ(answer.body, Error(435));
    EXPECT_EQ(answer.log.size(), 0U);
    EXPECT_EQ(ReadAll(SETTINGS), Stored("61", "fre", "list", "eth7"));
    EXPECT_EQ(Signals(), std::vector<int>{});
}

}  // namespace
