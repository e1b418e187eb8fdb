// The settings that dms reads: an input is a value and the content of the settings file.
#include <string>

#include "fuzz/target.h"
#include "minidlna/settings.h"
#include "settings/settings_file.h"

namespace {

constexpr size_t MAX_VALUE = 255;  // bytes

constexpr struct {
    const char* key;
    std::string dms::Settings::*text;
} TEXTS[] = {{NETWORK_KEY, &dms::Settings::interface},
             {EXPIRY_KEY, &dms::Settings::expiry},
             {MENU_STYLE_KEY, &dms::Settings::menuStyle},
             {PHOTO_SORT_BY_KEY, &dms::Settings::photoSortBy},
             {PHOTO_SORT_ORDER_KEY, &dms::Settings::photoSortOrder},
             {ALBUM_ART_LIST_KEY, &dms::Settings::albumArtNames}};

}  // namespace

void Try(std::string_view input) {
    const std::string value =
        std::string(TakePiece(input)).c_str();  // as in the program, to its first zero byte
    const std::string content(input);
    dms::Settings settings;
    Require(dms::ParseSettings(content, settings) || settings == dms::Settings(),
            "a rejected file changes no setting");
    Require(settings.logLevel >= dms::Level::Off && settings.logLevel <= dms::Level::Info,
            "the log level is one");
    for (const auto& [key, text] : TEXTS) {
        const std::string& stored = settings.*text;
        Require(stored.size() <= MAX_VALUE && stored.find_first_of("\n\0", 0, 2) == stored.npos,
                "a value is one line of limited length");
        Require(stored.empty() || content.find(std::string(key) + "=") != content.npos, "a value has a key");

        std::string changed = content;
        if (SetKeyValue(changed, key, value.c_str(), KV_LINE_FORMAT)) {
            dms::Settings expected = settings;
            expected.*text = value.substr(0, MAX_VALUE);
            dms::Settings again;
            Require(dms::ParseSettings(changed, again) && again == expected,
                    "a stored value is read, and no other setting changes");
        }
    }
}
