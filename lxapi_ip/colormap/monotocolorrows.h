// Row kernels of the mono to colour conversions by instruction-set level. A vector row does a
// leading part of its line and returns how many pixels it did; the portable row finishes the line.
#pragma once

#include <cstddef>
#include <cstdint>

namespace lxcmap::detail {

struct MonoRows {
    // The identity map into 3 samples a pixel: every channel takes the value.
    size_t (*grey3)(const uint8_t* src, uint8_t* dst, size_t width);
};

#if defined(__x86_64__) || defined(__i386__)
namespace avx2 {
size_t Grey3(const uint8_t* src, uint8_t* dst, size_t width);
} // namespace avx2
#endif

} // namespace lxcmap::detail
