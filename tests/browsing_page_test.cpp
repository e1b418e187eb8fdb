// The browsing page: what it loads, and the order of what a save does.
#include <csignal>
#include <filesystem>

#include "tests/appliance.h"

namespace fs = std::filesystem;

namespace {

constexpr char DEFAULT_LIST[] = "cover.jpg;Cover.jpg;COVER.jpg;folder.jpg;Folder.jpg;FOLDER.jpg";
constexpr char RESTARTED[] = "0x11B00508";

const std::string STORED =
    "musicinfo_mediaservice=\"title\"\nphoto_sort_by_mediaservice=\"filename\"\n"
    "photo_sort_order_mediaservice=\"asc\"\nsuppradio_mediaservice=\"no\"\nebdvideoinfo_mediaservice=\"no\"\n"
    "integrateKinovo_mediaservice=\"no\"\nsendthumb_mediaservice=\"no\"\ncmzalbumart_mediaservice=\"no\"\n"
    "albumart_mediaservice=\"a.jpg\"\n";

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
    return text.replace(text.find(from), from.size(), to);
}

class BrowsingPageTest : public Appliance {
  protected:
    BrowsingPageTest() {
        WriteProgram(UPGRADE, "echo upgrade $# >> " + ROOT + "/calls; test ! -e " + ROOT + "/upgrade_fails\n");
        WriteAll(SETTINGS, STORED);
    }

    const std::string UPGRADE = ROOT + "/var/packages/Dalmira/target/scripts/sql/video_metadata.sh";
};

TEST_F(BrowsingPageTest, Loads) {
    fs::remove(SETTINGS);
    const std::string defaults =
        R"({"data":{"albumartlist":"cover.jpg;Cover.jpg;COVER.jpg;folder.jpg;Folder.jpg;FOLDER.jpg",)"
        R"("cmzalbumart":false,"ebdvideoinfo":false,"enableradio":false,"integrateKinovo":false,)"
        R"("kinovo_enabled":false,"musicdisplayinfo":"title","photo_sort_by":"filename",)"
        R"("photo_sort_order":"asc","sendthumb":false,"support_kinovo":true},"success":true})"
        "\n";
    EXPECT_EQ(Post("load_browsing_page").body, defaults);
    EXPECT_FALSE(fs::exists(SETTINGS));

    WriteAll(SETTINGS,
        "sendthumb_mediaservice=\"maybe\"\ncmzalbumart_mediaservice=\"YES\"\nsuppradio_mediaservice=true\n"
        "ebdvideoinfo_mediaservice=\"\"\nintegrateKinovo_mediaservice=Yes\nmusicinfo_mediaservice=\"\"\n"
        "photo_sort_by_mediaservice=\"" +
            std::string(40, 'p') +
            "\"\nphoto_sort_order_mediaservice=\"\xC3\xA4\"\n"
            "albumart_mediaservice=\"" +
            std::string(300, 'l') + "\"\n");
    WriteAll(ROOT + "/var/packages/Kinovo/enabled", "");
    EXPECT_EQ(Post("load_browsing_page").body,
        R"({"data":{"albumartlist":")" + std::string(255, 'l') +
            R"(","cmzalbumart":true,"ebdvideoinfo":false,"enableradio":false,"integrateKinovo":true,)"
            R"("kinovo_enabled":true,"musicdisplayinfo":"","photo_sort_by":")" +
            std::string(31, 'p') +
            R"(","photo_sort_order":"\u00e4","sendthumb":true,"support_kinovo":true},"success":true})" + "\n");
    for (const auto& [stored, on] : {std::pair{"NO", false}, {"no", false}, {"", true}, {"yes", true}}) {
        WriteAll(SETTINGS, std::string("sendthumb_mediaservice=\"") + stored + "\"\n");
        EXPECT_EQ(Post("load_browsing_page").Json()["data"]["sendthumb"], on) << stored;
    }
}

