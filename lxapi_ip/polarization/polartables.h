// The tables of the polarization transforms: the 14-bit weights of the linear angle interpolation,
// kept per converter by depth and angle, and the Stokes tables (length and direction of the vector
// (a - c, b - d)), built once per process and depth on first use.
#pragma once

#include "support/lxsharedtable.h"

#include <cstddef>
#include <cstdint>

namespace lxpol {

// Four arrays of 2^depth entries, array k for slot k: entry v is trunc(r_v) with r_0 = 0 and
// r_(v+1) = r_v + w_k * 16384 in double precision.
class PolarizerWeightTable : public lxip::CLxSharedTable<int32_t> {
public:
    static PolarizerWeightTable* Create(unsigned depth, double angle);
    unsigned Depth() const noexcept { return m_depth; }
    const int32_t* Slot(unsigned k) const noexcept { return Entries() + (size_t(k) << m_depth); }

private:
    PolarizerWeightTable(unsigned depth) : CLxSharedTable(size_t(4) << depth, 0), m_depth(depth) {}
    unsigned m_depth;
};

// The weight table of one converter: rebuilt when the depth or the angle changes, a running
// conversion keeping the table it took.
class PolarizerWeightCache {
    struct Key {
        unsigned depth = 0;
        double angle = 0.0;
        bool operator==(const Key& o) const { return depth == o.depth && lxip::SameBits(angle, o.angle); }
    };

public:
    using Ref = lxip::CLxSharedTableCache<Key, PolarizerWeightTable>::Ref;
    // The table of the depth and angle (the angle as the module holds it, reduced when built).
    Ref Acquire(unsigned depth, double angle);
    const PolarizerWeightTable* Peek() const { return m_tables.Peek(); }

private:
    lxip::CLxSharedTableCache<Key, PolarizerWeightTable> m_tables;
};

// The Stokes tables of depth n, N = 2^n, M = N - 1, for x = a - c and y = b - d in [-M, M]:
//  - magnitude trunc(sqrt(x^2 + y^2) * 2M + 0.5); it depends only on the larger h and the smaller l
//    of |x| and |y| and is kept for 0 <= l <= h <= N, (N + 1)(N + 2) / 2 entries;
//  - angle: 0 at the origin, else t = atan2(y, x) (+ 2 pi if negative), trunc(t * (M / 2 pi) + 0.5).
//    Kept for the first quadrant, |x|, |y| in [0, M]: with u = atan2(|y|, |x|) * (M / 2 pi) as the
//    formula computes it, the entry is 2 floor(u) + (trunc(u + 1/2) - floor(u)), N^2 entries of 16 bits
//    and one spare entry (vector forms read 32 bits at an entry). The other quadrants follow from it
//    (M is odd, k = (M - 1) / 2): for y > 0 and x <= 0 the angle is k - floor(u), for y < 0 M minus
//    the angle of (x, -y), on the negative x axis `angleOfPi`. Tests prove every entry of the whole
//    domain equal to the formula;
//  - the division of a magnitude by s = a + b + c + d (0 to 4M) as a multiplication and a shift,
//    exact for every magnitude of the table; s = 0 gives 0. With b the bit width of the largest
//    magnitude, the shift of s >= 1 is b + bit_width(s - 1) and the factor is below 2^(b + 1) + 1.
// Degree conversions build magnitude and divisions, angle conversions the angles; both stay for the
// life of the process. Memory: 8 bits 0.1 + 0.1 MiB, 10 bits 2 + 2 MiB, 12 bits 32 + 32 MiB.
struct StokesTables {
    unsigned depth = 0;
    const uint32_t* magnitude = nullptr; // [MagnitudeIndex(h, l)]
    const uint64_t* divisionMul = nullptr; // [s]
    const uint8_t* divisionShift = nullptr; // [s]
    unsigned divisionBits = 0;              // b above
    const uint16_t* angle = nullptr;        // [|y| * N + |x|]
    uint32_t angleOfPi = 0;                 // the angle of (-1, 0)

    uint32_t N() const noexcept { return 1u << depth; }
    uint32_t Magnitude(int32_t x, int32_t y) const noexcept {
        const uint32_t ax = uint32_t(x < 0 ? -x : x), ay = uint32_t(y < 0 ? -y : y);
        return magnitude[MagnitudeIndexOf(ax, ay)];
    }
    static size_t MagnitudeIndex(uint32_t high, uint32_t low) noexcept { return size_t(high) * (high + 1) / 2 + low; }
    // The entry of |x| and |y| in either order. Which is larger is not predictable on random data:
    // chosen by a mask (the compiler made a branch of std::max and std::min).
    static size_t MagnitudeIndexOf(uint32_t ax, uint32_t ay) noexcept {
        const uint32_t high = ax ^ ((ax ^ ay) & (0u - uint32_t(ax < ay)));
        return MagnitudeIndex(high, ax ^ ay ^ high);
    }
    uint32_t Divide(uint32_t magnitudeValue, uint32_t s) const noexcept {
        return uint32_t((uint64_t(magnitudeValue) * divisionMul[s]) >> divisionShift[s]);
    }
    uint32_t Angle(int32_t x, int32_t y) const noexcept {
        const uint32_t ax = uint32_t(x < 0 ? -x : x), ay = uint32_t(y < 0 ? -y : y);
        return AngleOfEntry(angle[size_t(ay) * N() + ax], x, y, N() - 1, angleOfPi);
    }
    // The angle of (x, y) from the entry of (|x|, |y|). The signs of random data are not predictable:
    // the choices are made by masks rather than branches.
    static uint32_t AngleOfEntry(uint32_t e, int32_t x, int32_t y, uint32_t m, uint32_t pi) noexcept {
        auto select = [](uint32_t a, uint32_t b, bool takeB) { return a ^ ((a ^ b) & (0u - uint32_t(takeB))); };
        const uint32_t floor = e >> 1;
        const uint32_t upper = select((m - 1) / 2 - floor, floor + (e & 1), (x > 0) | (y == 0));
        return select(select(upper, m - upper, y < 0), pi, (y == 0) & (x < 0));
    }
};

// The tables of a depth (8, 10 or 12) with the parts asked for built. Each choice of parts has its
// own object for the life of the process, which holds those parts only (the others' pointers are
// null): building another part later, on another thread, writes nothing a holder reads. No memory:
// BadAllocException, nothing half built is published.
const StokesTables& AcquireStokesTables(unsigned depth, bool magnitude, bool angle);

// The reference formulas of one entry, as the tables are built from them (for tests and the build).
uint32_t StokesMagnitude(unsigned depth, int32_t x, int32_t y);
uint32_t StokesAngle(unsigned depth, int32_t x, int32_t y);

} // namespace lxpol
