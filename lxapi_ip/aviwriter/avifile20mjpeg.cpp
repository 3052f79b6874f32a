#include "avifile20mjpeg.h"

#include "avifile20header.h"
#include "../stillimage/lxfile.h"

#include <cstring>

namespace lxavi {

std::vector<uint8_t> MJPEGHeader20(const StreamFormat20& f) {
    HeaderParts20 parts{};
    parts.headerBytes = 284;
    parts.avihFlags = 16; // AVIF_HASINDEX
    parts.lineBytes = f.width * f.height * 3;
    parts.handler = FourCC("MJPG");
    parts.strhQuality = f.quality * 100;
    parts.infoBytes = 40;
    parts.compression = FourCC("MJPG");
    parts.bitCount = 24;
    parts.imageSize = f.width * f.height * 3;
    std::vector<uint8_t> block = CommonHeader20(f, parts);
    uint8_t* strn = block.data() + 212;
    lxfile::StoreLE32(strn, FourCC("strn"));
    lxfile::StoreLE32(strn + 4, 64);
    std::memcpy(strn + 8, "MJPG Out", 8);
    return block;
}

} // namespace lxavi
