// The row kernels of the YCbCr conversions, one table per instruction-set level. A vector row
// handles a leading part of its line and returns how many pixels it did, on whole groups; the
// portable row finishes the line.
#pragma once

#include "toycbcr.h"

namespace lxycc::detail {

// Clamping of a 22-bit fixed-point sum into [lo, hi].
struct Bounds {
    int32_t yLo, yHi, cLo, cHi;
};
Bounds BoundsOf(CoefficientSet set) noexcept;

struct RowKernels {
    // BGR8 or RGB8 (step 3) to 4:2:2 in the order Y Cb Y Cr or Cb Y Cr Y, one set.
    size_t (*color3To422)(const uint8_t* src, bool blueFirst, uint8_t* dst, const Layout& layout, size_t width);
    // BGR8 or RGB8 (step 3) to the Y line of 4:2:0, and on chroma lines the pairs' Cb and Cr.
    size_t (*color3To420)(const uint8_t* src, bool blueFirst, uint8_t* y, uint8_t* cb, uint8_t* cr, size_t width);
    // 4:2:2 to BGR8 or RGB8 (step 3).
    size_t (*ycc422ToColor3)(const uint8_t* src, const Layout& layout, uint8_t* dst, bool blueFirst, size_t width);
};

// Nothing done: the portable rows do the whole line.
size_t NoColor3To422(const uint8_t*, bool, uint8_t*, const Layout&, size_t);
size_t NoColor3To420(const uint8_t*, bool, uint8_t*, uint8_t*, uint8_t*, size_t);
size_t NoYcc422ToColor3(const uint8_t*, const Layout&, uint8_t*, bool, size_t);

#if defined(__x86_64__) || defined(__i386__)
namespace avx2 {
size_t Color3To422(const uint8_t* src, bool blueFirst, uint8_t* dst, const Layout& layout, size_t width);
size_t Color3To420(const uint8_t* src, bool blueFirst, uint8_t* y, uint8_t* cb, uint8_t* cr, size_t width);
size_t Ycc422ToColor3(const uint8_t* src, const Layout& layout, uint8_t* dst, bool blueFirst, size_t width);
} // namespace avx2
#endif

} // namespace lxycc::detail
