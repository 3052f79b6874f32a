// What the kernels need to know of a Bayer mosaic, derived from its colour filter code
// (ELxColorFilter_t, the code the format information gives for pixel (0, 0)).
//
// A mosaic repeats a 2x2 tile with red and blue on opposite corners and green on the other two. The
// code of pixel (0, 0) tells the tile: Red for RG, GreenR for GR, GreenB for GB, Blue for BG.
#pragma once

#include <lxapi/ilxpixelformatinfo.h>

#include <cstddef>
#include <cstdint>

namespace lxip {

// Whether a code names one of the four Bayer phases.
constexpr bool IsBayerPhase(uint32_t filter) noexcept {
    return filter >= LxColorFilter_Red && filter <= LxColorFilter_Blue;
}

// Column and row of red within the tile of a mosaic whose pixel (0, 0) has the code `phase`
// (a Bayer phase); blue lies in the other column and the other row.
constexpr unsigned RedColumn(uint32_t phase) noexcept {
    return phase == LxColorFilter_GreenR || phase == LxColorFilter_Blue ? 1 : 0;
}
constexpr unsigned RedRow(uint32_t phase) noexcept {
    return phase == LxColorFilter_GreenB || phase == LxColorFilter_Blue ? 1 : 0;
}

// The code of pixel (x, y): Red, Blue, GreenR (green on a line with red) or GreenB. With (x, y) one of
// the other three corners of the tile it is also the phase of the mosaic that starts there: (0, 1)
// gives the phase of the mosaic flipped upside down when its height is even.
constexpr ELxColorFilter_t BayerSite(uint32_t phase, size_t x, size_t y) noexcept {
    const bool redLine = (y & 1) == RedRow(phase), redColumn = (x & 1) == RedColumn(phase);
    if (redLine) return redColumn ? LxColorFilter_Red : LxColorFilter_GreenR;
    return redColumn ? LxColorFilter_GreenB : LxColorFilter_Blue;
}

// Channel of an RGB triple (0 red, 1 green, 2 blue) that pixel (x, y) of the mosaic samples.
constexpr unsigned BayerChannel(uint32_t phase, size_t x, size_t y) noexcept {
    switch (BayerSite(phase, x, y)) {
    case LxColorFilter_Red: return 0;
    case LxColorFilter_Blue: return 2;
    default: return 1;
    }
}

} // namespace lxip
