// The parts of the OpenDML header blocks that the codecs share: avih and strh, and the
// BITMAPINFOHEADER of strf.
#pragma once

#include "opendmllayout.h"

#include <cstdint>
#include <vector>

namespace lxavi {

// What differs between the codecs in the common part.
struct HeaderParts20 {
    uint32_t headerBytes;     // H: the block up to the super index
    uint32_t avihFlags;       // AVIF_HASINDEX (16), and AVIF_TRUSTCKTYPE (2048) for uncompressed
    uint32_t lineBytes;       // what a second of one frame per unit of rate/scale weighs
    uint32_t handler;         // strh's fccHandler
    uint32_t strhQuality;
    uint32_t infoBytes;       // strf's body: 40, or 1064 with a palette
    uint32_t compression;     // biCompression
    uint16_t bitCount;
    uint32_t imageSize;       // biSizeImage until the file is closed
};

// RIFF, LIST hdrl, avih, LIST strl, strh and the strf header with the BITMAPINFOHEADER, in a block of
// parts.headerBytes bytes (zero behind what is written here).
std::vector<uint8_t> CommonHeader20(const StreamFormat20& format, const HeaderParts20& parts);

// The header block of an uncompressed stream: strh "vids" "DIB ", strf with a BITMAPINFOHEADER (and a
// palette of 256 entries for 8 bits). 212 bytes, 1236 with the palette.
std::vector<uint8_t> NotCompressedHeader20(const StreamFormat20& format);

// The header block of an MJPEG stream: strh "vids" "MJPG", strf with a BITMAPINFOHEADER of compression
// "MJPG", strn "MJPG Out". 284 bytes.
std::vector<uint8_t> MJPEGHeader20(const StreamFormat20& format);

} // namespace lxavi
