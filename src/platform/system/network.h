// The network interfaces of the host (netdevice(7), /sys/class/net).
//
// The appliance's system library defines these functions and records. They have members and sizes that this
// program does not need, and the arguments `kind` (always 2) and `flags` (unused).
#pragma once

constexpr int MAX_INTERFACES = 32;

struct VexaInterface {
    char name[132];
};

struct VexaNetCard {
    char reserved[30];
    char address[42];  // IPv4 in dotted decimal; empty if the interface has none
};

// Fills at most `size` records with the Ethernet-type interfaces, including wireless ones, that are up and
// not part of a bond or a bridge, in the kernel's order. Returns their number. Returns -1 and records the
// error if `kind` is not 2 or the interfaces can't be listed.
int VLIBNetGetInterfaceInfo(VexaInterface* records, int size, int kind);

// Reads the address of one interface. `index` is its position, from 0, in the list of
// VLIBNetGetInterfaceInfo. Returns 1, or -1 if there is no such position or the list can't be read.
int VEXANetGetCard1(int index, int flags, VexaNetCard* card);

// Returns the name of the first wireless interface, even if it is down; an empty text if there is none. The
// text is valid until the next call.
const char* VEXAWirelessInterfaceGet();
