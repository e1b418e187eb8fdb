// The status page of minidlnad, at / of its own port: how many files it has, and the clients that it has met.
#pragma once

#include <string>
#include <vector>

struct PageClient {
    std::string type;  // "Samsung Series [Q]"
    std::string ip;
    std::string mac;  // "02:00:5E:10:00:01"

    bool operator==(const PageClient& other) const = default;
};

struct StatusPage {
    long audio = 0;
    long video = 0;
    long images = 0;
    bool scanning = false;
    std::vector<PageClient> clients;  // those that have a hardware address: not this machine's own
};

// Asks minidlnad on this machine, for half a second at most. False when it gives no such page.
bool FetchStatusPage(int port, StatusPage& page);

// Takes the page's HTML apart.
bool ParseStatusPage(const std::string& html, StatusPage& page);

// Whether a text is six bytes in hexadecimal, with colons between them.
bool IsMacAddress(const std::string& text);
