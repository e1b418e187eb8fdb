#include "collections/login_user.h"

#include <syslog.h>

#include "mediaserv/media_service_handler.h"
#include "platform/system/users.h"

std::string UserKey(uint32_t uid) { return std::to_string(uid); }

bool MediaServiceHandler::GetLoginUid(uint32_t& uid) const {
    VexaUser* user = nullptr;
    const bool found = VEXAUserGet(web_.GetLoginUserName().c_str(), &user) != -1;
    if (found) {
        uid = user->uid;
    } else {
        syslog(LOG_ERR, "%s:%d Failed to get login user", SOURCE_NAME, 1475);
    }
    if (user != nullptr) {
        VEXAUserFree(user);
    }
    return found;
}
