// The network interfaces of the host (netdevice(7), /sys/class/net).
#pragma once

constexpr int INTERFACE_LIST_MAX = 32;

struct VexaInterface {
    char name[132];
};

struct VexaNetCard {
    char reserved[30];
    char address[42];  // IPv4, dotted; empty when the interface has none
};

// Fills up to `size` records with the Ethernet-type interfaces, wireless ones too, that are up and not
// enslaved to a bond or a bridge, in the kernel's order; `kind` must be 2. Returns their count, or -1 with
// the error recorded.
int VLIBNetGetInterfaceInfo(VexaInterface* records, int size, int kind);

// Fills in the card of the interface at `index` of that list; `flags` is not used. Returns 1, or -1 when
// there is no such interface or it can't be asked.
int VEXANetGetCard1(int index, int flags, VexaNetCard* card);

// The first interface that the kernel calls wireless; the empty text, which no interface is called, without
// one.
const char* VEXAWirelessInterfaceGet();
