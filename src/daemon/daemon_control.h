// The daemon dms: its control script, its PID file and its signals. The operations ControlDms, RestartDms and
// ReloadDms are members of MediaServiceHandler.
#pragma once

constexpr char DMS_CONTROL_SCRIPT[] = APPLIANCE_ROOT "/var/packages/Dalmira/target/scripts/S86vexadms.sh";

// A macro, since the shell commands that signal the daemon are literals that hold it.
#define DMS_PID_FILE APPLIANCE_ROOT "/var/run/dms.pid"

// Modes of ControlDms.
constexpr int DMS_STOP = 0;
constexpr int DMS_START = 1;
constexpr int DMS_RESTART = 2;

// Runs the control script with "start", "stop" or "restart" and waits for its end. Returns a negative value
// when it failed.
int RunControlScript(const char* order);

// Asks the daemon to write its client list to the client list file (SIGCONT), and gives it a second for that.
// Nobody is told when it isn't running.
void LetDaemonWriteClientList();

// Asks the daemon to take back the client list file that was just written (SIGUSR2).
void TakeBackClientList();
