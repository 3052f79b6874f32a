// The 8-bit row kernel over a group of frames, written once for the vector instruction sets: included
// inside lxsn::detail's unnamed namespace of a unit built with that set's flags, after snrowkernel.h
// and after a struct V that gives
//   Width                      32-bit lanes of a vector (a divisor of Lanes)
//   Vec, Zero(), Add(a, b)     the vector, zero, lane-wise 32-bit sum
//   Bytes(p)                   Width samples from p, zero-extended to 32 bits
//   Square(v)                  the lanes squared (a 16-bit multiply-add of v with itself: v * v + 0 * 0)
//   AddTo(p, v)                p[0 .. Width) += v
//   Widen(p, v)                the 64-bit p[0 .. Width) += v
//
// The row is walked once per vector position of the lane block, so that one vector lane always meets
// the same lane l and only the 2 G lane vectors of that position stay live. The frames' samples are
// added together before the per-position sums are read and written: once per group instead of once
// per frame. All sums are exact integers; the bits of the portable form.
#pragma once

template <class V, size_t G>
void Group8(const uint8_t* const* src, size_t n, uint32_t* sum, uint32_t* squares, uint64_t* const* lanes) {
    const size_t blocks = n / Lanes;
    for (size_t g = 0; g < Lanes; g += V::Width) {
        typename V::Vec ls[G], lq[G];
        for (size_t k = 0; k < G; ++k) ls[k] = lq[k] = V::Zero();
        for (size_t b = 0; b < blocks; ++b) {
            const size_t i = b * Lanes + g;
            typename V::Vec s = V::Zero(), q = V::Zero();
            for (size_t k = 0; k < G; ++k) {
                const typename V::Vec v = V::Bytes(src[k] + i), vq = V::Square(v);
                ls[k] = V::Add(ls[k], v);
                lq[k] = V::Add(lq[k], vq);
                s = V::Add(s, v);
                q = V::Add(q, vq);
            }
            V::AddTo(sum + i, s);
            V::AddTo(squares + i, q);
        }
        for (size_t k = 0; k < G; ++k) {
            V::Widen(lanes[k] + g, ls[k]);
            V::Widen(lanes[k] + Lanes + g, lq[k]);
        }
    }
    const size_t j = blocks * Lanes;
    for (size_t k = 0; k < G; ++k) Row8(src[k] + j, n - j, sum + j, squares + j, lanes[k]);
}

// Any number of frames, in groups of 8, 4, 2 and 1.
template <class V>
void Rows8Vector(const uint8_t* const* src, size_t frames, size_t n, uint32_t* sum, uint32_t* squares,
                 uint64_t* const* lanes) {
    size_t k = 0;
    for (; k + 8 <= frames; k += 8) Group8<V, 8>(src + k, n, sum, squares, lanes + k);
    if (k + 4 <= frames) Group8<V, 4>(src + k, n, sum, squares, lanes + k), k += 4;
    if (k + 2 <= frames) Group8<V, 2>(src + k, n, sum, squares, lanes + k), k += 2;
    if (k < frames) Group8<V, 1>(src + k, n, sum, squares, lanes + k);
}
