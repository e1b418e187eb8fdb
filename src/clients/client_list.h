// The renderers that the daemon knows. The daemon writes the file; a save changes its entries in place:
//
//     {"ClientList": [{"macAddr": "02:00:00:AA:BB:CC", "profileName": "Generic", "isAccess": true, ...},
//     ...]}
#pragma once

constexpr char CLIENT_LIST_FILE[] = APPLIANCE_ROOT "/var/packages/Dalmira/etc/client_list.json";

// The profiles that a client can be given, as the package installs them.
constexpr char PROFILE_LIST_FILE[] = APPLIANCE_ROOT "/var/packages/Dalmira/target/etc/agent.conf";
