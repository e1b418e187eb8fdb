#include "platform/system/system_configuration.h"

#include "platform/files/key_value_file.h"

namespace {

constexpr char SYSTEM_CONFIGURATION[] = APPLIANCE_ROOT "/etc/vexainfo.conf";

}  // namespace

std::string VexaConf::Def(const char* key, const char* defaultValue) const {
    char value[256] = {};
    const bool found = VLIBCFileGetKeyValue(SYSTEM_CONFIGURATION, key, value, sizeof value, 0) > 0;
    return found ? value : defaultValue;
}
