// The page of transcoding and MIME types.
#include "tests/appliance.h"

namespace {

// In the order of writing.
const struct {
    std::string field, key;
    int yesLine, noLine;  // of a failure
    bool isFormat = false;
    Strings onEvents = {"0x11B00508"}, offEvents = onEvents;
} SWITCHES[] = {
    {"flactranscoding", "flactranscoding", 773, 778, true},
    {"aactranscoding", "aactranscoding", 790, 795, true},
    {"oggtranscoding", "oggtranscoding", 807, 812, true},
    {"aifftranscoding", "aifftranscoding", 824, 829, true},
    {"downsample_audio_transcoding", "downsample_audiotranscoding", 841, 846},
    {"disable_access_right", "disable_access_right", 856, 856},
    {"cmzmimetype", "cmzmimetype", 865, 871, false, {"0x11B00519", "0x11B00508"}, {"0x11B00520", "0x11B00508"}},
    {"videotranscoding", "videotranscoding", 892, 892},
};

std::string Line(const std::string& key, const std::string& value) { return key + "_mediaservice=\"" + value + "\"\n"; }

std::string Lists(const std::string& types, const std::string& extensions) {
    return Line("mimetype", types) + Line("vte_fileext", extensions);
}

const std::string DEFAULTS = Lists("avi=video/x-ms-video,wav=audio/x-wav", "rm;rmvb;mkv");

class DmaPageTest : public Appliance {};

TEST_F(DmaPageTest, EachSwitchIsSavedAndShown) {
    const Answer unset = Post("load_dma_page");
    EXPECT_EQ(unset.body,
        R"({"data":{"aactranscoding":false,"aifftranscoding":false,"cmzmimetype":false,"disable_access_right":false,)"
        R"("downsample_audio_transcoding":false,"flactranscoding":false,)"
        R"("mimetypelist":"avi=video/x-ms-video,wav=audio/x-wav","oggtranscoding":false,"opttranscoding":false,)"
        R"("support_video_transcoding":false,"videoextlist":"rm;rmvb;mkv","videotranscoding":false},"success":true})"
        "\n");
    for (const auto& row : SWITCHES) {
        WriteAll(SETTINGS, DEFAULTS);
        for (const bool on : {true, false}) {
            const Fields fields = {{row.field, on ? "TRUE" : "yes"}};
            const Request onFullDisk = OnFullDisk(PostRequest("save_dma_page", fields));
            EXPECT_EQ(Send(onFullDisk).body, Error(on ? row.yesLine : row.noLine));
            Strings done = on ? row.onEvents : row.offEvents;
            done.emplace_back("restart");
            ExpectSave("dma", fields, SAVED, DEFAULTS + Line(row.key, on ? "yes" : "no"), done);
            // What is stored isn't written again: there would be no room.
            EXPECT_EQ(Send(onFullDisk).body, SAVED);
            Json::Value shown = unset.Json()["data"];
            shown[row.field] = on;
            shown["opttranscoding"] = on && row.isFormat;
            EXPECT_EQ(Post("load_dma_page").Json()["data"], shown) << row.field;
        }
    }
}

TEST_F(DmaPageTest, ListsFollowTheirSwitch) {
    const std::string on = Line("cmzmimetype", "yes") + Line("videotranscoding", "yes");
    const std::string off = Line("cmzmimetype", "no") + Line("videotranscoding", "no");
    const std::string stored = Lists("a=b", "ts");
    const std::string m(255, 'm');
    const Strings restarted = {"0x11B00508", "restart"};
    const Strings listed = {"0x11B00521", "0x11B00508", "restart"};
    const struct {
        std::string before, sent, types, extensions, after;
        Strings done;
        std::string body = SAVED;
    } cases[] = {
        {on + stored, "true", "", "", on + DEFAULTS, listed},
        {on, "true", "", "", on + DEFAULTS, listed},
        {on + stored, "true", "a=b", "TS", on + Lists("a=b", "TS"), restarted},
        {on, "true", m + "more", m + "more", on + Lists(m, m), listed},
        {off + stored, "false", "c=d", "mkv", off + stored, {}},
        {on + stored, "false", "c=d", "mkv", off + stored, {"0x11B00520", "0x11B00508", "restart"}},
        {on + stored, "true", "c=d", "mk\nv", on + Lists("c=d", "ts"), {"0x11B00521"}, Error(900)},
        {on + stored, "true", "c\nd", "mkv", on + stored, {}, Error(882)},
    };
    for (const auto& [before, sent, types, extensions, after, done, body] : cases) {
        WriteAll(SETTINGS, before);
        const Fields lists = {{"mimetypelist", types}, {"videoextlist", extensions}};
        ExpectSave("dma", {{"cmzmimetype", sent}, {"videotranscoding", sent}, lists[0], lists[1]}, body, after, done);
    }
}

TEST_F(DmaPageTest, EverythingIsWrittenInOrderAndThenRestarted) {
    Fields all = {{"videoextlist", "ts"}, {"mimetypelist", "a=b"}};
    std::string stored;
    for (const auto& row : SWITCHES) {
        all.emplace_back(row.field, "true");
        stored += Line(row.key, "yes") + (row.key == "cmzmimetype" ? Line("mimetype", "a=b") : "");
    }
    stored += Line("vte_fileext", "ts");
    ExpectSave("dma", all, SAVED, stored, {"0x11B00519", "0x11B00521", "0x11B00508", "restart"});
    EXPECT_EQ(SettingsAtScript(), stored);
    LetScriptFail();
    WriteAll(SETTINGS, Line("cmzmimetype", "yes"));
    ExpectSave("dma", {}, Error(908), Line("cmzmimetype", "no"), {"0x11B00520", "restart"});
}

}  // namespace
