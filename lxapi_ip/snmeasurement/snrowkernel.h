// The row kernel of the SN measurement, compiled once per instruction-set level (the file that
// includes this is built with that level's flags). Integer sums only: every form gives the same bits.
#pragma once

#include "snstatistics.h"

namespace lxsn::detail {
// Internal linkage: each instruction-set level's file has its own copy.
namespace {

// Lane is the width of the lane sums kept in registers over one call: 32 bits for 8-bit samples (the
// call is at most MaxRow8 long), 64 for wider ones.
template <class Sample, class Square, class Lane>
inline void AccumulateRow(const Sample* __restrict src, size_t n, uint32_t* __restrict sum,
                          Square* __restrict squares, uint64_t* __restrict laneSums,
                          uint64_t* __restrict laneSquares) {
    Lane ls[Lanes] = {}, lq[Lanes] = {};
    size_t j = 0;
    for (; j + Lanes <= n; j += Lanes) {
        for (size_t l = 0; l < Lanes; ++l) {
            const uint32_t v = src[j + l];
            const Square q = static_cast<Square>(v) * v;
            sum[j + l] += v;
            squares[j + l] += q;
            ls[l] += v;
            lq[l] += q;
        }
    }
    for (size_t l = 0; j + l < n; ++l) {
        const uint32_t v = src[j + l];
        const Square q = static_cast<Square>(v) * v;
        sum[j + l] += v;
        squares[j + l] += q;
        ls[l] += v;
        lq[l] += q;
    }
    for (size_t l = 0; l < Lanes; ++l) {
        laneSums[l] += ls[l];
        laneSquares[l] += lq[l];
    }
}

inline void Row8(const uint8_t* src, size_t n, uint32_t* sum, uint32_t* squares, uint64_t* lanes) {
    AccumulateRow<uint8_t, uint32_t, uint32_t>(src, n, sum, squares, lanes, lanes + Lanes);
}
inline void Row16(const uint16_t* src, size_t n, uint32_t* sum, uint64_t* squares, uint64_t* lanes) {
    AccumulateRow<uint16_t, uint64_t, uint64_t>(src, n, sum, squares, lanes, lanes + Lanes);
}

// One phase a row: the frame's row sums go to lane 0.
inline void Row8Single(const uint8_t* __restrict src, size_t n, uint32_t* __restrict sum,
                       uint32_t* __restrict squares, uint64_t* __restrict lanes) {
    uint64_t s = 0, q = 0;
    for (size_t i = 0; i < n; ++i) {
        const uint32_t v = src[i], vq = v * v;
        sum[i] += v;
        squares[i] += vq;
        s += v;
        q += vq;
    }
    lanes[0] += s;
    lanes[Lanes] += q;
}

// The portable forms take the frames one after the other.
inline void Rows8Single(const uint8_t* const* src, size_t frames, size_t n, uint32_t* sum, uint32_t* squares,
                        uint64_t* const* lanes) {
    for (size_t k = 0; k < frames; ++k) Row8Single(src[k], n, sum, squares, lanes[k]);
}
inline void Rows8(const uint8_t* const* src, size_t frames, size_t n, uint32_t* sum, uint32_t* squares,
                  uint64_t* const* lanes) {
    for (size_t k = 0; k < frames; ++k) Row8(src[k], n, sum, squares, lanes[k]);
}
inline void Rows16(const uint16_t* const* src, size_t frames, size_t n, uint32_t* sum, uint64_t* squares,
                   uint64_t* const* lanes) {
    for (size_t k = 0; k < frames; ++k) Row16(src[k], n, sum, squares, lanes[k]);
}

} // namespace
} // namespace lxsn::detail
