// The renderers that the daemon knows. The daemon writes the file; a save changes its entries in place:
//
//     {"ClientList": [{"macAddr": "02:00:00:AA:BB:CC", "profileName": "Generic", "isAccess": true, ...},
//     ...]}
#pragma once

#include <json/value.h>

#include <string>
#include <string_view>
#include <vector>

constexpr char CLIENT_LIST_FILE[] = APPLIANCE_ROOT "/var/packages/Dalmira/etc/client_list.json";

// The members that the daemon and these actions share.
constexpr char CLIENTS[] = "ClientList";
constexpr char MAC_ADDRESS[] = "macAddr";
constexpr char PROFILE[] = "profileName";
constexpr char USER_PROFILE[] = "profileName_UserSelected";
constexpr char ACCESS[] = "isAccess";

// Members that the daemon alone writes and pages show.
constexpr char IP_ADDRESS[] = "ip";
constexpr char CLIENT_NAME[] = "name";

// The profiles that a client can be given, as the package installs them.
constexpr char PROFILE_LIST_FILE[] = APPLIANCE_ROOT "/var/packages/Dalmira/target/etc/agent.conf";

// What a user changes about one client.
struct ClientChange {
    std::string macAddress;  // matched byte for byte
    std::string profile;
    bool access = false;
};

// Reads a JSON array of changes, in their order; what lacks a member, or has it of another type, is no
// change, and any other document holds none. False when the text is no document.
bool ReadClientChanges(std::string_view text, std::vector<ClientChange>& changes);

// Makes the changes to the clients of the list, each to the first one with its address; none is added,
// removed or moved. False, with the document as it was, when it is no client list.
bool MergeClientChanges(const std::vector<ClientChange>& changes, Json::Value& document);
