#include "settings/settings_page.h"

#include <vector>

#include "daemon/daemon_control.h"
#include "mediaserv/media_service_handler.h"

namespace {

constexpr char YES[] = "yes";
constexpr char NO[] = "no";

bool IsSwitch(const Setting& setting) { return setting.kind != Kind::Text; }

bool IsOn(const Setting& setting) {
    return setting.kind == Kind::SwitchUnlessNo ? ReadSwitchUnlessNo(setting.key) : ReadSwitch(setting.key);
}

// A missing text is empty here, whatever the page shows for it: saving what is shown stores it.
SettingText StoredText(const Setting& setting) {
    if (IsSwitch(setting)) {
        return SettingText(IsOn(setting) ? YES : NO);
    }
    SettingText text;
    ReadText(setting.key, text, setting.bytes);
    return text;
}

SettingText SubmittedText(const WebMan& web, const Setting& setting, const SettingText& stored) {
    if (IsSwitch(setting)) {
        return SettingText(IsTrue(web.In(setting.field, nullptr)) ? YES : NO);
    }
    if (setting.gate != nullptr && !IsTrue(web.In(setting.gate, nullptr))) {
        return stored;
    }
    SettingText text;
    text.Copy(web.In(setting.field, setting.absentIsStored ? stored.c_str() : ""), setting.bytes);
    if (text.empty() && setting.emptyIsFallback) {
        text.Copy(setting.fallback);
    }
    if (setting.normalise != nullptr) {
        setting.normalise(text);
    }
    return text;
}

template <typename T>
T Of(const YesNo<T>& choice, const Setting& setting, const SettingText& text) {
    return IsSwitch(setting) && text == NO ? choice.no : choice.yes;
}

// Writes the new text and does what belongs to it. Returns the line of a failure, else 0.
int WriteChange(const Setting& setting, const SettingText& text) {
    const char* value = text.c_str();
    if ((setting.write != nullptr ? setting.write(value) : WriteSetting(setting.key, value)) < 0) {
        return Of(setting.failedLine, setting, text);
    }
    if (const int line = setting.afterWrite != nullptr ? setting.afterWrite(value) : 0; line != 0) {
        return line;
    }
    if (const unsigned int event = Of(setting.events, setting, text); event != 0) {
        RecordEvent(event, setting.eventText != nullptr ? setting.eventText(value) : std::string());
    }
    return 0;
}

}  // namespace

Json::Value LoadSettings(std::span<const Setting> page) {
    Json::Value data(Json::objectValue);
    for (const Setting& setting : page) {
        if (IsSwitch(setting)) {
            data[setting.field] = IsOn(setting);
        } else if (setting.fallback != nullptr) {
            SettingText text(setting.fallback);
            ReadText(setting.key, text, setting.bytes);
            data[setting.field] = text.c_str();
        }
    }
    return data;
}

std::string WrittenText(const char* value) { return value; }

void MediaServiceHandler::SaveSettingsPage(std::span<const Setting> page, int restartFailedLine) {
    struct Change {
        const Setting& setting;
        SettingText text;
    };
    std::vector<Change> changes;
    for (const Setting& setting : page) {
        const SettingText stored = StoredText(setting);
        const SettingText submitted = SubmittedText(web_, setting, stored);
        if (!(submitted == stored)) {
            changes.push_back({setting, submitted});
        }
    }
    bool restart = false;
    for (const auto& [setting, text] : changes) {
        if (const int line = WriteChange(setting, text); line != 0) {
            Fail(line);
            return;
        }
        restart = restart || setting.needs == Needs::Restart;
    }
    if (restart) {
        if (RestartDms() == 0) {
            Fail(restartFailedLine);
            return;
        }
    } else if (!changes.empty()) {
        ReloadDms();
    }
    ReportSuccess(Json::objectValue);
}
