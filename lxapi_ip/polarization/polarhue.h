// The hue wheel of the colour image of degree and angle of polarization: the angle picks the hue,
// the degree how far the pixel is from white (or, in dark mode, from black).
//
// One branch-free formula per pixel (HuePixel), with AVX2 and AVX-512 line forms beside the line
// kernels. Every form gives the same integers because the arithmetic is exact: the one quotient is
// estimated in single precision and corrected by its remainder. The facts every form reads (sextant
// bounds, reciprocals, channel roles) are kept here once.
#pragma once

#include <cstdint>

namespace lxpol {

struct HueWheel {
    uint32_t m = 255;          // the depth's maximum
    uint32_t phaseOffset = 0;  // phase * m / 255
    bool inversion = false, dark = false;
    // Sextant k runs from h[k] = k * m / 6 to h[k + 1] (h[6] = m); reciprocal[k] = 1 / (h[k + 1] - h[k]).
    // Zeros pad both to whole 512-bit vectors, so that the vector forms load their tables of sextant
    // starts (h), ends (h + 1) and reciprocals straight from here.
    uint32_t h[17] = {};
    float reciprocal[16] = {};

    HueWheel() = default;
    // The phase is taken in [0, 255], as the module keeps it, so that one subtraction of m brings
    // every hue into [0, m].
    HueWheel(uint32_t depthMax, int32_t phase, bool inversion_, bool dark_)
        : m(depthMax), phaseOffset(uint32_t((int64_t(phase < 0 ? 0 : phase > 255 ? 255 : phase) * depthMax) / 255)),
          inversion(inversion_), dark(dark_) {
        for (uint32_t k = 1; k <= 5; ++k) h[k] = (k * m) / 6;
        h[6] = m;
        for (uint32_t k = 0; k < 6; ++k) reciprocal[k] = 1.0f / float(h[k + 1] - h[k]);
    }
};

// The functions below are compiled into each instruction-set unit with that unit's flags. They live in
// an unnamed namespace so that every unit keeps its own copy: the linker must not merge a vector
// unit's copy into the portable one.
// The sextants (bit k for sextant k) in which a channel is on the ramp, and in which it is high; in
// the others it is low. Red: low, low, ramp, high, high, ramp; green: ramp, high, high, ramp, low, low;
// blue: high, ramp, low, low, ramp, high.
struct HueRoles {
    uint32_t ramp, high;
};
inline constexpr HueRoles kHueRed{0x24, 0x18}, kHueGreen{0x09, 0x06}, kHueBlue{0x12, 0x21};

namespace {

// Red, green and blue of a pixel of degree `degree` (at most m) and angle `angle` (at most m).
//
// The hue runs through six sextants: in each, one channel is low, one high and one on a ramp that
// rises from the sextant's start (even sextants) or falls towards its end (odd ones); a hue of m is
// the end of sextant 5. The ramp is low + floor((high - low) * t / width), t the distance into the
// sextant: below 2^22, so its single-precision estimate is within one of the quotient.
inline void HuePixel(const HueWheel& w, uint32_t degree, uint32_t angle, uint32_t& red, uint32_t& green,
                     uint32_t& blue) {
    const uint32_t m = w.m;
    uint32_t hue = (w.inversion ? m - angle : angle) + w.phaseOffset;
    hue = hue > m ? hue - m : hue;
    const uint32_t low = w.dark ? 0 : m - degree, high = w.dark ? degree : m;
    const uint32_t k = uint32_t(hue >= w.h[1]) + uint32_t(hue >= w.h[2]) + uint32_t(hue >= w.h[3]) +
                       uint32_t(hue >= w.h[4]) + uint32_t(hue >= w.h[5]);
    const uint32_t start = w.h[k], end = w.h[k + 1];
    const int32_t width = int32_t(end - start);
    const int32_t t = int32_t((k & 1) ? end - hue : hue - start);
    const int32_t n = int32_t(high - low) * t;
    int32_t q = int32_t(float(n) * w.reciprocal[k]);
    const int32_t r = n - q * width;
    q += (r >= width ? 1 : 0) - (r < 0 ? 1 : 0);
    const uint32_t ramp = low + uint32_t(q), bit = 1u << k;
    auto channel = [&](HueRoles roles) { return (bit & roles.ramp) ? ramp : (bit & roles.high) ? high : low; };
    red = channel(kHueRed);
    green = channel(kHueGreen);
    blue = channel(kHueBlue);
}

// The hue wheel over a line: degree and angle in, red, green and blue lines out.
template <class S>
inline void HueLineOf(const S* degree, const S* angle, uint16_t* red, uint16_t* green, uint16_t* blue, uint32_t cols,
                      const HueWheel& w) {
    for (uint32_t x = 0; x < cols; ++x) {
        uint32_t r, g, b;
        HuePixel(w, degree[x], angle[x], r, g, b);
        red[x] = uint16_t(r), green[x] = uint16_t(g), blue[x] = uint16_t(b);
    }
}

} // namespace

} // namespace lxpol
