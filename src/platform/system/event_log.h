// The system event log. The interface is that of the appliance's system library; here it is a syslog(3) line.
#pragma once

// Logs one event at LOG_NOTICE with all arguments; the texts are escaped. Always returns 0.
int VEXALogSet1(int level, int user, unsigned int eventCode, const char* text1, const char* text2,
                const char* text3, const char* text4);
