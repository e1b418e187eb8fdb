// The settings that dms reads, and the configuration of minidlnad that it composes.
#include "minidlna/configuration.h"

#include "tests/appliance.h"

namespace {

using std::string_literals::operator""s;

const std::string LOG_LINES =
    "log_level=general,artwork,database,inotify,scanner,metadata,http,ssdp,tivo=error\n"
    "log_dir=" DMS_RUN_DIRECTORY "\n";

dms::Configuration Compose(const std::string& settingsFile, const std::string& administrator) {
    dms::Settings settings;
    dms::ParseSettings(settingsFile, settings);
    return dms::ComposeConfiguration(administrator, settings);
}

TEST(DmsConfigurationTest, ComposesTheLinesOfTheSettings) {
    const std::string defaults = LOG_LINES + "db_dir=/var/cache/minidlna\nport=8200\n";
    const std::pair<std::string, std::string> cases[] = {
        {"", defaults},
        {"no setting", defaults},
        {"network_mediaservice=\"eth0,eth1\"", "network_interface=eth0,eth1\n" + defaults},
        {"network_mediaservice=\" eth0\t\r\"\r\n", "network_interface=eth0\n" + defaults},
        {"network_mediaservice=\"\t\"", defaults},
        {"network_mediaservice=\"a\0b\"\nuser_mediaservice=\"x\""s, "network_interface=a\n" + defaults},
        {"network_mediaservice=\"" + std::string(2000, 'x') + "\"",
            "network_interface=" + std::string(255, 'x') + "\n" + defaults},
        {"advrexpire_mediaservice=\"600\"", "notify_interval=295\n" + defaults},
        {"advrexpire_mediaservice=\"1\"", "notify_interval=1\n" + defaults},
        {"advrexpire_mediaservice=\"-5\"", defaults},
        {"advrexpire_mediaservice=\"99999999999999999999\"", "notify_interval=1000000000\n" + defaults},
        {"albumart_mediaservice=\"a.jpg\"", defaults},
        {"albumart_mediaservice=\";a.jpg;;b.jpg;\"\ncmzalbumart_mediaservice=\"YES\"",
            "album_art_names=a.jpg/b.jpg\n" + defaults},
        {"menustyle_mediaservice=\"photo\"\nphoto_sort_order_mediaservice=\"desc\"",
            "root_container=P\nforce_sort_criteria=+upnp:class,-dc:title\n" + defaults},
        {"menustyle_mediaservice=\"Photo\"\nphoto_sort_order_mediaservice=\"desc\"", defaults},
    };
    for (const auto& [settings, text] : cases) {
        EXPECT_EQ(Compose(settings, "").text, text) << settings;
    }
    dms::Settings twoLines;  // not from a file, which has a setting on one line
    twoLines.interface = "eth0\nuser=root";
    EXPECT_EQ(dms::ComposeConfiguration("", twoLines).text, defaults);
}

TEST(DmsConfigurationTest, KeepsTheAdministratorsLines) {
    const struct {
        std::string administrator, kept;
        int port;
        std::string interface, user, databaseDirectory;
    } cases[] = {
        {"db_dir=/a\nport=8300\n", "db_dir=/a\nport=8300\n", 8300, "", "", "/a"},
        // minidlnad uses the last line of these keywords.
        {"db_dir=/a\nport=8200\ndb_dir=/b\nport=8300\nuser=x\nuser=y", "db_dir=/a\nport=8200\ndb_dir=/b\nport=8300\n",
            8300, "", "y", "/b"},
        {" db_dir\t= /a b \r\nport=8300", " db_dir\t= /a b \r\nport=8300\n", 8300, "", "", "/a b"},
        {"\fport=8300\ndb_dir=/a\n\v user =x", "\fport=8300\ndb_dir=/a\n", 8300, "", "x", "/a"},
        {"db_dir=/a\nport=70000\nlog_dir=/x", "db_dir=/a\nport=70000\nport=8200\n", 8200, "", "", "/a"},
        {"db_dir=/a\nport=8300\n#user=x\nnetwork_interface=eth1,eth2\n=\n\nnonsense\nroot_container=B",
            "db_dir=/a\nport=8300\n#user=x\nnetwork_interface=eth1,eth2\n=\n\nnonsense\nroot_container=B\n", 8300,
            "eth1", "", "/a"},
    };
    for (const auto& row : cases) {
        const dms::Configuration expected{
            LOG_LINES + row.kept, row.port, row.interface, row.user, row.databaseDirectory};
        const dms::Configuration composed = Compose("", row.administrator);
        EXPECT_EQ(composed.text, expected.text);
        EXPECT_TRUE(composed == expected) << row.administrator;
    }
}

TEST(DmsSettingsTest, ReadsTheLogLevel) {
    const std::pair<const char*, dms::Level> cases[] = {{"", dms::Level::Off}, {"1", dms::Level::Error},
        {"2", dms::Level::Warning}, {"3", dms::Level::Info}, {"4", dms::Level::Info}, {"0", dms::Level::Info},
        {"-1", dms::Level::Info}, {"99999999999999999999", dms::Level::Info}, {"on", dms::Level::Info}};
    for (const auto& [text, level] : cases) {
        dms::Settings settings;
        EXPECT_TRUE(dms::ParseSettings(std::string("loglevel_mediaservice=\"") + text + "\"", settings));
        EXPECT_EQ(settings.logLevel, level) << text;
    }
}

}  // namespace
