#include "settings/settings_file.h"

#include "mediaserv/media_service_handler.h"

bool ReadSwitch(const char* key, SwitchRule rule) {
    TextBuffer<128> text;
    if (ReadText(key, text) <= 0) {
        return false;
    }
    return rule == SwitchRule::OnAtYes ? strcasecmp(text.c_str(), "yes") == 0
                                       : strcasecmp(text.c_str(), "no") != 0;
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
