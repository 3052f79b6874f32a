// Motion JPEG frames in OpenDML files: one JPEG image per chunk "00dc".
#pragma once

#include "avifile20.h"

#include <cstdint>
#include <vector>

namespace lxavi {

// The header block of an MJPEG OpenDML stream: RIFF, LIST hdrl, avih, LIST strl, strh "vids" "MJPG",
// strf with a BITMAPINFOHEADER of compression "MJPG", strn "MJPG Out". 284 bytes.
std::vector<uint8_t> MJPEGHeader20(const StreamFormat20& format);

} // namespace lxavi
