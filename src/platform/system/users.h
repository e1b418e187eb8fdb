// The system's user database (getpwnam_r(3)). The interface is that of the appliance's system library: it
// allocates a record, which the caller frees.
#pragma once

#include <cstdint>

struct VexaUser {
    uint32_t uid;
};

// Looks up the user `name` and sets `record` to a new record, which the caller frees with VEXAUserFree.
// Returns 0, or -1 with `record` unchanged if the user does not exist.
int VEXAUserGet(const char* name, VexaUser** record);

void VEXAUserFree(VexaUser* record);
