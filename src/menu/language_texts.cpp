#include <string>

#include "mediaserv/media_service_handler.h"
#include "platform/system/texts.h"
#include "settings/settings_file.h"

namespace {

constexpr char TEXTS_DIRECTORY[] = APPLIANCE_ROOT "/var/packages/Dalmira/target/app/texts/";
constexpr char SECTION[] = "customize";

// Any other code would name a directory elsewhere.
bool NamesLanguageDirectory(const std::string& code) {
    return !code.empty() && code.find('/') == std::string::npos && code != "." && code != "..";
}

// The section's texts, numbers and booleans as text; what has no text form is left out.
Json::Value TextsOf(const Json::Value& section) {
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
        ReadText(LANGUAGE_KEY, language);
    }
    Json::Value answer(Json::objectValue);
    const std::string code = language.c_str();
    if (NamesLanguageDirectory(code)) {
        const Json::Value texts = VEXA::QMX::LocalizedStringParser().ParseTexts(TEXTS_DIRECTORY + code);
        if (texts[SECTION].isObject()) {
            answer["text"]["mediaservice"] = TextsOf(texts[SECTION]);
        }
    }
    answer["success"] = true;
    WriteJsonResponse(answer, JSON_TEXT_TYPE);
}
