#include <cstdlib>

#include "daemon/events.h"
#include "mediaserv/media_service_handler.h"
#include "platform/system/texts.h"
#include "settings/settings_page.h"

namespace {

constexpr long MIN_EXPIRY = 5;
constexpr char MIN_EXPIRY_TEXT[] = "5";

long ToNumber(const char* text) { return strtol(text, nullptr, 10); }

void RaiseToMinExpiry(SettingText& seconds) {
    if (!seconds.empty() && ToNumber(seconds.c_str()) < MIN_EXPIRY) {
        seconds.Copy(MIN_EXPIRY_TEXT);
    }
}

std::string LanguageDisplayText(const char* code) {
    const TextBuffer<32> key(("language_" + std::string(code)).c_str());
    return StringBundle("codepage", "service", "common").Text(key.c_str(), "");
}

constexpr Setting SETTINGS[] = {
    Text{.field = "ssdp_advr",
         .key = EXPIRY_KEY,
         .failureNumber = 399,
         .bytes = 16,
         .defaultValue = "920",
         .mayBeEmpty = true,
         .normalise = RaiseToMinExpiry},
    Text{.field = "language",
         .key = LANGUAGE_KEY,
         .failureNumber = 406,
         .event = EVENT_LANGUAGE_WRITTEN,
         .eventText = LanguageDisplayText,
         .bytes = 32,
         .defaultValue = DEFAULT_LANGUAGE,
         .mayBeEmpty = true,
         .keepIfAbsent = true},
    Text{.field = "templatetype",
         .key = MENU_STYLE_KEY,
         .failureNumber = 417,
         .event = EVENT_MENU_STYLE_WRITTEN,
         .eventText = WrittenText,
         .bytes = 32,
         .defaultValue = "simple",
         .keepIfAbsent = true},
    // LoadNetworkInterfaces replaces or removes the member.
    Text{.field = "dmsInterface",
         .key = NETWORK_KEY,
         .failureNumber = 426,
         .bytes = 32,
         .defaultValue = "eth0",
         .mayBeEmpty = true,
         .keepIfAbsent = true},
};

}  // namespace

constexpr SettingsPage GENERAL_PAGE = {SETTINGS, 435};

void MediaServiceHandler::LoadGeneralPage() {
    Json::Value data = LoadSettings(GENERAL_PAGE);
    Json::Value& expiry = data["ssdp_advr"];
    expiry = Json::Int64(ToNumber(expiry.asCString()));
    LoadNetworkInterfaces(data);
    ReportSuccess(data);
}

void MediaServiceHandler::SaveGeneralPage() {
    if (SaveSettings(GENERAL_PAGE)) {
        ReportSuccess(Json::objectValue);
    }
}
