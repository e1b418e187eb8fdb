// The user key of a user.
#pragma once

#include <cstdint>
#include <string>

// Returns the user id in decimal. It is the member name of the user's entry in the exposed collections file.
std::string UserKey(uint32_t uid);
