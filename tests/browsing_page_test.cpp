// The browsing page: what it loads, and the order of what a save does.
#include <filesystem>

#include "tests/appliance.h"

namespace {

using Values = std::map<std::string, std::string>;  // by field

constexpr char DEFAULT_LIST[] = "cover.jpg;Cover.jpg;COVER.jpg;folder.jpg;Folder.jpg;FOLDER.jpg";
const std::string M(31, 'm');
const std::string L(255, 'l');
const Strings RESTARTED = {"0x11B00508", "restart"};

// In the order of writing: what is stored, what a form changes it to, and what comes of writing the one or the other.
const struct {
    std::string field, key, stored, sent, written;
    int line, backLine;  // of a failure
    Strings done, backDone;
} PAGE[] = {
    {"musicdisplayinfo", "musicinfo", "title", M + "more", M, 546, 546, {"0x11B00513 " + M, "0x11B00508", "restart"},
        {"0x11B00513 title", "0x11B00508", "restart"}},
    {"photo_sort_by", "photo_sort_by", "filename", "say \"x\"; y", "say \"x\"; y", 556, 556, RESTARTED, RESTARTED},
    {"photo_sort_order", "photo_sort_order", "asc", M + "more", M, 565, 565, RESTARTED, RESTARTED},
    {"enableradio", "suppradio", "no", "true", "yes", 574, 574, RESTARTED, RESTARTED},
    {"ebdvideoinfo", "ebdvideoinfo", "no", "TRUE", "yes", 583, 583, {"reload"}, {"reload"}},
    {"integrateKinovo", "integrateKinovo", "no", "true", "yes", 591, 591, {"0x11B00508", "upgrade 0", "restart"},
        RESTARTED},
    {"sendthumb", "sendthumb", "no", "true", "yes", 608, 613, {"reload"}, {"reload"}},
    {"cmzalbumart", "cmzalbumart", "yes", "1", "no", 629, 623, {"0x11B00517", "reload"}, {"0x11B00516", "reload"}},
    {"albumartlist", "albumart", "a.jpg", L + "more", L, 638, 638, {"0x11B00518", "reload"}, {"0x11B00518", "reload"}},
};

// A settings file with what is stored, but for some values.
std::string Settings(Values changed = {}) {
    std::string file;
    for (const auto& row : PAGE) {
        file += row.key + "_mediaservice=\"" + (changed.contains(row.field) ? changed[row.field] : row.stored) + "\"\n";
    }
    return file;
}

class BrowsingPageTest : public Appliance {
  protected:
    BrowsingPageTest() {
        WriteProgram(ROOT + "/var/packages/Dalmira/target/scripts/sql/video_metadata.sh",
            "echo upgrade $# >> " + ROOT + "/calls; test ! -e " + ROOT + "/upgrade_fails\n");
    }

    static void ExpectSaved(
        const Fields& fields, const Values& changed, const Strings& done, const std::string& body = SAVED) {
        ExpectSave("browsing", fields, body, Settings(changed), done);
    }
};

TEST_F(BrowsingPageTest, Loads) {
    const std::string defaults =
        R"({"data":{"albumartlist":")" + std::string(DEFAULT_LIST) +
        R"(","cmzalbumart":false,"ebdvideoinfo":false,"enableradio":false,"integrateKinovo":false,)"
        R"("kinovo_enabled":false,"musicdisplayinfo":"title","photo_sort_by":"filename",)"
        R"("photo_sort_order":"asc","sendthumb":false,"support_kinovo":true},"success":true})" +
        "\n";
    EXPECT_EQ(Post("load_browsing_page").body, defaults);
    EXPECT_FALSE(std::filesystem::exists(SETTINGS));
    WriteAll(ROOT + "/var/packages/Kinovo/enabled", "");
    WriteAll(SETTINGS, Settings({{"musicdisplayinfo", ""}, {"photo_sort_by", M + "more"},
                           {"photo_sort_order", "\xC3\xA4"}, {"enableradio", "YES"}, {"ebdvideoinfo", ""},
                           {"integrateKinovo", "true"}, {"sendthumb", "maybe"}, {"albumartlist", L + "more"}}));
    EXPECT_EQ(Post("load_browsing_page").body,
        R"({"data":{"albumartlist":")" + L +
            R"(","cmzalbumart":true,"ebdvideoinfo":false,"enableradio":true,"integrateKinovo":false,)"
            R"("kinovo_enabled":true,"musicdisplayinfo":"","photo_sort_by":")" +
            M + R"(","photo_sort_order":"\u00e4","sendthumb":true,"support_kinovo":true},"success":true})" + "\n");
}

