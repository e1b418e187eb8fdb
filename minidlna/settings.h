// The settings of the pages, as far as this server can follow them.
#pragma once

#include <string>

#include "minidlna/dms_log.h"

struct Settings {
    // Each is empty when nothing is stored.
    std::string interface;
    std::string expiry;  // of an announcement, in seconds
    std::string menuStyle;
    std::string photoSortBy;
    std::string photoSortOrder;
    std::string albumArtNames;  // separated by ';'

    bool ownAlbumArtNames = false;
    bool accessForAll = false;
    Level logLevel = Level::Off;
};

// Reads them from the settings file; a missing file has none. False, with `settings` as it was, when the file
// can't be read or holds no setting at all.
bool ReadSettings(Settings& settings);
