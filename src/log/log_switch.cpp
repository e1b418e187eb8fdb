#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include "daemon/events.h"
#include "log/log_paths.h"
#include "mediaserv/media_service_handler.h"
#include "settings/settings_file.h"

namespace {

struct LogSwitch {
    const char* level;  // the value of LOG_LEVEL_KEY
    int failureNumber;
    unsigned int event;
};

constexpr LogSwitch LOG_ON = {LOG_LEVEL_ON, 1095, EVENT_LOG_ON};
constexpr LogSwitch LOG_OFF = {"", 1101, EVENT_LOG_OFF};

// Every level except the empty text means that the log is on.
bool IsLogOn() {
    TextBuffer<32> level;
    return ReadText(LOG_LEVEL_KEY, level) > 0 && !level.empty();
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
    const LogSwitch& change = wanted ? LOG_ON : LOG_OFF;
    if (WriteSetting(LOG_LEVEL_KEY, change.level) < 0) {
        ReportFailure(change.failureNumber);
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
