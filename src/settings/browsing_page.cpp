#include <syslog.h>

#include "daemon/events.h"
#include "mediaserv/media_service_handler.h"
#include "platform/files/file_io.h"
#include "platform/system/processes.h"
#include "settings/settings_page.h"

namespace {

constexpr char KINOVO_ENABLED_FILE[] = APPLIANCE_ROOT "/var/packages/Kinovo/enabled";
constexpr char VIDEO_METADATA_SCRIPT[] =
    APPLIANCE_ROOT "/var/packages/Dalmira/target/scripts/sql/video_metadata.sh";

int UpgradeVideoMetadata() {
    if (VLIBCExec(VIDEO_METADATA_SCRIPT, nullptr, nullptr, nullptr, nullptr) >= 0) {
        return 0;
    }
    syslog(LOG_ERR, "%s:%d Error: failed to upgrade video_metadata", SOURCE_NAME, 598);
    return 599;
}

constexpr Setting SETTINGS[] = {
    Text{.field = "musicdisplayinfo",
         .key = "musicinfo_mediaservice",
         .failureNumber = 546,
         .event = EVENT_MUSIC_DISPLAY_WRITTEN,
         .eventText = WrittenText,
         .bytes = 32,
         .defaultValue = "title"},
    Text{.field = "photo_sort_by",
         .key = PHOTO_SORT_BY_KEY,
         .failureNumber = 556,
         .bytes = 32,
         .defaultValue = "filename"},
    Text{.field = "photo_sort_order",
         .key = PHOTO_SORT_ORDER_KEY,
         .failureNumber = 565,
         .bytes = 32,
         .defaultValue = "asc"},
    Switch{.field = "enableradio", .key = "suppradio_mediaservice", .failureNumber = {574, 574}},
    Switch{.field = "ebdvideoinfo",
           .key = "ebdvideoinfo_mediaservice",
           .failureNumber = {583, 583},
           .needs = Needs::Reload},
    Switch{.field = "integrateKinovo",
           .key = "integrateKinovo_mediaservice",
           .failureNumber = {591, 591},
           .afterSwitchingOn = UpgradeVideoMetadata},
    Switch{.field = "sendthumb",
           .key = "sendthumb_mediaservice",
           .failureNumber = {608, 613},
           .needs = Needs::Reload,
           .read = ReadSwitchUnlessNo},
    Switch{.field = "cmzalbumart",
           .key = CUSTOM_ALBUM_ART_KEY,
           .failureNumber = {623, 629},
           .needs = Needs::Reload,
           .event = {EVENT_ALBUM_ART_ON, EVENT_ALBUM_ART_OFF}},
    Text{.field = "albumartlist",
         .key = ALBUM_ART_LIST_KEY,
         .failureNumber = 638,
         .needs = Needs::Reload,
         .event = EVENT_ALBUM_ART_LIST_WRITTEN,
         .bytes = 256,
         .defaultValue = "cover.jpg;Cover.jpg;COVER.jpg;folder.jpg;Folder.jpg;FOLDER.jpg",
         .enabledBy = "cmzalbumart"},
};

}  // namespace

constexpr SettingsPage BROWSING_PAGE = {SETTINGS, 647};

bool MediaServiceHandler::IsKinovoSupported() { return true; }

bool MediaServiceHandler::IsKinovoEnabled() { return VLIBCFileExist(KINOVO_ENABLED_FILE) != 0; }

void MediaServiceHandler::LoadBrowsingPage() {
    Json::Value data = LoadSettings(BROWSING_PAGE);
    data["support_kinovo"] = IsKinovoSupported();
    data["kinovo_enabled"] = IsKinovoEnabled();
    ReportSuccess(data);
}

void MediaServiceHandler::SaveBrowsingPage() {
    if (SaveSettings(BROWSING_PAGE)) {
        ReportSuccess(Json::objectValue);
    }
}
