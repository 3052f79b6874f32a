// TIFF files of the still image filer, written by hand: uncompressed, little endian, one IFD, one
// strip per plane. Mono8 (grey, or with a palette when the colour map is not the grey ramp), Mono16,
// RGB8, RGBa8, RGB8_Planar, RGB16 and RGB16_Planar; the filer converts the rest of its TIFF formats to
// these first. The whole file is composed in one block and handed to the file in one write.
#pragma once

#include "stillimage/lxfile.h"

#include <lxapi/ilximage.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace lxtiff {

// Whether the writer takes images of this format as they are.
bool IsTiffFormat(uint32_t pixelFormat) noexcept;

// A composed file: every byte defined, the parts without a value zero.
struct Block {
    std::unique_ptr<uint8_t[]> bytes;
    size_t size = 0;
};

// The whole file for `image`, header, directory, values and pixels. Throws "Not supported pixelformat
// %s" for a format the writer does not take, "File %s is unwritable." (with `name`) for an image whose
// file would pass the 4 GiB that TIFF offsets reach.
Block ComposeTiff(const std::string& name, ILxImage* image, int32_t colorMapType, bool colorMapInversion,
                                 int32_t colorMapPhase);

// Writes `image` to the open `file`. Every failure, an unsupported format included, throws "File %s
// is unwritable.".
void WriteTiff(ILxImage* image, lxfile::CFile& file, int32_t colorMapType, bool colorMapInversion,
               int32_t colorMapPhase);

} // namespace lxtiff
