#include "minidlna/status_page.h"

#include <arpa/inet.h>
#include <libxml/HTMLparser.h>
#include <libxml/tree.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <string_view>

namespace dms {
namespace {

// minidlnad shows one of these if it does not know the MAC address, for example for a client behind a router.
constexpr const char* UNKNOWN_MAC_ADDRESSES[] = {"FF:FF:FF:FF:FF:FF", "00:00:00:00:00:00"};

constexpr char SCANNING[] = "scan in progress";

const char* ToChars(const xmlChar* text) { return reinterpret_cast<const char*>(text); }

std::string TextOf(const xmlNode* node) {
    xmlChar* content = xmlNodeGetContent(node);
    std::string text = content == nullptr ? "" : ToChars(content);
    xmlFree(content);
    return text;
}

bool IsRow(const xmlNode* node) {
    return node->type == XML_ELEMENT_NODE && strcmp(ToChars(node->name), "tr") == 0;
}

using Row = std::vector<std::string>;  // the texts of the cells

Row CellsOf(const xmlNode* row) {
    Row cells;
    for (const xmlNode* cell = row->children; cell != nullptr; cell = cell->next) {
        if (cell->type == XML_ELEMENT_NODE) {
            cells.push_back(TextOf(cell));
        }
    }
    return cells;
}

// Returns the next node in the order of the text. Rows inside a row are skipped: they are part of the text of
// its cells, and reading them again at each level would need quadratic time.
const xmlNode* NextNode(const xmlNode* node) {
    if (node->type == XML_ELEMENT_NODE && !IsRow(node) && node->children != nullptr) {
        return node->children;
    }
    while (node != nullptr && node->next == nullptr) {
        node = node->parent;
    }
    return node == nullptr ? nullptr : node->next;
}

struct CountRow {
    const char* title;
    long StatusPage::*count;
};
constexpr CountRow COUNTS[] = {{"Audio files", &StatusPage::audio},
                               {"Video files", &StatusPage::video},
                               {"Image files", &StatusPage::images}};

// Columns of a client: number, type, IP address, MAC address, connections.
constexpr size_t CLIENT_COLUMNS = 5;

bool IsIpAddress(const std::string& text) {
    in6_addr address{};  // large enough for both
    return inet_pton(AF_INET, text.c_str(), &address) == 1 ||
           inet_pton(AF_INET6, text.c_str(), &address) == 1;
}

// Reads the first character of a text. Returns its number of bytes, or 0 if they are not valid UTF-8.
size_t ReadCharacter(std::string_view text, int& character) {
    constexpr int MIN_OF_LENGTH[] = {0, 0, 0x80, 0x800, 0x10000};
    constexpr size_t MAX_LENGTH = std::size(MIN_OF_LENGTH) - 1;
    int length = static_cast<int>(std::min(text.size(), MAX_LENGTH));
    character = xmlGetUTF8Char(reinterpret_cast<const unsigned char*>(text.data()), &length);
    const bool isSurrogate = character >= 0xD800 && character <= 0xDFFF;
    return character < MIN_OF_LENGTH[length] || character > 0x10FFFF || isSurrogate
               ? 0
               : static_cast<size_t>(length);
}

// Cuts the text after MAX_CLIENT_NAME bytes at most. Replaces each control character (C0, DEL and C1) by a
// space, and each byte that is not part of valid UTF-8, which libxml2 passes on, by U+FFFD.
std::string ClientName(std::string_view text) {
    std::string name;
    while (!text.empty()) {
        int character = 0;
        const size_t length = ReadCharacter(text, character);
        const bool isControl = character < 0x20 || (character >= 0x7F && character < 0xA0);
        const std::string_view shown = length == 0 ? "\uFFFD" : isControl ? " " : text.substr(0, length);
        if (name.size() + shown.size() > MAX_CLIENT_NAME) {
            break;
        }
        name += shown;
        text.remove_prefix(std::max<size_t>(length, 1));
    }
    return name;
}

void ReadRow(const Row& row, StatusPage& page) {
    if (row.size() == 2) {
        for (const CountRow& kind : COUNTS) {
            if (row[0] == kind.title) {
                page.*kind.count = std::max(strtol(row[1].c_str(), nullptr, 10), 0L);
            }
        }
    }
    if (row.size() == CLIENT_COLUMNS && IsMacAddress(row[3]) &&
        std::find(std::begin(UNKNOWN_MAC_ADDRESSES), std::end(UNKNOWN_MAC_ADDRESSES), row[3]) ==
            std::end(UNKNOWN_MAC_ADDRESSES)) {
        page.clients.push_back({ClientName(row[1]), IsIpAddress(row[2]) ? row[2] : "", row[3]});
    }
}

}  // namespace

bool ParseStatusPage(const std::string& html, StatusPage& page) {
    page = StatusPage();
    if (html.size() > MAX_STATUS_PAGE) {
        return false;
    }
    const std::unique_ptr<xmlDoc, decltype(&xmlFreeDoc)> document(
        htmlReadMemory(html.data(), static_cast<int>(html.size()), nullptr, "UTF-8",
                       HTML_PARSE_RECOVER | HTML_PARSE_NOERROR | HTML_PARSE_NOWARNING | HTML_PARSE_NONET),
        xmlFreeDoc);
    if (document == nullptr) {
        return false;
    }
    std::string title;  // the first cell of the first row
    const xmlNode* node = xmlDocGetRootElement(document.get());
    for (bool isFirstRow = true; node != nullptr; node = NextNode(node)) {
        if (IsRow(node)) {
            const Row row = CellsOf(node);
            if (isFirstRow && !row.empty()) {
                title = row.front();
            }
            isFirstRow = false;
            ReadRow(row, page);
        } else if (node->type == XML_TEXT_NODE && node->content != nullptr) {
            page.scanning = page.scanning || strstr(ToChars(node->content), SCANNING) != nullptr;
        }
    }
    return title == COUNTS[0].title;
}

bool IsMacAddress(const std::string& text) {
    constexpr size_t LENGTH = 17;
    for (size_t i = 0; i < text.size(); ++i) {
        if (i % 3 == 2 ? text[i] != ':' : isxdigit(static_cast<unsigned char>(text[i])) == 0) {
            return false;
        }
    }
    return text.size() == LENGTH;
}

}  // namespace dms
