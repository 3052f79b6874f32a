// The SN row kernels with AVX2: 8-bit rows by the group kernel of snrowgroup.h with eight 32-bit lanes
// a vector; 16-bit rows one frame at a time, a block of Lanes (48) samples as six vectors, so that
// lane l of the block always meets the same vector lane and the lane sums stay in registers for the
// row. The samples after the last whole block go through the portable loop, whose lanes start again
// at 0 there as they do here. Integer sums: the bits of the portable form. Chosen only after the
// processor reported AVX2.
#include "snrowkernel.h"

#if defined(__AVX2__)
#include <immintrin.h>

#include <algorithm>

namespace lxsn::detail {
namespace {

constexpr size_t Vectors = Lanes / 8;

inline __m256i Load(const void* p) { return _mm256_loadu_si256(static_cast<const __m256i*>(p)); }
inline void Store(void* p, __m256i v) { _mm256_storeu_si256(static_cast<__m256i*>(p), v); }
inline void Add64(uint64_t* p, __m256i v) { Store(p, _mm256_add_epi64(Load(p), v)); }
inline __m256i Low64(__m256i v) { return _mm256_cvtepu32_epi64(_mm256_castsi256_si128(v)); }
inline __m256i High64(__m256i v) { return _mm256_cvtepu32_epi64(_mm256_extracti128_si256(v, 1)); }

struct V {
    static constexpr size_t Width = 8;
    using Vec = __m256i;
    static Vec Zero() { return _mm256_setzero_si256(); }
    static Vec Add(Vec a, Vec b) { return _mm256_add_epi32(a, b); }
    static Vec Bytes(const uint8_t* p) {
        return _mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)));
    }
    static Vec Square(Vec v) { return _mm256_madd_epi16(v, v); }
    static void AddTo(uint32_t* p, Vec v) { Store(p, _mm256_add_epi32(Load(p), v)); }
    static void Widen(uint64_t* p, Vec v) {
        Add64(p, Low64(v));
        Add64(p + 4, High64(v));
    }
};

#include "snrowgroup.h"

// 16-bit samples: the square fits 32 bits; the per-position squares and every lane sum are 64-bit.
void Row16Avx2(const uint16_t* src, size_t n, uint32_t* sum, uint64_t* squares, uint64_t* lanes) {
    __m256i ls[2 * Vectors], lq[2 * Vectors];
    for (size_t g = 0; g < 2 * Vectors; ++g) ls[g] = lq[g] = _mm256_setzero_si256();
    size_t j = 0;
    for (; j + Lanes <= n; j += Lanes) {
        for (size_t g = 0; g < Vectors; ++g) {
            const size_t i = j + 8 * g;
            const __m256i v = _mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i)));
            const __m256i q = _mm256_mullo_epi32(v, v);
            V::AddTo(sum + i, v);
            Add64(squares + i, Low64(q));
            Add64(squares + i + 4, High64(q));
            ls[2 * g] = _mm256_add_epi64(ls[2 * g], Low64(v));
            ls[2 * g + 1] = _mm256_add_epi64(ls[2 * g + 1], High64(v));
            lq[2 * g] = _mm256_add_epi64(lq[2 * g], Low64(q));
            lq[2 * g + 1] = _mm256_add_epi64(lq[2 * g + 1], High64(q));
        }
    }
    for (size_t g = 0; g < 2 * Vectors; ++g) {
        Add64(lanes + 4 * g, ls[g]);
        Add64(lanes + Lanes + 4 * g, lq[g]);
    }
    Row16(src + j, n - j, sum + j, squares + j, lanes);
}

void Rows16Avx2(const uint16_t* const* src, size_t frames, size_t n, uint32_t* sum, uint64_t* squares,
                uint64_t* const* lanes) {
    for (size_t k = 0; k < frames; ++k) Row16Avx2(src[k], n, sum, squares, lanes[k]);
}

// One phase a row: the group kernel with lanes of its own, whose sums then go to lane 0 of each
// frame (integer sums in another order: the same totals). A plain loop over the samples is slower here.
void Rows8SingleAvx2(const uint8_t* const* src, size_t frames, size_t n, uint32_t* sum, uint32_t* squares,
                     uint64_t* const* lanes) {
    for (size_t k0 = 0; k0 < frames; k0 += Group) {
        const size_t group = std::min(Group, frames - k0);
        uint64_t own[Group][2 * Lanes] = {};
        uint64_t* ownLanes[Group];
        for (size_t k = 0; k < group; ++k) ownLanes[k] = own[k];
        Rows8Vector<V>(src + k0, group, n, sum, squares, ownLanes);
        for (size_t k = 0; k < group; ++k) {
            uint64_t s = 0, q = 0;
            for (size_t l = 0; l < Lanes; ++l) {
                s += own[k][l];
                q += own[k][Lanes + l];
            }
            lanes[k0 + k][0] += s;
            lanes[k0 + k][Lanes] += q;
        }
    }
}

} // namespace

extern const RowKernels RowKernelsAvx2;
const RowKernels RowKernelsAvx2 = {&Rows8Vector<V>, &Rows8SingleAvx2, &Rows16Avx2};
} // namespace lxsn::detail
#endif
