#include "platform/system/users.h"

#include <pwd.h>

#include <cerrno>
#include <vector>

int VEXAUserGet(const char* name, VexaUser** record) {
    constexpr size_t MAX_ENTRY_BYTES = 1U << 20U;
    passwd entry = {};
    passwd* found = nullptr;
    std::vector<char> texts(1024);
    int error = 0;
    while ((error = getpwnam_r(name, &entry, texts.data(), texts.size(), &found)) == EINTR ||
           (error == ERANGE && texts.size() < MAX_ENTRY_BYTES)) {
        texts.resize(error == ERANGE ? texts.size() * 2 : texts.size());
    }
    if (error != 0 || found == nullptr) {
        return -1;
    }
    *record = new VexaUser{found->pw_uid};
    return 0;
}

void VEXAUserFree(VexaUser* record) { delete record; }
