#include "settings/settings_page.h"

#include <vector>

#include "daemon/events.h"
#include "mediaserv/media_service_handler.h"

namespace {

// A submitted value that differs from the stored one. Two kinds of settings, each with the same operations.
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
    // A missing text is empty here, whatever the page shows for it: saving what is shown stores it.
    SettingText stored;
    ReadText(setting.key, stored, setting.bytes);
    const SettingText submitted = SubmittedText(setting, web, stored);
    if (!(submitted == stored)) {
        changes.push_back(TextChange{setting, submitted});
    }
}

// Each writes a change and does what belongs to it. Returns the line of a failure, else 0.
int Write(const SwitchChange& change) {
    const auto& [setting, on] = change;
    if (WriteSetting(setting.key, on ? SWITCH_ON : SWITCH_OFF) < 0) {
        return on ? setting.failureNumber.on : setting.failureNumber.off;
    }
    if (const int line = setting.afterWrite != nullptr ? setting.afterWrite(on) : 0; line != 0) {
        return line;
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
        if (const int line = std::visit([](const auto& change) { return Write(change); }, row); line != 0) {
            Fail(line);
            return;
        }
        restart = restart ||
                  std::visit([](const auto& change) { return change.setting.needs; }, row) == Needs::Restart;
    }
    if (restart) {
        if (RestartDms() == 0) {
            Fail(page.restartFailureNumber);
            return;
        }
    } else if (!changes.empty()) {
        ReloadDms();
    }
    ReportSuccess(Json::objectValue);
}
