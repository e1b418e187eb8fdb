#include "minidlna/interface_address.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>

namespace dms {

std::optional<std::string> AddressOf(const std::string& interface) {
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0) {
        return std::nullopt;
    }
    char text[INET_ADDRSTRLEN] = "";
    for (const ifaddrs* entry = list; entry != nullptr && text[0] == '\0'; entry = entry->ifa_next) {
        const bool wanted =
            interface.empty() ? (entry->ifa_flags & IFF_LOOPBACK) == 0 : interface == entry->ifa_name;
        if (wanted && entry->ifa_addr != nullptr && entry->ifa_addr->sa_family == AF_INET) {
            const auto* address = reinterpret_cast<const sockaddr_in*>(entry->ifa_addr);
            inet_ntop(AF_INET, &address->sin_addr, text, sizeof text);
        }
    }
    freeifaddrs(list);
    return text;
}

}  // namespace dms
