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

TEST_F(GeneralPageTest, TextsAreSavedByTheirRules) {
    const std::string cut(31, 'l');
    const std::string longer = cut + "more";
    const Strings restarted = {"0x11B00508", "restart"};
    const Strings styled = {"0x11B00507 simple", "0x11B00508", "restart"};
    const struct {
        std::string before;
        Fields fields;
        std::string after;
        Strings done = {};
    } cases[] = {
        // What was not sent counts as stored; only the expiry counts as empty.
        {Stored("920", "a", "b", "c"), {{"ssdp_advr", "920"}}, Stored("920", "a", "b", "c")},
        {Stored("920", "a", "b", "c"), {}, Stored("", "a", "b", "c"), restarted},
        {"", {}, "menustyle_mediaservice=\"simple\"\n", styled},
        {Stored("", "a", "b", "c"), {{"templatetype", ""}}, Stored("", "a", "simple", "c"), styled},
        // Sent and empty is a text like any other.
        {Stored("", "a", "simple", "c"), {{"templatetype", ""}, {"dmsInterface", ""}}, Stored("", "a", "simple", ""),
            restarted},
        {Stored("", "a", "b", "c"), {{"language", ""}}, Stored("", "", "b", "c"),
            {"0x11B00505 language_", "0x11B00508", "restart"}},
        {Stored("", "a", "B", "c"), {{"language", "A"}, {"templatetype", "b"}}, Stored("", "A", "b", "c"),
            {"0x11B00505 language_A", "0x11B00507 b", "0x11B00508", "restart"}},
        {Stored("", cut, cut, cut), {{"language", longer}, {"templatetype", longer}, {"dmsInterface", longer}},
            Stored("", cut, cut, cut)},
    };
    for (const auto& [before, fields, after, done] : cases) {
        WriteAll(SETTINGS, before);
        ExpectSave("general", fields, SAVED, after, done);
    }
    // An expiry as it is sent, stored and shown.
    std::istringstream expiries(
        "3 5 5 0 5 5 -7 5 5 abc 5 5 4.9 5 5 5 5 5 6 6 6 0920 0920 920 10abc 10abc 10 "
        "99999999999999999999 999999999999999 999999999999999");
    Json::Int64 shown = 0;
    for (std::string sent, written; expiries >> sent >> written >> shown;) {
        WriteAll(SETTINGS, Stored("920", "a", "b", "c"));
        ExpectSave("general", {{"ssdp_advr", sent}}, SAVED, Stored(written, "a", "b", "c"), restarted);
        EXPECT_EQ(Post("load_general_page").Json()["data"]["ssdp_advr"], Json::Value(shown));
    }
}

TEST_F(GeneralPageTest, Loads) {
    const std::string cut(31, 'l');
    for (const std::string& language : {std::string("enu"), cut}) {
        WriteAll(SETTINGS, language == "enu" ? "" : Stored("abc", cut + "more", cut + "more", ""));
        const Json::Value data = Post("load_general_page").Json()["data"];
        EXPECT_EQ(data["templatetype"], language == "enu" ? "simple" : cut);
        EXPECT_EQ(data["language"], language);
        EXPECT_EQ(data["ssdp_advr"], language == "enu" ? 920 : 0);
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
    Fields fields = {{"dmsInterface", "eth7"}, {"templatetype", "list"}, {"language", "fre"}, {"ssdp_advr", "60"}};
    const std::string all = Stored("60", "fre", "list", "eth7");
    const Strings events = {"0x11B00505 language_fre", "0x11B00507 list"};
    WriteAll(SETTINGS, Stored("920", "enu", "simple", "eth0"));
    ExpectSave("general", fields, SAVED, all, {events[0], events[1], "0x11B00508", "restart"});
    EXPECT_EQ(SettingsAtScript(), all);
    // Saved once more: nothing is written, or it would fail.
    EXPECT_EQ(Send(OnFullDisk(PostRequest("save_general_page", fields))).body, SAVED);
    // Each in turn, from the last on, can't be stored.
    const struct {
        std::string after;
        Strings done;
        int line;
    } failures[] = {
        {Stored("60", "fre", "list", "eth0"), events, 426},
        {Stored("60", "fre", "simple", "eth0"), {events[0]}, 417},
        {Stored("60", "enu", "simple", "eth0"), {}, 406},
        {Stored("920", "enu", "simple", "eth0"), {}, 399},
    };
    for (size_t i = 0; i < fields.size(); ++i) {
        fields[i].second += "\nx";
        WriteAll(SETTINGS, Stored("920", "enu", "simple", "eth0"));
        ExpectSave("general", fields, Error(failures[i].line), failures[i].after, failures[i].done);
    }
    LetScriptFail();
    ExpectSave("general", {{"ssdp_advr", "61"}}, Error(435), Stored("61", "enu", "simple", "eth0"), {"restart"});
}

}  // namespace
