// The configuration of minidlnad: an input is the content of the settings file and that of the
// administrator's file.
#include "minidlna/configuration.h"

#include <algorithm>
#include <cstdlib>
#include <set>

#include "fuzz/target.h"

namespace {

constexpr const char* SETTING_KEYWORDS[] = {"notify_interval", "network_interface",   "album_art_names",
                                            "root_container",  "force_sort_criteria", "log_level",
                                            "log_dir"};

using Lines = std::multiset<std::string>;

Lines LinesOf(std::string_view text) {
    Lines lines;
    while (!text.empty()) {
        lines.emplace(ConsumeUntil(text, "\n"));
    }
    return lines;
}

bool HasKeyword(const std::string& line, const char* keyword) {
    return !dms::ValuesOf(line, keyword).empty();
}

bool IsSetting(const std::string& line) {
    return std::any_of(std::begin(SETTING_KEYWORDS), std::end(SETTING_KEYWORDS),
                       [&](const char* keyword) { return HasKeyword(line, keyword); });
}

}  // namespace

void Try(std::string_view input) {
    dms::Settings settings;
    dms::ParseSettings(std::string(TakePiece(input)), settings);
    const std::string administrator(input);
    const dms::Configuration configuration = dms::ComposeConfiguration(administrator, settings);
    const auto valuesOf = [&](const char* keyword) { return dms::ValuesOf(configuration.text, keyword); };

    for (const char* keyword : SETTING_KEYWORDS) {
        Require(valuesOf(keyword).size() == 1 || valuesOf(keyword) == dms::ValuesOf(administrator, keyword),
                "a setting has one line, otherwise the administrator's lines stay");
    }
    const std::string& interface = settings.interface;
    Require(interface.find_first_not_of(" \t\r\v\f") == interface.npos ||
                interface.find(valuesOf("network_interface").at(0)) != interface.npos,
            "the interface is that of the settings");
    Require(valuesOf("user").empty(), "minidlnad does not change its user");
    Require(valuesOf("db_dir").back() == configuration.databaseDirectory &&
                !configuration.databaseDirectory.empty(),
            "dms uses the database directory of minidlnad");
    Require(configuration.port > 0 && configuration.port < 65536 &&
                (valuesOf("port").back() == "8200" ||
                 atoi(valuesOf("port").back().c_str()) == configuration.port),
            "dms uses the port of minidlnad");

    const Lines before = LinesOf(administrator);
    const Lines after = LinesOf(configuration.text);
    for (const std::string& line : before) {
        Require(HasKeyword(line, "user") || IsSetting(line) || after.count(line) >= before.count(line),
                "the administrator's other lines stay");
    }
    for (const std::string& line : after) {
        Require(IsSetting(line) || after.count(line) <= before.count(line) +
                                                            (HasKeyword(line, "port") ? 1 : 0) +
                                                            (HasKeyword(line, "db_dir") ? 1 : 0),
                "there are no lines besides the administrator's and those of the settings");
    }
    Require(dms::ComposeConfiguration(configuration.text, settings).text == configuration.text,
            "the settings are already part of the composed configuration");
}
