// AVX2 rows of the YCbCr conversions. Built with -mavx2 alone and entered only after the dispatcher
// found AVX2.
//
// The tables of the portable rows hold value * K exactly, so a sum of three entries equals
// r * Kr + g * Kg + b * Kb (+ offset) computed in 32-bit lanes; a clamp to [lo << 22, hi << 22]
// followed by the shift by 22 gives the portable clamp. Each row does blocks of 16 pixels (8 pairs)
// and leaves the rest of the line, on whole pairs, to the portable row.
#include "toycbcrrows.h"

#include <immintrin.h>

#include <utility>

namespace lxycc::detail::avx2 {

namespace {

// The B, G and R bytes of 16 pixels of 3 bytes each (48 bytes from p), blue first in memory.
inline void Deinterleave16(const uint8_t* p, __m128i* b, __m128i* g, __m128i* r) {
    const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    const __m128i m = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 16));
    const __m128i c = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 32));
    const int8_t z = -1;
    *b = _mm_or_si128(
        _mm_or_si128(_mm_shuffle_epi8(a, _mm_setr_epi8(0, 3, 6, 9, 12, 15, z, z, z, z, z, z, z, z, z, z)),
                     _mm_shuffle_epi8(m, _mm_setr_epi8(z, z, z, z, z, z, 2, 5, 8, 11, 14, z, z, z, z, z))),
        _mm_shuffle_epi8(c, _mm_setr_epi8(z, z, z, z, z, z, z, z, z, z, z, 1, 4, 7, 10, 13)));
    *g = _mm_or_si128(
        _mm_or_si128(_mm_shuffle_epi8(a, _mm_setr_epi8(1, 4, 7, 10, 13, z, z, z, z, z, z, z, z, z, z, z)),
                     _mm_shuffle_epi8(m, _mm_setr_epi8(z, z, z, z, z, 0, 3, 6, 9, 12, 15, z, z, z, z, z))),
        _mm_shuffle_epi8(c, _mm_setr_epi8(z, z, z, z, z, z, z, z, z, z, z, 2, 5, 8, 11, 14)));
    *r = _mm_or_si128(
        _mm_or_si128(_mm_shuffle_epi8(a, _mm_setr_epi8(2, 5, 8, 11, 14, z, z, z, z, z, z, z, z, z, z, z)),
                     _mm_shuffle_epi8(m, _mm_setr_epi8(z, z, z, z, z, 1, 4, 7, 10, 13, z, z, z, z, z, z))),
        _mm_shuffle_epi8(c, _mm_setr_epi8(z, z, z, z, z, z, z, z, z, z, 0, 3, 6, 9, 12, 15)));
}

// Even and odd pixels of 16 bytes as two vectors of 8 32-bit lanes, pair i in lane i.
inline void EvenOdd(__m128i v, __m256i* even, __m256i* odd) {
    const __m256i w = _mm256_cvtepu8_epi16(v);
    *even = _mm256_and_si256(w, _mm256_set1_epi32(0xFFFF));
    *odd = _mm256_srli_epi32(w, 16);
}

struct Row3 {
    __m256i k0, k1, k2, offset, lo, hi;
    Row3(const int32_t* k, int32_t off, int32_t lower, int32_t upper)
        : k0(_mm256_set1_epi32(k[0])), k1(_mm256_set1_epi32(k[1])), k2(_mm256_set1_epi32(k[2])),
          offset(_mm256_set1_epi32(off)), lo(_mm256_set1_epi32(lower << 22)), hi(_mm256_set1_epi32(upper << 22)) {}
    // Clamped value of (r, g, b), 0 to 255 in each lane.
    __m256i operator()(__m256i r, __m256i g, __m256i b) const {
        __m256i s = _mm256_add_epi32(_mm256_mullo_epi32(r, k0), offset);
        s = _mm256_add_epi32(s, _mm256_mullo_epi32(g, k1));
        s = _mm256_add_epi32(s, _mm256_mullo_epi32(b, k2));
        return _mm256_srai_epi32(_mm256_min_epi32(_mm256_max_epi32(s, lo), hi), 22);
    }
};

