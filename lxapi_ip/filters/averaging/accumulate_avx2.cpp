// The accumulation with 256-bit vectors (built with -mavx2): sixteen samples widened to 32 bits (or
// thirty-two to 16 bits) and added at a time; the rest of a line goes through the portable loop.
#include "accumulate.h"

#include <immintrin.h>

namespace lxavg::detail {
namespace {
// acc[0..16) += the sixteen 16-bit words of w.
inline void AddWords(uint32_t* acc, __m256i w) {
    __m256i* a = reinterpret_cast<__m256i*>(acc);
    const __m256i lo = _mm256_cvtepu16_epi32(_mm256_castsi256_si128(w));
    const __m256i hi = _mm256_cvtepu16_epi32(_mm256_extracti128_si256(w, 1));
    _mm256_storeu_si256(a, _mm256_add_epi32(_mm256_loadu_si256(a), lo));
    _mm256_storeu_si256(a + 1, _mm256_add_epi32(_mm256_loadu_si256(a + 1), hi));
}
} // namespace

void Add8Avx2(uint32_t* acc, const uint8_t* src, size_t n) {
    size_t i = 0;
    for (; i + 16 <= n; i += 16) {
        const __m128i s = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i));
        __m256i* a = reinterpret_cast<__m256i*>(acc + i);
        const __m256i lo = _mm256_add_epi32(_mm256_loadu_si256(a), _mm256_cvtepu8_epi32(s));
        const __m256i hi = _mm256_add_epi32(_mm256_loadu_si256(a + 1), _mm256_cvtepu8_epi32(_mm_srli_si128(s, 8)));
        _mm256_storeu_si256(a, lo);
        _mm256_storeu_si256(a + 1, hi);
    }
    Add8Portable(acc + i, src + i, n - i);
}

void Add16Avx2(uint32_t* acc, const uint8_t* src, size_t n) {
    size_t i = 0;
    for (; i + 16 <= n; i += 16) AddWords(acc + i, _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + 2 * i)));
    Add16Portable(acc + i, src + 2 * i, n - i);
}

void Stage8Avx2(uint16_t* pending, const uint8_t* src, size_t n) {
    size_t i = 0;
    for (; i + 32 <= n; i += 32) {
        const __m256i s = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + i));
        __m256i* p = reinterpret_cast<__m256i*>(pending + i);
        const __m256i lo = _mm256_add_epi16(_mm256_loadu_si256(p), _mm256_cvtepu8_epi16(_mm256_castsi256_si128(s)));
        const __m256i hi =
            _mm256_add_epi16(_mm256_loadu_si256(p + 1), _mm256_cvtepu8_epi16(_mm256_extracti128_si256(s, 1)));
        _mm256_storeu_si256(p, lo);
        _mm256_storeu_si256(p + 1, hi);
    }
    Stage8Portable(pending + i, src + i, n - i);
}

void FoldAvx2(uint32_t* acc, uint16_t* pending, size_t n) {
    size_t i = 0;
    for (; i + 16 <= n; i += 16) {
        __m256i* p = reinterpret_cast<__m256i*>(pending + i);
        AddWords(acc + i, _mm256_loadu_si256(p));
        _mm256_storeu_si256(p, _mm256_setzero_si256());
    }
    FoldPortable(acc + i, pending + i, n - i);
}

} // namespace lxavg::detail
