// The settings of the administration pages that MiniDLNA can follow.
#pragma once

#include <string>

#include "minidlna/dms_log.h"

namespace dms {

struct Settings {
    // A text is empty if the settings file does not contain its key.
    std::string interface;
    std::string expiry;  // of an announcement, in seconds
    std::string menuStyle;
    std::string photoSortBy;
    std::string photoSortOrder;
    std::string albumArtNames;  // separated by ';'

    bool customAlbumArt = false;  // use `albumArtNames`
    bool ignoreAccess = false;    // let all clients connect
    Level logLevel = Level::Off;

    bool operator==(const Settings& other) const = default;
};

// Reads the content of the settings file. Returns false and leaves `settings` unchanged if the content is
// text without any setting. Empty content has no settings. A value is cut to 255 bytes.
bool ParseSettings(const std::string& content, Settings& settings);

// Reads the settings file. A missing file has no settings. Returns false and leaves `settings` unchanged if
// the file cannot be read, or if ParseSettings rejects its content.
bool ReadSettings(Settings& settings);

}  // namespace dms
