// The daemon dms: its control script, its PID file and its signals. ControlDms, RestartDms and ReloadDms are
// members of MediaServiceHandler.
#pragma once

#include <csignal>

constexpr char DMS_CONTROL_SCRIPT[] = APPLIANCE_ROOT "/var/packages/Dalmira/target/scripts/S86vexadms.sh";

// A macro because the literals of shell commands contain it.
#define DMS_PID_FILE APPLIANCE_ROOT "/var/run/dms.pid"

// The signals that the daemon handles. The numbers are those of Linux on ARM and x86.
constexpr int SIGNAL_RELOAD_SETTINGS = SIGHUP;
constexpr int SIGNAL_READ_CLIENT_LIST = SIGUSR2;
constexpr int SIGNAL_WRITE_CLIENT_LIST = SIGCONT;

// Modes of ControlDms. This program uses only DMS_RESTART; the other modes are part of the interface.
constexpr int DMS_STOP = 0;
constexpr int DMS_START = 1;
constexpr int DMS_RESTART = 2;

// Runs the control script with "start", "stop" or "restart" and waits for its end. Returns 0, or -1 if the
// script failed.
int RunControlScript(const char* argument);

// Asks the daemon to write the client list file and waits one second, in which the daemon has to finish.
// Waits even if the daemon is not running.
void LetDaemonWriteClientList();

// Asks the daemon to read the client list file. Does nothing if the daemon is not running.
void LetDaemonReadClientList();
