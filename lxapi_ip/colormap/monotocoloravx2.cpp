// AVX2 rows of the mono to colour conversions. Built with -mavx2 alone and entered only after the
// dispatcher found AVX2.
#include "monotocolorrows.h"

#include <immintrin.h>

namespace lxcmap::detail::avx2 {

// 32 values to 96 bytes a block: each 128-bit lane of the three shuffles holds 16 output bytes.
size_t Grey3(const uint8_t* src, uint8_t* dst, size_t width) {
    const __m128i m0 = _mm_setr_epi8(0, 0, 0, 1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4, 5);
    const __m128i m1 = _mm_setr_epi8(5, 5, 6, 6, 6, 7, 7, 7, 8, 8, 8, 9, 9, 9, 10, 10);
    const __m128i m2 = _mm_setr_epi8(10, 11, 11, 11, 12, 12, 12, 13, 13, 13, 14, 14, 14, 15, 15, 15);
    const __m256i s01 = _mm256_setr_m128i(m0, m1);
    const __m256i s20 = _mm256_setr_m128i(m2, m0);
    const __m256i s12 = _mm256_setr_m128i(m1, m2);
    size_t x = 0;
    for (; x + 32 <= width; x += 32) {
        const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + x));
        const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + x + 16));
        // Output bytes 0-31 from a, 32-47 from a and 48-63 from b, 64-95 from b.
        const __m256i aa = _mm256_setr_m128i(a, a), ab = _mm256_setr_m128i(a, b), bb = _mm256_setr_m128i(b, b);
        uint8_t* d = dst + 3 * x;
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d), _mm256_shuffle_epi8(aa, s01));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + 32), _mm256_shuffle_epi8(ab, s20));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + 64), _mm256_shuffle_epi8(bb, s12));
    }
    return x;
}

} // namespace lxcmap::detail::avx2
