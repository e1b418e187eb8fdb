// The appliance's system configuration, a key/value file.
#pragma once

#include <string>

class VexaConf {
  public:
    // The value of `key`, at most 255 bytes of it; `missing` when the file has no such key.
    std::string Def(const char* key, const char* missing) const;
};
