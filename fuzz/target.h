// What the fuzz targets share.
#pragma once

#include <string_view>

#include "platform/text/scanning.h"

// Tries one input: each target's own. What must hold of it stands there; libFuzzer bounds time and memory.
void Try(std::string_view input);

// Ends the run when what must hold doesn't.
void Require(bool holds, const char* what);

// Takes the first piece off an input of several.
inline std::string_view TakePiece(std::string_view& input) { return ConsumeUntil(input, "\n--\n"); }
