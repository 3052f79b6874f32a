// Fuzzes the header reader of the lxip tool (`lxip info`): any first bytes of a file.
#include "../tools/lxip/header.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    lxtool::ReadHeader(data, size < lxtool::HeaderBytes ? size : lxtool::HeaderBytes);
    return 0;
}
