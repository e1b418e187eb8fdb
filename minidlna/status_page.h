// The status page that minidlnad serves at / of its port, in HTML: the number of its files, and the clients
// that have sent it a request.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace dms {

// In bytes. A page of minidlnad has at most 25 clients and thus about 5 KiB. libxml2 needs quadratic time for
// many attributes, but less than a second within this limit.
constexpr size_t MAX_STATUS_PAGE = 1U << 16U;

constexpr size_t MAX_CLIENT_NAME = 128;  // bytes

struct SeenClient {
    std::string type;       // "Samsung Series [Q]"; at most MAX_CLIENT_NAME bytes, without control characters
    std::string ipAddress;  // IPv4 or IPv6; empty if the page shows anything else
    std::string macAddress;  // "02:00:5E:10:00:01"

    bool operator==(const SeenClient& other) const = default;
};

struct StatusPage {
    long audio = 0;  // number of files
    long video = 0;
    long images = 0;
    bool scanning = false;
    std::vector<SeenClient> clients;  // only those with a known MAC address

    bool operator==(const StatusPage& other) const = default;
};

// Returns false if the text is not minidlnad's status page or is longer than MAX_STATUS_PAGE; the content of
// `page` is unspecified then.
bool ParseStatusPage(const std::string& html, StatusPage& page);

// Returns true if the text is six bytes in hexadecimal, separated by colons.
bool IsMacAddress(const std::string& text);

}  // namespace dms
