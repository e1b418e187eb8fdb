// Localized texts. The texts of a language are stored in the file strings.json of its directory: an object of
// sections, each of which is an object of texts by key.
//
// The interface is that of the appliance's system library: it has up to six sections and the argument
// `second`, which is not used.
#pragma once

#include <json/value.h>

#include <array>
#include <string>

namespace VEXA::QMX {

class LocalizedStringParser {
  public:
    // Reads the texts of the language that is stored in `directory`. Returns null if the file can't be read
    // or does not contain a JSON object.
    Json::Value ParseTexts(std::string directory) const;
};

}  // namespace VEXA::QMX

// The texts of the UI, in the language of the appliance.
class StringBundle {
  public:
    // The sections to search; null for none.
    explicit StringBundle(const char* s1, const char* s2 = nullptr, const char* s3 = nullptr,
                          const char* s4 = nullptr, const char* s5 = nullptr, const char* s6 = nullptr);

    // Returns the text of `key` in the first section that has it, or `key` itself if no section has it.
    std::string Text(const char* key, const char* second) const;

  private:
    std::array<const char*, 6> sections_;
    Json::Value texts_;
};
