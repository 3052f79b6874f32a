#include "avifile20header.h"

#include "../stillimage/lxfile.h"

#include <cstring>

namespace lxavi {

using lxfile::StoreLE16;
using lxfile::StoreLE32;

std::vector<uint8_t> CommonHeader20(const StreamFormat20& f, const HeaderParts20& parts) {
    std::vector<uint8_t> block(parts.headerBytes, 0);
    uint8_t* h = block.data();
    const uint32_t n = static_cast<uint32_t>(COpenDMLWriter::SuperIndexBytes);
    // hdrl runs from its type at 20 to the end of the odml list; strl from its type at 96 to the end
    // of the super index.
    const uint32_t hdrlBytes = parts.headerBytes + n + static_cast<uint32_t>(COpenDMLWriter::OdmlListBytes) - 20;
    const uint32_t strlBytes = parts.headerBytes + n - 96;
    const uint32_t scale = f.scale ? f.scale : 1;
    const uint32_t rate = f.rate ? f.rate : 1;

    StoreLE32(h + 0, FourCC("RIFF"));
    StoreLE32(h + 8, FourCC("AVI "));
    StoreLE32(h + 12, FourCC("LIST"));
    StoreLE32(h + 16, hdrlBytes);
    StoreLE32(h + 20, FourCC("hdrl"));
    StoreLE32(h + 24, FourCC("avih"));
    StoreLE32(h + 28, 56);
    StoreLE32(h + 32, static_cast<uint32_t>(uint64_t{scale} * 1000000 / rate)); // microseconds per frame
    StoreLE32(h + 36, (rate / scale + 1) * parts.lineBytes);                  // max bytes per second
    StoreLE32(h + 40, static_cast<uint32_t>(CDirectFile::Granule));             // padding granularity
    StoreLE32(h + 44, parts.avihFlags);
    StoreLE32(h + 48, f.maxFrames);
    StoreLE32(h + 56, 1); // streams
    StoreLE32(h + 64, f.width);
    StoreLE32(h + 68, f.height);
    StoreLE32(h + 88, FourCC("LIST"));
    StoreLE32(h + 92, strlBytes);
    StoreLE32(h + 96, FourCC("strl"));
    StoreLE32(h + 100, FourCC("strh"));
    StoreLE32(h + 104, 56);
    StoreLE32(h + 108, FourCC("vids"));
    StoreLE32(h + 112, parts.handler);
    StoreLE32(h + 128, scale);
    StoreLE32(h + 132, rate);
    StoreLE32(h + 140, f.maxFrames);
    StoreLE32(h + 148, parts.strhQuality);
    StoreLE16(h + 160, static_cast<uint16_t>(f.width)); // rcFrame right and bottom
    StoreLE16(h + 162, static_cast<uint16_t>(f.height));
    StoreLE32(h + 164, FourCC("strf"));
    StoreLE32(h + 168, parts.infoBytes);
    StoreLE32(h + 172, 40);
    StoreLE32(h + 176, f.width);
    StoreLE32(h + 180, f.height);
    StoreLE16(h + 184, 1); // planes
    StoreLE16(h + 186, parts.bitCount);
    StoreLE32(h + 188, parts.compression);
    StoreLE32(h + 192, parts.imageSize);
    return block;
}

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
        StoreLE32(info + 32, 256); // colours used
        StoreLE32(info + 36, 256); // colours important
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
    StoreLE32(strn, FourCC("strn"));
    StoreLE32(strn + 4, 64);
    std::memcpy(strn + 8, "MJPG Out", 8);
    return block;
}

} // namespace lxavi
