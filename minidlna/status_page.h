// The status page that minidlnad serves at / of its port, in HTML: the number of its files, and the clients
// that have sent it a request.
#pragma once

#include <string>
#include <vector>

namespace dms {

struct SeenClient {
    std::string type;  // "Samsung Series [Q]"
    std::string ipAddress;
    std::string macAddress;  // "02:00:5E:10:00:01"

    bool operator==(const SeenClient& other) const = default;
};

struct StatusPage {
    long audio = 0;  // number of files
    long video = 0;
    long images = 0;
    bool scanning = false;
    std::vector<SeenClient> clients;  // only those with a known MAC address
};

// Loads the page from minidlnad on this machine. Returns false after half a second without a response, or if
// the response is not a status page; the content of `page` is unspecified then.
bool FetchStatusPage(int port, StatusPage& page);

// Returns true if the text is six bytes in hexadecimal, separated by colons.
bool IsMacAddress(const std::string& text);

}  // namespace dms
