#include "platform/text/log_text.h"

namespace {

// Long enough for every path (PATH_MAX).
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
