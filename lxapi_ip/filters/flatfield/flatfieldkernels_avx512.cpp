// The AVX-512 form of the flat field row kernels (F, BW, VL): sixteen 32-bit lanes a vector, 64 bytes
// or 32 words a step, the rest of a row through the portable loops (compiled here too). The lanes
// compute what the portable loops compute in 32 bits (see the AVX2 form); every result fits the
// sample, so the narrowing stores below only drop zero bits. Reached only through the dispatcher
// after the processor reported AVX-512.
#include "flatfieldkernels.h"

#include <cstring>
#include <type_traits>

#if defined(__AVX512F__) && defined(__AVX512BW__) && defined(__AVX512VL__)
#include "kernels/lxavx512.h"

namespace lxff {
namespace {
#include "flatfieldrows.h"

struct MultiplyLaw {
    using Entry = Gain;
    static __m512i Load(const Gain* t) {
        return _mm512_cvtepu16_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(t)));
    }
    __m512i in, out, maximum;
    MultiplyLaw(uint32_t m, const LawConstants& k)
        : in(_mm512_set1_epi32(int32_t(k.inputOffset))), out(_mm512_set1_epi32(int32_t(k.outputOffset))),
          maximum(_mm512_set1_epi32(int32_t(m))) {}
    __m512i operator()(__m512i p, __m512i t) const {
        const __m512i d = _mm512_sub_epi32(_mm512_max_epu32(p, in), in);
        const __m512i v = _mm512_add_epi32(out, _mm512_srli_epi32(_mm512_mullo_epi32(d, t), 7));
        return _mm512_min_epu32(v, maximum);
    }
};

struct AddLaw {
    using Entry = uint32_t;
    static __m512i Load(const uint32_t* t) { return _mm512_loadu_si512(t); }
    __m512i maximum;
    AddLaw(uint32_t m, const LawConstants&) : maximum(_mm512_set1_epi32(int32_t(m))) {}
    __m512i operator()(__m512i p, __m512i t) const {
        const __m512i s = _mm512_add_epi32(p, t);
        return _mm512_min_epi32(_mm512_max_epi32(s, _mm512_setzero_si512()), maximum);
    }
};


template <class Law>
inline void Bytes16(const Law& law, uint8_t* p, const typename Law::Entry* t) {
    const __m512i v = law(_mm512_cvtepu8_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))), Law::Load(t));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm512_cvtepi32_epi8(v));
}
template <class Law>
inline void Words16(const Law& law, uint8_t* p, const typename Law::Entry* t) {
    const __m512i v = law(_mm512_cvtepu16_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p))), Law::Load(t));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), _mm512_cvtepi32_epi16(v));
}

template <class Law, class Sample>
void Row(uint8_t* row, const typename Law::Entry* table, size_t width, uint32_t maximum, const LawConstants& k) {
    const Law law(maximum, k);
    size_t x = 0;
    if constexpr (sizeof(Sample) == 1) {
        for (; x + 64 <= width; x += 64)
            for (size_t i = 0; i < 64; i += 16) Bytes16(law, row + x + i, table + x + i);
        for (; x + 16 <= width; x += 16) Bytes16(law, row + x, table + x);
    } else {
        for (; x + 32 <= width; x += 32) {
            Words16(law, row + 2 * x, table + x);
            Words16(law, row + 2 * x + 32, table + x + 16);
        }
        for (; x + 16 <= width; x += 16) Words16(law, row + 2 * x, table + x);
    }
    if constexpr (std::is_same_v<Law, MultiplyLaw>)
        MultiplyRow<Sample>(row + x * sizeof(Sample), table + x, width - x, maximum, k);
    else
        AddRow<Sample>(row + x * sizeof(Sample), table + x, width - x, maximum, k);
}

} // namespace

extern const RowKernels kAvx512Rows;
const RowKernels kAvx512Rows = {{&Row<MultiplyLaw, uint8_t>, &Row<MultiplyLaw, uint16_t>},
                               {&Row<AddLaw, uint8_t>, &Row<AddLaw, uint16_t>}};

} // namespace lxff
#endif
