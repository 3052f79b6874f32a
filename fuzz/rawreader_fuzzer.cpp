// Fuzzes the raw ("LXRW") reader of the still image filer: any bytes behind the magic, loaded as a
// file. The pixel block must lie in the file before the buffer is made, so the input's length bounds
// the memory a run takes.
#include "filer_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 1024 * 1024) return 0;
    lxfuzz::LoadAsFile(data, size, "LXRW");
    return 0;
}
