// The 8-bit kernel with 512-bit vectors (AVX-512 BW and VBMI, built with those flags alone). A group
// of 64 pixels is three or four vectors of the line; byte permutes take its blue, green and red
// samples to 16-bit lanes, 32 pixels a vector, and put the new blue and red back among the bytes
// loaded. The last group of a line is loaded and stored under a mask, so that no byte past the line
// is touched.
//
// In 16 bits the rule is exact for 8-bit samples: the luminance stays below 256, the pull k below
// 256 * 255, and a component moves by (|G - c| * min(k, 256)) >> 8 towards G, which never passes G
// and reaches it exactly where the 32-bit pull would stop at G.
#include "chromakernels.h"

#include "kernels/lxpixelgroup512.h"

#include <immintrin.h>

namespace lxchroma::detail {
namespace {

struct Consts {
    __m512i low, lowPlus1, high, highMinus1, suppressLow, suppressHigh, full;
};

inline __m512i Pull(__m512i c, __m512i g, __m512i k) {
    const __m512i q = _mm512_srli_epi16(_mm512_mullo_epi16(_mm512_abs_epi16(_mm512_sub_epi16(g, c)), k), 8);
    const __mmask32 up = _mm512_cmpgt_epi16_mask(g, c);
    return _mm512_mask_add_epi16(_mm512_sub_epi16(c, q), up, c, q);
}

// The new blue and red of 32 pixels given as words, returned as words blue | red << 8.
inline __m512i Half(__m512i b, __m512i g, __m512i r, const Consts& c) {
    const __m512i g5 = _mm512_add_epi16(g, _mm512_slli_epi16(g, 2));
    const __m512i y = _mm512_srli_epi16(_mm512_add_epi16(_mm512_add_epi16(b, g5), _mm512_add_epi16(r, r)), 3);
    const __mmask32 below = _mm512_cmplt_epu16_mask(y, c.low);
    const __mmask32 above = _mm512_cmpgt_epu16_mask(y, c.high);
    const __m512i kLow = _mm512_maskz_mullo_epi16(below, _mm512_sub_epi16(c.lowPlus1, y), c.suppressLow);
    const __m512i kHigh = _mm512_maskz_mullo_epi16(above, _mm512_sub_epi16(y, c.highMinus1), c.suppressHigh);
    const __m512i k = _mm512_min_epu16(_mm512_max_epu16(kLow, kHigh), c.full);
    return _mm512_or_si512(Pull(b, g, k), _mm512_slli_epi16(Pull(r, g, k), 8));
}

// The permutes of one layout. Half h (pixels 32h .. 32h + 31 of a group) is read from the two
// vectors starting at vector `window[h]`; byte 2j of `take[s][h]` is where pixel 32h + j has its
// sample s (0 blue, 1 green, 2 red) there. Vector q gets back from half h the bytes `putMask[q][h]`,
// byte i from byte `put[q][h]` of that half's words.
template <size_t Step>
struct Layout {
    static constexpr size_t window[2] = {0, Step == 3 ? 1 : 2};
    alignas(64) uint8_t take[3][2][64] = {};
    alignas(64) uint8_t put[Step][2][64] = {};
    __mmask64 putMask[Step][2] = {};

    Layout(size_t blue, size_t red) {
        const size_t at[3] = {blue, 1, red};
        for (size_t s = 0; s < 3; ++s)
            for (size_t h = 0; h < 2; ++h)
                for (size_t j = 0; j < 32; ++j)
                    take[s][h][2 * j] = static_cast<uint8_t>(Step * (32 * h + j) + at[s] - 64 * window[h]);
        for (size_t q = 0; q < Step; ++q)
            for (size_t i = 0; i < 64; ++i) {
                const size_t pixel = (64 * q + i) / Step, sample = (64 * q + i) % Step, h = pixel / 32;
                if (sample != blue && sample != red) continue;
                put[q][h][i] = static_cast<uint8_t>(2 * (pixel % 32) + (sample == red ? 1 : 0));
                putMask[q][h] |= __mmask64(1) << i;
            }
    }
};

template <size_t Step>
void Lines(const Image& im, const Params& p) {
    const Layout<Step> l(im.blue, im.red);
    const Consts c{_mm512_set1_epi16(static_cast<short>(p.low)),
                   _mm512_set1_epi16(static_cast<short>(p.low + 1)),
                   _mm512_set1_epi16(static_cast<short>(p.high)),
                   _mm512_set1_epi16(static_cast<short>(p.high - 1)), // wraps to -1 for 0: y - (-1) = y + 1
                   _mm512_set1_epi16(static_cast<short>(p.suppressLow)),
                   _mm512_set1_epi16(static_cast<short>(p.suppressHigh)),
                   _mm512_set1_epi16(256)};
    __m512i take[3][2], put[Step][2];
    for (size_t s = 0; s < 3; ++s)
        for (size_t h = 0; h < 2; ++h) take[s][h] = _mm512_load_si512(l.take[s][h]);
    for (size_t q = 0; q < Step; ++q)
        for (size_t h = 0; h < 2; ++h) put[q][h] = _mm512_load_si512(l.put[q][h]);
    constexpr __mmask64 evenBytes = 0x5555555555555555ull;

    for (size_t y = 0; y < im.height; ++y) {
        uint8_t* line = im.base + y * im.pitch;
        for (size_t x = 0; x < im.width; x += 64) {
            lxkernels::PixelGroup512<Step> group(line + x * Step, im.width - x);
            __m512i (&d)[Step] = group.v;
            __m512i br[2];
            for (size_t h = 0; h < 2; ++h) {
                const __m512i lo = d[l.window[h]], hi = d[l.window[h] + 1];
                br[h] = Half(_mm512_maskz_permutex2var_epi8(evenBytes, lo, take[0][h], hi),
                             _mm512_maskz_permutex2var_epi8(evenBytes, lo, take[1][h], hi),
                             _mm512_maskz_permutex2var_epi8(evenBytes, lo, take[2][h], hi), c);
            }
            for (size_t q = 0; q < Step; ++q) {
                const size_t first = (64 * q / Step) / 32, last = ((64 * q + 63) / Step) / 32;
                for (size_t h = first; h <= last; ++h)
                    d[q] = _mm512_mask_permutexvar_epi8(d[q], l.putMask[q][h], put[q][h], br[h]);
                group.Store(q);
            }
        }
    }
}

} // namespace

void Suppress8Avx512(const Image& image, const Params& params) {
    if (image.step == 4)
        Lines<4>(image, params);
    else
        Lines<3>(image, params);
}

} // namespace lxchroma::detail
