#include "daemon/events.h"

#include "platform/system/event_log.h"

void RecordEvent(unsigned int event, const std::string& text) {
    VEXALogSet1(2, 1, event, text.c_str(), "", "", "");
}
