// The client list: the TVs and players that have used the daemon. The daemon adds and updates the entries of
// the file, saveClientList changes members of entries, clearClientList deletes the file:
//
//     {"ClientList": [{"macAddr": "02:00:00:AA:BB:CC", "profileName": "Generic", "isAccess": true, ...},
//     ...]}
#pragma once

#include <json/value.h>

#include <string>
#include <string_view>
#include <vector>

constexpr char CLIENT_LIST_FILE[] = APPLIANCE_ROOT "/var/packages/Dalmira/etc/client_list.json";

// The document's member.
constexpr char CLIENTS[] = "ClientList";

// Members of an entry that actions of this program read or write.
constexpr char MAC_ADDRESS[] = "macAddr";
constexpr char PROFILE[] = "profileName";
constexpr char USER_PROFILE[] = "profileName_UserSelected";
constexpr char ACCESS[] = "isAccess";

// Members of an entry that only the daemon writes; the administration page shows them.
constexpr char IP_ADDRESS[] = "ip";
constexpr char CLIENT_NAME[] = "name";
constexpr char LAST_SEEN[] = "lastSeen";  // in seconds since 1970, accurate to a day

// The available client profiles, a JSON file with comments. The daemon's package installs it.
constexpr char PROFILE_LIST_FILE[] = APPLIANCE_ROOT "/var/packages/Dalmira/target/etc/agent.conf";

// A user's change to one client.
struct ClientChange {
    std::string macAddress;  // compared byte for byte
    std::string profile;
    bool access = false;
};

// Reads a JSON array of changes and appends them to `changes` in their order. Ignores an element unless it is
// an object with the strings macAddr and profileName and the boolean isAccess. A document that is not an
// array contains no changes. Returns false if the text is not valid JSON or exceeds a limit of the reader;
// `changes` may then contain the changes before the error.
bool ReadClientChanges(std::string_view text, std::vector<ClientChange>& changes);

// Applies the changes in their order, each to the first client that has the MAC address of the change. Adds,
// removes and moves no client. Returns false with `document` unchanged if it is not an object or its
// ClientList is not an array of objects. A document without ClientList has no clients.
bool MergeClientChanges(const std::vector<ClientChange>& changes, Json::Value& document);
