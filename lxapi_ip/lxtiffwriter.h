// TIFF files of the still image filer, written by hand: uncompressed, little endian, one IFD, one
// strip per plane. Mono8 (grey, or with a palette when the colour map is not the grey ramp), Mono16,
// RGB8, RGBa8, RGB8_Planar, RGB16 and RGB16_Planar; the filer converts the rest of its TIFF formats to
// these first. Everything before the pixels is composed in one zeroed block; the block and the image's
// lines go to the file in one gathered write, the lines without a copy.
#pragma once

#include "stillimage/lxfile.h"

#include <lxapi/ilximage.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace lxtiff {

// Whether the writer takes images of this format as they are.
bool IsTiffFormat(uint32_t pixelFormat) noexcept;

// The part of a file before its pixels: header, directory, values, palette; every byte without a
// value zero. The pixels follow as `rows` lines of `rowBytes` bytes, taken from the image's buffer a
// line pitch apart (the planes of a planar image one after the other).
struct Head {
    std::vector<uint8_t> bytes;
    uint64_t rows = 0;
    size_t rowBytes = 0;
};

// The head of the file for `image`. Throws "Not supported pixelformat %s" for a format the writer
// does not take, "File %s is unwritable." (with `name`) for an image whose file would pass the 4 GiB
// that TIFF offsets reach or whose line pitch is shorter than its rows.
Head ComposeTiffHead(const std::string& name, ILxImage* image, int32_t colorMapType, bool colorMapInversion,
                     int32_t colorMapPhase);

// Writes `image` to the open `file`. Every failure, an unsupported format included, throws "File %s
// is unwritable.".
void WriteTiff(ILxImage* image, lxfile::CFile& file, int32_t colorMapType, bool colorMapInversion,
               int32_t colorMapPhase);

} // namespace lxtiff
