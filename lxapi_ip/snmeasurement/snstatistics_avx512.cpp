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

// Wider samples: one frame after the other (their sums and squares are 64-bit work either way).
void Rows16Avx512(const uint16_t* const* src, size_t frames, size_t n, uint32_t* sum, uint64_t* squares,
                  uint64_t* const* lanes) {
    for (size_t k = 0; k < frames; ++k) Row16Avx512(src[k], n, sum, squares, lanes[k]);
}

} // namespace

extern const RowKernels RowKernelsAvx512;
const RowKernels RowKernelsAvx512 = {&Rows8Vector<V>, &Rows16Avx512};
} // namespace lxsn::detail
#endif
