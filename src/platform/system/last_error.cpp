#include "platform/system/last_error.h"

namespace {

struct {
    int code;
    const char* file;
    int line;
} lastError = {};

}  // namespace

void VLIBCErrSetEx(int code, const char* file, int line) { lastError = {code, file, line}; }

int VLIBCErrGet() { return lastError.code; }
