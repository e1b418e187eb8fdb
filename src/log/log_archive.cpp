// The download of all logs as one archive, and their deletion.
#include <syslog.h>
#include <unistd.h>

#include <cstdio>

#include "log/log_paths.h"
#include "mediaserv/media_service_handler.h"
#include "platform/cgi/reports.h"
#include "platform/system/processes.h"

namespace {

#define PACKAGE_ETC_DIRECTORY APPLIANCE_ROOT "/var/packages/Dalmira/etc"
#define DIAGNOSTICS_FILE PACKAGE_ETC_DIRECTORY "/etc.log"

// The commands that write the diagnostics file, in this order. The first one replaces an old file.
constexpr const char* DIAGNOSTICS_COMMANDS[] = {
    "echo 'PID of dms:' > " DIAGNOSTICS_FILE,
    "pidof dms >> " DIAGNOSTICS_FILE,
    "echo 'PID of lighttpd:' >> " DIAGNOSTICS_FILE,
    "pidof lighttpd >> " DIAGNOSTICS_FILE,
    "echo '----------------' >> " DIAGNOSTICS_FILE,
    "/bin/ls -l " APPLIANCE_ROOT "/volume1/*.core >> " DIAGNOSTICS_FILE,
};
constexpr char ARCHIVE_COMMAND[] = "/bin/tar czhO dms.log* lighttpd " PACKAGE_ETC_DIRECTORY;
constexpr char CLEAN_UP_COMMAND[] = "rm -f " DIAGNOSTICS_FILE;
constexpr char DELETE_COMMAND[] = "/bin/rm -f " DMS_LOG_FILE "* " WEB_LOG_DIRECTORY "/*";

void WriteDiagnostics() {
    for (const char* command : DIAGNOSTICS_COMMANDS) {
        RunShell(command);
    }
}

void RemoveDiagnostics() { RunShell(CLEAN_UP_COMMAND); }

}  // namespace

void MediaServiceHandler::DownloadLog() {
    WriteDiagnostics();
    if (chdir(LOG_DIRECTORY) == -1) {
        ReportFailure(946);
        RemoveDiagnostics();
        return;
    }
    const ShellOutput archive(ARCHIVE_COMMAND);
    if (archive.Stream() == nullptr) {
        syslog(LOG_ERR, "%s:%d Failed to open pipe %s", SOURCE_NAME, 953, ARCHIVE_COMMAND);
        ReportFailure(954);
        RemoveDiagnostics();
        return;
    }
    WriteOutput("Content-Disposition: attachment; filename=dms.dmslog\nAccept-Ranges: none\n");
    HTTPFileOutputer().Output(archive.Stream(), "dms.tgz", "application/force-download");
    RemoveDiagnostics();
}

void MediaServiceHandler::ClearLog() {
    if (RunShell(DELETE_COMMAND)) {
        ReportSuccess(Json::Value());
    } else {
        ReportFailure(976);
    }
    if (RestartDms() == 0) {
        syslog(LOG_ERR, "%s:%d Failed to restart dalmira", SOURCE_NAME, 983);
    }
}
