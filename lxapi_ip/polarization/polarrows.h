// The line kernels of the sliding window that have vector forms: the symmetric operations (average,
// maximum, minimum, difference), the linear angle interpolation, the degree and angle of
// polarization and the hue wheel of their colour image. One table of function pointers per
// instruction-set level, chosen through the processor dispatcher; every form gives the portable form's results bit for bit.
//
// A line kernel writes out[x] for x < cols from the window (l0[x], l0[x + 1], l1[x], l1[x + 1]);
// both source lines hold cols + 1 samples. Word samples above `max` count as `max`.
#pragma once

#include "kernels/cpudispatch.h"
#include "polarhue.h"
#include "polartables.h"

#include <cstddef>
#include <cstdint>

namespace lxpol::detail {

// Linear interpolation of one line. Window positions 0..3 are (x, y), (x + 1, y), (x, y + 1),
// (x + 1, y + 1); the slot at a position depends on the parity of x (the line's parity is fixed).
//
// The vector forms do not read the tables per pixel. The weight table of a slot is close to an
// affine function of the sample: 2^15 W[v] = v (2^15 a + f) + e(v) with a small deviation e whose
// least and greatest values over the whole table are known. With X = sum v a and Y = sum v f over
// the four positions, the exact sum S of the four table entries is an integer within
// [X + ceil((Y + lo) / 2^15), X + floor((Y + hi) / 2^15)], lo and hi the sums of the slots' least and
// greatest deviations; that range is at most `span` = floor((hi - lo) / 2^15) wide. The result depends
// only on floor(S / 2^14): where no multiple of 2^14 lies in (least, least + span] the least sum gives
// the result; elsewhere the pixel is looked up in the tables (polarlinearsteps.h). That is a few
// pixels in ten thousand at most angles, and about one in a hundred where the weights are simple
// fractions, whose sums land on multiples of 2^14 less what the tables truncated.
struct LinearLine {
    const int32_t* weights[2][4] = {}; // [x parity][position]: the table of the slot there
    int16_t a[2][4] = {}, f[2][4] = {}; // the affine parts of those tables
    int32_t lo = 0, hi = 0;              // deviation bounds, in units of 2^-15
    int32_t span = 0;                    // below 2^14
    uint32_t max = 255;
    bool affine = false; // the affine parts and bounds are usable; otherwise the vector forms look up
};

// The result of a window from the sum of its four table entries.
inline uint32_t LinearResult(int32_t sum, uint32_t max) {
    if (sum < 0) return 0;
    if (sum > int32_t(max << 14)) return max;
    return uint32_t(sum) >> 14;
}

// The result of one window from its four samples (already clamped) by the tables.
inline uint32_t LinearValue(const LinearLine& l, uint32_t parity, uint32_t v0, uint32_t v1, uint32_t v2, uint32_t v3) {
    const int32_t* const* w = l.weights[parity];
    return LinearResult(w[0][v0] + w[1][v1] + w[2][v2] + w[3][v3], l.max);
}

// One window at x of a line, read from the lines.
template <class S>
inline uint32_t LinearAt(const LinearLine& l, const S* l0, const S* l1, uint32_t x) {
    auto c = [&](uint32_t v) { return v < l.max ? v : l.max; };
    return LinearValue(l, x & 1, c(l0[x]), c(l0[x + 1]), c(l1[x]), c(l1[x + 1]));
}

// Degree or angle of polarization of one line, read from the Stokes tables. The window's Stokes
// components are x = v(slot 0) - v(slot 2), y = v(slot 1) - v(slot 3) and the sum of its four samples;
// position[x parity][k] is the window position (as for LinearLine) of slot k.
struct StokesLine {
    uint8_t position[2][4] = {};
    const StokesTables* tables = nullptr;
    uint32_t max = 255;
};

// The coefficient (1, -1 or 0) of window position j in the Stokes component that is v(slot plus) -
// v(slot minus), for windows of the column parity `parity`: the vector forms take a component as a
// weighted sum of the window's samples.
inline int16_t StokesCoefficient(const StokesLine& l, uint32_t parity, uint32_t plus, uint32_t minus, uint32_t j) {
    return l.position[parity][plus] == j ? 1 : l.position[parity][minus] == j ? -1 : 0;
}

// What the vector forms broadcast for a line: the multiply-add coefficients of x and y as word pairs
// (window positions 0 and 1, 2 and 3) for each column parity, and the facts of the tables.
struct StokesScalars {
    int32_t x01[2], x23[2], y01[2], y23[2];
    int32_t ones, angleIndex, max, divisionBits, half, angleOfPi;
    const int* magnitude;
    const int* mul;   // the low halves of the division factors, 8 bytes apart
    const int* angle; // 16-bit entries read as 32 bits, 2 bytes apart
    explicit StokesScalars(const StokesLine& l) {
        auto pair = [](int32_t p, int32_t q) { return int32_t(uint16_t(p)) | int32_t(uint32_t(uint16_t(q)) << 16); };
        for (uint32_t i = 0; i < 2; ++i) {
            auto c = [&](uint32_t plus, uint32_t minus, uint32_t j) { return StokesCoefficient(l, i, plus, minus, j); };
            x01[i] = pair(c(0, 2, 0), c(0, 2, 1)), x23[i] = pair(c(0, 2, 2), c(0, 2, 3));
            y01[i] = pair(c(1, 3, 0), c(1, 3, 1)), y23[i] = pair(c(1, 3, 2), c(1, 3, 3));
        }
        ones = pair(1, 1);
        angleIndex = pair(1, int32_t(l.tables->N()));
        max = int32_t(l.max);
        divisionBits = int32_t(l.tables->divisionBits);
        half = int32_t((l.max - 1) / 2);
        angleOfPi = int32_t(l.tables->angleOfPi);
        magnitude = reinterpret_cast<const int*>(l.tables->magnitude);
        mul = reinterpret_cast<const int*>(l.tables->divisionMul);
        angle = reinterpret_cast<const int*>(l.tables->angle);
    }
};

using SymmetricRow8 = void (*)(const uint8_t* l0, const uint8_t* l1, uint8_t* out, uint32_t cols);
using SymmetricRow16 = void (*)(const uint16_t* l0, const uint16_t* l1, uint16_t* out, uint32_t cols, uint16_t max);
using LinearRow8 = void (*)(const uint8_t* l0, const uint8_t* l1, uint8_t* out, uint32_t cols, const LinearLine& l);
using LinearRow16 = void (*)(const uint16_t* l0, const uint16_t* l1, uint16_t* out, uint32_t cols,
                             const LinearLine& l);
using StokesRow8 = void (*)(const uint8_t* l0, const uint8_t* l1, uint8_t* out, uint32_t cols, const StokesLine& l);
using StokesRow16 = void (*)(const uint16_t* l0, const uint16_t* l1, uint16_t* out, uint32_t cols,
                             const StokesLine& l);
// The hue wheel of a line of degrees and angles (HueLineOf).
using HueRow8 = void (*)(const uint8_t* degree, const uint8_t* angle, uint16_t* red, uint16_t* green, uint16_t* blue,
                         uint32_t cols, const HueWheel& w);
using HueRow16 = void (*)(const uint16_t* degree, const uint16_t* angle, uint16_t* red, uint16_t* green,
                          uint16_t* blue, uint32_t cols, const HueWheel& w);

struct RowKernels {
    SymmetricRow8 symmetric8[4];   // Average, Maximum, Minimum, Difference
    SymmetricRow16 symmetric16[4]; // the same
    LinearRow8 linear8;
    LinearRow16 linear16;
    StokesRow8 degree8, angle8;
    StokesRow16 degree16, angle16;
    HueRow8 hue8;
    HueRow16 hue16;
};

const RowKernels& PortableRows() noexcept;
const RowKernels* Avx2Rows() noexcept;   // null where this build has no such form
const RowKernels* Avx512Rows() noexcept; // null where this build has no such form

// The level of the form that runs when `allowed` is the dispatcher's level.
lxcpu::Level KernelLevelAt(lxcpu::Level allowed) noexcept;

} // namespace lxpol::detail
