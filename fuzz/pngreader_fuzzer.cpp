// Fuzzes the PNG reader of the still image filer (libpng under it): any bytes behind the PNG
// signature, loaded as a file. The reader refuses dimensions that the file's length cannot inflate to
// before it allocates the rows, so the input's length bounds the memory a run takes.
#include "filer_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 1024 * 1024) return 0;
    lxfuzz::LoadAsFile(data, size, std::string("\x89PNG\r\n\x1a\n", 8));
    return 0;
}
