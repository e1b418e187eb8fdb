// The configuration of minidlnad: the administrator's own minidlna.conf(5), with what the pages set laid over
// it. A line is a keyword, '=', a value.
#pragma once

#include <string>

#include "minidlna/settings.h"

constexpr char OWN_CONFIGURATION_FILE[] = APPLIANCE_ROOT "/etc/minidlna.conf";

// Holds what dms writes for minidlnad: its configuration, and the FIFO that it logs to.
#define RUN_DIRECTORY APPLIANCE_ROOT "/var/run/dms"
constexpr char CONFIGURATION_FILE[] = RUN_DIRECTORY "/minidlna.conf";
constexpr char MINIDLNA_LOG_FIFO[] = RUN_DIRECTORY "/minidlna.log";

struct Configuration {
    std::string text;  // what minidlnad reads
    int port = 0;
    std::string interface;  // the first one that it serves on; empty for all
    std::string user;       // whom it runs as; empty when the administrator names none
    std::string database;   // the folder of its database
};

Configuration Compose(const std::string& own, const Settings& settings);

// The values of all lines with a keyword, one line each.
std::string ValuesOf(const std::string& configuration, const std::string& keyword);
