// The system event log. The interface is that of the appliance's system library: it always returns 0.
#pragma once

// Records one event: a syslog(3) line at LOG_NOTICE with all arguments, the texts escaped. Returns 0.
int VEXALogSet1(int level, int user, unsigned int eventCode, const char* text1, const char* text2,
                const char* text3, const char* text4);
