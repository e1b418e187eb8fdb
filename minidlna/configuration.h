// The configuration file that dms writes for minidlnad. It is the administrator's minidlna.conf(5), except
// that lines of dms replace the lines with the same keywords. A line is KEYWORD=VALUE.
#pragma once

#include <string>
#include <vector>

#include "minidlna/settings.h"

// Macros because message literals contain them.
#define ADMINISTRATOR_CONFIGURATION_FILE APPLIANCE_ROOT "/etc/minidlna.conf"
#define DMS_RUN_DIRECTORY APPLIANCE_ROOT "/var/run/dms"

namespace dms {

constexpr char MINIDLNAD_CONFIGURATION_FILE[] = DMS_RUN_DIRECTORY "/minidlna.conf";

// minidlnad logs to the file of this name in its log_dir.
constexpr char MINIDLNAD_LOG_FIFO[] = DMS_RUN_DIRECTORY "/minidlna.log";

constexpr char ALBUM_ART_KEYWORD[] = "album_art_names";

struct Configuration {
    std::string text;  // of the file
    int port = 0;
    std::string interface;  // the first one on which minidlnad announces itself; empty for all
    std::string user;       // that minidlnad runs as; empty if the administrator sets none
    std::string databaseDirectory;

    bool operator==(const Configuration& other) const = default;
};

// Composes the configuration from the text of the administrator's file and the settings. Where a setting has
// no value, the administrator's lines stay. Adds a default database directory and a default port if
// necessary.
Configuration ComposeConfiguration(const std::string& administratorText, const Settings& settings);

// Returns the values of all lines with `keyword`, in the order of the lines.
std::vector<std::string> ValuesOf(const std::string& text, const std::string& keyword);

}  // namespace dms
