// Fuzzes the BMP reader of the still image filer: any bytes behind "BM", loaded as a file. Sizes in the
// header are checked against the file's length before anything is allocated, so the input's length
// bounds the memory a run takes.
#include "filer_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 1024 * 1024) return 0;
    lxfuzz::LoadAsFile(data, size, "BM");
    return 0;
}
