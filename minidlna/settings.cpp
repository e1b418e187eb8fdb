#include "minidlna/settings.h"

#include <unistd.h>

#include <cstdlib>

#include "platform/files/file_io.h"
#include "settings/settings_file.h"

namespace {

struct TextRow {
    const char* key;
    std::string Settings::*text;
};

constexpr TextRow TEXTS[] = {
    {NETWORK_KEY, &Settings::interface},
    {EXPIRY_KEY, &Settings::expiry},
    {MENU_STYLE_KEY, &Settings::menuStyle},
    {PHOTO_SORT_BY_KEY, &Settings::photoSortBy},
    {PHOTO_SORT_ORDER_KEY, &Settings::photoSortOrder},
    {ALBUM_ART_LIST_KEY, &Settings::albumArtNames},
};

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
                   (!content.empty() && content.find(KEY_SUFFIX "=") == std::string::npos))) {
        return false;
    }
    for (const TextRow& row : TEXTS) {
        settings.*row.text = ReadString(row.key);
    }
    settings.ownAlbumArtNames = ReadSwitch(CUSTOM_ALBUM_ART_KEY);
    settings.accessForAll = ReadSwitch(IGNORE_ACCESS_KEY);
    settings.logLevel = ReadLogLevel();
    return true;
}
