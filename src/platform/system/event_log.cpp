#include "platform/system/event_log.h"

#include <syslog.h>

#include "platform/text/log_text.h"

int VEXALogSet1(int level, int user, unsigned int eventCode, const char* text1, const char* text2,
                const char* text3, const char* text4) {
    syslog(LOG_NOTICE, R"(event 0x%08X %d %d "%s" "%s" "%s" "%s")", eventCode, level, user,
           EscapeForLog(text1).c_str(), EscapeForLog(text2).c_str(), EscapeForLog(text3).c_str(),
           EscapeForLog(text4).c_str());
    return 0;
}
