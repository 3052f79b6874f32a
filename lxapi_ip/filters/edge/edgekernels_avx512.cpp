// The AVX-512 rows of the edge enhancement (F, BW, VBMI): 32 line sums per step, and 64 pixels per
// step with the amount table held in four registers and read by two two-source byte permutes.
// Built with the AVX-512 flags alone and entered only after the dispatcher found the instruction set.
#include "edgekernels.h"

#if defined(__x86_64__) && defined(__AVX512BW__) && defined(__AVX512VBMI__)

#include <immintrin.h>

namespace lxedge {
namespace {

void LineSum8(const uint8_t* s, uint16_t* h, size_t width) {
    size_t x = 1;
    for (; x + 32 < width; x += 32) {
        const __m512i a = _mm512_cvtepu8_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(s + x - 1)));
        const __m512i b = _mm512_cvtepu8_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(s + x)));
        const __m512i c = _mm512_cvtepu8_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(s + x + 1)));
        _mm512_storeu_si512(h + x, _mm512_add_epi16(_mm512_add_epi16(a, b), c));
    }
    PortableRows().lineSum8(s + x - 1, h + x - 1, width - (x - 1));
}

// The means of 32 pixels as 16-bit lanes: (up + here + down - c + 4) >> 3.
inline __m512i Means(const uint16_t* up, const uint16_t* here, const uint16_t* down, const uint8_t* c) {
    const __m512i sum = _mm512_add_epi16(_mm512_add_epi16(_mm512_loadu_si512(up), _mm512_loadu_si512(here)),
                                         _mm512_loadu_si512(down));
    const __m512i centre = _mm512_cvtepu8_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(c)));
    return _mm512_srli_epi16(_mm512_add_epi16(_mm512_sub_epi16(sum, centre), _mm512_set1_epi16(4)), 3);
}

void Enhance8(uint8_t* row, const uint16_t* up, const uint16_t* here, const uint16_t* down, size_t width,
              const uint8_t* table) {
    const __m512i t0 = _mm512_loadu_si512(table);
    const __m512i t1 = _mm512_loadu_si512(table + 64);
    const __m512i t2 = _mm512_loadu_si512(table + 128);
    const __m512i t3 = _mm512_loadu_si512(table + 192);
    // The pack below interleaves the two halves by 8 bytes; this puts them back in order.
    const __m512i order = _mm512_set_epi64(7, 5, 3, 1, 6, 4, 2, 0);
    size_t x = 1;
    for (; x + 64 < width; x += 64) {
        const __m512i c = _mm512_loadu_si512(row + x);
        const __m512i lo = Means(up + x, here + x, down + x, row + x);
        const __m512i hi = Means(up + x + 32, here + x + 32, down + x + 32, row + x + 32);
        // The means are at most 255: the saturating pack keeps them exactly. (The all-ones mask forms
        // avoid the undefined source of the plain forms, which g++ 12 warns about.)
        const __m512i m = _mm512_maskz_permutexvar_epi64(0xFF, order, _mm512_packus_epi16(lo, hi));
        // |c - m| as the index: one of the two saturated differences is 0.
        const __m512i d = _mm512_or_si512(_mm512_subs_epu8(c, m), _mm512_subs_epu8(m, c));
        const __m512i low = _mm512_permutex2var_epi8(t0, d, t1);
        const __m512i high = _mm512_permutex2var_epi8(t2, d, t3);
        const __m512i b = _mm512_mask_blend_epi8(_mm512_movepi8_mask(d), low, high);
        const __mmask64 above = _mm512_cmpgt_epu8_mask(c, m);
        const __m512i out = _mm512_mask_blend_epi8(above, _mm512_subs_epu8(c, b), _mm512_adds_epu8(c, b));
        _mm512_storeu_si512(row + x, out);
    }
    PortableRows().enhance8(row + x - 1, up + x - 1, here + x - 1, down + x - 1, width - (x - 1), table);
}

constexpr RowKernels kAvx512 = {LineSum8, Enhance8};

} // namespace

const RowKernels* Avx512Rows() noexcept { return &kAvx512; }

} // namespace lxedge

#else

namespace lxedge {
const RowKernels* Avx512Rows() noexcept { return nullptr; }
} // namespace lxedge

#endif