// Each row starts from STORED and a form that equals it.
TEST_F(BrowsingPageTest, ASaveWritesWhatChanged) {
    const std::string long_list(300, 'l');
    const struct {
        Fields fields;
        std::vector<std::pair<std::string, std::string>> written;  // lines of STORED and what became of them
        std::vector<std::string> events;
        std::vector<std::string> calls;
        std::vector<int> signals;
    } cases[] = {
        {{}, {}, {}, {}, {}},
        {{{"sendthumb", "yes"}, {"enableradio", "1"}, {"ebdvideoinfo", ""}, {"albumartlist", "b.jpg"}}, {}, {}, {}, {}},
        {{{"sendthumb", "TRUE"}}, {{"sendthumb_mediaservice=\"no\"", "sendthumb_mediaservice=\"yes\""}}, {}, {},
            {SIGHUP}},
        {{{"ebdvideoinfo", "true"}}, {{"videoinfo_mediaservice=\"no\"", "videoinfo_mediaservice=\"yes\""}}, {}, {},
            {SIGHUP}},
        {{{"photo_sort_order", "desc"}, {"sendthumb", "true"}},
            {{"asc", "desc"}, {"sendthumb_mediaservice=\"no\"", "sendthumb_mediaservice=\"yes\""}}, {RESTARTED},
            {"restart"}, {}},
        {{{"cmzalbumart", "true"}, {"albumartlist", ""}},
            {{"cmzalbumart_mediaservice=\"no\"", "cmzalbumart_mediaservice=\"yes\""}, {"a.jpg", DEFAULT_LIST}},
            {"0x11B00516", "0x11B00518"}, {}, {SIGHUP}},
        {{{"cmzalbumart", "true"}, {"albumartlist", "a.jpg"}},
            {{"cmzalbumart_mediaservice=\"no\"", "cmzalbumart_mediaservice=\"yes\""}}, {"0x11B00516"}, {}, {SIGHUP}},
        {{{"cmzalbumart", "true"}, {"albumartlist", long_list}},
            {{"cmzalbumart_mediaservice=\"no\"", "cmzalbumart_mediaservice=\"yes\""},
                {"a.jpg", long_list.substr(0, 255)}},
            {"0x11B00516", "0x11B00518"}, {}, {SIGHUP}},
        {{{"musicdisplayinfo", std::string(40, 'm')}}, {{"title", std::string(31, 'm')}},
            {"0x11B00513 " + std::string(31, 'm'), RESTARTED}, {"restart"}, {}},
        {{{"photo_sort_by", "say \"x\"; y"}}, {{"filename", "say \"x\"; y"}}, {RESTARTED}, {"restart"}, {}},
        {{{"integrateKinovo", "true"}}, {{"Kinovo_mediaservice=\"no\"", "Kinovo_mediaservice=\"yes\""}}, {RESTARTED},
            {"upgrade 0", "restart"}, {}},
        {{{"musicdisplayinfo", "artist"}, {"photo_sort_by", "date"}, {"photo_sort_order", "desc"},
             {"enableradio", "true"}, {"ebdvideoinfo", "true"}, {"integrateKinovo", "true"}, {"sendthumb", "true"},
             {"cmzalbumart", "true"}, {"albumartlist", "b.png"}},
            {{"title", "artist"}, {"filename", "date"}, {"asc", "desc"},
                {"radio_mediaservice=\"no\"", "radio_mediaservice=\"yes\""},
                {"videoinfo_mediaservice=\"no\"", "videoinfo_mediaservice=\"yes\""},
                {"Kinovo_mediaservice=\"no\"", "Kinovo_mediaservice=\"yes\""},
                {"thumb_mediaservice=\"no\"", "thumb_mediaservice=\"yes\""},
                {"cmzalbumart_mediaservice=\"no\"", "cmzalbumart_mediaservice=\"yes\""}, {"a.jpg", "b.png"}},
            {"0x11B00513 artist", "0x11B00516", "0x11B00518", RESTARTED}, {"upgrade 0", "restart"}, {}},
    };
    for (const auto& [fields, written, events, calls, signals] : cases) {
        WriteAll(SETTINGS, STORED);
        std::string after = STORED;
        for (const auto& [from, to] : written) {
            after = Replaced(after, from, to);
        }
        const auto before = fs::last_write_time(SETTINGS);
        const Answer answer = Post("save_browsing_page", fields);
        EXPECT_EQ(answer.body, SAVED);
        EXPECT_EQ(ReadAll(SETTINGS), after);
        EXPECT_EQ(fs::last_write_time(SETTINGS) == before, written.empty());
        EXPECT_EQ(answer.Events(), events);
        EXPECT_EQ(answer.log.size(), events.size());
        EXPECT_EQ(ScriptCalls(), calls);
        EXPECT_EQ(Signals(), signals);
        if (!calls.empty()) {
            EXPECT_EQ(SettingsAtScript(), after) << "written after the restart";
        }
    }
}

