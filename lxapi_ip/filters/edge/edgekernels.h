// Kernels of the edge enhancement.
//
// Each inner pixel c of a plane is compared with m, the rounded mean of its 8 neighbours:
//   H(y, x) = s(y, x-1) + s(y, x) + s(y, x+1)                       (line sums, one per line)
//   m       = (H(y-1, x) + H(y, x) - c + H(y+1, x) + 4) >> 3        (the 3x3 sum less the centre)
// A difference c - m above the threshold T adds table[c - m] to the pixel (capped at the maximum), a
// difference m - c above T subtracts table[m - c] (floored at 0); otherwise the pixel stays. Row 0,
// the last row and the first and last columns never change.
//
// The line sums of three lines live in a working buffer that rotates from line to line: the sums of a
// line are taken before the line is written, so every mean is one of old values, although the plane
// is rewritten in place row by row. Samples of 8 bits sum in 16 bits, wider ones in 32.
#pragma once

#include "kernels/cpudispatch.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace lxedge {

// The table and the limits it was made for.
struct Amounts {
    const uint16_t* table; // indexed by a difference; entries 0..T are 0
    int64_t threshold;     // T, in sample units
    int64_t top;           // the largest value of a sample, 2^bits - 1
};

// The change of a sample `v` the pixel whose value is c and mean m asks for: +b, -b or none, with the
// cap at top and the floor at 0.
inline int64_t Apply(const Amounts& a, int64_t c, int64_t m, int64_t v) {
    if (c - m > a.threshold) {
        const int64_t b = a.table[c - m];
        return a.top - v <= b ? a.top : v + b;
    }
    if (m - c > a.threshold) {
        const int64_t b = a.table[m - c];
        return v <= b ? 0 : v - b;
    }
    return v;
}

// Sums wide enough for three samples, and for eight.
template <class T>
using LineSum = std::conditional_t<sizeof(T) == 1, uint16_t, uint32_t>;

// A plane of samples of type T: sample x of line y at base + y * pitch + x * step * sizeof(T). Lines
// need not be aligned for T.
template <class T>
struct Plane {
    uint8_t* base;
    size_t pitch;
    size_t step;
    size_t width;
    size_t height;

    T At(size_t y, size_t x) const {
        T v;
        std::memcpy(&v, base + y * pitch + x * step * sizeof(T), sizeof(T));
        return v;
    }
    void Put(size_t y, size_t x, T v) const { std::memcpy(base + y * pitch + x * step * sizeof(T), &v, sizeof(T)); }
};

// The portable core over any plane. `work` holds 3 lines of `width` sums. For each inner pixel,
// `write(y, x, c, m)` is called after the sums of lines y - 1 to y + 1 are taken; it may rewrite the
// plane's sample at (y, x), or write into another image.
template <class T, class Write>
void EnhancePlane(const Plane<T>& p, LineSum<T>* work, Write&& write) {
    if (p.width < 3 || p.height < 3) return;
    using S = LineSum<T>;
    S* h[3] = {work, work + p.width, work + 2 * p.width};
    auto sums = [&](size_t y, S* out) {
        for (size_t x = 1; x + 1 < p.width; ++x) out[x] = S(p.At(y, x - 1) + p.At(y, x) + p.At(y, x + 1));
    };
    sums(0, h[0]);
    sums(1, h[1]);
    for (size_t y = 1; y + 1 < p.height; ++y) {
        sums(y + 1, h[2]);
        for (size_t x = 1; x + 1 < p.width; ++x) {
            const uint32_t c = p.At(y, x);
            const uint32_t m = (uint32_t(h[0][x]) + h[1][x] + h[2][x] - c + 4) >> 3;
            write(y, x, c, m);
        }
        S* t = h[0];
        h[0] = h[1];
        h[1] = h[2];
        h[2] = t;
    }
}

// The plane itself enhanced in place.
template <class T>
void EnhanceInPlace(const Plane<T>& p, LineSum<T>* work, const Amounts& a) {
    EnhancePlane(p, work, [&](size_t y, size_t x, uint32_t c, uint32_t m) {
        const int64_t v = Apply(a, c, m, c);
        if (v != int64_t(c)) p.Put(y, x, T(v));
    });
}

// ---- the 8-bit mono rows, with vector forms --------------------------------------------------------

struct RowKernels {
    // h[x] = s[x-1] + s[x] + s[x+1] for x = 1 .. width - 2.
    void (*lineSum8)(const uint8_t* s, uint16_t* h, size_t width);
    // For x = 1 .. width - 2: c = row[x], m from the three line sums; row[x] becomes
    // min(c + t[c - m], 255) where c > m, max(c - t[m - c], 0) where c < m. With t[0..T] = 0 this is
    // the rule above without a comparison with T, since 8-bit samples never pass the maximum.
    void (*enhance8)(uint8_t* row, const uint16_t* up, const uint16_t* here, const uint16_t* down, size_t width,
                     const uint8_t* table);
};

const RowKernels& PortableRows() noexcept;
const RowKernels* Avx2Rows() noexcept;   // null where this build has no such form
const RowKernels* Avx512Rows() noexcept; // null where this build has no such form

// The level of the rows that run now, or would at `allowed`.
lxcpu::Level KernelLevel() noexcept;
lxcpu::Level KernelLevelAt(lxcpu::Level allowed) noexcept;

// A Mono8 image (or any plane of 8-bit samples one byte apart) in place, through the rows of the
// dispatcher's level. `work` holds 3 lines of `width` sums; `table` has 256 entries of at most 255.
void EnhanceMono8(uint8_t* base, size_t pitch, size_t width, size_t height, uint16_t* work, const uint16_t* table);

} // namespace lxedge
