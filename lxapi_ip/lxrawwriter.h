// Raw image files ("LXRW"): a header of 72 bytes and the image's buffer as it lies in memory, line
// padding included, for any pixel format.
#pragma once

#include "stillimage/lxfile.h"

#include <lxapi/ilximage.h>

namespace lxraw {

constexpr size_t kHeaderBytes = 72;

void WriteRaw(ILxImage* image, lxfile::CFile& file);

// Reads a raw file into `buffer`, which must be one of the library's buffers (its inside interface
// sets the stored line pitch). Every header field that sizes memory is checked against the file's
// length before the buffer is touched; anything wrong throws "File %s is unreadable.".
void ReadRaw(ILxImageBuffer* buffer, lxfile::CFile& file);

} // namespace lxraw
