// The page of transcoding and MIME types.
#include "tests/appliance.h"

namespace {

// In the order of writing.
const struct {
    const char *field, *key;
    int yesLine, noLine;
    bool isFormat = false;
    const char *onEvent = nullptr, *offEvent = nullptr;
} SWITCHES[] = {
    {"flactranscoding", "flactranscoding_mediaservice", 773, 778, true},
    {"aactranscoding", "aactranscoding_mediaservice", 790, 795, true},
    {"oggtranscoding", "oggtranscoding_mediaservice", 807, 812, true},
    {"aifftranscoding", "aifftranscoding_mediaservice", 824, 829, true},
    {"downsample_audio_transcoding", "downsample_audiotranscoding_mediaservice", 841, 846},
    {"disable_access_right", "disable_access_right_mediaservice", 856, 856},
    {"cmzmimetype", "cmzmimetype_mediaservice", 865, 871, false, "0x11B00519", "0x11B00520"},
    {"videotranscoding", "videotranscoding_mediaservice", 892, 892},
};

std::string Lists(const std::string& types, const std::string& extensions) {
    return "mimetype_mediaservice=\"" + types + "\"\nvte_fileext_mediaservice=\"" + extensions + "\"\n";
}

const std::string DEFAULTS = Lists("avi=video/x-ms-video,wav=audio/x-wav", "rm;rmvb;mkv");

class DmaPageTest : public Appliance {};

TEST_F(DmaPageTest, EachSwitchIsSavedAndShown) {
    const Answer unset = Post("load_dma_page");
    EXPECT_EQ(unset.body,
        R"({"data":{"aactranscoding":false,"aifftranscoding":false,"cmzmimetype":false,)"
        R"("disable_access_right":false,"downsample_audio_transcoding":false,"flactranscoding":false,)"
        R"("mimetypelist":"avi=video/x-ms-video,wav=audio/x-wav","oggtranscoding":false,)"
        R"("opttranscoding":false,"support_video_transcoding":false,"videoextlist":"rm;rmvb;mkv",)"
        R"("videotranscoding":false},"success":true})"
        "\n");
    for (const auto& row : SWITCHES) {
        WriteAll(SETTINGS, DEFAULTS);
        for (const bool on : {true, false}) {
            const Request save = PostRequest("save_dma_page", {{row.field, on ? "TRUE" : "yes"}});
            EXPECT_EQ(Send(OnFullDisk(save)).body, Error(on ? row.yesLine : row.noLine));
            const Answer answer = Send(save);
            EXPECT_EQ(answer.body, SAVED);
            EXPECT_EQ(ReadAll(SETTINGS), DEFAULTS + row.key + (on ? "=\"yes\"\n" : "=\"no\"\n"));
            const char* event = on ? row.onEvent : row.offEvent;
            EXPECT_EQ(answer.Events().size(), event == nullptr ? 1U : 2U);
            EXPECT_EQ(answer.Events().front(), event == nullptr ? "0x11B00508" : event);
            // What is stored isn't written again: there would be no room.
            EXPECT_EQ(Send(OnFullDisk(save)).body, SAVED);
            EXPECT_EQ(ScriptCalls(), std::vector<std::string>{"restart"}) << row.field;
            Json::Value shown = unset.Json()["data"];
            shown[row.field] = on;
            shown["opttranscoding"] = on && row.isFormat;
            EXPECT_EQ(Post("load_dma_page").Json()["data"], shown) << row.field;
        }
    }
}

TEST_F(DmaPageTest, ListsFollowTheirSwitch) {
    const std::string on = "cmzmimetype_mediaservice=\"yes\"\nvideotranscoding_mediaservice=\"yes\"\n";
    const std::string off = "cmzmimetype_mediaservice=\"no\"\nvideotranscoding_mediaservice=\"no\"\n";
    const std::string stored = Lists("a=b", "ts");
    const std::string cut = Lists(std::string(255, 'm'), std::string(255, 'v'));
    const struct {
        std::string before, sent, types, extensions, after, body = SAVED;
    } cases[] = {
        {on + stored, "true", "", "", on + DEFAULTS},
        {on, "true", "", "", on + DEFAULTS},
        {on + stored, "true", "a=b", "TS", on + Lists("a=b", "TS")},
        {on, "true", std::string(300, 'm'), std::string(300, 'v'), on + cut},
        {off + stored, "false", "c=d", "mkv", off + stored},
        {on + stored, "false", "c=d", "mkv", off + stored},
        {on + stored, "true", "c=d", "mk\nv", on + Lists("c=d", "ts"), Error(900)},
        {on + stored, "true", "c\nd", "mkv", on + stored, Error(882)},
    };
    for (const auto& [before, sent, types, extensions, after, body] : cases) {
        WriteAll(SETTINGS, before);
        Fields fields = {{"mimetypelist", types}, {"videoextlist", extensions}};
        fields.insert(fields.end(), {{"cmzmimetype", sent}, {"videotranscoding", sent}});
        EXPECT_EQ(Post("save_dma_page", fields).body, body);
        EXPECT_EQ(ReadAll(SETTINGS), after);
        EXPECT_EQ(ScriptCalls().size(), body == SAVED && before != after ? 1U : 0U) << before;
    }
}

TEST_F(DmaPageTest, EverythingIsWrittenInOrderAndThenRestarted) {
    Fields all = {{"videoextlist", "ts"}, {"mimetypelist", "a=b"}};
    std::string stored;
    for (const auto& row : SWITCHES) {
        all.emplace_back(row.field, "true");
        stored += row.key + std::string("=\"yes\"\n");
        stored += row.onEvent == nullptr ? "" : "mimetype_mediaservice=\"a=b\"\n";
    }
    const Answer answer = Post("save_dma_page", all);
    EXPECT_EQ(answer.body, SAVED);
    EXPECT_EQ(answer.Events(), (std::vector<std::string>{"0x11B00519", "0x11B00521", "0x11B00508"}));
    EXPECT_EQ(SettingsAtScript(), stored + "vte_fileext_mediaservice=\"ts\"\n");
    EXPECT_EQ(Signals(), std::vector<int>{});
    LetScriptFail();
    const Answer failed = Post("save_dma_page", {{"cmzmimetype", "false"}});
    EXPECT_EQ(failed.body, Error(908));
    EXPECT_EQ(failed.Events(), std::vector<std::string>{"0x11B00520"});
    EXPECT_EQ(ReadAll(SETTINGS).find("yes"), std::string::npos);
}

}  // namespace
