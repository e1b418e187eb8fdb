// The users of the system's user database (getpwnam_r(3)).
#pragma once

#include <cstdint>

struct VexaUser {
    uint32_t uid;
};

// Looks up `name` and sets `record` to a record of its own. Returns 0, or -1 with `record` as it was when
// there is no such user.
int VEXAUserGet(const char* name, VexaUser** record);

void VEXAUserFree(VexaUser* record);
