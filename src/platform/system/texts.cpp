#include "platform/system/texts.h"

#include "platform/files/file_io.h"
#include "platform/json/json_reader.h"
#include "platform/system/system_configuration.h"

namespace {

constexpr char UI_TEXTS_DIRECTORY[] = APPLIANCE_ROOT "/usr/share/vexa/texts/";

}  // namespace

Json::Value VEXA::QMX::LocalizedStringParser::ParseTexts(std::string directory) const {
    directory += "/strings.json";
    std::string content;
    Json::Value texts;
    if (!ReadFile(directory.c_str(), content) || !ParseJson(content, texts) || !texts.isObject()) {
        return Json::Value();
    }
    return texts;
}

StringBundle::StringBundle(const char* s1, const char* s2, const char* s3, const char* s4, const char* s5,
                           const char* s6)
    : sections_{s1, s2, s3, s4, s5, s6},
      texts_(VEXA::QMX::LocalizedStringParser().ParseTexts(UI_TEXTS_DIRECTORY +
                                                           VexaConf().Def("language", "enu"))) {}

std::string StringBundle::Text(const char* key, const char* /*second*/) const {
    for (const char* section : sections_) {
        if (section == nullptr || !texts_[section].isObject()) {
            continue;
        }
        const Json::Value& text = texts_[section][key];
        if (text.isString()) {
            return text.asString();
        }
    }
    return key;
}
