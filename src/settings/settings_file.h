// The daemon's settings file. A setting is one line:
//
//     menustyle_mediaservice="simple"
#pragma once

#include <strings.h>

#include <string>

#include "platform/files/key_value_file.h"
#include "settings/text_buffer.h"

constexpr char SETTINGS_FILE[] = APPLIANCE_ROOT "/var/packages/Dalmira/etc/dmsinfo.conf";
constexpr char KV_LINE_FORMAT[] = "%s=\"%s\"\n";

// The suffix of all keys. A macro, so that literals can contain it.
#define KEY_SUFFIX "_mediaservice"

// The keys that dms (minidlna/) or several files of this program read. Every other key is defined in
// the table of its page.
constexpr char LANGUAGE_KEY[] = "language" KEY_SUFFIX;
constexpr char NETWORK_KEY[] = "network" KEY_SUFFIX;
constexpr char EXPIRY_KEY[] = "advrexpire" KEY_SUFFIX;
constexpr char MENU_STYLE_KEY[] = "menustyle" KEY_SUFFIX;
constexpr char PHOTO_SORT_BY_KEY[] = "photo_sort_by" KEY_SUFFIX;
constexpr char PHOTO_SORT_ORDER_KEY[] = "photo_sort_order" KEY_SUFFIX;
constexpr char CUSTOM_ALBUM_ART_KEY[] = "cmzalbumart" KEY_SUFFIX;
constexpr char ALBUM_ART_LIST_KEY[] = "albumart" KEY_SUFFIX;
constexpr char IGNORE_ACCESS_KEY[] = "disable_access_right" KEY_SUFFIX;
constexpr char LOG_LEVEL_KEY[] = "loglevel" KEY_SUFFIX;

// The value of LOG_LEVEL_KEY when the log is on: the highest level of the daemon.
constexpr char LOG_LEVEL_ON[] = "3";

constexpr char DEFAULT_LANGUAGE[] = "enu";

constexpr char SWITCH_ON[] = "yes";
constexpr char SWITCH_OFF[] = "no";

// Reads the settings file into `settings`. A missing file has no settings. Returns false with errno set if
// the file can't be read; `settings` is empty then.
bool ReadSettingsFile(std::string& settings);

// The following functions work on the content of the settings file.

// Return whether a switch is on. A switch is off if its key is missing. Case is ignored.
bool ReadSwitch(const std::string& settings, const char* key);          // on if the stored text is SWITCH_ON
bool ReadSwitchUnlessNo(const std::string& settings, const char* key);  // on if it is not SWITCH_OFF

// Reads a text, cut to `bytes` (at most N) with the terminating zero byte. Returns whether the key was found;
// otherwise `text` is unchanged and can hold a default value.
template <size_t N>
bool ReadText(const std::string& settings, const char* key, TextBuffer<N>& text, size_t bytes = N) {
    return GetKeyValue(settings, key, text.data(), bytes);
}

// Writes one setting to the file. Returns a negative value on failure.
int WriteSetting(const char* key, const char* value);

// Returns whether a form field was sent and is "true", ignoring case.
inline bool IsTrue(const char* field) { return field != nullptr && strcasecmp(field, "true") == 0; }
