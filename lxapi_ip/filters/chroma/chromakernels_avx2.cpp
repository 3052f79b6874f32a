// The 8-bit kernel with 256-bit vectors (built with -mavx2 alone): 16 pixels at a time, pixels 0-7
// in the low lane and 8-15 in the high one. Each lane is read as two overlapping 16-byte pieces of
// its pixels (`A` from the lane's first byte, `C` from `Step` * 8 - 16 bytes on), so that byte
// shuffles take every blue, green and red sample to a 16-bit lane; the new blue and red go back into
// the same pieces, which are stored where they were read. The rule in 16 bits is the one of the
// AVX-512 form (see there). The pixels after the last group of a line go through the portable loop.
#include "chromakernels.h"

#include <immintrin.h>

namespace lxchroma::detail {
namespace {

struct Consts {
    __m256i low, lowPlus1, high, highMinus1, suppressLow, suppressHigh, full;
};

inline __m256i Pull(__m256i c, __m256i g, __m256i k) {
    const __m256i towardsGreen = _mm256_sub_epi16(g, c);
    const __m256i q = _mm256_srli_epi16(_mm256_mullo_epi16(_mm256_abs_epi16(towardsGreen), k), 8);
    return _mm256_add_epi16(c, _mm256_sign_epi16(q, towardsGreen));
}

// The new blue and red of 16 pixels given as words, returned as words blue | red << 8.
inline __m256i Pixels16(__m256i b, __m256i g, __m256i r, const Consts& c) {
    const __m256i g5 = _mm256_add_epi16(g, _mm256_slli_epi16(g, 2));
    const __m256i y = _mm256_srli_epi16(_mm256_add_epi16(_mm256_add_epi16(b, g5), _mm256_add_epi16(r, r)), 3);
    const __m256i below = _mm256_cmpgt_epi16(c.low, y);
    const __m256i above = _mm256_cmpgt_epi16(y, c.high);
    const __m256i kLow = _mm256_and_si256(below, _mm256_mullo_epi16(_mm256_sub_epi16(c.lowPlus1, y), c.suppressLow));
    const __m256i kHigh = _mm256_and_si256(above, _mm256_mullo_epi16(_mm256_sub_epi16(y, c.highMinus1), c.suppressHigh));
    const __m256i k = _mm256_min_epu16(_mm256_max_epu16(kLow, kHigh), c.full);
    return _mm256_or_si256(Pull(b, g, k), _mm256_slli_epi16(Pull(r, g, k), 8));
}

// The shuffles of one layout, the same in both lanes: `takeA[s]` and `takeC[s]` bring sample s (0
// blue, 1 green, 2 red) of the lane's 8 pixels to words from the pieces A and C; `putA` and `putC`
// bring the blue | red words back to the bytes of the pieces, `keepA` and `keepC` mark the bytes
// that stay.
template <size_t Step>
struct Layout {
    static constexpr size_t offsetC = Step * 8 - 16;
    alignas(32) uint8_t takeA[3][32], takeC[3][32];
    alignas(32) uint8_t putA[32], putC[32], keepA[32], keepC[32];

    Layout(size_t blue, size_t red) {
        const size_t at[3] = {blue, 1, red};
        for (size_t lane = 0; lane < 2; ++lane) {
            for (size_t s = 0; s < 3; ++s)
                for (size_t p = 0; p < 8; ++p) {
                    const size_t pos = Step * p + at[s];
                    takeA[s][16 * lane + 2 * p] = pos < 16 ? static_cast<uint8_t>(pos) : 0x80;
                    takeC[s][16 * lane + 2 * p] = pos < 16 ? 0x80 : static_cast<uint8_t>(pos - offsetC);
                    takeA[s][16 * lane + 2 * p + 1] = takeC[s][16 * lane + 2 * p + 1] = 0x80;
                }
            for (size_t i = 0; i < 16; ++i) {
                Put(putA[16 * lane + i], keepA[16 * lane + i], i, blue, red);
                Put(putC[16 * lane + i], keepC[16 * lane + i], i + offsetC, blue, red);
            }
        }
    }
    static void Put(uint8_t& put, uint8_t& keep, size_t pos, size_t blue, size_t red) {
        const size_t p = pos / Step, s = pos % Step;
        const bool changes = s == blue || s == red;
        put = changes ? static_cast<uint8_t>(2 * p + (s == red ? 1 : 0)) : 0x80;
        keep = changes ? 0 : 0xFF;
    }
};

inline __m256i Load(const uint8_t* p) { return _mm256_load_si256(reinterpret_cast<const __m256i*>(p)); }

template <size_t Step>
void Lines(const Image& im, const Params& p) {
    const Layout<Step> l(im.blue, im.red);
    const Consts c{_mm256_set1_epi16(static_cast<short>(p.low)),
                   _mm256_set1_epi16(static_cast<short>(p.low + 1)),
                   _mm256_set1_epi16(static_cast<short>(p.high)),
                   _mm256_set1_epi16(static_cast<short>(p.high - 1)), // wraps to -1 for 0: y - (-1) = y + 1
                   _mm256_set1_epi16(static_cast<short>(p.suppressLow)),
                   _mm256_set1_epi16(static_cast<short>(p.suppressHigh)),
                   _mm256_set1_epi16(256)};
    __m256i takeA[3], takeC[3];
    for (size_t s = 0; s < 3; ++s) {
        takeA[s] = Load(l.takeA[s]);
        takeC[s] = Load(l.takeC[s]);
    }
    const __m256i putA = Load(l.putA), putC = Load(l.putC), keepA = Load(l.keepA), keepC = Load(l.keepC);
    constexpr size_t lane = Step * 8, offsetC = Layout<Step>::offsetC;
    const size_t groups = im.width / 16;

    for (size_t y = 0; y < im.height; ++y) {
        uint8_t* line = im.base + y * im.pitch;
        for (size_t g = 0; g < groups; ++g) {
            uint8_t* px = line + g * 16 * Step;
            auto* a0 = reinterpret_cast<__m128i*>(px);
            auto* a1 = reinterpret_cast<__m128i*>(px + lane);
            auto* c0 = reinterpret_cast<__m128i*>(px + offsetC);
            auto* c1 = reinterpret_cast<__m128i*>(px + lane + offsetC);
            const __m256i a = _mm256_loadu2_m128i(a1, a0), cc = _mm256_loadu2_m128i(c1, c0);
            __m256i s[3];
            for (size_t k = 0; k < 3; ++k)
                s[k] = _mm256_or_si256(_mm256_shuffle_epi8(a, takeA[k]), _mm256_shuffle_epi8(cc, takeC[k]));
            const __m256i br = Pixels16(s[0], s[1], s[2], c);
            const __m256i newA = _mm256_or_si256(_mm256_and_si256(a, keepA), _mm256_shuffle_epi8(br, putA));
            const __m256i newC = _mm256_or_si256(_mm256_and_si256(cc, keepC), _mm256_shuffle_epi8(br, putC));
            _mm256_storeu2_m128i(a1, a0, newA);
            _mm256_storeu2_m128i(c1, c0, newC);
        }
        Suppress8Pixels(line, 16 * groups, im.width, im, p);
    }
}

} // namespace

void Suppress8Avx2(const Image& image, const Params& params) {
    if (image.step == 4)
        Lines<4>(image, params);
    else
        Lines<3>(image, params);
}

} // namespace lxchroma::detail