struct Forward {
    Row3 y, cb, cr;
    explicit Forward(CoefficientSet set)
        : y(ForwardMultipliers(set), set == CoefficientSet::Full ? 0 : 16 << 22, BoundsOf(set).yLo, BoundsOf(set).yHi),
          cb(ForwardMultipliers(set) + 3, 128 << 22, BoundsOf(set).cLo, BoundsOf(set).cHi),
          cr(ForwardMultipliers(set) + 6, 128 << 22, BoundsOf(set).cLo, BoundsOf(set).cHi) {}
};

// Y of the even and odd pixels and Cb, Cr of the pairs, of 16 pixels from p.
struct Block {
    __m256i yEven, yOdd, cb, cr;
};
inline Block Convert16(const Forward& f, const uint8_t* p, bool blueFirst) {
    __m128i b, g, r;
    Deinterleave16(p, &b, &g, &r);
    if (!blueFirst) std::swap(b, r);
    __m256i rE, rO, gE, gO, bE, bO;
    EvenOdd(r, &rE, &rO);
    EvenOdd(g, &gE, &gO);
    EvenOdd(b, &bE, &bO);
    Block out;
    out.yEven = f.y(rE, gE, bE);
    out.yOdd = f.y(rO, gO, bO);
    const __m256i rA = _mm256_srli_epi32(_mm256_add_epi32(rE, rO), 1);
    const __m256i gA = _mm256_srli_epi32(_mm256_add_epi32(gE, gO), 1);
    const __m256i bA = _mm256_srli_epi32(_mm256_add_epi32(bE, bO), 1);
    out.cb = f.cb(rA, gA, bA);
    out.cr = f.cr(rA, gA, bA);
    return out;
}

inline __m256i Place(__m256i v, unsigned byte) { return _mm256_sll_epi32(v, _mm_cvtsi32_si128(int(8 * byte))); }

} // namespace

size_t Color3To422(const uint8_t* src, bool blueFirst, uint8_t* dst, const Layout& l, size_t width) {
    const Forward f(l.set);
    size_t x = 0;
    for (; x + 16 <= width; x += 16) {
        const Block k = Convert16(f, src + 3 * x, blueFirst);
        const __m256i groups = _mm256_or_si256(_mm256_or_si256(Place(k.yEven, l.y[0]), Place(k.yOdd, l.y[1])),
                                               _mm256_or_si256(Place(k.cb, l.cb), Place(k.cr, l.cr)));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + 2 * x), groups);
    }
    return x;
}

size_t Color3To420(const uint8_t* src, bool blueFirst, uint8_t* y, uint8_t* cb, uint8_t* cr, size_t width) {
    const Forward f(CoefficientSet::Full);
    size_t x = 0;
    for (; x + 16 <= width; x += 16) {
        const Block k = Convert16(f, src + 3 * x, blueFirst);
        // Y: pairs as 16-bit words, packed to the low half in order.
        const __m256i pairs = _mm256_or_si256(k.yEven, _mm256_slli_epi32(k.yOdd, 8));
        const __m256i words = _mm256_permute4x64_epi64(_mm256_packus_epi32(pairs, pairs), 0x08);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(y + x), _mm256_castsi256_si128(words));
        if (cb) {
            const __m256i c16 = _mm256_packus_epi32(k.cb, k.cr);  // cb0-3 cr0-3 | cb4-7 cr4-7
            const __m256i c8 = _mm256_packus_epi16(c16, c16);     // bytes, dwords: cb0-3 cr0-3 .. | cb4-7 cr4-7 ..
            const __m256i order = _mm256_permutevar8x32_epi32(c8, _mm256_setr_epi32(0, 4, 1, 5, 0, 0, 0, 0));
            const __m128i both = _mm256_castsi256_si128(order);
            _mm_storel_epi64(reinterpret_cast<__m128i*>(cb + x / 2), both);
            _mm_storel_epi64(reinterpret_cast<__m128i*>(cr + x / 2), _mm_unpackhi_epi64(both, both));
        }
    }
    return x;
}

