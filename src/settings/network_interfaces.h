// The network interface that the daemon serves on.
#pragma once

// Contains the IPv4 address that the running daemon serves on, without a line end. The daemon writes it.
constexpr char DMS_IP_FILE[] = APPLIANCE_ROOT "/var/run/dms.ip";
