#include "settings/settings_file.h"

#include "mediaserv/media_service_handler.h"
#include "platform/system/last_error.h"

namespace {

using SwitchText = TextBuffer<128>;

}  // namespace

bool ReadSwitch(const char* key) {
    SwitchText text;
    return ReadText(key, text) > 0 && strcasecmp(text.c_str(), SWITCH_ON) == 0;
}

bool ReadSwitchUnlessNo(const char* key) {
    SwitchText text;
    return ReadText(key, text) > 0 && strcasecmp(text.c_str(), SWITCH_OFF) != 0;
}

int WriteSetting(const char* key, const char* value) {
    return VLIBCFileSetKeyValue(SETTINGS_FILE, key, value, KV_LINE_FORMAT);
}

int MediaServiceHandler::SetDmsLanguage(const char* value) {
    if (value == nullptr) {
        VLIBCErrSetEx(VLIB_ERR_BAD_PARAMETERS, SOURCE_NAME, 112);
        return -1;
    }
    return WriteSetting(LANGUAGE_KEY, value);
}
