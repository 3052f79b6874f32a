// PNG files of the still image filer, through libpng. Writing: Mono8 (grey, or a palette file when
// the colour map is not the grey ramp), Mono10 to Mono16 as 16-bit grey, RGB8, BGR8, RGB16 and BGR10
// to BGR16 as RGB files; 10 to 14 bit samples are scaled to 16 bits by libpng's shift. Reading: grey,
// palette, RGB and RGB with alpha files of any depth, 16-bit samples cut to their high byte and
// smaller ones unpacked to bytes, as Mono8, RGB8 or RGBa8.
#pragma once

#include "stillimage/lxfile.h"

#include <lxapi/ilximage.h>

#include <cstdint>

namespace lxpng {

// Whether the writer takes images of this format as they are.
bool IsPngFormat(uint32_t pixelFormat) noexcept;

// The largest width and height the reader accepts; larger ones are unreadable before any allocation.
constexpr uint32_t kMaxSide = 1u << 20;

// Writes `image` to the open `file`. A format the writer does not take throws "Not supported
// pixelformat %s"; every failure of libpng or of the file throws "File %s is unwritable.".
void WritePng(ILxImage* image, lxfile::CFile& file, int32_t colorMapType, bool colorMapInversion,
              int32_t colorMapPhase);

// Reads the PNG file `file` (positioned at its start) into `buffer`. Whatever libpng refuses, and
// what it reads but this reader has no pixel format for (grey with alpha), throws "File %s is
// unreadable." and leaves `buffer` as it was: the image is decoded whole before the buffer is made.
void ReadPng(ILxImageBuffer* buffer, lxfile::CFile& file);

} // namespace lxpng
