// JPEG files of the still image filer: Mono8, Mono10, RGB8, BGR8, YCbCr8, YCbCr422_8 and YCbCr411_8
// through the baseline encoder, grey as one component, colour as YCbCr.
#pragma once

#include "stillimage/lxfile.h"

#include <lxapi/ilximage.h>

#include <cstdint>

namespace lxjpegwriter {

// Whether the writer takes images of this format as they are.
bool IsJpegFormat(uint32_t pixelFormat) noexcept;

// Writes `image` to the open `file` at `quality` (above 100 counts as 100). Another format throws
// "Not supported pixelformat %s"; a failed write or an encoder failure throws "File %s is unwritable."
// and an allocation failure BadAllocException.
void WriteJpeg(ILxImage* image, lxfile::CFile& file, uint32_t quality);

} // namespace lxjpegwriter
