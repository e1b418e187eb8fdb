#include "daemon/daemon_control.h"
#include "mediaserv/media_service_handler.h"
#include "settings/settings_page.h"

namespace {

constexpr int RESTART_FAILED_LINE = 908;

// The formats that the daemon transcodes.
constexpr const char* FORMAT_SWITCHES[] = {"flactranscoding", "aactranscoding", "oggtranscoding",
                                           "aifftranscoding"};

constexpr Setting DMA_PAGE[] = {
    {.field = "flactranscoding",
     .key = "flactranscoding_mediaservice",
     .kind = Kind::Switch,
     .failedLine = {773, 778}},
    {.field = "aactranscoding",
     .key = "aactranscoding_mediaservice",
     .kind = Kind::Switch,
     .failedLine = {790, 795}},
    {.field = "oggtranscoding",
     .key = "oggtranscoding_mediaservice",
     .kind = Kind::Switch,
     .failedLine = {807, 812}},
    {.field = "aifftranscoding",
     .key = "aifftranscoding_mediaservice",
     .kind = Kind::Switch,
     .failedLine = {824, 829}},
    {.field = "downsample_audio_transcoding",
     .key = "downsample_audiotranscoding_mediaservice",
     .kind = Kind::Switch,
     .failedLine = {841, 846}},
    {.field = "disable_access_right",
     .key = "disable_access_right_mediaservice",
     .kind = Kind::Switch,
     .failedLine = {856, 856}},
    {.field = "cmzmimetype",
     .key = "cmzmimetype_mediaservice",
     .kind = Kind::Switch,
     .failedLine = {865, 871},
     .events = {EVENT_MIME_TABLE_ON, EVENT_MIME_TABLE_OFF}},
    {.field = "mimetypelist",
     .key = "mimetype_mediaservice",
     .failedLine = {882},
     .events = {EVENT_MIME_LIST_WRITTEN},
     .bytes = 256,
     .fallback = "avi=video/x-ms-video,wav=audio/x-wav",
     .emptyIsFallback = true,
     .gate = "cmzmimetype"},
    {.field = "videotranscoding",
     .key = "videotranscoding_mediaservice",
     .kind = Kind::Switch,
     .failedLine = {892, 892}},
    {.field = "videoextlist",
     .key = "vte_fileext_mediaservice",
     .failedLine = {900},
     .bytes = 256,
     .fallback = "rm;rmvb;mkv",
     .emptyIsFallback = true,
     .gate = "videotranscoding"},
};

}  // namespace

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

void MediaServiceHandler::SaveDmaPage() { SaveSettingsPage(DMA_PAGE, RESTART_FAILED_LINE); }
