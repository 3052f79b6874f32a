// The 8-bit kernel with 512-bit vectors (AVX-512 BW and VBMI, built with those flags alone), for the
// tables whose sums fit 16 bits. Every sum of three words is then the same number as a sum of 16-bit
// ones, and those may be biased: word (input s, output o) is taken as u = w + bias(s, o) >= 0, and the
// biases come back as one constant, added to the input whose words spread most. Each u is split into
// a table of low bytes and one of high bytes, 256 entries each, looked up 64 pixels at a time by byte
// permutes; a table of high bytes that is all zero (words that spread over less than 256) is not
// looked up at all, which is the common case for the small cross terms of a colour matrix. The low
// bytes are added with their carries going to the high bytes; the high byte then says whether the
// sum is negative (0), above 255 (255) or the low byte itself. Other tables go to the AVX2 form.
#include "ctkernels.h"

#include "kernels/lxpixelgroup512.h"

#include <immintrin.h>

#include <cstdint>

namespace lxct::detail {
namespace {

// The least and the largest word of each (output, input) column of a table.
struct Spread {
    int64_t least[3][3];
    int64_t most[3][3];

    explicit Spread(const Record* t) {
        for (size_t o = 0; o < 3; ++o)
            for (unsigned s = 0; s < 3; ++s) {
                const Record* block = Block(t, 8, s);
                int64_t lo = INT64_MAX, hi = INT64_MIN;
                for (size_t i = 0; i < 256; ++i) {
                    const int64_t v = static_cast<int32_t>(block[i].word[o]);
                    lo = v < lo ? v : lo;
                    hi = v > hi ? v : hi;
                }
                least[o][s] = lo;
                most[o][s] = hi;
            }
    }
    // Whether every sum of three words, one per input, lies in [-32768, 32767] for every output.
    bool SumsFit16() const {
        for (size_t o = 0; o < 3; ++o)
            if (least[o][0] + least[o][1] + least[o][2] < -32768 || most[o][0] + most[o][1] + most[o][2] > 32767)
                return false;
        return true;
    }
};

// Byte tables [input][output][low, high][entry], and where the samples and outputs lie in a group of
// 64 pixels: `take[s]` gathers sample s (0 blue, 1 green, 2 red) of every pixel of the group from two
// vectors of the line (`takeLow` marks the pixels from vectors 0 and 1, the rest come from vectors
// Step - 2 and Step - 1); `put[q]` and `putMask[q][o]` merge output o back into vector q.
template <size_t Step>
struct Layout {
    alignas(64) uint8_t table[3][3][2][256];
    bool highLooked[3][3] = {}; // [output][input]: whether the high bytes are looked up (else all 0)
    alignas(64) uint8_t take[3][2][64] = {};
    __mmask64 takeLow[3] = {};
    alignas(64) uint8_t put[Step][64] = {};
    __mmask64 putMask[Step][3] = {};

