// CSV image files: three header lines (Width=, Height=, PixelFormat=), then one text line per row of
// samples, each value in decimal followed by a comma. Every packed layout is unpacked on the way.
#pragma once

#include <lxapi/ilximage.h>

#include <cstdint>
#include <span>
#include <string>

namespace lxcsv {

// The formats the writer takes, in the order of its table.
std::span<const uint32_t> CsvFormats() noexcept;
bool IsCsvFormat(uint32_t pixelFormat) noexcept;

// Creates `fileName` and writes `image` into it. Any failure, an unknown format included, throws
// "File %s is unwritable.".
void WriteCsv(ILxImage* image, const std::string& fileName);

} // namespace lxcsv
