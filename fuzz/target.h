// Functions that all fuzz targets use.
#pragma once

#include <string_view>

#include "platform/text/scanning.h"

// Runs the code under test with one input and checks the rules for its results. Every target defines this
// function. libFuzzer limits time and memory.
void Try(std::string_view input);

// Ends the run with a message if the condition is false.
void Require(bool condition, const char* rule);

// Removes and returns the first piece of an input that consists of several pieces.
inline std::string_view TakePiece(std::string_view& input) { return ConsumeUntil(input, "\n--\n"); }
