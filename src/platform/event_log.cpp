#include "platform/event_log.h"

#include <syslog.h>

namespace {

// Longer than any path that exists.
constexpr size_t MAX_LOG_TEXT = 4096;

}  // namespace

std::string EscapeForLog(std::string_view text) {
    constexpr char HEX[] = "0123456789ABCDEF";
    std::string result;
    for (const char c : text.substr(0, MAX_LOG_TEXT)) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7F) {
            result += {'\\', 'x', HEX[byte / 16], HEX[byte % 16]};
        } else {
            if (c == '"' || c == '\\') {
                result += '\\';
            }
            result += c;
        }
    }
    return result;
}

int VEXALogSet1(int level, int user, unsigned int eventCode, const char* text1, const char* text2,
                const char* text3, const char* text4) {
    syslog(LOG_NOTICE, R"(event 0x%08X %d %d "%s" "%s" "%s" "%s")", eventCode, level, user,
           EscapeForLog(text1).c_str(), EscapeForLog(text2).c_str(), EscapeForLog(text3).c_str(),
           EscapeForLog(text4).c_str());
    return 0;
}
