// The daemon's settings file. A setting is one line:
//
//     menustyle_mediaservice="simple"
#pragma once

#include <strings.h>

#include "platform/key_value_file.h"
#include "settings/text_buffer.h"

constexpr char SETTINGS_FILE[] = APPLIANCE_ROOT "/var/packages/Dalmira/etc/dmsinfo.conf";
constexpr char KV_LINE_FORMAT[] = "%s=\"%s\"\n";

constexpr char LANGUAGE_KEY[] = "language_mediaservice";
constexpr char DEFAULT_LANGUAGE[] = "enu";
constexpr char NETWORK_KEY[] = "network_mediaservice";

constexpr char SWITCH_ON[] = "yes";
constexpr char SWITCH_OFF[] = "no";

// Without the key every switch is off. Case does not matter.
bool ReadSwitch(const char* key);          // on at SWITCH_ON alone
bool ReadSwitchUnlessNo(const char* key);  // on at everything but SWITCH_OFF

// Reads a text, cut to `bytes` with its terminator. Returns a value above 0 when the key was found; else
// `text` keeps what it held, a default say.
template <size_t N>
int ReadText(const char* key, TextBuffer<N>& text, size_t bytes = N) {
    return VLIBCFileGetKeyValue(SETTINGS_FILE, key, text.data(), static_cast<int>(bytes), 0);
}

// Writes one setting. Returns a negative value on failure.
int WriteSetting(const char* key, const char* value);

// Whether a form field switches something on: it was sent and is "true" in any case.
inline bool IsTrue(const char* field) { return field != nullptr && strcasecmp(field, "true") == 0; }
