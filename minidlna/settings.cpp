#include "minidlna/settings.h"

#include <unistd.h>

#include <cstdlib>

#include "platform/file_io.h"
#include "settings/settings_file.h"

namespace {

struct TextRow {
    const char* key;
    std::string Settings::*text;
};

constexpr TextRow TEXTS[] = {
    {NETWORK_KEY, &Settings::interface},
    {"advrexpire_mediaservice", &Settings::expiry},
    {"menustyle_mediaservice", &Settings::menuStyle},
    {"photo_sort_by_mediaservice", &Settings::photoSortBy},
    {"photo_sort_order_mediaservice", &Settings::photoSortOrder},
    {"albumart_mediaservice", &Settings::albumArtNames},
};

constexpr char OWN_ALBUM_ART_KEY[] = "cmzalbumart_mediaservice";
constexpr char ACCESS_FOR_ALL_KEY[] = "disable_access_right_mediaservice";
constexpr char LOG_LEVEL_KEY[] = "loglevel_mediaservice";

// What every key of the file has.
constexpr char KEY_END[] = "_mediaservice=";

std::string ReadString(const char* key) {
    TextBuffer<256> text;
    ReadText(key, text);
    return text.c_str();
}

// The pages take every text but the empty one for "on".
Level ReadLogLevel() {
    const std::string stored = ReadString(LOG_LEVEL_KEY);
    const long number = strtol(stored.c_str(), nullptr, 10);
    if (stored.empty()) {
        return Level::Off;
    }
    return number > 0 && number < static_cast<long>(Level::Info) ? static_cast<Level>(number) : Level::Info;
}

}  // namespace

bool ReadSettings(Settings& settings) {
    std::string content;
    const bool exists = access(SETTINGS_FILE, F_OK) == 0;
    if (exists && (!ReadFile(SETTINGS_FILE, content) ||
                   (!content.empty() && content.find(KEY_END) == std::string::npos))) {
        return false;
    }
    for (const TextRow& row : TEXTS) {
        settings.*row.text = ReadString(row.key);
    }
    settings.ownAlbumArtNames = ReadSwitch(OWN_ALBUM_ART_KEY);
    settings.accessForAll = ReadSwitch(ACCESS_FOR_ALL_KEY);
    settings.logLevel = ReadLogLevel();
    return true;
}
