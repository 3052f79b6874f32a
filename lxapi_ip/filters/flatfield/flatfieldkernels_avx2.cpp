// The AVX2 form of the flat field row kernels: eight 32-bit lanes a vector, 32 bytes or 16 words a
// step, the rest of a row through the portable loops (compiled here too). The lanes compute what the
// portable loops compute in 32 bits: a wrapping product and sum, an unsigned minimum for
// Multiplication, a signed clamp to [0, M] for Addition; every result fits the sample, so the packs
// below never saturate. Reached only through the dispatcher after the processor reported AVX2.
#include "flatfieldkernels.h"

#include <cstring>
#include <type_traits>

#if defined(__AVX2__)
#include <immintrin.h>

namespace lxff {
namespace {
#include "flatfieldrows.h"

struct MultiplyLaw {
    using Entry = Gain;
    static __m256i Load(const Gain* t) {
        return _mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(t)));
    }
    __m256i in, out, maximum;
    MultiplyLaw(uint32_t m, const LawConstants& k)
        : in(_mm256_set1_epi32(int32_t(k.inputOffset))), out(_mm256_set1_epi32(int32_t(k.outputOffset))),
          maximum(_mm256_set1_epi32(int32_t(m))) {}
    __m256i operator()(__m256i p, __m256i t) const {
        const __m256i d = _mm256_sub_epi32(_mm256_max_epu32(p, in), in);
        const __m256i v = _mm256_add_epi32(out, _mm256_srli_epi32(_mm256_mullo_epi32(d, t), 7));
        return _mm256_min_epu32(v, maximum);
    }
};

struct AddLaw {
    using Entry = uint32_t;
    static __m256i Load(const uint32_t* t) {
        return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(t));
    }
    __m256i maximum;
    AddLaw(uint32_t m, const LawConstants&) : maximum(_mm256_set1_epi32(int32_t(m))) {}
    __m256i operator()(__m256i p, __m256i t) const {
        const __m256i s = _mm256_add_epi32(p, t);
        return _mm256_min_epi32(_mm256_max_epi32(s, _mm256_setzero_si256()), maximum);
    }
};

inline __m256i Bytes(const uint8_t* p) {
    return _mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)));
}
inline __m256i Words(const uint8_t* p) {
    return _mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
}

template <class Law, class Sample>
void Row(uint8_t* row, const typename Law::Entry* table, size_t width, uint32_t maximum, const LawConstants& k) {
    const Law law(maximum, k);
    size_t x = 0;
    if constexpr (sizeof(Sample) == 1) {
        // The two packs interleave the 128-bit halves; the permute puts the four-pixel groups back.
        const __m256i order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
        for (; x + 32 <= width; x += 32) {
            const __m256i a = law(Bytes(row + x), Law::Load(table + x));
            const __m256i b = law(Bytes(row + x + 8), Law::Load(table + x + 8));
            const __m256i c = law(Bytes(row + x + 16), Law::Load(table + x + 16));
            const __m256i d = law(Bytes(row + x + 24), Law::Load(table + x + 24));
            const __m256i packed = _mm256_packus_epi16(_mm256_packus_epi32(a, b), _mm256_packus_epi32(c, d));
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(row + x), _mm256_permutevar8x32_epi32(packed, order));
        }
    } else {
        for (; x + 16 <= width; x += 16) {
            uint8_t* p = row + 2 * x;
            const __m256i a = law(Words(p), Law::Load(table + x));
            const __m256i b = law(Words(p + 16), Law::Load(table + x + 8));
            const __m256i packed = _mm256_permute4x64_epi64(_mm256_packus_epi32(a, b), 0xD8);
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), packed);
        }
    }
    if constexpr (std::is_same_v<Law, MultiplyLaw>)
        MultiplyRow<Sample>(row + x * sizeof(Sample), table + x, width - x, maximum, k);
    else
        AddRow<Sample>(row + x * sizeof(Sample), table + x, width - x, maximum, k);
}

} // namespace

extern const RowKernels kAvx2Rows;
const RowKernels kAvx2Rows = {{&Row<MultiplyLaw, uint8_t>, &Row<MultiplyLaw, uint16_t>},
                               {&Row<AddLaw, uint8_t>, &Row<AddLaw, uint16_t>}};

} // namespace lxff
#endif
