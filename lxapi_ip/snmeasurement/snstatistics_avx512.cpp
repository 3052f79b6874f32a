// The SN row kernels with AVX-512 (F, BW): 8-bit rows by the group kernel of snrowgroup.h with sixteen
// 32-bit lanes a vector; 16-bit rows one frame at a time, a block of Lanes (48) samples as three
// vectors, so that lane l of the block always meets the same vector lane and the lane sums stay in
// registers for the whole row. The samples after the last whole block go through the portable loop,
// whose lanes start again at 0 there as they do here. Integer sums: the bits of the portable form.
// Chosen only after the processor reported AVX-512.
#include "snrowkernel.h"

#if defined(__AVX512F__) && defined(__AVX512BW__)
#include "kernels/lxavx512.h"

namespace lxsn::detail {
namespace {

constexpr size_t Vectors = Lanes / 16;

inline __m512i Load(const void* p) { return _mm512_loadu_si512(p); }
inline void Add64(uint64_t* p, __m512i v) { _mm512_storeu_si512(p, _mm512_add_epi64(Load(p), v)); }

struct V {
    static constexpr size_t Width = 16;
    using Vec = __m512i;
    static Vec Zero() { return _mm512_setzero_si512(); }
    static Vec Add(Vec a, Vec b) { return _mm512_add_epi32(a, b); }
    static Vec Bytes(const uint8_t* p) {
        return _mm512_cvtepu8_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
    }
    static Vec Square(Vec v) { return _mm512_madd_epi16(v, v); }
    static void AddTo(uint32_t* p, Vec v) { _mm512_storeu_si512(p, _mm512_add_epi32(Load(p), v)); }
    static void Widen(uint64_t* p, Vec v) {
        Add64(p, _mm512_cvtepu32_epi64(_mm512_castsi512_si256(v)));
        Add64(p + 8, _mm512_cvtepu32_epi64(_mm512_extracti64x4_epi64(v, 1)));
    }
};

#include "snrowgroup.h"

// 16-bit samples: the square fits 32 bits; the per-position squares and every lane sum are 64-bit.
void Row16Avx512(const uint16_t* src, size_t n, uint32_t* sum, uint64_t* squares, uint64_t* lanes) {
    uint64_t* laneSums = lanes;
    uint64_t* laneSquares = lanes + Lanes;
    __m512i ls[2 * Vectors], lq[2 * Vectors];
    for (size_t g = 0; g < 2 * Vectors; ++g) ls[g] = lq[g] = _mm512_setzero_si512();
    size_t j = 0;
    for (; j + Lanes <= n; j += Lanes) {
        for (size_t g = 0; g < Vectors; ++g) {
            const size_t i = j + 16 * g;
            const __m512i v = _mm512_cvtepu16_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + i)));
            const __m512i q = _mm512_mullo_epi32(v, v);
            V::AddTo(sum + i, v);
            const __m512i v0 = _mm512_cvtepu32_epi64(_mm512_castsi512_si256(v));
            const __m512i v1 = _mm512_cvtepu32_epi64(_mm512_extracti64x4_epi64(v, 1));
            const __m512i q0 = _mm512_cvtepu32_epi64(_mm512_castsi512_si256(q));
            const __m512i q1 = _mm512_cvtepu32_epi64(_mm512_extracti64x4_epi64(q, 1));
            Add64(squares + i, q0);
            Add64(squares + i + 8, q1);
            ls[2 * g] = _mm512_add_epi64(ls[2 * g], v0);
            ls[2 * g + 1] = _mm512_add_epi64(ls[2 * g + 1], v1);
            lq[2 * g] = _mm512_add_epi64(lq[2 * g], q0);
            lq[2 * g + 1] = _mm512_add_epi64(lq[2 * g + 1], q1);
        }
    }
    for (size_t g = 0; g < 2 * Vectors; ++g) {
        Add64(laneSums + 8 * g, ls[g]);
        Add64(laneSquares + 8 * g, lq[g]);
    }
    Row16(src + j, n - j, sum + j, squares + j, lanes);
}

// One phase a row, a group of G frames: blocks of 64 samples widened to 16 bits in order, their sums
// over the group in 16 bits (at most 8 x 255), their squares over the group in 32 bits from pairs of
// frames interleaved by words (a multiply-add of a pair gives a[i]^2 + b[i]^2), each frame's row sums
// by byte differences to zero and its squares by multiply-adds of adjacent samples, all in registers
// over the row. The interleaving leaves the squares of positions 0-3, 8-11, ... in one vector and
// 4-7, 12-15, ... in the other; one two-source permute a 16 puts them back in order.
inline __m512i Words(const uint8_t* p) {
    return _mm512_cvtepu8_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)));
}
inline uint64_t Total(__m512i v) {
    return static_cast<uint64_t>(_mm512_reduce_add_epi64(_mm512_add_epi64(
        _mm512_cvtepu32_epi64(_mm512_castsi512_si256(v)), _mm512_cvtepu32_epi64(_mm512_extracti64x4_epi64(v, 1)))));
}
inline void AddWords(uint32_t* p, __m512i words) {
    V::AddTo(p, _mm512_cvtepu16_epi32(_mm512_castsi512_si256(words)));
    V::AddTo(p + 16, _mm512_cvtepu16_epi32(_mm512_extracti64x4_epi64(words, 1)));
}
inline void AddPairs(uint32_t* p, __m512i low, __m512i high) {
    const __m512i first = _mm512_set_epi64(11, 10, 3, 2, 9, 8, 1, 0);
    const __m512i second = _mm512_set_epi64(15, 14, 7, 6, 13, 12, 5, 4);
    V::AddTo(p, _mm512_permutex2var_epi64(low, first, high));
    V::AddTo(p + 16, _mm512_permutex2var_epi64(low, second, high));
}

