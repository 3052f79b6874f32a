// The AVX2 rows of the edge enhancement: 16 line sums per step, and 32 pixels per step with the
// amount table read by sixteen in-lane byte shuffles, one per 16 entries, each kept where the high
// nibble of the index selects its block. Built with -mavx2 alone and entered only after the
// dispatcher found AVX2.
#include "edgekernels.h"

#if defined(__x86_64__) && defined(__AVX2__)

#include <immintrin.h>

namespace lxedge {
namespace {

void LineSum8(const uint8_t* s, uint16_t* h, size_t width) {
    size_t x = 1;
    for (; x + 16 < width; x += 16) {
        const __m256i a = _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(s + x - 1)));
        const __m256i b = _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(s + x)));
        const __m256i c = _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(s + x + 1)));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(h + x), _mm256_add_epi16(_mm256_add_epi16(a, b), c));
    }
    PortableRows().lineSum8(s + x - 1, h + x - 1, width - (x - 1));
}

inline __m256i Load16(const uint16_t* p) { return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)); }

// The means of 16 pixels as 16-bit lanes: (up + here + down - c + 4) >> 3.
inline __m256i Means(const uint16_t* up, const uint16_t* here, const uint16_t* down, const uint8_t* c) {
    const __m256i sum = _mm256_add_epi16(_mm256_add_epi16(Load16(up), Load16(here)), Load16(down));
    const __m256i centre = _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(c)));
    return _mm256_srli_epi16(_mm256_add_epi16(_mm256_sub_epi16(sum, centre), _mm256_set1_epi16(4)), 3);
}

void Enhance8(uint8_t* row, const uint16_t* up, const uint16_t* here, const uint16_t* down, size_t width,
              const uint8_t* table) {
    __m256i blocks[16];
    for (int k = 0; k < 16; ++k)
        blocks[k] = _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(table + 16 * k)));
    const __m256i nibble = _mm256_set1_epi8(0x0F);
    const __m256i zero = _mm256_setzero_si256();
    size_t x = 1;
    for (; x + 32 < width; x += 32) {
        const __m256i c = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(row + x));
        const __m256i lo = Means(up + x, here + x, down + x, row + x);
        const __m256i hi = Means(up + x + 16, here + x + 16, down + x + 16, row + x + 16);
        // The means are at most 255: the saturating pack keeps them; it interleaves the halves by 8
        // bytes, which the permute puts back in order.
        const __m256i m = _mm256_permute4x64_epi64(_mm256_packus_epi16(lo, hi), 0xD8);
        const __m256i above = _mm256_subs_epu8(c, m);
        const __m256i d = _mm256_or_si256(above, _mm256_subs_epu8(m, c));
        const __m256i low = _mm256_and_si256(d, nibble);
        const __m256i high = _mm256_and_si256(_mm256_srli_epi16(d, 4), nibble);
        __m256i b = zero;
        for (int k = 0; k < 16; ++k) {
            const __m256i mine = _mm256_cmpeq_epi8(high, _mm256_set1_epi8(char(k)));
            b = _mm256_or_si256(b, _mm256_and_si256(mine, _mm256_shuffle_epi8(blocks[k], low)));
        }
        // Where c is not above m the amount is subtracted (it is 0 where c equals m).
        const __m256i notAbove = _mm256_cmpeq_epi8(above, zero);
        const __m256i out = _mm256_blendv_epi8(_mm256_adds_epu8(c, b), _mm256_subs_epu8(c, b), notAbove);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(row + x), out);
    }
    PortableRows().enhance8(row + x - 1, up + x - 1, here + x - 1, down + x - 1, width - (x - 1), table);
}

constexpr RowKernels kAvx2 = {LineSum8, Enhance8};

} // namespace

const RowKernels* Avx2Rows() noexcept { return &kAvx2; }

} // namespace lxedge

#else

namespace lxedge {
const RowKernels* Avx2Rows() noexcept { return nullptr; }
} // namespace lxedge

#endif
