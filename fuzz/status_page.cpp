// Status pages of minidlnad: an input is a page.
#include "minidlna/status_page.h"

#include <arpa/inet.h>

#include <algorithm>

#include "fuzz/target.h"

namespace {

std::string Escaped(const std::string& text) {
    std::string escaped;
    for (const char c : text) {
        escaped += c == '&' ? "&amp;" : c == '<' ? "&lt;" : std::string(1, c);
    }
    return escaped;
}

std::string Cells(std::initializer_list<std::string> cells) {
    std::string row = "<tr>";
    for (const std::string& cell : cells) {
        row += "<td>" + cell + "</td>";
    }
    return row + "</tr>";
}

std::string PageOf(const dms::StatusPage& page) {
    std::string html = "<table>" + Cells({"Audio files", std::to_string(page.audio)}) +
                       Cells({"Video files", std::to_string(page.video)}) +
                       Cells({"Image files", std::to_string(page.images)});
    for (const dms::SeenClient& client : page.clients) {
        html += Cells({"0", Escaped(client.type), client.ipAddress, client.macAddress, "0"});
    }
    return html + (page.scanning ? "</table>* Media scan in progress" : "</table>");
}

bool IsIpAddress(const std::string& text) {
    in6_addr address{};
    return text.empty() ||
           inet_pton(text.find(':') == text.npos ? AF_INET : AF_INET6, text.c_str(), &address) == 1;
}

}  // namespace

void Try(std::string_view input) {
    dms::StatusPage page;
    if (!dms::ParseStatusPage(std::string(input), page)) {
        return;
    }
    Require(page.audio >= 0 && page.video >= 0 && page.images >= 0, "counts are not negative");
    for (const dms::SeenClient& client : page.clients) {
        Require(client.type.size() <= dms::MAX_CLIENT_NAME, "a name has a limited length");
        Require(std::none_of(client.type.begin(), client.type.end(),
                             [](unsigned char c) { return c < 0x20 || c == 0x7F; }),
                "a name has no control characters");
        Require(IsIpAddress(client.ipAddress), "an IP address is valid or empty");
        Require(dms::IsMacAddress(client.macAddress), "a MAC address is valid");
    }
    const std::string html = PageOf(page);
    dms::StatusPage again;
    Require(html.size() > dms::MAX_STATUS_PAGE || (dms::ParseStatusPage(html, again) && again == page),
            "a page with the same content is read as the same");
}