    Layout(const Image& im, const Record* t, const Spread& spread) {
        const size_t at[3] = {im.blue, 1, im.red};
        for (size_t o = 0; o < 3; ++o) {
            // The input whose words spread most carries the biases back.
            size_t carrier = 0;
            uint32_t biases = 0;
            for (size_t s = 0; s < 3; ++s) {
                biases += static_cast<uint32_t>(-spread.least[o][s]);
                if (spread.most[o][s] - spread.least[o][s] > spread.most[o][carrier] - spread.least[o][carrier])
                    carrier = s;
            }
            for (size_t s = 0; s < 3; ++s) {
                const Record* block = Block(t, 8, static_cast<unsigned>(s));
                const uint32_t add = static_cast<uint32_t>(-spread.least[o][s]) - (s == carrier ? biases : 0);
                highLooked[o][s] = s == carrier || spread.most[o][s] - spread.least[o][s] > 255;
                for (size_t i = 0; i < 256; ++i) {
                    const uint32_t u = block[i].word[o] + add;
                    table[s][o][0][i] = static_cast<uint8_t>(u);
                    table[s][o][1][i] = static_cast<uint8_t>(u >> 8);
                }
            }
        }
        for (size_t s = 0; s < 3; ++s) {
            for (size_t j = 0; j < 64; ++j) {
                const size_t pos = Step * j + at[s];
                take[s][0][j] = static_cast<uint8_t>(pos);
                take[s][1][j] = static_cast<uint8_t>(pos - 64 * (Step - 2));
                if (pos < 128) takeLow[s] |= __mmask64(1) << j;
            }
        }
        for (size_t q = 0; q < Step; ++q)
            for (size_t i = 0; i < 64; ++i) {
                const size_t pos = 64 * q + i, sample = pos % Step;
                // Bit 6 picks output 1 in the two-input permute; the one-input permutes ignore it.
                put[q][i] = static_cast<uint8_t>(pos / Step + (sample == at[1] ? 64 : 0));
                for (size_t o = 0; o < 3; ++o)
                    if (sample == at[o]) putMask[q][o] |= __mmask64(1) << i;
            }
    }
};

// Entry `index` of a byte table of 256, for 64 indices; `top` marks the indices of 128 and above.
inline __m512i Lookup(const uint8_t* table, __m512i index, __mmask64 top) {
    const __m512i* v = reinterpret_cast<const __m512i*>(table);
    const __m512i low = _mm512_permutex2var_epi8(_mm512_load_si512(v), index, _mm512_load_si512(v + 1));
    const __m512i high = _mm512_permutex2var_epi8(_mm512_load_si512(v + 2), index, _mm512_load_si512(v + 3));
    return _mm512_mask_blend_epi8(top, low, high);
}

template <size_t Step>
void Lines(const Image& im, const Layout<Step>& l) {
    __m512i take[3][2], put[Step];
    for (size_t s = 0; s < 3; ++s)
        for (size_t h = 0; h < 2; ++h) take[s][h] = _mm512_load_si512(l.take[s][h]);
    for (size_t q = 0; q < Step; ++q) put[q] = _mm512_load_si512(l.put[q]);
    const __m512i ones = _mm512_set1_epi8(1), full = _mm512_set1_epi8(-1);

    for (size_t y = 0; y < im.height; ++y) {
        uint8_t* line = im.base + y * im.pitch;
        for (size_t x = 0; x < im.width; x += 64) {
            lxkernels::PixelGroup512<Step> group(line + x * Step, im.width - x);
            __m512i (&d)[Step] = group.v;
            __m512i index[3];
            __mmask64 top[3];
            for (size_t s = 0; s < 3; ++s) {
                index[s] = _mm512_or_si512(
                    _mm512_maskz_permutex2var_epi8(l.takeLow[s], d[0], take[s][0], d[1]),
                    _mm512_maskz_permutex2var_epi8(~l.takeLow[s], d[Step - 2], take[s][1], d[Step - 1]));
                top[s] = _mm512_movepi8_mask(index[s]);
            }
            __m512i out[3];
            for (size_t o = 0; o < 3; ++o) {
                __m512i high = _mm512_setzero_si512();
                for (size_t s = 0; s < 3; ++s)
                    if (l.highLooked[o][s]) high = _mm512_add_epi8(high, Lookup(l.table[s][o][1], index[s], top[s]));
                const __m512i low0 = Lookup(l.table[0][o][0], index[0], top[0]);
                const __m512i low1 = _mm512_add_epi8(low0, Lookup(l.table[1][o][0], index[1], top[1]));
                const __m512i low = _mm512_add_epi8(low1, Lookup(l.table[2][o][0], index[2], top[2]));
                high = _mm512_mask_add_epi8(high, _mm512_cmplt_epu8_mask(low1, low0), high, ones);
                high = _mm512_mask_add_epi8(high, _mm512_cmplt_epu8_mask(low, low1), high, ones);
                // Negative: 0; above 255: 255; else the low byte.
                const __mmask64 positive = _mm512_cmpgt_epi8_mask(high, _mm512_setzero_si512());
                out[o] = _mm512_maskz_mov_epi8(~_mm512_movepi8_mask(high), _mm512_mask_mov_epi8(low, positive, full));
            }
            for (size_t q = 0; q < Step; ++q) {
                // Without a fourth sample every byte is an output: two of them in one permute.
                if constexpr (Step == 3) {
                    d[q] = _mm512_permutex2var_epi8(out[0], put[q], out[1]);
                } else {
                    d[q] = _mm512_mask_permutexvar_epi8(d[q], l.putMask[q][0], put[q], out[0]);
                    d[q] = _mm512_mask_permutexvar_epi8(d[q], l.putMask[q][1], put[q], out[1]);
                }
                d[q] = _mm512_mask_permutexvar_epi8(d[q], l.putMask[q][2], put[q], out[2]);
            }
            for (size_t q = 0; q < Step; ++q) group.Store(q);
        }
    }
}

} // namespace

void Transform8Avx512(const Image& im, const Record* t) {
    const Spread spread(t);
    if (!spread.SumsFit16()) return Transform8Avx2(im, t);
    if (im.step == 4)
        Lines<4>(im, Layout<4>(im, t, spread));
    else
        Lines<3>(im, Layout<3>(im, t, spread));
}

} // namespace lxct::detail
