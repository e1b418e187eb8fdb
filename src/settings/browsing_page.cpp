#include <syslog.h>

#include "daemon/daemon_control.h"
#include "mediaserv/media_service_handler.h"
#include "settings/settings_page.h"

namespace {

constexpr char KINOVO_ENABLED_FILE[] = APPLIANCE_ROOT "/var/packages/Kinovo/enabled";
constexpr char VIDEO_METADATA_SCRIPT[] =
    APPLIANCE_ROOT "/var/packages/Dalmira/target/scripts/sql/video_metadata.sh";
constexpr int RESTART_FAILED_LINE = 647;

int UpgradeVideoMetadata(const char* integrate) {
    if (strcmp(integrate, "yes") != 0 ||
        VLIBCExec(VIDEO_METADATA_SCRIPT, nullptr, nullptr, nullptr, nullptr) >= 0) {
        return 0;
    }
    syslog(LOG_ERR, "%s:%d Error: failed to upgrade video_metadata", SOURCE_NAME, 598);
    return 599;
}

constexpr Setting BROWSING_PAGE[] = {
    {.field = "musicdisplayinfo",
     .key = "musicinfo_mediaservice",
     .failedLine = {546},
     .events = {EVENT_MUSIC_DISPLAY_WRITTEN},
     .bytes = 32,
     .fallback = "title",
     .emptyIsFallback = true,
     .eventText = WrittenText},
    {.field = "photo_sort_by",
     .key = "photo_sort_by_mediaservice",
     .failedLine = {556},
     .bytes = 32,
     .fallback = "filename",
     .emptyIsFallback = true},
    {.field = "photo_sort_order",
     .key = "photo_sort_order_mediaservice",
     .failedLine = {565},
     .bytes = 32,
     .fallback = "asc",
     .emptyIsFallback = true},
    {.field = "enableradio", .key = "suppradio_mediaservice", .kind = Kind::Switch, .failedLine = {574, 574}},
    {.field = "ebdvideoinfo",
     .key = "ebdvideoinfo_mediaservice",
     .kind = Kind::Switch,
     .needs = Needs::Reload,
     .failedLine = {583, 583}},
    {.field = "integrateKinovo",
     .key = "integrateKinovo_mediaservice",
     .kind = Kind::Switch,
     .failedLine = {591, 591},
     .afterWrite = UpgradeVideoMetadata},
    {.field = "sendthumb",
     .key = "sendthumb_mediaservice",
     .kind = Kind::SwitchUnlessNo,
     .needs = Needs::Reload,
     .failedLine = {608, 613}},
    {.field = "cmzalbumart",
     .key = "cmzalbumart_mediaservice",
     .kind = Kind::Switch,
     .needs = Needs::Reload,
     .failedLine = {623, 629},
     .events = {EVENT_ALBUM_ART_ON, EVENT_ALBUM_ART_OFF}},
    {.field = "albumartlist",
     .key = "albumart_mediaservice",
     .needs = Needs::Reload,
     .failedLine = {638},
     .events = {EVENT_ALBUM_ART_LIST_WRITTEN},
     .bytes = 256,
     .fallback = "cover.jpg;Cover.jpg;COVER.jpg;folder.jpg;Folder.jpg;FOLDER.jpg",
     .emptyIsFallback = true,
     .gate = "cmzalbumart"},
};

}  // namespace

bool MediaServiceHandler::IsKinovoSupported() { return true; }

bool MediaServiceHandler::IsKinovoEnabled() { return VLIBCFileExist(KINOVO_ENABLED_FILE) != 0; }

void MediaServiceHandler::LoadBrowsingPage() {
    Json::Value data = LoadSettings(BROWSING_PAGE);
    data["support_kinovo"] = IsKinovoSupported();
    data["kinovo_enabled"] = IsKinovoEnabled();
    ReportSuccess(data);
}

void MediaServiceHandler::SaveBrowsingPage() { SaveSettingsPage(BROWSING_PAGE, RESTART_FAILED_LINE); }
