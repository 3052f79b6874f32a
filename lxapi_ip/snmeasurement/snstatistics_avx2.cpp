// The SN row kernel with AVX2: a block of Lanes (48) samples is six vectors of eight 32-bit lanes, so
// lane l of the block always meets the same vector lane and the lane sums stay in registers for the
// row. Squares of 8-bit samples come from a 16-bit multiply-add of the zero-extended sample with
// itself (v * v + 0 * 0). The samples after the last whole block go through the portable loop, whose
// lanes start again at 0 there as they do here. Integer sums: the bits of the portable form. Chosen
// only after the processor reported AVX2.
#include "snrowkernel.h"

#if defined(__AVX2__)
#include <immintrin.h>

namespace lxsn::detail {
namespace {

constexpr size_t Vectors = Lanes / 8;

inline __m256i Load(const void* p) { return _mm256_loadu_si256(static_cast<const __m256i*>(p)); }
inline void Store(void* p, __m256i v) { _mm256_storeu_si256(static_cast<__m256i*>(p), v); }
inline void Add32(uint32_t* p, __m256i v) { Store(p, _mm256_add_epi32(Load(p), v)); }
inline void Add64(uint64_t* p, __m256i v) { Store(p, _mm256_add_epi64(Load(p), v)); }
inline __m256i Low64(__m256i v) { return _mm256_cvtepu32_epi64(_mm256_castsi256_si128(v)); }
inline __m256i High64(__m256i v) { return _mm256_cvtepu32_epi64(_mm256_extracti128_si256(v, 1)); }

void Row8Avx2(const uint8_t* src, size_t n, uint32_t* sum, uint32_t* squares, uint64_t* laneSums,
              uint64_t* laneSquares) {
    __m256i ls[Vectors], lq[Vectors];
    for (size_t g = 0; g < Vectors; ++g) ls[g] = lq[g] = _mm256_setzero_si256();
    size_t j = 0;
    for (; j + Lanes <= n; j += Lanes) {
        for (size_t g = 0; g < Vectors; ++g) {
            const size_t i = j + 8 * g;
            const __m256i v = _mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(src + i)));
            const __m256i q = _mm256_madd_epi16(v, v);
            Add32(sum + i, v);
            Add32(squares + i, q);
            ls[g] = _mm256_add_epi32(ls[g], v);
            lq[g] = _mm256_add_epi32(lq[g], q);
        }
    }
    for (size_t g = 0; g < Vectors; ++g) {
        Add64(laneSums + 8 * g, Low64(ls[g]));
        Add64(laneSums + 8 * g + 4, High64(ls[g]));
        Add64(laneSquares + 8 * g, Low64(lq[g]));
        Add64(laneSquares + 8 * g + 4, High64(lq[g]));
    }
    Row8(src + j, n - j, sum + j, squares + j, laneSums, laneSquares);
}

// 16-bit samples: the square fits 32 bits; the per-position squares and every lane sum are 64-bit.
void Row16Avx2(const uint16_t* src, size_t n, uint32_t* sum, uint64_t* squares, uint64_t* laneSums,
               uint64_t* laneSquares) {
    __m256i ls[2 * Vectors], lq[2 * Vectors];
    for (size_t g = 0; g < 2 * Vectors; ++g) ls[g] = lq[g] = _mm256_setzero_si256();
    size_t j = 0;
    for (; j + Lanes <= n; j += Lanes) {
        for (size_t g = 0; g < Vectors; ++g) {
            const size_t i = j + 8 * g;
            const __m256i v = _mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i)));
            const __m256i q = _mm256_mullo_epi32(v, v);
            Add32(sum + i, v);
            Add64(squares + i, Low64(q));
            Add64(squares + i + 4, High64(q));
            ls[2 * g] = _mm256_add_epi64(ls[2 * g], Low64(v));
            ls[2 * g + 1] = _mm256_add_epi64(ls[2 * g + 1], High64(v));
            lq[2 * g] = _mm256_add_epi64(lq[2 * g], Low64(q));
            lq[2 * g + 1] = _mm256_add_epi64(lq[2 * g + 1], High64(q));
        }
    }
    for (size_t g = 0; g < 2 * Vectors; ++g) {
        Add64(laneSums + 4 * g, ls[g]);
        Add64(laneSquares + 4 * g, lq[g]);
    }
    Row16(src + j, n - j, sum + j, squares + j, laneSums, laneSquares);
}

} // namespace

extern const RowKernels RowKernelsAvx2;
const RowKernels RowKernelsAvx2 = {&Row8Avx2, &Row16Avx2};
} // namespace lxsn::detail
#endif
