// Defective pixel detection: strided summed-area tables and the row judge.
//
// With the step s (1 for mono, 2 for Bayer and polarized mono, 4 for polarized Bayer) every pixel
// belongs to the phase (y mod s, x mod s), and the table entry S(x, y) holds the sum of the pixels of
// that phase at or above-left of (x, y):
//     S(x, y) = p(x, y) + S(x - s, y) + S(x, y - s) - S(x - s, y - s),
// so each phase forms its own table inside the same array and four look-ups give the sum of any
// rectangle of a phase, whatever its size. How many pixels a rectangle holds follows from its
// corners alone, so no table of counts is kept.
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

// A row of the table from the row of pixels and the table row s rows above (null for the first s
// rows). Sums are 32-bit where they cannot pass 2^32 - 1 for the image, else 64-bit.
template <class Sum>
using BuildRow = void (*)(const uint8_t* pixels, const Sum* above, Sum* row, size_t width, size_t step);

// Judges a row: `top` the table row above the neighbourhood (null when the neighbourhood reaches the
// first row of the phase), `bottom` its last row, `rows` how many rows of the phase it spans.
// `bound[x mod s]` is the fast bound for the row's phases (see above; not a number where every pixel
// must take the exact test). Writes the pixels that need the exact test; returns how many.
template <class Sum>
using JudgeRow = size_t (*)(const uint8_t* pixels, const Sum* top, const Sum* bottom, uint64_t rows,
                            const Geometry& g, const double* bound, Candidate* out);

struct RowKernels {
    BuildRow<uint32_t> build8x32;
    BuildRow<uint64_t> build8x64;
    BuildRow<uint64_t> build16x64;
    JudgeRow<uint32_t> judge8x32;
    JudgeRow<uint64_t> judge8x64;
    JudgeRow<uint64_t> judge16x64;
};

const lxcpu::KernelForms<RowKernels>& Kernels();

} // namespace lxdpd
