#include "avifile20notcompressed.h"

#include "avifile20header.h"
#include "../stillimage/lxfile.h"

namespace lxavi {

std::vector<uint8_t> NotCompressedHeader20(const StreamFormat20& f) {
    const bool palette = f.bitCount <= 8;
    const uint32_t frameBytes = f.height * f.pitch;
    HeaderParts20 parts{};
    parts.headerBytes = palette ? 1236 : 212;
    parts.avihFlags = 16 | 2048; // AVIF_HASINDEX | AVIF_TRUSTCKTYPE
    parts.lineBytes = frameBytes;
    parts.handler = FourCC("DIB ");
    parts.strhQuality = 0;
    parts.infoBytes = palette ? 1064 : 40;
    parts.compression = 0; // BI_RGB
    parts.bitCount = f.bitCount;
    parts.imageSize = frameBytes;
    std::vector<uint8_t> block = CommonHeader20(f, parts);
    if (palette) {
        uint8_t* info = block.data() + 172;
        lxfile::StoreLE32(info + 32, 256); // colours used
        lxfile::StoreLE32(info + 36, 256); // colours important
        uint8_t* quad = info + 40;
        for (int i = 0; i < 256; ++i, quad += 4) {
            if (f.palette) {
                quad[0] = f.palette[4 * i];
                quad[1] = f.palette[4 * i + 1];
                quad[2] = f.palette[4 * i + 2];
            } else {
                quad[0] = quad[1] = quad[2] = static_cast<uint8_t>(i);
            }
            quad[3] = 0;
        }
    }
    return block;
}

} // namespace lxavi
