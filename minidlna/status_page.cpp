#include "minidlna/status_page.h"

#include <curl/curl.h>
#include <libxml/HTMLparser.h>
#include <libxml/xpath.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>

namespace dms {
namespace {

constexpr long MAX_FETCH_TIME = 500;  // milliseconds
constexpr size_t MAX_PAGE_SIZE = 1U << 18U;

// minidlnad shows one of these if it does not know the MAC address, for example for a client behind a router.
constexpr const char* UNKNOWN_MAC_ADDRESSES[] = {"FF:FF:FF:FF:FF:FF", "00:00:00:00:00:00"};

size_t Append(const char* data, size_t size, size_t count, void* target) {
    std::string& text = *static_cast<std::string*>(target);
    if (text.size() + size * count > MAX_PAGE_SIZE) {
        return 0;
    }
    text.append(data, size * count);
    return size * count;
}

std::string TextOf(xmlNode* node) {
    xmlChar* content = xmlNodeGetContent(node);
    std::string text = content == nullptr ? "" : reinterpret_cast<const char*>(content);
    xmlFree(content);
    return text;
}

using Row = std::vector<std::string>;  // the texts of the cells

// Returns the rows of all tables of the page.
std::vector<Row> TableRows(xmlDoc* document) {
    std::vector<Row> rows;
    xmlXPathContext* context = xmlXPathNewContext(document);
    xmlXPathObject* found = xmlXPathEvalExpression(reinterpret_cast<const xmlChar*>("//tr"), context);
    for (int i = 0; found != nullptr && found->nodesetval != nullptr && i < found->nodesetval->nodeNr; ++i) {
        Row& row = rows.emplace_back();
        for (xmlNode* cell = found->nodesetval->nodeTab[i]->children; cell != nullptr; cell = cell->next) {
            row.push_back(TextOf(cell));
        }
    }
    xmlXPathFreeObject(found);
    xmlXPathFreeContext(context);
    return rows;
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

void ReadRow(const Row& row, StatusPage& page) {
    if (row.size() == 2) {
        for (const CountRow& kind : COUNTS) {
            if (row[0] == kind.title) {
                page.*kind.count = strtol(row[1].c_str(), nullptr, 10);
            }
        }
    }
    if (row.size() == CLIENT_COLUMNS && IsMacAddress(row[3]) &&
        std::find(std::begin(UNKNOWN_MAC_ADDRESSES), std::end(UNKNOWN_MAC_ADDRESSES), row[3]) ==
            std::end(UNKNOWN_MAC_ADDRESSES)) {
        page.clients.push_back({row[1], row[2], row[3]});
    }
}

// Returns false if the text is not minidlnad's status page.
bool ParseStatusPage(const std::string& html, StatusPage& page) {
    page = StatusPage();
    xmlDoc* document =
        htmlReadMemory(html.data(), static_cast<int>(html.size()), nullptr, "UTF-8",
                       HTML_PARSE_RECOVER | HTML_PARSE_NOERROR | HTML_PARSE_NOWARNING | HTML_PARSE_NONET);
    if (document == nullptr) {
        return false;
    }
    const std::vector<Row> rows = TableRows(document);
    for (const Row& row : rows) {
        ReadRow(row, page);
    }
    page.scanning = TextOf(xmlDocGetRootElement(document)).find("scan in progress") != std::string::npos;
    xmlFreeDoc(document);
    return !rows.empty() && !rows.front().empty() && rows.front().front() == COUNTS[0].title;
}

}  // namespace

bool IsMacAddress(const std::string& text) {
    constexpr size_t LENGTH = 17;
    for (size_t i = 0; i < text.size(); ++i) {
        if (i % 3 == 2 ? text[i] != ':' : isxdigit(static_cast<unsigned char>(text[i])) == 0) {
            return false;
        }
    }
    return text.size() == LENGTH;
}

bool FetchStatusPage(int port, StatusPage& page) {
    CURL* curl = curl_easy_init();
    if (curl == nullptr) {
        return false;
    }
    std::string html;
    const std::string url = "http://127.0.0.1:" + std::to_string(port) + "/";
    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl, CURLOPT_PROXY, "");
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_FAILONERROR, 1L);
    curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, MAX_FETCH_TIME);
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, Append);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &html);
    const CURLcode result = curl_easy_perform(curl);
    curl_easy_cleanup(curl);
    return result == CURLE_OK && ParseStatusPage(html, page);
}

}  // namespace dms
