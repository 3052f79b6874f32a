// Sample movers of the reverse converter: flips and quarter turns of one image plane, for pixels of
// 1, 2, 3, 4, 6 and 8 bytes. A pixel moves whole (all its samples, in their order) and unchanged.
#pragma once

#include "kernels/cpudispatch.h"

#include <cstddef>
#include <cstdint>

namespace lxreverse {

// The geometric operation, by its code; W and H are the source's width and height, and (x, y) goes
// to the destination pixel in the comment. Codes 4 to 7 exchange width and height.
enum class Operation : uint8_t {
    None = 0,          // (x, y)
    FlipX = 1,         // (W - 1 - x, y)
    FlipY = 2,         // (x, H - 1 - y)
    FlipXY = 3,        // (W - 1 - x, H - 1 - y)
    Clockwise = 4,     // (H - 1 - y, x)
    Counterclockwise = 5, // (y, W - 1 - x)
    Transpose = 6,     // (y, x)
    AntiTranspose = 7, // (H - 1 - y, W - 1 - x)
};
constexpr bool SwapsAxes(Operation op) noexcept { return static_cast<uint8_t>(op) >= 4; }

// One plane: `width` x `height` pixels of the source, and a destination large enough for the result
// (height x width for the operations that exchange the axes). The two must not overlap. Bytes of a
// destination line behind the pixels (padding) are not written.
struct Plane {
    const uint8_t* src;
    size_t srcPitch;
    uint8_t* dst;
    size_t dstPitch;
    size_t width;
    size_t height;
};

// The pixel sizes served, and the index of a size in the movers' table (-1 for any other).
constexpr size_t kPixelSizes[] = {1, 2, 3, 4, 6, 8};
constexpr int PixelSizeIndex(size_t pixelBytes) noexcept {
    for (int i = 0; i < 6; ++i)
        if (kPixelSizes[i] == pixelBytes) return i;
    return -1;
}

using MoverFn = void (*)(const Plane& plane, Operation op);
struct MoverTable {
    MoverFn movers[6]; // by PixelSizeIndex
};

// The forms of the family for the processor dispatcher.
const lxcpu::KernelForms<MoverTable>& Forms() noexcept;
const MoverTable& PortableMovers() noexcept;
const MoverTable* Avx2Movers() noexcept; // null when the build has no AVX2 form

// Moves the pixels of `plane` by `op` with the form the dispatcher chooses. `pixelBytes` must be one
// of kPixelSizes; an operation above 7 does nothing.
void Move(const Plane& plane, size_t pixelBytes, Operation op);

} // namespace lxreverse
