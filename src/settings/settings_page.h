// What the settings pages have in common: a page is a table of settings, in the order in which they are
// written.
#pragma once

#include <json/value.h>

#include <span>
#include <string>

#include "settings/settings_file.h"

// Holds the longest text of a page; a switch is held as "yes" or "no".
using SettingText = TextBuffer<256>;

enum class Kind : char { Switch, SwitchUnlessNo, Text };

// What the daemon needs to take a change over.
enum class Needs : char { Restart, Reload };

// What belongs to the change to "yes" and to "no"; to a text belongs the first.
template <typename T>
struct YesNo {
    T yes{};
    T no{};
};

struct Setting {
    const char* field;  // form field and JSON member
    const char* key;    // in the settings file
    Kind kind = Kind::Text;
    Needs needs = Needs::Restart;
    YesNo<int> failedLine = {};       // the error's line when the write fails
    YesNo<unsigned int> events = {};  // recorded after the write; 0 for none

    // Of texts: the bound, terminator included, and what the page shows when the key is missing (null when
    // the page reports the text on its own).
    size_t bytes = sizeof(SettingText);
    const char* fallback = nullptr;
    bool emptyIsFallback = false;  // an empty text is saved as the fallback
    bool absentIsStored = false;   // a field that was not sent changes nothing; else it counts as empty
    const char* gate = nullptr;    // the switch field that must be on for the field to be looked at

    // What only one page does; null for nothing.
    void (*normalise)(SettingText& submitted) = nullptr;
    int (*write)(const char* value) = nullptr;              // instead of the plain write
    int (*afterWrite)(const char* value) = nullptr;         // returns the line of a failure, else 0
    std::string (*eventText)(const char* value) = nullptr;  // the event's first text
};

// The page's stored settings by JSON member: switches as booleans, texts as strings.
Json::Value LoadSettings(std::span<const Setting> page);

// For Setting::eventText: the text that was written.
std::string WrittenText(const char* value);
