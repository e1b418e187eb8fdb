#include "settings/settings_file.h"

#include <cerrno>

#include "mediaserv/media_service_handler.h"
#include "platform/files/file_io.h"
#include "platform/system/last_error.h"

namespace {

using SwitchText = TextBuffer<128>;

}  // namespace

bool ReadSettingsFile(std::string& settings) {
    const bool read = ReadFile(SETTINGS_FILE, settings) || errno == ENOENT;
    if (!read) {
        settings.clear();
    }
    return read;
}

bool ReadSwitch(const std::string& settings, const char* key) {
    SwitchText text;
    return ReadText(settings, key, text) && strcasecmp(text.c_str(), SWITCH_ON) == 0;
}

bool ReadSwitchUnlessNo(const std::string& settings, const char* key) {
    SwitchText text;
    return ReadText(settings, key, text) && strcasecmp(text.c_str(), SWITCH_OFF) != 0;
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