TEST_F(BrowsingPageTest, EachSettingIsSavedToAndFro) {
    WriteAll(SETTINGS, Settings());
    for (const auto& row : PAGE) {
        for (const bool to : {true, false}) {
            // Of a field that comes twice the first counts.
            const Fields fields = {{row.field, to                    ? row.sent
                                               : row.stored == "yes" ? "true"
                                                                     : row.stored},
                {"cmzalbumart", "true"}, {"albumartlist", "a.jpg"}};
            const Request save = PostRequest("save_browsing_page", fields);
            const Answer failed = Send(OnFullDisk(save));
            EXPECT_EQ(failed.body, Error(to ? row.line : row.backLine));
            EXPECT_EQ(failed.log, Strings{});
            ExpectSaved(fields, to ? Values{{row.field, row.written}} : Values{}, to ? row.done : row.backDone);
            // Nothing is written again, or it would fail.
            EXPECT_EQ(Send(OnFullDisk(save)).body, SAVED);
        }
    }
}

TEST_F(BrowsingPageTest, SeveralChangesAreSavedInOrder) {
    Fields all = {{"cmzalbumart", "true"}};
    Values written = {{"cmzalbumart", "yes"}};
    for (const auto& row : PAGE) {
        all.emplace_back(row.field, row.sent);
        written.emplace(row.field, row.written);
    }
    ExpectSaved(all, written, {"0x11B00513 " + M, "0x11B00516", "0x11B00518", "0x11B00508", "upgrade 0", "restart"});
    EXPECT_EQ(SettingsAtScript(), Settings(written)) << "written after the restart";

    // Only "true" switches on; an album art list is heeded only with its switch; "no" has any case.
    WriteAll(SETTINGS, Settings({{"sendthumb", "NO"}, {"cmzalbumart", "No"}}));
    ExpectSaved({{"sendthumb", "yes"}, {"enableradio", "1"}, {"ebdvideoinfo", ""}, {"albumartlist", "b.jpg"}},
        {{"sendthumb", "NO"}, {"cmzalbumart", "No"}}, {});
    // One reload for all; an empty list is the default one; what isn't "no" is on.
    WriteAll(SETTINGS, Settings({{"sendthumb", ""}, {"cmzalbumart", "no"}}));
    ExpectSaved({{"ebdvideoinfo", "true"}, {"cmzalbumart", "true"}},
        {{"ebdvideoinfo", "yes"}, {"sendthumb", "no"}, {"albumartlist", DEFAULT_LIST}},
        {"0x11B00516", "0x11B00518", "reload"});
    // A missing text compares as empty, so what the page showed as default is stored; a missing switch is off.
    std::filesystem::remove(SETTINGS);
    ExpectSave("browsing", {}, SAVED, Settings().substr(0, Settings().find("suppradio")),
        {"0x11B00513 title", "0x11B00508", "restart"});
}

TEST_F(BrowsingPageTest, WritesBeforeAFailureStay) {
    // No list can be stored with a line feed in it.
    WriteAll(SETTINGS, Settings({{"cmzalbumart", "no"}}));
    ExpectSaved({{"enableradio", "true"}, {"cmzalbumart", "true"}, {"albumartlist", "a\nb"}}, {{"enableradio", "yes"}},
        {"0x11B00516"}, Error(638));
    WriteAll(SETTINGS, Settings({{"cmzalbumart", "no"}}));
    WriteAll(ROOT + "/upgrade_fails", "");
    const Answer upgrade = Post("save_browsing_page", {{"integrateKinovo", "true"}, {"sendthumb", "true"}});
    EXPECT_EQ(upgrade.body, Error(599));
    EXPECT_EQ(upgrade.log, Strings{"mediaserv:598 Error: failed to upgrade video_metadata"});
    EXPECT_EQ(ReadAll(SETTINGS), Settings({{"cmzalbumart", "no"}, {"integrateKinovo", "yes"}}));
    LetScriptFail();
    ExpectSaved({{"musicdisplayinfo", "artist"}, {"integrateKinovo", "true"}},
        {{"musicdisplayinfo", "artist"}, {"integrateKinovo", "yes"}, {"cmzalbumart", "no"}},
        {"0x11B00513 artist", "upgrade 0", "restart"}, Error(647));
}

}  // namespace
