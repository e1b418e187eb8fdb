#include "daemon/daemon_control.h"

#include "daemon/events.h"
#include "mediaserv/media_service_handler.h"
#include "platform/system/last_error.h"
#include "platform/system/processes.h"

namespace {

// The shell command that sends a signal to the daemon. Its output and exit status are ignored: if the daemon
// is not running, there is nothing to do.
#define SIGNAL_COMMAND(option) "/bin/kill " option " `/bin/cat " DMS_PID_FILE "` > /dev/null 2>&1"

constexpr unsigned int CLIENT_LIST_WRITE_SECONDS = 1;

int StartAsPackage() {
    VEXAUtils::ProcessRunner runner(DMS_CONTROL_SCRIPT, DMS_CONTROL_SCRIPT, "start");
    runner.addEnv("VEXAPKG_PKG_STATUS", "START");
    return runner.run(true, false) == 0 ? 0 : -1;
}

}  // namespace

int RunControlScript(const char* argument) {
    return VLIBCExec(DMS_CONTROL_SCRIPT, argument, nullptr, nullptr, nullptr) < 0 ? -1 : 0;
}

void LetDaemonWriteClientList() {
    VLIBCProcSignalByPidFile(DMS_PID_FILE, SIGNAL_WRITE_CLIENT_LIST);
    Pause(CLIENT_LIST_WRITE_SECONDS);
}

void LetDaemonReadClientList() { RunShell(SIGNAL_COMMAND("-USR2")); }

int MediaServiceHandler::ControlDms(int mode) {
    switch (mode) {
        case DMS_STOP:
            return RunControlScript("stop");
        case DMS_START:
            return StartAsPackage();
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
