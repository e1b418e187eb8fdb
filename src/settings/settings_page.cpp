#include "settings/settings_page.h"

#include <syslog.h>

#include <algorithm>
#include <optional>
#include <vector>

#include "daemon/events.h"
#include "mediaserv/media_service_handler.h"
#include "platform/files/file_replacement.h"

namespace {

// A setting whose submitted value differs from the stored one.
struct Change {
    const char* key;
    std::string value;
    int failureNumber;
    Needs needs;
    unsigned int event;  // 0 for none
    std::string (*eventText)(const char* written);
    void (*beforeWrite)();  // null for none
    int (*afterWrite)();    // null for none
};
using Changes = std::vector<Change>;

void Load(const Switch& setting, const std::string& settings, Json::Value& data) {
    data[setting.field] = setting.read(settings, setting.key);
}

void Load(const Text& setting, const std::string& settings, Json::Value& data) {
    SettingText text(setting.defaultValue);
    ReadText(settings, setting.key, text, setting.bytes);
    data[setting.field] = text.c_str();
}

void AddToTag(const Switch& setting, const std::string& settings, EntityTag& tag) {
    tag.AddValue(setting.read(settings, setting.key) ? SWITCH_ON : SWITCH_OFF);
}

void AddToTag(const Text& setting, const std::string& settings, EntityTag& tag) {
    SettingText text;
    const bool found = ReadText(settings, setting.key, text, setting.bytes);
    tag.AddValue(found ? "stored" : "missing");
    tag.AddValue(text.c_str());
}

void Compare(const Switch& setting, const WebMan& web, const std::string& settings, Changes& changes) {
    const bool on = IsTrue(web.In(setting.field, nullptr));
    if (on != setting.read(settings, setting.key)) {
        changes.push_back({.key = setting.key,
                           .value = on ? setting.texts.on : setting.texts.off,
                           .failureNumber = on ? setting.failureNumber.on : setting.failureNumber.off,
                           .needs = setting.needs,
                           .event = on ? setting.event.on : setting.event.off,
                           .eventText = nullptr,
                           .beforeWrite = on ? setting.beforeSwitchingOn : nullptr,
                           .afterWrite = on ? setting.afterSwitchingOn : nullptr});
    }
}

SettingText SubmittedText(const Text& setting, const WebMan& web, const SettingText& storedText) {
    SettingText text;
    text.Copy(web.In(setting.field, setting.keepIfAbsent ? storedText.c_str() : ""), setting.bytes);
    if (text.empty() && !setting.mayBeEmpty) {
        text.Copy(setting.defaultValue);
    }
    if (setting.normalise != nullptr) {
        setting.normalise(text);
    }
    return text;
}

void Compare(const Text& setting, const WebMan& web, const std::string& settings, Changes& changes) {
    if (setting.enabledBy != nullptr && !IsTrue(web.In(setting.enabledBy, nullptr))) {
        return;
    }
    // A missing text is compared as an empty text, not as its default value, so that a save stores the
    // default value that the page shows.
    SettingText text;
    ReadText(settings, setting.key, text, setting.bytes);
    const SettingText submitted = SubmittedText(setting, web, text);
    if (!(submitted == text)) {
        changes.push_back({.key = setting.key,
                           .value = submitted.c_str(),
                           .failureNumber = setting.failureNumber,
                           .needs = setting.needs,
                           .event = setting.event,
                           .eventText = setting.eventText,
                           .beforeWrite = nullptr,
                           .afterWrite = nullptr});
    }
}

Changes FindChanges(const SettingsPage& page, const WebMan& web, const std::string& settings) {
    Changes changes;
    for (const Setting& row : page.settings) {
        std::visit([&](const auto& setting) { Compare(setting, web, settings, changes); }, row);
    }
    return changes;
}

EntityTag TagOf(const SettingsPage& page, const std::string& settings) {
    EntityTag tag;
    for (const Setting& row : page.settings) {
        std::visit([&](const auto& setting) { AddToTag(setting, settings, tag); }, row);
    }
    return tag;
}

// Applies changes to `settings`, the content of the file. Stops after a change with `afterWrite`, and before
// a change whose value can't be stored. Returns the number of applied changes.
size_t ApplyChanges(std::span<const Change> changes, std::string& settings) {
    for (size_t i = 0; i < changes.size(); ++i) {
        const Change& change = changes[i];
        if (!SetKeyValue(settings, change.key, change.value.c_str(), KV_LINE_FORMAT)) {
            return i;
        }
        if (change.afterWrite != nullptr) {
            return i + 1;
        }
    }
    return changes.size();
}

void RecordEvents(std::span<const Change> changes) {
    for (const Change& change : changes) {
        if (change.event != 0) {
            RecordEvent(change.event,
                        change.eventText != nullptr ? change.eventText(change.value.c_str()) : std::string());
        }
    }
}

// Writes the changes in their order until one fails; `settings` is the content of the file. Returns 0, or the
// failure number.
int WriteChanges(std::span<const Change> changes, FileReplacement& file, std::string& settings) {
    while (!changes.empty()) {
        const size_t count = ApplyChanges(changes, settings);
        const auto written = changes.first(count);
        for (const Change& change : written) {
            if (change.beforeWrite != nullptr) {
                change.beforeWrite();
            }
        }
        if (written.empty() || file.Replace(settings) != Saved::Yes) {
            return changes.front().failureNumber;
        }
        RecordEvents(written);
        const auto afterWrite = written.back().afterWrite;
        const int failureNumber = afterWrite != nullptr ? afterWrite() : 0;
        if (failureNumber != 0) {
            return failureNumber;
        }
        changes = changes.subspan(count);
    }
    return 0;
}

int FailureNumberOf(const Switch& setting) { return setting.failureNumber.off; }
int FailureNumberOf(const Text& setting) { return setting.failureNumber; }

// Returns the failure number of the first change, or of the page's first setting if nothing is known to
// change.
int FirstFailureNumber(const SettingsPage& page, const Changes& changes) {
    return !changes.empty() ? changes.front().failureNumber
                            : std::visit([](const auto& setting) { return FailureNumberOf(setting); },
                                         page.settings.front());
}

bool NeedsRestart(const Changes& changes) {
    return std::ranges::any_of(changes, [](const Change& change) { return change.needs == Needs::Restart; });
}

}  // namespace

