#include <cstdlib>

#include "daemon/daemon_control.h"
#include "mediaserv/media_service_handler.h"
#include "settings/settings_page.h"

namespace {

constexpr int RESTART_FAILED_LINE = 435;
constexpr long SMALLEST_EXPIRY = 5;
constexpr char SMALLEST_EXPIRY_TEXT[] = "5";

long Number(const char* text) { return strtol(text, nullptr, 10); }

void RaiseExpiry(SettingText& seconds) {
    if (!seconds.empty() && Number(seconds.c_str()) < SMALLEST_EXPIRY) {
        seconds.Copy(SMALLEST_EXPIRY_TEXT);
    }
}

std::string LanguageDisplayText(const char* code) {
    const TextBuffer<32> key(("language_" + std::string(code)).c_str());
    return StringBundle("codepage", "service", "common").Text(key.c_str(), "");
}

constexpr Setting GENERAL_PAGE[] = {
    {.field = "ssdp_advr",
     .key = "advrexpire_mediaservice",
     .failedLine = {399},
     .bytes = 16,
     .fallback = "920",
     .normalise = RaiseExpiry},
    {.field = "language",
     .key = LANGUAGE_KEY,
     .failedLine = {406},
     .events = {EVENT_LANGUAGE_WRITTEN},
     .bytes = 32,
     .fallback = DEFAULT_LANGUAGE,
     .absentIsStored = true,
     .write = MediaServiceHandler::SetDmsLanguage,
     .eventText = LanguageDisplayText},
    {.field = "templatetype",
     .key = "menustyle_mediaservice",
     .failedLine = {417},
     .events = {EVENT_MENU_STYLE_WRITTEN},
     .bytes = 32,
     .fallback = "simple",
     .emptyIsFallback = true,
     .absentIsStored = true,
     .eventText = WrittenText},
    // Reported with the list of interfaces.
    {.field = "dmsInterface", .key = NETWORK_KEY, .failedLine = {426}, .bytes = 32, .absentIsStored = true},
};

}  // namespace

void MediaServiceHandler::LoadGeneralPage() {
    Json::Value data = LoadSettings(GENERAL_PAGE);
    Json::Value& expiry = data["ssdp_advr"];
    expiry = Json::Int64(Number(expiry.asCString()));
    LoadNetworkInterfaces(data);
    ReportSuccess(data);
}

void MediaServiceHandler::SaveGeneralPage() { SaveSettingsPage(GENERAL_PAGE, RESTART_FAILED_LINE); }
