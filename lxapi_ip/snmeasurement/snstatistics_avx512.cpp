// The SN row kernel with AVX-512 (F, BW): a block of Lanes (48) samples is three vectors of sixteen
// 32-bit lanes, so lane l of the block always meets the same vector lane and the lane sums stay in
// six registers for the whole row. Squares of 8-bit samples come from a 16-bit multiply-add of the
// zero-extended sample with itself (v * v + 0 * 0). The samples after the last whole block go through
// the portable loop, whose lanes start again at 0 there as they do here. Integer sums: the bits of the
// portable form. Chosen only after the processor reported AVX-512.
#include "snrowkernel.h"

#if defined(__AVX512F__) && defined(__AVX512BW__)
// GCC 12 takes the _mm512_undefined_epi32() operand of its own 512-bit intrinsics for an
// uninitialised variable; the operand is a don't-care by definition.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#pragma GCC diagnostic ignored "-Wuninitialized"
#endif
#include <immintrin.h>

namespace lxsn::detail {
namespace {

constexpr size_t Vectors = Lanes / 16;

inline __m512i Load(const void* p) { return _mm512_loadu_si512(p); }
inline void Add32(uint32_t* p, __m512i v) { _mm512_storeu_si512(p, _mm512_add_epi32(Load(p), v)); }
inline void Add64(uint64_t* p, __m512i v) { _mm512_storeu_si512(p, _mm512_add_epi64(Load(p), v)); }

// Adds sixteen 32-bit lanes to sixteen 64-bit sums.
inline void Widen(uint64_t* p, __m512i v) {
    Add64(p, _mm512_cvtepu32_epi64(_mm512_castsi512_si256(v)));
    Add64(p + 8, _mm512_cvtepu32_epi64(_mm512_extracti64x4_epi64(v, 1)));
}

void Row8Avx512(const uint8_t* src, size_t n, uint32_t* sum, uint32_t* squares, uint64_t* laneSums,
                uint64_t* laneSquares) {
    __m512i ls[Vectors], lq[Vectors];
    for (size_t g = 0; g < Vectors; ++g) ls[g] = lq[g] = _mm512_setzero_si512();
    size_t j = 0;
    for (; j + Lanes <= n; j += Lanes) {
        for (size_t g = 0; g < Vectors; ++g) {
            const size_t i = j + 16 * g;
            const __m512i v = _mm512_cvtepu8_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i)));
            const __m512i q = _mm512_madd_epi16(v, v);
            Add32(sum + i, v);
            Add32(squares + i, q);
            ls[g] = _mm512_add_epi32(ls[g], v);
            lq[g] = _mm512_add_epi32(lq[g], q);
        }
    }
    for (size_t g = 0; g < Vectors; ++g) {
        Widen(laneSums + 16 * g, ls[g]);
        Widen(laneSquares + 16 * g, lq[g]);
    }
    Row8(src + j, n - j, sum + j, squares + j, laneSums, laneSquares);
}

// 16-bit samples: the square fits 32 bits; the per-position squares and every lane sum are 64-bit.
void Row16Avx512(const uint16_t* src, size_t n, uint32_t* sum, uint64_t* squares, uint64_t* laneSums,
                 uint64_t* laneSquares) {
    __m512i ls[2 * Vectors], lq[2 * Vectors];
    for (size_t g = 0; g < 2 * Vectors; ++g) ls[g] = lq[g] = _mm512_setzero_si512();
    size_t j = 0;
    for (; j + Lanes <= n; j += Lanes) {
        for (size_t g = 0; g < Vectors; ++g) {
            const size_t i = j + 16 * g;
            const __m512i v = _mm512_cvtepu16_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + i)));
            const __m512i q = _mm512_mullo_epi32(v, v);
            Add32(sum + i, v);
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
    Row16(src + j, n - j, sum + j, squares + j, laneSums, laneSquares);
}

} // namespace

extern const RowKernels RowKernelsAvx512;
const RowKernels RowKernelsAvx512 = {&Row8Avx512, &Row16Avx512};
} // namespace lxsn::detail
#endif