std::string WrittenText(const char* written) { return written; }

Json::Value MediaServiceHandler::LoadSettings(const SettingsPage& page) {
    std::string settings;
    ReadSettingsFile(settings);  // a file that can't be read is shown as default values
    if (IsConditional()) {
        TagResponse(TagOf(page, settings));
    }
    Json::Value data(Json::objectValue);
    for (const Setting& row : page.settings) {
        std::visit([&](const auto& setting) { Load(setting, settings, data); }, row);
    }
    return data;
}

bool MediaServiceHandler::SaveSettings(const SettingsPage& page) {
    std::string settings;
    const bool read = ReadSettingsFile(settings);
    Changes changes = FindChanges(page, web_, settings);
    std::optional<FileReplacement> file;
    // If the file could not be read, the second attempt under the lock decides.
    if (!read || !changes.empty()) {
        file.emplace(SETTINGS_FILE);
        if (!file->HoldsLock() || !ReadSettingsFile(settings)) {
            ReportFailure(FirstFailureNumber(page, changes));
            return false;
        }
        changes = FindChanges(page, web_, settings);
    }
    if (IsConditional() && !CheckCondition(TagOf(page, settings))) {
        return false;
    }
    const int failureNumber = file.has_value() ? WriteChanges(changes, *file, settings) : 0;
    file.reset();  // other saves must not wait for the restart
    if (failureNumber != 0) {
        ReportFailure(failureNumber);
        return false;
    }
    if (NeedsRestart(changes)) {
        if (RestartDms() == 0) {
            if (page.restartLogNumber != 0) {
                syslog(LOG_ERR, "%s:%d Failed to restart dalmira", SOURCE_NAME, page.restartLogNumber);
            }
            ReportFailure(page.restartFailureNumber);
            return false;
        }
    } else if (!changes.empty()) {
        ReloadDms();
    }
    if (IsConditional()) {
        TagResponse(TagOf(page, settings));
    }
    return true;
}
