// The profiles that dms assigns to new clients.
#include "minidlna/client_profiles.h"

#include <set>
#include <string>
#include <utility>

#include "tests/appliance.h"

namespace {

TEST(ClientProfilesTest, AssignsOnlyInstalledProfiles) {
    std::set<std::string> installed;
    const Json::Value list = ParsedJson(ReadAll(SOURCE_DIRECTORY "/appliance/target/etc/agent.conf"));
    for (const Json::Value& profile : list["ProfileList"]) {
        installed.insert(profile["profileName"].asString());
    }
    for (const dms::ProfileRow& row : dms::CLIENT_PROFILES) {
        EXPECT_TRUE(installed.contains(row.profile)) << row.typePart << ": " << row.profile;
    }
    EXPECT_TRUE(installed.contains(dms::DEFAULT_PROFILE));
}

TEST(ClientProfilesTest, NoRowHidesALaterRow) {
    for (const dms::ProfileRow& row : dms::CLIENT_PROFILES) {
        EXPECT_STREQ(dms::ProfileOf(row.typePart), row.profile) << row.typePart;
    }
}

TEST(ClientProfilesTest, TheFirstMatchingRowApplies) {
    const std::pair<const char*, const char*> cases[] = {
        {"Samsung Series [Q]", "Television"},
        {"Samsung BD J5500", "Disc player"},
        {"Samsung AllShare 2", "Phone or tablet"},
        {"Sony Bravia", "Television"},
        {"Sony BDP", "Disc player"},
        {"Unknown", "Generic"},
        {"xbox 360", "Generic"},  // case matters
        {"", "Generic"},
    };
    for (const auto& [type, profile] : cases) {
        EXPECT_STREQ(dms::ProfileOf(type), profile) << type;
    }
}

}  // namespace
