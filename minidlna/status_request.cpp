#include "minidlna/status_request.h"

#include <curl/curl.h>

#include <string>

namespace dms {
namespace {

constexpr long MAX_FETCH_TIME = 500;  // milliseconds

size_t Append(const char* data, size_t size, size_t count, void* target) {
    std::string& text = *static_cast<std::string*>(target);
    if (text.size() + size * count > MAX_STATUS_PAGE) {
        return 0;
    }
    text.append(data, size * count);
    return size * count;
}

}  // namespace

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
