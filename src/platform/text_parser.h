// The UI text parser: one directory of localized texts.
#pragma once

#include <json/value.h>

#include <string>

namespace VEXA::QMX {

class LocalizedStringParser {
  public:
    // The texts of one language: an object of sections, each an object of key to text, as the directory's
    // strings.json holds it. Null when that can't be read or holds no object.
    Json::Value ParseTexts(std::string directory) const;
};

}  // namespace VEXA::QMX
