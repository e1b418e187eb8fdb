#include "settings/settings_page.h"

#include <vector>

#include "daemon/events.h"
#include "mediaserv/media_service_handler.h"

namespace {

// A submitted value that differs from the stored one. The functions below exist for both kinds of settings.
struct SwitchChange {
    const Switch& setting;
    bool on;
};
struct TextChange {
    const Text& setting;
    SettingText text;
};
using Changes = std::vector<std::variant<SwitchChange, TextChange>>;

void Load(const Switch& setting, Json::Value& data) { data[setting.field] = setting.read(setting.key); }

void Load(const Text& setting, Json::Value& data) {
    if (setting.defaultValue != nullptr) {
        SettingText text(setting.defaultValue);
        ReadText(setting.key, text, setting.bytes);
        data[setting.field] = text.c_str();
    }
}

void Compare(const Switch& setting, const WebMan& web, Changes& changes) {
    const bool submitted = IsTrue(web.In(setting.field, nullptr));
    if (submitted != setting.read(setting.key)) {
        changes.push_back(SwitchChange{setting, submitted});
    }
}

SettingText SubmittedText(const Text& setting, const WebMan& web, const SettingText& stored) {
    SettingText text;
    text.Copy(web.In(setting.field, setting.keepIfAbsent ? stored.c_str() : ""), setting.bytes);
    if (text.empty() && !setting.mayBeEmpty) {
        text.Copy(setting.defaultValue);
    }
    if (setting.normalise != nullptr) {
        setting.normalise(text);
    }
    return text;
}

void Compare(const Text& setting, const WebMan& web, Changes& changes) {
    if (setting.enabledBy != nullptr && !IsTrue(web.In(setting.enabledBy, nullptr))) {
        return;
    }
    // A missing text is compared as an empty text, not as its default value, so that a save stores the
    // default value that the page shows.
    SettingText stored;
    ReadText(setting.key, stored, setting.bytes);
    const SettingText submitted = SubmittedText(setting, web, stored);
    if (!(submitted == stored)) {
        changes.push_back(TextChange{setting, submitted});
    }
}

// Write a change, run its hook and record its event. Return 0, or the failure number.
int Write(const SwitchChange& change) {
    const auto& [setting, on] = change;
    if (WriteSetting(setting.key, on ? SWITCH_ON : SWITCH_OFF) < 0) {
        return on ? setting.failureNumber.on : setting.failureNumber.off;
    }
    const int failureNumber = setting.afterWrite != nullptr ? setting.afterWrite(on) : 0;
    if (failureNumber != 0) {
        return failureNumber;
    }
    if (const unsigned int event = on ? setting.event.on : setting.event.off; event != 0) {
        RecordEvent(event);
    }
    return 0;
}

int Write(const TextChange& change) {
    const auto& [setting, text] = change;
    if (setting.write(setting.key, text.c_str()) < 0) {
        return setting.failureNumber;
    }
    if (setting.event != 0) {
        RecordEvent(setting.event,
                    setting.eventText != nullptr ? setting.eventText(text.c_str()) : std::string());
    }
    return 0;
}

}  // namespace

Json::Value LoadSettings(const SettingsPage& page) {
    Json::Value data(Json::objectValue);
    for (const Setting& row : page.settings) {
        std::visit([&](const auto& setting) { Load(setting, data); }, row);
    }
    return data;
}

std::string WrittenText(const char* written) { return written; }

void MediaServiceHandler::SaveSettingsPage(const SettingsPage& page) {
    Changes changes;
    for (const Setting& row : page.settings) {
        std::visit([&](const auto& setting) { Compare(setting, web_, changes); }, row);
    }
    bool restart = false;
    for (const auto& row : changes) {
        const int failureNumber = std::visit([](const auto& change) { return Write(change); }, row);
        if (failureNumber != 0) {
            ReportFailure(failureNumber);
            return;
        }
        restart = restart ||
                  std::visit([](const auto& change) { return change.setting.needs; }, row) == Needs::Restart;
    }
    if (restart) {
        if (RestartDms() == 0) {
            ReportFailure(page.restartFailureNumber);
            return;
        }
    } else if (!changes.empty()) {
        ReloadDms();
    }
    ReportSuccess(Json::objectValue);
}
