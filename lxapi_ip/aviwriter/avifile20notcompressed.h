// Uncompressed frames in OpenDML files: bottom-up DIB frames as chunks "00db".
#pragma once

#include "avifile20.h"

#include <cstdint>
#include <vector>

namespace lxavi {

// The header block of an uncompressed OpenDML stream: RIFF, LIST hdrl, avih, LIST strl, strh "vids"
// "DIB ", strf with a BITMAPINFOHEADER (and a palette of 256 entries for 8 bits). 212 bytes, 1236 with
// the palette.
std::vector<uint8_t> NotCompressedHeader20(const StreamFormat20& format);

} // namespace lxavi
