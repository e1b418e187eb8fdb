#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include "daemon/events.h"
#include "log/log_paths.h"
#include "mediaserv/media_service_handler.h"
#include "settings/settings_file.h"

namespace {

struct LogSwitch {
    const char* level;  // stored as the key's value
    int failureNumber;
    unsigned int event;
};

constexpr LogSwitch ON = {"3", 1095, EVENT_LOG_ON};
constexpr LogSwitch OFF = {"", 1101, EVENT_LOG_OFF};

// Any level at all is on.
bool IsLogOn() {
    TextBuffer<32> level;
    return ReadText(LOG_LEVEL_KEY, level) > 0 && !level.empty();
}

// The web server's account on the appliance owns its log directory.
void CreateWebLogDirectory() {
    struct stat status = {};
    if (stat(WEB_LOG_DIRECTORY, &status) != 0) {
        static_cast<void>(mkdir(WEB_LOG_DIRECTORY, 0777));
        static_cast<void>(!chown(WEB_LOG_DIRECTORY, 1024, 100));
    }
}

}  // namespace

void MediaServiceHandler::LoadLogConf() {
    Json::Value data(Json::objectValue);
    data["dmslog"] = IsLogOn();
    ReportSuccess(data);
}

void MediaServiceHandler::ApplyLogConf() {
    const bool wanted = IsTrue(web_.In("dmslog", nullptr));
    if (wanted == IsLogOn()) {
        ReportSuccess(Json::Value());
        return;
    }
    if (wanted) {
        CreateWebLogDirectory();
    }
    const LogSwitch& change = wanted ? ON : OFF;
    if (WriteSetting(LOG_LEVEL_KEY, change.level) < 0) {
        Fail(change.failureNumber);
        return;
    }
    RecordEvent(change.event);
    if (RestartDms() == 0) {
        syslog(LOG_ERR, "%s:%d Failed to restart dalmira", SOURCE_NAME, 1109);
        ReportError();
        return;
    }
    ReportSuccess(Json::Value());
}
