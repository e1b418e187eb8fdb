// The client list: the renderers that the daemon knows. The daemon writes the file; a save changes members of
// its entries:
//
//     {"ClientList": [{"macAddr": "02:00:00:AA:BB:CC", "profileName": "Generic", "isAccess": true, ...},
//     ...]}
#pragma once

#include <json/value.h>

#include <string>
#include <string_view>
#include <vector>

constexpr char CLIENT_LIST_FILE[] = APPLIANCE_ROOT "/var/packages/Dalmira/etc/client_list.json";

// Members that the daemon and these actions use.
constexpr char CLIENTS[] = "ClientList";
constexpr char MAC_ADDRESS[] = "macAddr";
constexpr char PROFILE[] = "profileName";
constexpr char USER_PROFILE[] = "profileName_UserSelected";
constexpr char ACCESS[] = "isAccess";

// Members that the daemon writes and pages show.
constexpr char IP_ADDRESS[] = "ip";
constexpr char CLIENT_NAME[] = "name";

// The available client profiles. The package installs this file.
constexpr char PROFILE_LIST_FILE[] = APPLIANCE_ROOT "/var/packages/Dalmira/target/etc/agent.conf";

// A user's change to one client.
struct ClientChange {
    std::string macAddress;  // compared byte for byte
    std::string profile;
    bool access = false;
};

// Reads a JSON array of changes and appends them to `changes` in their order. Ignores an element without the
// three members or with a member of another type. A document that is not an array contains no changes.
// Returns false if the text is not valid JSON or exceeds a limit of the reader.
bool ReadClientChanges(std::string_view text, std::vector<ClientChange>& changes);

// Applies each change to the first client with its MAC address, in their order. Adds, removes and moves no
// client. Returns false with `document` unchanged if it is not a client list.
bool MergeClientChanges(const std::vector<ClientChange>& changes, Json::Value& document);
