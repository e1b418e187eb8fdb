#include "platform/system/network.h"

#include <arpa/inet.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "platform/files/file_io.h"
#include "platform/system/last_error.h"

namespace {

constexpr int ETHERNET_TYPE_INTERFACES = 2;

bool HasAttribute(const std::string& interface, const char* attribute) {
    return access(("/sys/class/net/" + interface + "/" + attribute).c_str(), F_OK) == 0;
}

ifreq RequestFor(const char* interface) {
    ifreq request = {};
    memcpy(request.ifr_name, interface, strnlen(interface, sizeof request.ifr_name - 1));
    return request;
}

bool IsListed(int socket, const char* interface) {
    ifreq request = RequestFor(interface);
    if (ioctl(socket, SIOCGIFHWADDR, &request) != 0 || request.ifr_hwaddr.sa_family != ARPHRD_ETHER) {
        return false;
    }
    request = RequestFor(interface);
    return ioctl(socket, SIOCGIFFLAGS, &request) == 0 && (request.ifr_flags & IFF_UP) != 0 &&
           !HasAttribute(interface, "master/bonding") && !HasAttribute(interface, "master/bridge");
}

}  // namespace

int VLIBNetGetInterfaceInfo(VexaInterface* records, int size, int kind) {
    const Descriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    struct if_nameindex* interfaces =
        kind == ETHERNET_TYPE_INTERFACES && socket.IsOpen() ? if_nameindex() : nullptr;
    if (interfaces == nullptr) {
        VLIBCErrSetEx(VLIB_ERR_FAIL, "network", __LINE__);
        return -1;
    }
    int count = 0;
    for (const struct if_nameindex* i = interfaces; i->if_index != 0 && count < size; ++i) {
        if (IsListed(socket.Get(), i->if_name)) {
            snprintf(records[count++].name, sizeof records->name, "%s", i->if_name);
        }
    }
    if_freenameindex(interfaces);
    return count;
}

int VEXANetGetCard1(int index, int /*flags*/, VexaNetCard* card) {
    VexaInterface interfaces[MAX_INTERFACES] = {};
    const Descriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (index < 0 || index >= VLIBNetGetInterfaceInfo(interfaces, MAX_INTERFACES, ETHERNET_TYPE_INTERFACES) ||
        !socket.IsOpen()) {
        return -1;
    }
    ifreq request = RequestFor(interfaces[index].name);
    card->address[0] = '\0';
    if (ioctl(socket.Get(), SIOCGIFADDR, &request) == 0) {
        sockaddr_in address = {};
        memcpy(&address, &request.ifr_addr, sizeof address);
        inet_ntop(AF_INET, &address.sin_addr, card->address, sizeof card->address);
    }
    return 1;
}

const char* VEXAWirelessInterfaceGet() {
    static char wireless[IF_NAMESIZE] = {};
    wireless[0] = '\0';
    struct if_nameindex* interfaces = if_nameindex();
    for (const struct if_nameindex* i = interfaces; i != nullptr && i->if_index != 0; ++i) {
        if (HasAttribute(i->if_name, "wireless") || HasAttribute(i->if_name, "phy80211")) {
            snprintf(wireless, sizeof wireless, "%s", i->if_name);
            break;
        }
    }
    if (interfaces != nullptr) {
        if_freenameindex(interfaces);
    }
    return wireless;
}
