#include "minidlna/settings.h"

#include <cstdlib>

#include "settings/settings_file.h"

namespace dms {
namespace {

static_assert(LOG_LEVEL_ON[0] - '0' == static_cast<int>(Level::Info), "the log switch enables all messages");

void Read(const std::string& content, const char* key, std::string& text) {
    TextBuffer<256> stored;
    ReadText(content, key, stored);
    text = stored.c_str();
}

void Read(const std::string& content, const char* key, bool& isOn) { isOn = ReadSwitch(content, key); }

// The administration page shows the log as on for every text that is not empty, so a text that is not a level
// switches all messages on.
void Read(const std::string& content, const char* key, Level& level) {
    std::string text;
    Read(content, key, text);
    const long number = strtol(text.c_str(), nullptr, 10);
    if (text.empty()) {
        level = Level::Off;
    } else {
        level =
            number > 0 && number < static_cast<long>(Level::Info) ? static_cast<Level>(number) : Level::Info;
    }
}

bool ContainsSettings(const std::string& content) {
    return content.empty() || content.find(KEY_SUFFIX "=") != std::string::npos;
}

}  // namespace

bool ParseSettings(const std::string& content, Settings& settings) {
    if (!ContainsSettings(content)) {
        return false;
    }
    Read(content, NETWORK_KEY, settings.interface);
    Read(content, EXPIRY_KEY, settings.expiry);
    Read(content, MENU_STYLE_KEY, settings.menuStyle);
    Read(content, PHOTO_SORT_BY_KEY, settings.photoSortBy);
    Read(content, PHOTO_SORT_ORDER_KEY, settings.photoSortOrder);
    Read(content, CUSTOM_ALBUM_ART_KEY, settings.customAlbumArt);
    Read(content, ALBUM_ART_LIST_KEY, settings.albumArtNames);
    Read(content, IGNORE_ACCESS_KEY, settings.ignoreAccess);
    Read(content, LOG_LEVEL_KEY, settings.logLevel);
    return true;
}

bool ReadSettings(Settings& settings) {
    std::string content;
    return ReadSettingsFile(content) && ParseSettings(content, settings);
}

}  // namespace dms
