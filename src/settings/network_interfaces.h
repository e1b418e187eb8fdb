// The choice of the network interface that the daemon serves on.
#pragma once

// The address that the running daemon serves on, without a line end; the daemon writes it.
constexpr char DMS_IP_FILE[] = APPLIANCE_ROOT "/var/run/dms.ip";
