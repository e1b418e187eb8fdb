// The appliance's system configuration, a key/value file. The interface is that of the appliance's system
// library, which defines it as a class.
#pragma once

#include <string>

class VexaConf {
  public:
    // Returns the value of `key`, cut to 255 bytes, or `defaultValue` if the file has no such key.
    std::string Def(const char* key, const char* defaultValue) const;
};
