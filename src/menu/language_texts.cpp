#include <string>

#include "mediaserv/media_service_handler.h"
#include "platform/system/texts.h"
#include "settings/settings_file.h"

namespace {

constexpr char TEXTS_DIRECTORY[] = APPLIANCE_ROOT "/var/packages/Dalmira/target/app/texts/";
constexpr char SECTION[] = "customize";

// Rejects a code that would name a directory outside TEXTS_DIRECTORY.
bool IsLanguageCode(const std::string& code) {
    return !code.empty() && code.find('/') == std::string::npos && code != "." && code != "..";
}

// Returns the section's members, with numbers and booleans as texts. Omits members of any other type.
Json::Value ConvertToTexts(const Json::Value& section) {
    Json::Value texts(Json::objectValue);
    for (const std::string& key : section.getMemberNames()) {
        const Json::Value& text = section[key];
        if (!text.isNull() && text.isConvertibleTo(Json::stringValue)) {
            texts[key] = text.asString();
        }
    }
    return texts;
}

}  // namespace

void MediaServiceHandler::GetDmsLangText() {
    TextBuffer<32> language(DEFAULT_LANGUAGE);
    const char* requested = web_.In("lang", nullptr);
    if (requested != nullptr && *requested != '\0') {
        language.Copy(requested);
    } else {
        std::string settings;
        ReadSettingsFile(settings);
        ReadText(settings, LANGUAGE_KEY, language);
    }
    Json::Value response(Json::objectValue);
    const std::string code = language.c_str();
    if (IsLanguageCode(code)) {
        const Json::Value texts = VEXA::QMX::LocalizedStringParser().ParseTexts(TEXTS_DIRECTORY + code);
        if (texts[SECTION].isObject()) {
            response["text"]["mediaservice"] = ConvertToTexts(texts[SECTION]);
        }
    }
    response["success"] = true;
    WriteJsonResponse(response, JSON_TEXT_TYPE);
}
