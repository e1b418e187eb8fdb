// The settings pages: each is a table of settings, in the order in which a save writes them. One routine
// loads, compares and writes the settings of every page.
//
// A save compares the submitted settings with the stored ones. If something differs, it takes the lock,
// compares again and writes. Normally one replacement of the file contains all changes. If a changed setting
// has the function afterSwitchingOn, the first replacement ends with that setting; then the function runs; a
// second replacement contains the rest.
//
// A failure number (546, 599, ...) identifies the step of an action that failed. The administration page
// receives it as the member "line" of the error report. The numbers never change, so that the page and
// support can rely on them.
#pragma once

#include <json/value.h>

#include <span>
#include <string>
#include <variant>

#include "settings/settings_file.h"

// Large enough for the longest text of all pages.
using SettingText = TextBuffer<256>;

// What the daemon needs before a changed setting takes effect.
enum class Needs : char { Restart, Reload };

// One value for switching on and one for switching off.
template <typename T>
struct OnOff {
    T on{};
    T off{};
};

struct Switch {
    const char* field;             // form field and JSON member
    const char* key;               // in the settings file
    OnOff<int> failureNumber;      // reported if the write that starts with this change fails
    Needs needs = Needs::Restart;  // what a change needs
    OnOff<unsigned int> event{};   // recorded after the write; 0 for no event

    bool (*read)(const std::string& settings, const char* key) = ReadSwitch;
    OnOff<const char*> texts = {SWITCH_ON, SWITCH_OFF};  // as stored
    void (*beforeSwitchingOn)() = nullptr;               // runs before the write
    int (*afterSwitchingOn)() = nullptr;  // runs after the write; returns a failure number, or 0 for success
};

struct Text {
    const char* field;  // field, key, failureNumber, needs and event: see Switch
    const char* key;
    int failureNumber;
    Needs needs = Needs::Restart;
    unsigned int event = 0;
    std::string (*eventText)(const char* written) = nullptr;  // the event's first text; null for none

    size_t bytes = sizeof(SettingText);  // byte limit, including the terminating zero byte
    const char* defaultValue = nullptr;  // shown if the key is missing
    bool mayBeEmpty = false;             // otherwise an empty text is saved as the default value
    bool keepIfAbsent = false;           // otherwise an absent field is an empty text
    const char* enabledBy = nullptr;     // the field is ignored unless this switch field is on

    void (*normalise)(SettingText& submitted) = nullptr;  // called before the text is compared
};

using Setting = std::variant<Switch, Text>;

struct SettingsPage {
    std::span<const Setting> settings;
    int restartFailureNumber;
    int restartLogNumber = 0;  // the number in the log line of a failed restart; 0 for no log line
};

// The table of each page is defined in the page's source file.
// NOLINTBEGIN(bugprone-dynamic-static-initializers): the definitions are constexpr
extern const SettingsPage BROWSING_PAGE;
extern const SettingsPage DMA_PAGE;  // conversion for digital media adapters (DMA), that is, players
extern const SettingsPage GENERAL_PAGE;
// NOLINTEND(bugprone-dynamic-static-initializers)

// An eventText function that returns the written text.
std::string WrittenText(const char* written);
