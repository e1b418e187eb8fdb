#include "daemon/events.h"
#include "mediaserv/media_service_handler.h"
#include "settings/settings_page.h"

namespace {

// The formats that the daemon transcodes.
constexpr const char* FORMAT_SWITCHES[] = {"flactranscoding", "aactranscoding", "oggtranscoding",
                                           "aifftranscoding"};

constexpr Setting SETTINGS[] = {
    Switch{.field = "flactranscoding", .key = "flactranscoding_mediaservice", .failureNumber = {773, 778}},
    Switch{.field = "aactranscoding", .key = "aactranscoding_mediaservice", .failureNumber = {790, 795}},
    Switch{.field = "oggtranscoding", .key = "oggtranscoding_mediaservice", .failureNumber = {807, 812}},
    Switch{.field = "aifftranscoding", .key = "aifftranscoding_mediaservice", .failureNumber = {824, 829}},
    Switch{.field = "downsample_audio_transcoding",
           .key = "downsample_audiotranscoding_mediaservice",
           .failureNumber = {841, 846}},
    Switch{.field = "disable_access_right", .key = IGNORE_ACCESS_KEY, .failureNumber = {856, 856}},
    Switch{.field = "cmzmimetype",
           .key = "cmzmimetype_mediaservice",
           .failureNumber = {865, 871},
           .event = {EVENT_MIME_TABLE_ON, EVENT_MIME_TABLE_OFF}},
    Text{.field = "mimetypelist",
         .key = "mimetype_mediaservice",
         .failureNumber = 882,
         .event = EVENT_MIME_LIST_WRITTEN,
         .bytes = 256,
         .defaultValue = "avi=video/x-ms-video,wav=audio/x-wav",
         .enabledBy = "cmzmimetype"},
    Switch{.field = "videotranscoding", .key = "videotranscoding_mediaservice", .failureNumber = {892, 892}},
    Text{.field = "videoextlist",
         .key = "vte_fileext_mediaservice",
         .failureNumber = 900,
         .bytes = 256,
         .defaultValue = "rm;rmvb;mkv",
         .enabledBy = "videotranscoding"},
};

}  // namespace

constexpr SettingsPage DMA_PAGE = {SETTINGS, 908};

bool MediaServiceHandler::IsVideoTranscodingSupported() { return false; }

void MediaServiceHandler::LoadDmaPage() {
    Json::Value data = LoadSettings(DMA_PAGE);
    bool transcodes = false;
    for (const char* format : FORMAT_SWITCHES) {
        transcodes = transcodes || data[format].asBool();
    }
    data["opttranscoding"] = transcodes;
    data["support_video_transcoding"] = IsVideoTranscodingSupported();
    ReportSuccess(data);
}

void MediaServiceHandler::SaveDmaPage() {
    if (SaveSettings(DMA_PAGE)) {
        ReportSuccess(Json::objectValue);
    }
}
