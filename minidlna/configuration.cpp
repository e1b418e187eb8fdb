#include "minidlna/configuration.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include "platform/text/scanning.h"

namespace {

constexpr int DEFAULT_PORT = 8200;
constexpr int LAST_PORT = 65535;
constexpr char DEFAULT_DATABASE[] = "/var/cache/minidlna";

// minidlnad announces every so many seconds and lets an announcement expire after twice that and 10 seconds.
constexpr long long EXPIRY_MARGIN = 10;
constexpr long long LONGEST_INTERVAL = 1'000'000'000;

std::string AnnouncementInterval(const Settings& settings) {
    const long long expiry = strtoll(settings.expiry.c_str(), nullptr, 10);
    if (expiry <= 0) {
        return "";
    }
    return std::to_string(std::clamp((expiry - EXPIRY_MARGIN) / 2, 1LL, LONGEST_INTERVAL));
}

std::string Interface(const Settings& settings) { return settings.interface; }

// "a.jpg;;b.jpg" becomes "a.jpg/b.jpg".
std::string AlbumArtNames(const Settings& settings) {
    std::string names;
    if (settings.ownAlbumArtNames) {
        for (std::string_view rest = settings.albumArtNames; !rest.empty();) {
            const std::string_view name = ConsumeUntil(rest, ";");
            if (!name.empty()) {
                names.append(names.empty() ? "" : "/").append(name);
            }
        }
    }
    return names;
}

// Errors are always asked for: the status tells the last one.
std::string LogLevel(const Settings& settings) {
    const char* level = settings.logLevel == Level::Info      ? "info"
                        : settings.logLevel == Level::Warning ? "warn"
                                                              : "error";
    return std::string("general,artwork,database,inotify,scanner,metadata,http,ssdp,tivo=") + level;
}

constexpr char PHOTO_STYLE[] = "photo";

struct MenuStyle {
    const char* name;
    const char* container;
};
constexpr MenuStyle MENU_STYLES[] = {
    {"simple", "B"}, {"full", "."}, {"music", "M"}, {"video", "V"}, {PHOTO_STYLE, "P"},
};

std::string RootContainer(const Settings& settings) {
    const auto* style = std::find_if(std::begin(MENU_STYLES), std::end(MENU_STYLES),
                                     [&](const MenuStyle& row) { return settings.menuStyle == row.name; });
    return style == std::end(MENU_STYLES) ? "" : style->container;
}

// minidlnad sorts all or nothing, so photos can be sorted where nothing else is shown.
std::string SortCriteria(const Settings& settings) {
    if (settings.menuStyle != PHOTO_STYLE) {
        return "";
    }
    const std::string order = settings.photoSortOrder == "desc" ? "-" : "+";
    return "+upnp:class," + order + (settings.photoSortBy == "date" ? "dc:date" : "dc:title");
}

std::string LogDirectory(const Settings& /*settings*/) { return RUN_DIRECTORY; }

// An empty value leaves the administrator's own lines.
struct Row {
    const char* keyword;
    std::string (*value)(const Settings& settings);
};
constexpr Row ROWS[] = {
    {"notify_interval", AnnouncementInterval},
    {"network_interface", Interface},
    {"album_art_names", AlbumArtNames},
    {"root_container", RootContainer},
    {"force_sort_criteria", SortCriteria},
    {"log_level", LogLevel},
    {"log_dir", LogDirectory},
};

// minidlnad would lose the death signal of its parent by changing its user: dms does it before.
constexpr char USER_KEYWORD[] = "user";

std::string_view Trimmed(std::string_view text) {
    const size_t start = std::min(text.find_first_not_of(" \t\r"), text.size());
    text.remove_prefix(start);
    return text.substr(0, text.find_last_not_of(" \t\r") + 1);
}

struct Line {
    std::string_view whole;
    std::string_view keyword;  // empty for a line without one
    std::string_view value;
};

Line TakeLine(std::string_view& rest) {
    const std::string_view whole = ConsumeUntil(rest, "\n");
    const size_t equals = whole.find('=');
    if (whole.starts_with('#') || equals == std::string_view::npos) {
        return {whole, "", ""};
    }
    return {whole, Trimmed(whole.substr(0, equals)), Trimmed(whole.substr(equals + 1))};
}

std::string FirstOf(const std::string& values) { return values.substr(0, values.find_first_of("\n,")); }

}  // namespace

std::string ValuesOf(const std::string& configuration, const std::string& keyword) {
    std::string values;
    for (std::string_view rest = configuration; !rest.empty();) {
        if (const Line line = TakeLine(rest); line.keyword == keyword) {
            values.append(line.value).append("\n");
        }
    }
    return values;
}

Configuration Compose(const std::string& own, const Settings& settings) {
    std::string over;
    for (const Row& row : ROWS) {
        if (const std::string value = row.value(settings); !value.empty()) {
            over += std::string(row.keyword) + "=" + value + "\n";
        }
    }
    Configuration result;
    result.text = over;
    for (std::string_view rest = own; !rest.empty();) {
        const Line line = TakeLine(rest);
        const std::string keyword(line.keyword);
        if (keyword != USER_KEYWORD && (keyword.empty() || ValuesOf(over, keyword).empty())) {
            result.text.append(line.whole).append("\n");
        }
    }
    result.database = FirstOf(ValuesOf(own, "db_dir"));
    if (result.database.empty()) {
        result.database = DEFAULT_DATABASE;
        result.text += "db_dir=" + result.database + "\n";
    }
    const long port = strtol(FirstOf(ValuesOf(own, "port")).c_str(), nullptr, 10);
    result.port = port > 0 && port <= LAST_PORT ? static_cast<int>(port) : DEFAULT_PORT;
    if (result.port != port) {
        result.text += "port=" + std::to_string(DEFAULT_PORT) + "\n";
    }
    result.interface = FirstOf(ValuesOf(result.text, "network_interface"));
    result.user = FirstOf(ValuesOf(own, USER_KEYWORD));
    return result;
}
