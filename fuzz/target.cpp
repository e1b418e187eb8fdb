#include "fuzz/target.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>

void Require(bool holds, const char* what) {
    if (!holds) {
        fprintf(stderr, "It doesn't hold: %s\n", what);
        abort();
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Try({reinterpret_cast<const char*>(data), size});
    return 0;
}
