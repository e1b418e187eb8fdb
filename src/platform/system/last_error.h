// The last error of an operation of this layer.
#pragma once

constexpr int VLIB_ERR_FAIL = 0x0100;
constexpr int VLIB_ERR_BAD_PARAMETERS = 0x0D00;

// Records the last error: its code, and the source file and line where it arose. Get returns the code, 0 when
// there was none.
void VLIBCErrSetEx(int code, const char* file, int line);
int VLIBCErrGet();
