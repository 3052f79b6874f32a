// The 8-bit kernel with 128-bit vectors (VEX encoded, built with -mavx2): a pixel is the sum of its
// three records, one vector each, so that the three outputs are added and clamped at once; four
// pixels are packed to bytes and stored together.
#include "ctkernels.h"

#include <immintrin.h>

#include <cstring>

namespace lxct::detail {

namespace {

// Four clamped sums {blue, green, red, pad} of 8-bit range: min(v, 255), and 0 where v has any of
// its top four bits set (a sum that wrapped below zero).
inline __m128i Clamp8(__m128i v) {
    const __m128i clamped = _mm_min_epu32(v, _mm_set1_epi32(255));
    const __m128i inRange = _mm_cmpeq_epi32(_mm_srli_epi32(v, 28), _mm_setzero_si128());
    return _mm_and_si128(clamped, inRange);
}

inline __m128i Pixel(const uint8_t* px, size_t blue, size_t red, const __m128i* tb, const __m128i* tg,
                     const __m128i* tr) {
    const __m128i s = _mm_add_epi32(_mm_load_si128(tb + px[blue]), _mm_load_si128(tg + px[1]));
    return Clamp8(_mm_add_epi32(s, _mm_load_si128(tr + px[red])));
}

} // namespace

void Transform8Avx2(const Image& im, const Record* t) {
    const auto* tb = reinterpret_cast<const __m128i*>(Block(t, 8, 0));
    const auto* tg = reinterpret_cast<const __m128i*>(Block(t, 8, 1));
    const auto* tr = reinterpret_cast<const __m128i*>(Block(t, 8, 2));
    const bool four = im.step == 4, rgb = im.blue == 2;
    // The packed bytes of four pixels are {B G R 0} x 4; the mask puts them in the line's order and
    // marks with 0x80 the bytes that come from the line itself (alpha, or the next pixel's first bytes).
    const __m128i order =
        four ? (rgb ? _mm_setr_epi8(2, 1, 0, -1, 6, 5, 4, -1, 10, 9, 8, -1, 14, 13, 12, -1)
                    : _mm_setr_epi8(0, 1, 2, -1, 4, 5, 6, -1, 8, 9, 10, -1, 12, 13, 14, -1))
             : (rgb ? _mm_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1)
                    : _mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1));
    const __m128i kept = _mm_cmpeq_epi8(order, _mm_set1_epi8(-1));
    const size_t step = im.step;
    // A group of four pixels writes 12 or 16 bytes; with three samples a pixel the groups stop where
    // 16 bytes would pass the line, and the portable loop does the rest.
    const size_t lineBytes = im.width * step;
    const size_t groups = lineBytes >= 16 ? (lineBytes - 16) / (4 * step) + 1 : 0;
    for (size_t y = 0; y < im.height; ++y) {
        uint8_t* line = im.base + y * im.pitch;
        uint8_t* px = line;
        for (size_t g = 0; g < groups; ++g, px += 4 * step) {
            const __m128i p0 = Pixel(px, im.blue, im.red, tb, tg, tr);
            const __m128i p1 = Pixel(px + step, im.blue, im.red, tb, tg, tr);
            const __m128i p2 = Pixel(px + 2 * step, im.blue, im.red, tb, tg, tr);
            const __m128i p3 = Pixel(px + 3 * step, im.blue, im.red, tb, tg, tr);
            const __m128i bytes = _mm_packus_epi16(_mm_packus_epi32(p0, p1), _mm_packus_epi32(p2, p3));
            const __m128i out = _mm_shuffle_epi8(bytes, order);
            if (four) {
                const __m128i source = _mm_loadu_si128(reinterpret_cast<const __m128i*>(px));
                _mm_storeu_si128(reinterpret_cast<__m128i*>(px), _mm_or_si128(out, _mm_and_si128(source, kept)));
            } else {
                // Exactly the 12 bytes of the four pixels: a store reaching into the next group would
                // make its loads wait for the store to drain instead of being forwarded.
                _mm_storel_epi64(reinterpret_cast<__m128i*>(px), out);
                const int last = _mm_extract_epi32(out, 2);
                std::memcpy(px + 8, &last, 4);
            }
        }
        Transform8Pixels(line, 4 * groups, im.width, im, t);
    }
}

} // namespace lxct::detail
