// Chroma suppression kernels: pull red and blue towards green in pixels whose luminance lies outside
// [low, high]. One kernel for 8-bit and 16-bit samples, three or four samples a pixel.
#pragma once

#include <cstddef>
#include <cstdint>

namespace lxchroma {

// What one image is filtered with. Thresholds are luminances in 8-bit units; `shift` brings the
// luminance of deeper samples there (bits - 8).
struct Params {
    uint32_t low;         // below it the low part's suppression applies
    uint32_t high;        // above it the high part's
    uint32_t suppressLow;
    uint32_t suppressHigh;
    unsigned shift;
};

// An image in place: `height` lines of `width` pixels at `pitch` bytes, `step` samples a pixel
// (3 or 4), blue at sample `blue` and red at sample `red` (0 and 2, or 2 and 0), green at 1. Sample
// is uint8_t or uint16_t; 16-bit lines may start on any address.
struct Image {
    uint8_t* base;
    size_t width;
    size_t height;
    size_t pitch;
    size_t step;
    size_t blue;
    size_t red;
};

void Suppress8(const Image& image, const Params& params);
void Suppress16(const Image& image, const Params& params);

// The forms of the 8-bit kernel by instruction set (see kernels/cpudispatch.h).
struct Kernels {
    void (*suppress8)(const Image&, const Params&);
};
// For the tests: the level the 8-bit kernel runs at under `allowed`.
unsigned LevelAt(unsigned allowed);

namespace detail {
void Suppress8Portable(const Image& image, const Params& params);
void Suppress8Avx2(const Image& image, const Params& params);
void Suppress8Avx512(const Image& image, const Params& params);
// Pixels [from, width) of line `line`, 8-bit: the tail of a vector form.
void Suppress8Pixels(uint8_t* line, size_t from, size_t width, const Image& image, const Params& params);
} // namespace detail

// True when no pixel can change: no luminance lies below a low part that pulls, and none above a high
// part that pulls. `maxLuminance` is the largest luminance the samples can give: 255 for 8-bit ones,
// 65535 >> shift for 16-bit ones (a sample with bits above the format's depth reaches above 255).
inline bool LeavesEveryPixel(const Params& p, uint32_t maxLuminance) {
    return (p.low == 0 || p.suppressLow == 0) && (p.high >= maxLuminance || p.suppressHigh == 0);
}

// One component pulled towards green: t = (G - c) * k in 32-bit two's complement; a positive t adds
// t >> 8 up to G, a negative one takes (-t) >> 8 away down to G. A component never passes G.
inline uint32_t Pull(uint32_t c, uint32_t g, uint32_t k) {
    const int32_t t = static_cast<int32_t>((g - c) * k); // wraps as 32-bit arithmetic does
    if (t == 0) return c;
    if (t > 0) {
        const uint32_t moved = c + (static_cast<uint32_t>(t) >> 8);
        return moved < g ? moved : g;
    }
    const uint32_t u = (0u - static_cast<uint32_t>(t)) >> 8;
    return g + u <= c ? c - u : g;
}

// The pull of a pixel of luminance y; 0 when the pixel stays.
inline uint32_t Strength(uint32_t y, const Params& p) {
    uint32_t k = y < p.low ? (p.low - y + 1) * p.suppressLow : 0;
    if (y > p.high) {
        const uint32_t h = (y - p.high + 1) * p.suppressHigh;
        if (h > k) k = h;
    }
    return k;
}

} // namespace lxchroma
