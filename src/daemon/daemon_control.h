// The daemon dms: its control script, its PID file and the events recorded about it. The operations
// ControlDms, RestartDms and ReloadDms are members of MediaServiceHandler.
#pragma once

#include <string>

constexpr char DMS_CONTROL_SCRIPT[] = APPLIANCE_ROOT "/var/packages/Dalmira/target/scripts/S86vexadms.sh";

// A macro, since the shell commands that signal the daemon are literals that hold it.
#define DMS_PID_FILE APPLIANCE_ROOT "/var/run/dms.pid"

// Modes of ControlDms.
constexpr int DMS_STOP = 0;
constexpr int DMS_START = 1;
constexpr int DMS_RESTART = 2;

// Asks the daemon to write its client list to the client list file (SIGCONT on Linux).
constexpr int SIGNAL_WRITE_CLIENT_LIST = 18;

constexpr unsigned int EVENT_LANGUAGE_WRITTEN = 0x11B00505;
constexpr unsigned int EVENT_MENU_STYLE_WRITTEN = 0x11B00507;
constexpr unsigned int EVENT_RESTARTED = 0x11B00508;
constexpr unsigned int EVENT_MUSIC_DISPLAY_WRITTEN = 0x11B00513;
constexpr unsigned int EVENT_LOG_ON = 0x11B00514;
constexpr unsigned int EVENT_LOG_OFF = 0x11B00515;
constexpr unsigned int EVENT_ALBUM_ART_ON = 0x11B00516;
constexpr unsigned int EVENT_ALBUM_ART_OFF = 0x11B00517;
constexpr unsigned int EVENT_ALBUM_ART_LIST_WRITTEN = 0x11B00518;
constexpr unsigned int EVENT_MIME_TABLE_ON = 0x11B00519;
constexpr unsigned int EVENT_MIME_TABLE_OFF = 0x11B00520;
constexpr unsigned int EVENT_MIME_LIST_WRITTEN = 0x11B00521;

// Records one event with its first text; the other texts of this system's events are empty.
void RecordEvent(unsigned int event, const std::string& text = std::string());

// Asks the daemon to take back the client list file that was just written (SIGUSR2).
void TakeBackClientList();
