#include "minidlna/configuration.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include "platform/text/scanning.h"

namespace dms {
namespace {

constexpr int DEFAULT_PORT = 8200;
constexpr int MAX_PORT = 65535;
constexpr char DEFAULT_DATABASE_DIRECTORY[] = "/var/cache/minidlna";

// minidlnad announces itself every notify_interval seconds. An announcement expires after
// 2 * notify_interval + EXPIRY_MARGIN seconds.
constexpr long long EXPIRY_MARGIN = 10;
constexpr long long MAX_INTERVAL = 1'000'000'000;

std::string AnnouncementInterval(const Settings& settings) {
    const long long expiry = strtoll(settings.expiry.c_str(), nullptr, 10);
    if (expiry <= 0) {
        return "";
    }
    return std::to_string(std::clamp((expiry - EXPIRY_MARGIN) / 2, 1LL, MAX_INTERVAL));
}

std::string Interface(const Settings& settings) { return settings.interface; }

// "a.jpg;;b.jpg" becomes "a.jpg/b.jpg".
std::string AlbumArtNames(const Settings& settings) {
    std::string names;
    if (settings.customAlbumArt) {
        for (std::string_view rest = settings.albumArtNames; !rest.empty();) {
            const std::string_view name = ConsumeUntil(rest, ";");
            if (!name.empty()) {
                names.append(names.empty() ? "" : "/").append(name);
            }
        }
    }
    return names;
}

// minidlnad logs errors even if the log is off, because the administration page shows the last error.
std::string LogLevel(const Settings& settings) {
    const char* level = settings.logLevel == Level::Info      ? "info"
                        : settings.logLevel == Level::Warning ? "warn"
                                                              : "error";
    return std::string("general,artwork,database,inotify,scanner,metadata,http,ssdp,tivo=") + level;
}

constexpr char PHOTO_STYLE[] = "photo";

struct MenuStyle {
    const char* name;
    const char* container;  // the value of root_container
};
constexpr MenuStyle MENU_STYLES[] = {
    {"simple", "B"}, {"full", "."}, {"music", "M"}, {"video", "V"}, {PHOTO_STYLE, "P"},
};

std::string RootContainer(const Settings& settings) {
    const auto* style = std::find_if(std::begin(MENU_STYLES), std::end(MENU_STYLES),
                                     [&](const MenuStyle& row) { return settings.menuStyle == row.name; });
    return style == std::end(MENU_STYLES) ? "" : style->container;
}

// minidlnad applies force_sort_criteria to all media, so the order is set only if the menu contains nothing
// but photos.
std::string SortCriteria(const Settings& settings) {
    if (settings.menuStyle != PHOTO_STYLE) {
        return "";
    }
    const std::string order = settings.photoSortOrder == "desc" ? "-" : "+";
    return "+upnp:class," + order + (settings.photoSortBy == "date" ? "dc:date" : "dc:title");
}

std::string LogDirectory(const Settings& /*settings*/) { return DMS_RUN_DIRECTORY; }

// If the value is empty, the administrator's lines with the keyword stay.
struct Row {
    const char* keyword;
    std::string (*value)(const Settings& settings);
};
constexpr Row ROWS[] = {
    {"notify_interval", AnnouncementInterval},
    {"network_interface", Interface},
    {ALBUM_ART_KEYWORD, AlbumArtNames},
    {"root_container", RootContainer},
    {"force_sort_criteria", SortCriteria},
    {"log_level", LogLevel},
    {"log_dir", LogDirectory},
};

// Left out of the file of minidlnad, because dms changes the user itself (see child_process.cpp).
constexpr char USER_KEYWORD[] = "user";

std::string_view Trimmed(std::string_view text) {
    constexpr char SPACE[] = " \t\r\v\f";  // what minidlnad ignores around a keyword and a value
    const size_t start = std::min(text.find_first_not_of(SPACE), text.size());
    text.remove_prefix(start);
    return text.substr(0, text.find_last_not_of(SPACE) + 1);
}

struct Line {
    std::string_view whole;
    std::string_view keyword;  // empty if the line has none, for example a comment
    std::string_view value;
};

// Removes the first line from `rest` and returns it.
Line TakeLine(std::string_view& rest) {
    const std::string_view whole = ConsumeUntil(rest, "\n");
    const size_t equals = whole.find('=');
    if (whole.starts_with('#') || equals == std::string_view::npos) {
        return {whole, "", ""};
    }
    return {whole, Trimmed(whole.substr(0, equals)), Trimmed(whole.substr(equals + 1))};
}

// Returns the first item of a list separated by commas.
std::string FirstItem(const std::string& list) { return list.substr(0, list.find(',')); }

// Returns the value that minidlnad uses for a keyword with one value: that of the last line.
std::string LastOf(const std::vector<std::string>& values) { return values.empty() ? "" : values.back(); }

// Returns the value of a row, or an empty text if it could not be one line of the file.
std::string LineValue(const Row& row, const Settings& settings) {
    const std::string value = row.value(settings);
    const bool isLine =
        std::none_of(value.begin(), value.end(), [](char c) { return c == '\n' || c == '\0'; });
    return isLine ? std::string(Trimmed(value)) : "";
}

}  // namespace

std::vector<std::string> ValuesOf(const std::string& text, const std::string& keyword) {
    std::vector<std::string> values;
    for (std::string_view rest = text; !rest.empty();) {
        if (const Line line = TakeLine(rest); line.keyword == keyword) {
            values.emplace_back(line.value);
        }
    }
    return values;
}

Configuration ComposeConfiguration(const std::string& administratorText, const Settings& settings) {
    std::string replacements;
    for (const Row& row : ROWS) {
        if (const std::string value = LineValue(row, settings); !value.empty()) {
            replacements += std::string(row.keyword) + "=" + value + "\n";
        }
    }
    Configuration result;
    result.text = replacements;
    for (std::string_view rest = administratorText; !rest.empty();) {
        const Line line = TakeLine(rest);
        const std::string keyword(line.keyword);
        if (keyword != USER_KEYWORD && (keyword.empty() || ValuesOf(replacements, keyword).empty())) {
            result.text.append(line.whole).append("\n");
        }
    }
    result.databaseDirectory = LastOf(ValuesOf(administratorText, "db_dir"));
    if (result.databaseDirectory.empty()) {
        result.databaseDirectory = DEFAULT_DATABASE_DIRECTORY;
        result.text += "db_dir=" + result.databaseDirectory + "\n";
    }
    const long port = strtol(LastOf(ValuesOf(administratorText, "port")).c_str(), nullptr, 10);
    result.port = port > 0 && port <= MAX_PORT ? static_cast<int>(port) : DEFAULT_PORT;
    if (result.port != port) {
        result.text += "port=" + std::to_string(DEFAULT_PORT) + "\n";
    }
    const std::vector<std::string> interfaces = ValuesOf(result.text, "network_interface");
    result.interface = interfaces.empty() ? "" : FirstItem(interfaces.front());
    result.user = LastOf(ValuesOf(administratorText, USER_KEYWORD));
    return result;
}

}  // namespace dms
