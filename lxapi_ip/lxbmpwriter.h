// Windows bitmaps of the still image filer: Mono8 with a palette, Mono10 to Mono16 as 16-bit
// BI_BITFIELDS files whose three masks cover the significant bits, BGR8, BGRa8 and CBGR10p32.
#pragma once

#include "stillimage/lxfile.h"

#include <lxapi/ilximage.h>

#include <cstdint>

namespace lxbmp {

// Whether the writer takes images of this format as they are.
bool IsBitmapFormat(uint32_t pixelFormat) noexcept;

// Writes `image` to the open `file`. A Mono8 image carries the colour map (type, inversion, phase) as
// its palette, the grey ramp included. Rows are written bottom up, each padded to a multiple of 4
// bytes.
void WriteBitmap(ILxImage* image, lxfile::CFile& file, int32_t colorMapType, bool colorMapInversion,
                 int32_t colorMapPhase);

// Reads a bitmap of the kinds the writer makes (also top-down ones) into `buffer`. Anything else
// throws "File %s is unreadable."; the sizes are checked against the file before the buffer is
// touched.
void ReadBitmap(ILxImageBuffer* buffer, lxfile::CFile& file);

} // namespace lxbmp
