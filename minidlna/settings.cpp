#include "minidlna/settings.h"

#include <unistd.h>

#include <cstdlib>

#include "platform/files/file_io.h"
#include "settings/settings_file.h"

namespace dms {
namespace {

static_assert(LOG_LEVEL_ON[0] - '0' == static_cast<int>(Level::Info), "the log switch enables all messages");

void Read(const char* key, std::string& text) {
    TextBuffer<256> stored;
    ReadText(key, stored);
    text = stored.c_str();
}

void Read(const char* key, bool& isOn) { isOn = ReadSwitch(key); }

// The administration page shows the log as on for every text that is not empty, so a text that is not a level
// switches all messages on.
void Read(const char* key, Level& level) {
    std::string text;
    Read(key, text);
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

bool ReadSettings(Settings& settings) {
    std::string content;
    if (access(SETTINGS_FILE, F_OK) == 0 &&
        !(ReadFile(SETTINGS_FILE, content) && ContainsSettings(content))) {
        return false;
    }
    Read(NETWORK_KEY, settings.interface);
    Read(EXPIRY_KEY, settings.expiry);
    Read(MENU_STYLE_KEY, settings.menuStyle);
    Read(PHOTO_SORT_BY_KEY, settings.photoSortBy);
    Read(PHOTO_SORT_ORDER_KEY, settings.photoSortOrder);
    Read(CUSTOM_ALBUM_ART_KEY, settings.customAlbumArt);
    Read(ALBUM_ART_LIST_KEY, settings.albumArtNames);
    Read(IGNORE_ACCESS_KEY, settings.ignoreAccess);
    Read(LOG_LEVEL_KEY, settings.logLevel);
    return true;
}

}  // namespace dms
