// Colour transformation kernels: every pixel through three tables, one per input channel, whose
// records hold that channel's contribution to each output channel. The table folds the gain matrix,
// the offsets, hue and saturation; the kernels add and clamp, no floating point per pixel.
#pragma once

#include <cstddef>
#include <cstdint>

namespace lxct {

// One table record: words 0, 1, 2 are the contributions to the blue, green and red output; word 3 is
// padding, so that a record is one 16-byte vector.
struct alignas(16) Record {
    uint32_t word[4];
};

// Block b of a table of `bits`: 0 is looked up with the blue sample, 1 with green, 2 with red.
inline const Record* Block(const Record* table, unsigned bits, unsigned b) { return table + (size_t(b) << bits); }

// An image in place: `height` lines of `width` pixels at `pitch` bytes, `step` samples a pixel (3 or
// 4, a fourth sample is kept), blue at sample `blue` and red at sample `red` (0 and 2, or 2 and 0).
struct Image {
    uint8_t* base;
    size_t width;
    size_t height;
    size_t pitch;
    size_t step;
    size_t blue;
    size_t red;
};

// A wrapped 32-bit sum to the depth's range: above `max` it is `max` if it is below 0x10000000 (a
// large positive sum), else 0 (a negative sum that wrapped).
inline uint32_t Clamp(uint32_t sum, uint32_t max) {
    if (sum <= max) return sum;
    return sum < 0x10000000u ? max : 0u;
}

// 8-bit samples through a table of 8 bits.
void Transform8(const Image& image, const Record* table);
// 16-bit samples through a table of `bits`; a sample above the depth's maximum (bits set above the
// format's depth) is looked up as the maximum, so that no look-up leaves the table. Lines may start
// on any address.
void Transform16(const Image& image, const Record* table, unsigned bits);

// The forms of the 8-bit kernel by instruction set (see kernels/cpudispatch.h).
struct Kernels {
    void (*transform8)(const Image&, const Record*);
};
const Kernels& Active();
// For the tests: the level the 8-bit kernel runs at under `allowed`.
unsigned LevelAt(unsigned allowed);

namespace detail {
void Transform8Portable(const Image& image, const Record* table);
void Transform8Avx2(const Image& image, const Record* table);
void Transform8Avx512(const Image& image, const Record* table);
// Pixels [from, width) of line `line`, 8-bit: the tail of the vector form.
void Transform8Pixels(uint8_t* line, size_t from, size_t width, const Image& image, const Record* table);
} // namespace detail

} // namespace lxct
