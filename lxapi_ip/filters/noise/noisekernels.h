// Kernels of the noise reduction: rank filters over windows of same-colour neighbours, the
// subtraction of a stored dark image, and the repair of pixels that were saturated before it.
//
// A window of n values sorted largest first gives:
//   5 values: the third;  4 values: (second + third) >> 1;  3 values: the second;
//   2 values: (first + second) >> 1;  1 value: itself.
// Windows:
//   mono, inner pixels: the pixel and its four diagonal neighbours (an X, not a cross);
//   mono, first and last rows and columns: the pixel and its direct neighbours inside the image;
//   Bayer, red and blue: the pixel and the same colour 2 to the left, right, up and down;
//   Bayer, green: the pixel and its four diagonal neighbours;
//   at the edges of a Bayer image the neighbours outside are left out, except that a green pixel at
//   the origin also takes the green 2 to its right.
//
// Samples are 8 bits (one byte) or up to 16 bits (a little-endian word, lines at any address). The
// rank filters read a copy of the image and write the image; the repair reads and writes the image
// after the subtraction, in the order of its loops, so repaired pixels count for later windows.
#pragma once

#include "kernels/cpudispatch.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace lxnoise {

// A plane of one-component samples of type T (uint8_t or uint16_t).
template <class T>
struct Plane {
    uint8_t* base;
    size_t pitch;
    size_t width;
    size_t height;

    T At(size_t y, size_t x) const {
        T v;
        std::memcpy(&v, base + y * pitch + x * sizeof(T), sizeof(T));
        return v;
    }
    void Put(size_t y, size_t x, T v) const { std::memcpy(base + y * pitch + x * sizeof(T), &v, sizeof(T)); }
};

// The rank rule on n values (1 to 5), sorted by a bubble sort, largest first.
inline uint32_t Rank(uint32_t* v, size_t n) {
    for (size_t end = n; end > 1; --end)
        for (size_t i = 0; i + 1 < end; ++i)
            if (v[i] < v[i + 1]) {
                const uint32_t t = v[i];
                v[i] = v[i + 1];
                v[i + 1] = t;
            }
    switch (n) {
    case 5: return v[2];
    case 4: return (v[1] + v[2]) >> 1;
    case 3: return v[1];
    case 2: return (v[0] + v[1]) >> 1;
    default: return v[0];
    }
}

// How a Bayer image is laid out, from the colour filter code of its pixel (0, 0): red or blue first
// (codes 2 and 5), green first (3 and 4), or none of these (nothing is done).
enum class Mosaic { None, ColourFirst, GreenFirst };
Mosaic MosaicOf(uint32_t colourFilterAtOrigin) noexcept;

// ---- mono rows, with vector forms -------------------------------------------------------------------

// out[x] = third largest of here[x], up[x - 1], up[x + 1], down[x - 1], down[x + 1] for x = 1 .. width - 2,
// on 8-bit and on 16-bit samples (byte pointers: the lines of 16-bit images may start at odd addresses).
struct RowKernels {
    void (*x8)(const uint8_t* up, const uint8_t* here, const uint8_t* down, uint8_t* out, size_t width);
    void (*x16)(const uint8_t* up, const uint8_t* here, const uint8_t* down, uint8_t* out, size_t width);
};

const RowKernels& PortableRows() noexcept;
const RowKernels* Avx2Rows() noexcept;   // null where this build has no such form
const RowKernels* Avx512Rows() noexcept; // null where this build has no such form
lxcpu::Level KernelLevel() noexcept;
lxcpu::Level KernelLevelAt(lxcpu::Level allowed) noexcept;

// ---- whole images -------------------------------------------------------------------------------------

// The rank filter of a mono image: windows read from `copy`, results written to `image` (same size,
// same pitch). Images below 2 pixels in either direction are left as they are.
template <class T>
void RankMono(const Plane<T>& copy, const Plane<T>& image);

// The rank filter of a Bayer image, every pixel by the windows above; odd sizes are filtered by the
// same rule.
template <class T>
void RankBayer(const Plane<T>& copy, const Plane<T>& image, Mosaic mosaic);

// image = image - dark where image > dark, else 0, over `width` samples of every line.
template <class T>
void Subtract(const Plane<T>& image, const Plane<T>& dark);

// The repair after the subtraction. With limit = 2^bits - 2^(bits - 7) - 1, a pixel whose value was at
// or above the limit in `before` and is below it in `after` takes the larger of its value and the
// third largest of its 5-value window in `after`. Mono: rows and columns 1 to size - 2, in raster
// order. Bayer: 2x2 cells from (2, 2) while the cell's first row (column) is below height - 3
// (width - 3), cell by cell, each cell's pixels in raster order.
template <class T>
void RepairMono(const Plane<T>& before, const Plane<T>& after, unsigned bits);
template <class T>
void RepairBayer(const Plane<T>& before, const Plane<T>& after, unsigned bits, Mosaic mosaic);

} // namespace lxnoise
