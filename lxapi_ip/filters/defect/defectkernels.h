// Defective pixel detection: sliding neighbourhood sums and the row judge.
//
// With the step s (1 for mono, 2 for Bayer and polarized mono, 4 for polarized Bayer) every pixel
// belongs to the phase (y mod s, x mod s); its neighbourhood is the pixels of its phase within
// R = n * s in both directions. The detection walks the rows once. Each row phase keeps one row of
// running sums: with C(x) the sum of column x over the rows of the neighbourhood of the current row,
//     P(x) = C(x) + P(x - s),
// and the sum of any neighbourhood of the row follows in two look-ups, P(right) - P(left). Moving
// down by s rows changes C by the row that enters the window less the row that leaves it, and P by
// the running sum of that difference. The first row of a phase sums its window's rows into a
// scratch row of column sums and takes their running sum once. The work per pixel does not depend on
// n, and the sums live in a few rows that stay in the cache.
//
// A pixel is judged against the average of its neighbourhood without itself,
// a = (Sum - P) / (C - 1), and is defective if a - M * t > P or P > M * t + a, in doubles. Most pixels
// lie far from that bound: the kernel first tests the exact integer D = Sum - P * C = (C - 1) (a - P)
// against a bound a little inside M * t (C - 1), and computes the division only near the bound and
// beyond it, so the result is that of the division for every pixel.
#pragma once

#include "kernels/cpudispatch.h"

#include <cstddef>
#include <cstdint>

namespace lxdpd {

// One pixel past the fast test, for the caller to judge in doubles.
struct Candidate {
    uint32_t x;
    uint32_t value;
    uint64_t sum;   // of the neighbourhood, the pixel included
    uint64_t count; // pixels of the neighbourhood, the pixel included
};

// The fixed facts of one image for the row judge.
struct Geometry {
    size_t width;
    size_t step;     // s
    size_t radius;   // R = n * s, at most the larger side of the image plus s
    size_t lastCol[4]; // the last column of each column phase (valid below width)
};

// Adds a row of pixels to a row of column sums; with `prefix`, then writes their running sums along
// the row per column phase. Sums are 32-bit where they cannot pass 2^32 - 1 for the image, else
// 64-bit.
template <class Sum>
using AddRow = void (*)(const uint8_t* pixels, Sum* columns, Sum* prefix, size_t width, size_t step);

// Moves a row of running sums down: adds the running sums per column phase of `enter` less `leave`
// (either may be null).
template <class Sum>
using SlideRow = void (*)(const uint8_t* enter, const uint8_t* leave, Sum* prefix, size_t width, size_t step);

// Judges a row: `prefix` the running sums of its column sums, `rows` how many rows of the phase the
// neighbourhood spans. `bound[x mod s]` is the fast bound for the row's phases (see above; not a
// number where every pixel must take the exact test). Writes the pixels that need the exact test, in
// ascending x; returns how many.
template <class Sum>
using JudgeRow = size_t (*)(const uint8_t* pixels, const Sum* prefix, uint64_t rows, const Geometry& g,
                            const double* bound, Candidate* out);

struct RowKernels {
    AddRow<uint32_t> add8x32;
    AddRow<uint64_t> add8x64;
    AddRow<uint64_t> add16x64;
    SlideRow<uint32_t> slide8x32;
    SlideRow<uint64_t> slide8x64;
    SlideRow<uint64_t> slide16x64;
    JudgeRow<uint32_t> judge8x32;
    JudgeRow<uint64_t> judge8x64;
    JudgeRow<uint64_t> judge16x64;
};

const lxcpu::KernelForms<RowKernels>& Kernels();

// The three row kernels for sums of type Sum over samples of `bytes` (1 or 2) bytes; 16-bit samples
// always take 64-bit sums.
template <class Sum>
struct RowSet {
    AddRow<Sum> add;
    SlideRow<Sum> slide;
    JudgeRow<Sum> judge;
};
template <class Sum>
RowSet<Sum> RowsFor(const RowKernels& k, size_t bytes) {
    if constexpr (sizeof(Sum) == 4)
        return {k.add8x32, k.slide8x32, k.judge8x32};
    else if (bytes == 1)
        return {k.add8x64, k.slide8x64, k.judge8x64};
    else
        return {k.add16x64, k.slide16x64, k.judge16x64};
}

} // namespace lxdpd