template <size_t G>
void Single8(const uint8_t* const* src, size_t n, uint32_t* sum, uint32_t* squares, uint64_t* const* lanes) {
    const __m512i zero = _mm512_setzero_si512();
    __m512i fs[G], fq[G];
    for (size_t k = 0; k < G; ++k) fs[k] = fq[k] = zero;
    size_t j = 0;
    for (; j + 64 <= n; j += 64) {
        __m512i s0 = zero, s1 = zero, q0 = zero, q1 = zero, q2 = zero, q3 = zero;
        for (size_t k = 0; k < G; k += 2) {
            const __m512i a0 = Words(src[k] + j), a1 = Words(src[k] + j + 32);
            fs[k] = _mm512_add_epi64(fs[k], _mm512_sad_epu8(Load(src[k] + j), zero));
            fq[k] = _mm512_add_epi32(fq[k], _mm512_add_epi32(_mm512_madd_epi16(a0, a0), _mm512_madd_epi16(a1, a1)));
            __m512i b0 = zero, b1 = zero;
            if (k + 1 < G) {
                b0 = Words(src[k + 1] + j);
                b1 = Words(src[k + 1] + j + 32);
                fs[k + 1] = _mm512_add_epi64(fs[k + 1], _mm512_sad_epu8(Load(src[k + 1] + j), zero));
                fq[k + 1] = _mm512_add_epi32(fq[k + 1],
                                             _mm512_add_epi32(_mm512_madd_epi16(b0, b0), _mm512_madd_epi16(b1, b1)));
            }
            s0 = _mm512_add_epi16(s0, _mm512_add_epi16(a0, b0));
            s1 = _mm512_add_epi16(s1, _mm512_add_epi16(a1, b1));
            const __m512i t0 = _mm512_unpacklo_epi16(a0, b0), t1 = _mm512_unpackhi_epi16(a0, b0);
            const __m512i t2 = _mm512_unpacklo_epi16(a1, b1), t3 = _mm512_unpackhi_epi16(a1, b1);
            q0 = _mm512_add_epi32(q0, _mm512_madd_epi16(t0, t0));
            q1 = _mm512_add_epi32(q1, _mm512_madd_epi16(t1, t1));
            q2 = _mm512_add_epi32(q2, _mm512_madd_epi16(t2, t2));
            q3 = _mm512_add_epi32(q3, _mm512_madd_epi16(t3, t3));
        }
        AddWords(sum + j, s0);
        AddWords(sum + j + 32, s1);
        AddPairs(squares + j, q0, q1);
        AddPairs(squares + j + 32, q2, q3);
    }
    // Each 64-bit lane of fs holds at most MaxRow8 / 64 x 8 x 255, each 32-bit lane of fq at most
    // MaxRow8 / 64 x 4 x 255^2 (below 2^32, read as unsigned): no lane overflows within a call.
    for (size_t k = 0; k < G; ++k) {
        lanes[k][0] += static_cast<uint64_t>(_mm512_reduce_add_epi64(fs[k]));
        lanes[k][Lanes] += Total(fq[k]);
    }
    for (size_t k = 0; k < G; ++k) Row8Single(src[k] + j, n - j, sum + j, squares + j, lanes[k]);
}

// Any number of frames, in groups of 8, 4, 2 and 1.
void Rows8SingleAvx512(const uint8_t* const* src, size_t frames, size_t n, uint32_t* sum, uint32_t* squares,
                       uint64_t* const* lanes) {
    size_t k = 0;
    for (; k + 8 <= frames; k += 8) Single8<8>(src + k, n, sum, squares, lanes + k);
    if (k + 4 <= frames) Single8<4>(src + k, n, sum, squares, lanes + k), k += 4;
    if (k + 2 <= frames) Single8<2>(src + k, n, sum, squares, lanes + k), k += 2;
    if (k < frames) Single8<1>(src + k, n, sum, squares, lanes + k);
}

// Wider samples: one frame after the other (their sums and squares are 64-bit work either way).
void Rows16Avx512(const uint16_t* const* src, size_t frames, size_t n, uint32_t* sum, uint64_t* squares,
                  uint64_t* const* lanes) {
    for (size_t k = 0; k < frames; ++k) Row16Avx512(src[k], n, sum, squares, lanes[k]);
}

} // namespace

extern const RowKernels RowKernelsAvx512;
const RowKernels RowKernelsAvx512 = {&Rows8Vector<V>, &Rows8SingleAvx512, &Rows16Avx512};
} // namespace lxsn::detail
#endif
