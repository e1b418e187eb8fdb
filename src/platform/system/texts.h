// Localized texts. A language has a directory with one file, strings.json: an object of sections, each an
// object of key to text.
#pragma once

#include <json/value.h>

#include <array>
#include <string>

namespace VEXA::QMX {

class LocalizedStringParser {
  public:
    // The texts of the language whose directory is given. Null when they can't be read or are no object.
    Json::Value ParseTexts(std::string directory) const;
};

}  // namespace VEXA::QMX

// The localized texts of up to six sections of the UI's string tables, in the language of the appliance.
class StringBundle {
  public:
    explicit StringBundle(const char* s1, const char* s2 = nullptr, const char* s3 = nullptr,
                          const char* s4 = nullptr, const char* s5 = nullptr, const char* s6 = nullptr);

    // The text of `key` in the first opened section that has it; the key itself when none has. `second` is
    // not used.
    std::string Text(const char* key, const char* second) const;

  private:
    std::array<const char*, 6> sections_;
    Json::Value texts_;
};
