// The member name of a user's entry in the exposed collections file: the user id in decimal.
#pragma once

#include <cstdint>
#include <string>

std::string UserKey(uint32_t uid);
