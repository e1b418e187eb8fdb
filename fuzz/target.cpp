#include "fuzz/target.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>

void Require(bool condition, const char* rule) {
    if (!condition) {
        fprintf(stderr, "Violated rule: %s\n", rule);
        abort();
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Try({reinterpret_cast<const char*>(data), size});
    return 0;
}
