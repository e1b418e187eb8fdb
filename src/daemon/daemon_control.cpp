#include "daemon/daemon_control.h"

#include "mediaserv/media_service_handler.h"
#include "platform/system_library.h"

namespace {

// The shell command that sends the daemon a signal. What it prints and how it ends is nobody's concern.
#define SIGNAL_COMMAND(option) "/bin/kill " option " `/bin/cat " DMS_PID_FILE "` > /dev/null 2>&1"

int RunControlScript(const char* order) {
    return VLIBCExec(DMS_CONTROL_SCRIPT, order, nullptr, nullptr, nullptr) < 0 ? -1 : 0;
}

}  // namespace

int MediaServiceHandler::ControlDms(int mode) {
    switch (mode) {
        case DMS_STOP:
            return RunControlScript("stop");
        case DMS_START: {
            VEXAUtils::ProcessRunner runner(DMS_CONTROL_SCRIPT, DMS_CONTROL_SCRIPT, "start");
            runner.addEnv("VEXAPKG_PKG_STATUS", "START");
            return runner.run(true, false) == 0 ? 0 : -1;
        }
        case DMS_RESTART:
            return RunControlScript("restart");
        default:
            VLIBCErrSetEx(VLIB_ERR_BAD_PARAMETERS, SOURCE_NAME, 167);
            return -1;
    }
}

int MediaServiceHandler::RestartDms() {
    if (ControlDms(DMS_RESTART) == -1) {
        return 0;
    }
    RecordEvent(EVENT_RESTARTED);
    return 1;
}

void MediaServiceHandler::ReloadDms() { RunShell(SIGNAL_COMMAND("-HUP")); }

void TakeBackClientList() { RunShell(SIGNAL_COMMAND("-USR2")); }

void RecordEvent(unsigned int event, const std::string& text) {
    VEXALogSet1(2, 1, event, text.c_str(), "", "", "");
}