TEST_F(BrowsingPageTest, SwitchingOffAndMissingKeys) {
    WriteAll(SETTINGS, Replaced(Replaced(STORED, "cmzalbumart_mediaservice=\"no\"", "cmzalbumart_mediaservice=\"Yes\""),
                           "Kinovo_mediaservice=\"no\"", "Kinovo_mediaservice=\"yes\""));
    const Answer off = Post("save_browsing_page", {{"albumartlist", "ignored"}});
    EXPECT_EQ(off.Events(), (std::vector<std::string>{"0x11B00517", RESTARTED}));
    EXPECT_EQ(ScriptCalls(), std::vector<std::string>{"restart"});
    EXPECT_EQ(ReadAll(SETTINGS), STORED);

    // A missing text compares as empty, so what the page showed as default is stored; a missing switch is
    // off.
    fs::remove(SETTINGS);
    EXPECT_EQ(Post("save_browsing_page").Events(), (std::vector<std::string>{"0x11B00513 title", RESTARTED}));
    EXPECT_EQ(ReadAll(SETTINGS), STORED.substr(0, STORED.find("suppradio")));
}

TEST_F(BrowsingPageTest, EveryFailureHasItsLine) {
    const struct {
        std::string field, value, storedFrom, storedTo;
        int line;
    } cases[] = {
        {"musicdisplayinfo", "x", "", "", 546},
        {"photo_sort_by", "x", "", "", 556},
        {"photo_sort_order", "x", "", "", 565},
        {"enableradio", "true", "", "", 574},
        {"ebdvideoinfo", "true", "", "", 583},
        {"integrateKinovo", "true", "", "", 591},
        {"sendthumb", "true", "", "", 608},
        {"sendthumb", "", "thumb_mediaservice=\"no\"", "thumb_mediaservice=\"\"", 613},
        {"cmzalbumart", "true", "", "", 623},
        {"cmzalbumart", "", "art_mediaservice=\"no\"", "art_mediaservice=\"yes\"", 629},
        {"enableradio", "", "radio_mediaservice=\"no\"", "radio_mediaservice=\"yes\"", 574},
    };
    for (const auto& [field, value, from, to, line] : cases) {
        const std::string stored = Replaced(STORED, from, to);
        WriteAll(SETTINGS, stored);
        const Answer answer =
            Send(OnFullDisk(PostRequest("save_browsing_page", {{field, value}, {"albumartlist", "a.jpg"}})));
        EXPECT_EQ(answer.body, Error(line)) << field;
        EXPECT_EQ(answer.log.size(), 0U);
        EXPECT_EQ(ReadAll(SETTINGS), stored);
    }
    EXPECT_EQ(ScriptCalls(), std::vector<std::string>{});
    EXPECT_EQ(Signals(), std::vector<int>{});
}

TEST_F(BrowsingPageTest, WritesBeforeAFailureStay) {
    // No list can be stored with a line feed in it.
    const Answer list =
        Post("save_browsing_page", {{"enableradio", "true"}, {"cmzalbumart", "true"}, {"albumartlist", "a\nb"}});
    EXPECT_EQ(list.body, Error(638));
    EXPECT_EQ(list.Events(), std::vector<std::string>{"0x11B00516"});
    EXPECT_EQ(ReadAll(SETTINGS), Replaced(Replaced(STORED, "radio_mediaservice=\"no\"", "radio_mediaservice=\"yes\""),
                                     "art_mediaservice=\"no\"", "art_mediaservice=\"yes\""));
    EXPECT_EQ(ScriptCalls(), std::vector<std::string>{});
    EXPECT_EQ(Signals(), std::vector<int>{});

    WriteAll(SETTINGS, STORED);
    WriteAll(ROOT + "/upgrade_fails", "");
    const Answer upgrade = Post("save_browsing_page", {{"integrateKinovo", "true"}, {"sendthumb", "true"}});
    EXPECT_EQ(upgrade.body, Error(599));
    EXPECT_EQ(upgrade.log, std::vector<std::string>{"mediaserv:598 Error: failed to upgrade video_metadata"});
    EXPECT_EQ(ReadAll(SETTINGS), Replaced(STORED, "Kinovo_mediaservice=\"no\"", "Kinovo_mediaservice=\"yes\""));
    EXPECT_EQ(ScriptCalls(), std::vector<std::string>{"upgrade 0"});

    LetScriptFail();
    WriteAll(SETTINGS, STORED);
    const Answer restart = Post("save_browsing_page", {{"musicdisplayinfo", "artist"}});
    EXPECT_EQ(restart.body, Error(647));
    EXPECT_EQ(restart.Events(), std::vector<std::string>{"0x11B00513 artist"});
    EXPECT_EQ(ReadAll(SETTINGS), Replaced(STORED, "title", "artist"));
}

}  // namespace
