// Standard tables of baseline JPEG: the example quantisation tables (zigzag order, as they go to the
// file) with the quality scale, and the typical Huffman tables of ITU T.81 Annex K.3 to K.6.
#pragma once

#include <cstdint>

namespace lxjpeg {

extern const uint8_t kLuminanceQuant[64];
extern const uint8_t kChrominanceQuant[64];

// Scales a table in place for quality 1 to 100: the scale is 5000 / q below 50, else 200 - 2 q, and
// each value becomes (value x scale + 50) / 100, clamped to 1..255. Quality 0 leaves the table.
void ScaleQuantTable(uint8_t table[64], uint32_t quality) noexcept;

struct StandardHuffman {
    uint8_t counts[16];
    const uint8_t* values;
    uint32_t valueCount;
};
// In the order of the selector pairs (class, id): (0, 0), (1, 0), (0, 1), (1, 1).
extern const StandardHuffman kDcLuminance, kAcLuminance, kDcChrominance, kAcChrominance;

} // namespace lxjpeg
