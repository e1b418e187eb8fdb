// The profile that dms assigns to a new client. PROFILE_LIST_FILE defines the profiles.
#pragma once

#include <string_view>

namespace dms {

struct ProfileRow {
    const char* typePart;
    const char* profile;
};

// dms uses the first row whose `typePart` occurs in the client type that minidlnad reports. Therefore "BDP"
// comes before "Sony", and "AllShare" before "Samsung".
constexpr ProfileRow CLIENT_PROFILES[] = {
    {"Xbox", "Game console"},        {"PLAYSTATION", "Game console"},   {"BDP", "Disc player"},
    {"BD J5500", "Disc player"},     {"Denon", "Loudspeaker"},          {"marantz", "Loudspeaker"},
    {"Roku", "Network radio"},       {"BubbleUPnP", "Phone or tablet"}, {"LIFETAB", "Phone or tablet"},
    {"AllShare", "Phone or tablet"}, {"Samsung", "Television"},         {"LGE", "Television"},
    {"Sony", "Television"},          {"Panasonic", "Television"},       {"Toshiba", "Television"},
    {"Hyundai", "Television"},       {"NetFront", "Television"},        {"DirecTV", "Television"},
    {"FreeBox", "Television"},       {"Popcorn", "Television"},         {"MediaRoom", "Television"},
    {"TiVo", "Television"},          {"Asus OPlay", "Television"},      {"EVA2000", "Television"},
};

// For all other client types.
constexpr char DEFAULT_PROFILE[] = "Generic";

constexpr const char* ProfileOf(std::string_view clientType) {
    for (const ProfileRow& row : CLIENT_PROFILES) {
        if (clientType.find(row.typePart) != std::string_view::npos) {
            return row.profile;
        }
    }
    return DEFAULT_PROFILE;
}

}  // namespace dms