size_t Ycc422ToColor3(const uint8_t* src, const Layout& l, uint8_t* dst, bool blueFirst, size_t width) {
    const int32_t* k = BackwardMultipliers(l.set);
    const bool legal = l.set != CoefficientSet::Full;
    const __m256i mask = _mm256_set1_epi32(0xFF);
    const __m256i yLo = _mm256_set1_epi32(legal ? 16 : 0), yHi = _mm256_set1_epi32(legal ? 235 : 255);
    const __m256i cLo = _mm256_set1_epi32(legal ? 16 : 0), cHi = _mm256_set1_epi32(legal ? 240 : 255);
    const __m256i yOff = _mm256_set1_epi32(legal ? 16 : 0), c128 = _mm256_set1_epi32(128);
    const __m256i ky = _mm256_set1_epi32(k[0]), krcr = _mm256_set1_epi32(k[1]), kgcb = _mm256_set1_epi32(k[2]),
                  kgcr = _mm256_set1_epi32(k[3]), kbcb = _mm256_set1_epi32(k[4]);
    const __m256i zero = _mm256_setzero_si256(), top = _mm256_set1_epi32(255 << 22);
    auto field = [&](__m256i w, unsigned byte) {
        return _mm256_and_si256(_mm256_srl_epi32(w, _mm_cvtsi32_si128(int(8 * byte))), mask);
    };
    auto clampShift = [&](__m256i s) { return _mm256_srai_epi32(_mm256_min_epi32(_mm256_max_epi32(s, zero), top), 22); };
    const unsigned shiftR = blueFirst ? 16 : 0, shiftB = blueFirst ? 0 : 16;
    // 4 pixels of 4 bytes to 12 bytes in each 128-bit lane.
    const __m256i pack3 = _mm256_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1, 0, 1, 2, 4, 5, 6,
                                           8, 9, 10, 12, 13, 14, -1, -1, -1, -1);
    size_t x = 0;
    // Each block stores 16 bytes from its last 12: two pixels of room behind the block are needed.
    for (; x + 18 <= width; x += 16) {
        const __m256i w = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + 2 * x));
        const __m256i yE = _mm256_min_epi32(_mm256_max_epi32(field(w, l.y[0]), yLo), yHi);
        const __m256i yO = _mm256_min_epi32(_mm256_max_epi32(field(w, l.y[1]), yLo), yHi);
        const __m256i cb = _mm256_sub_epi32(_mm256_min_epi32(_mm256_max_epi32(field(w, l.cb), cLo), cHi), c128);
        const __m256i cr = _mm256_sub_epi32(_mm256_min_epi32(_mm256_max_epi32(field(w, l.cr), cLo), cHi), c128);
        const __m256i tE = _mm256_mullo_epi32(_mm256_sub_epi32(yE, yOff), ky);
        const __m256i tO = _mm256_mullo_epi32(_mm256_sub_epi32(yO, yOff), ky);
        const __m256i rAdd = _mm256_mullo_epi32(cr, krcr);
        const __m256i gAdd = _mm256_add_epi32(_mm256_mullo_epi32(cb, kgcb), _mm256_mullo_epi32(cr, kgcr));
        const __m256i bAdd = _mm256_mullo_epi32(cb, kbcb);
        auto pixel = [&](__m256i t) {
            const __m256i r = clampShift(_mm256_add_epi32(t, rAdd));
            const __m256i g = clampShift(_mm256_add_epi32(t, gAdd));
            const __m256i b = clampShift(_mm256_add_epi32(t, bAdd));
            return _mm256_or_si256(_mm256_or_si256(_mm256_sll_epi32(r, _mm_cvtsi32_si128(int(shiftR))),
                                                   _mm256_slli_epi32(g, 8)),
                                   _mm256_sll_epi32(b, _mm_cvtsi32_si128(int(shiftB))));
        };
        const __m256i pE = pixel(tE), pO = pixel(tO);
        const __m256i lo = _mm256_unpacklo_epi32(pE, pO); // pixels 0-3 | 8-11
        const __m256i hi = _mm256_unpackhi_epi32(pE, pO); // pixels 4-7 | 12-15
        const __m256i first = _mm256_shuffle_epi8(_mm256_permute2x128_si256(lo, hi, 0x20), pack3);  // 0-3 | 4-7
        const __m256i second = _mm256_shuffle_epi8(_mm256_permute2x128_si256(lo, hi, 0x31), pack3); // 8-11 | 12-15
        uint8_t* d = dst + 3 * x;
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d), _mm256_castsi256_si128(first));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 12), _mm256_extracti128_si256(first, 1));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 24), _mm256_castsi256_si128(second));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 36), _mm256_extracti128_si256(second, 1));
    }
    return x;
}

} // namespace lxycc::detail::avx2
