#include <sys/stat.h>
#include <unistd.h>

#include "daemon/events.h"
#include "log/log_paths.h"
#include "mediaserv/media_service_handler.h"
#include "settings/settings_page.h"

namespace {

// Every level except the empty text means that the log is on.
bool IsLogOn(const std::string& settings, const char* key) {
    TextBuffer<32> level;
    return ReadText(settings, key, level) && !level.empty();
}

// The owner is the account of the appliance's web server. Failures are ignored: the daemon's log does not
// need this directory.
void CreateWebLogDirectory() {
    struct stat status = {};
    if (stat(WEB_LOG_DIRECTORY, &status) != 0) {
        static_cast<void>(mkdir(WEB_LOG_DIRECTORY, 0777));
        static_cast<void>(!chown(WEB_LOG_DIRECTORY, 1024, 100));
    }
}

constexpr Setting SETTINGS[] = {
    Switch{.field = "dmslog",
           .key = LOG_LEVEL_KEY,
           .failureNumber = {1095, 1101},
           .event = {EVENT_LOG_ON, EVENT_LOG_OFF},
           .read = IsLogOn,
           .texts = {LOG_LEVEL_ON, ""},
           .beforeSwitchingOn = CreateWebLogDirectory},
};

constexpr SettingsPage LOG_PAGE = {.settings = SETTINGS, .restartFailureNumber = 0, .restartLogNumber = 1109};

}  // namespace

void MediaServiceHandler::LoadLogConf() { ReportSuccess(LoadSettings(LOG_PAGE)); }

void MediaServiceHandler::ApplyLogConf() {
    if (SaveSettings(LOG_PAGE)) {
        ReportSuccess(Json::Value());
    }
}
