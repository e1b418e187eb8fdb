// The last error of the platform layer. The interface is that of the appliance's system library: it records
// file and line, which nothing reads here.
#pragma once

constexpr int VLIB_ERR_FAIL = 0x0100;
constexpr int VLIB_ERR_BAD_PARAMETERS = 0x0D00;

// Records an error: its code, and the source file and line where it occurred.
void VLIBCErrSetEx(int code, const char* file, int line);

// Returns the code of the last recorded error; 0 if there is none.
int VLIBCErrGet();
