// What the settings pages have in common: a page is a table of settings, in the order in which they are
// written. A setting is a switch or a text.
#pragma once

#include <json/value.h>

#include <span>
#include <string>
#include <variant>

#include "settings/settings_file.h"

// Holds the longest text of a page.
using SettingText = TextBuffer<256>;

// What the daemon needs to take a change over.
enum class Needs : char { Restart, Reload };

// What belongs to switching on and to switching off.
template <typename T>
struct OnOff {
    T on{};
    T off{};
};

struct Switch {
    const char* field;             // form field and JSON member
    const char* key;               // in the settings file
    OnOff<int> failedLine;         // the error's line when the write fails
    Needs needs = Needs::Restart;  // what a change needs
    OnOff<unsigned int> event{};   // recorded after the write; 0 for none

    bool (*read)(const char* key) = ReadSwitch;
    int (*afterWrite)(bool on) = nullptr;  // returns the line of a failure, else 0
};

struct Text {
    const char* field;  // as of a switch
    const char* key;
    int failedLine;
    Needs needs = Needs::Restart;
    unsigned int event = 0;
    std::string (*eventText)(const char* written) = nullptr;  // null for an empty one

    size_t bytes = sizeof(SettingText);  // the bound, terminator included
    const char* fallback = nullptr;  // shown when the key is missing; null when the page shows it on its own
    bool mayBeEmpty = false;         // else an empty text is saved as the fallback
    bool absentIsStored = false;     // a field that was not sent changes nothing; else it counts as empty
    const char* gate = nullptr;      // the switch field that must be on for the field to be looked at

    void (*normalise)(SettingText& submitted) = nullptr;
    int (*write)(const char* key, const char* value) = WriteSetting;
};

using Setting = std::variant<Switch, Text>;

struct SettingsPage {
    std::span<const Setting> settings;
    int restartFailedLine;
};

// The page's stored settings by JSON member: switches as booleans, texts as strings.
Json::Value LoadSettings(const SettingsPage& page);

// For Text::eventText: the text that was written.
std::string WrittenText(const char* written);
