// The events that this program records. The appliance's system event log defines the codes.
#pragma once

#include <string>

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

// Records an event at level 2 for user 1, with `text` as its first text and no other texts.
void RecordEvent(unsigned int event, const std::string& text = std::string());
