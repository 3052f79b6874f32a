// AVX2 versions of the row functions. This file alone is compiled with -mavx2; its functions are
// reached only through the slot table, which is selected after the processor reported AVX2. Each
// function hands the end of a line that does not fill a whole vector step to the portable version,
// so both give the same bytes.
#include "kernelcommon.h"

#if defined(__AVX2__)

#include <immintrin.h>

namespace lxconv::detail {

namespace {

inline __m256i Load256(const void* p) { return _mm256_loadu_si256(static_cast<const __m256i*>(p)); }
inline void Store256(void* p, __m256i v) { _mm256_storeu_si256(static_cast<__m256i*>(p), v); }
inline __m128i Load128(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
// Two 16-byte loads, one per 128-bit lane.
inline __m256i Load2x128(const uint8_t* lo, const uint8_t* hi) {
    return _mm256_inserti128_si256(_mm256_castsi128_si256(Load128(lo)), Load128(hi), 1);
}
// A lane-order shuffle mask from 16 bytes, the same in both lanes.
inline __m256i LaneMask(const int8_t (&m)[16]) {
    return _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(m)));
}

// ---- sample mappings on 16 samples in 16-bit lanes ------------------------------------------------

// Linear form: ((min(v, max) * mul) >> shift) | fill. The detected forms have either mul 1 or
// shift 0 and never exceed 16 bits before the shift, so 16-bit lanes are exact.
// Without the clamp (Clamp false) when the table covers every value the samples can have.
template <bool Clamp>
struct LinearVec {
    __m256i maxIndex, mul, fill;
    __m128i shift;
    explicit LinearVec(const MapParams& m)
        : maxIndex(_mm256_set1_epi16(int16_t(m.maxIndex))), mul(_mm256_set1_epi16(int16_t(m.mul))),
          fill(_mm256_set1_epi16(int16_t(m.fill))), shift(_mm_cvtsi32_si128(int(m.shift))) {}
    __m256i operator()(__m256i v) const {
        if constexpr (Clamp) v = _mm256_min_epu16(v, maxIndex);
        return _mm256_or_si256(_mm256_srl_epi16(_mm256_mullo_epi16(v, mul), shift), fill);
    }
};

// The linear form with mul 1 and fill 0: a right shift.
template <bool Clamp>
struct RightShiftVec {
    __m256i maxIndex;
    __m128i shift;
    explicit RightShiftVec(const MapParams& m)
        : maxIndex(_mm256_set1_epi16(int16_t(m.maxIndex))), shift(_mm_cvtsi32_si128(int(m.shift))) {}
    __m256i operator()(__m256i v) const {
        if constexpr (Clamp) v = _mm256_min_epu16(v, maxIndex);
        return _mm256_srl_epi16(v, shift);
    }
};

// Rounded-scale form, in the table's own 16-bit steps: y = v * c + h, z = y + (y >> s) + 1,
// result (v << k) + (z >> s). As c = 2^k - 1, v * c is (v << k) - v.
template <bool Clamp>
struct ScaledVec {
    __m256i maxIndex, half, one;
    __m128i k, s;
    explicit ScaledVec(const MapParams& m)
        : maxIndex(_mm256_set1_epi16(int16_t(m.maxIndex))),
          half(_mm256_set1_epi16(int16_t(m.fill))), one(_mm256_set1_epi16(1)), k(_mm_cvtsi32_si128(int(m.shift))),
          s(_mm_cvtsi32_si128(int(m.srcDepth))) {}
    __m256i operator()(__m256i v) const {
        if constexpr (Clamp) v = _mm256_min_epu16(v, maxIndex);
        const __m256i vk = _mm256_sll_epi16(v, k);
        const __m256i y = _mm256_add_epi16(_mm256_sub_epi16(vk, v), half);
        const __m256i z = _mm256_add_epi16(_mm256_add_epi16(y, _mm256_srl_epi16(y, s)), one);
        return _mm256_add_epi16(vk, _mm256_srl_epi16(z, s));
    }
};

// Table look-up of 16 samples by two gathers of 32-bit words at entry addresses (the spare entry
// behind the table keeps the read of the last entry inside it); the low halves are the entries.
struct LookupVec {
    const int* base;
    __m256i maxIndex, low16;
    explicit LookupVec(const MapParams& m)
        : base(reinterpret_cast<const int*>(m.entries)), maxIndex(_mm256_set1_epi32(int(m.maxIndex))),
          low16(_mm256_set1_epi32(0xFFFF)) {}
    __m256i Gather8(__m128i v16) const {
        __m256i idx = _mm256_min_epu32(_mm256_cvtepu16_epi32(v16), maxIndex);
        return _mm256_and_si256(_mm256_i32gather_epi32(base, idx, 2), low16);
    }
    __m256i operator()(__m256i v) const {
        const __m256i a = Gather8(_mm256_castsi256_si128(v));
        const __m256i b = Gather8(_mm256_extracti128_si256(v, 1));
        // packus works per lane: [a0 b0 a1 b1] in 64-bit blocks; restore a0 a1 b0 b1.
        return _mm256_permute4x64_epi64(_mm256_packus_epi32(a, b), 0xD8);
    }
};

// 32 16-bit results to 32 bytes (the low bytes).
inline __m256i LowBytes(__m256i a, __m256i b) {
    const __m256i ff = _mm256_set1_epi16(0xFF);
    return _mm256_permute4x64_epi64(_mm256_packus_epi16(_mm256_and_si256(a, ff), _mm256_and_si256(b, ff)), 0xD8);
}
// The same for results known to be at most 255.
inline __m256i NarrowBytes(__m256i a, __m256i b) {
    return _mm256_permute4x64_epi64(_mm256_packus_epi16(a, b), 0xD8);
}

// Calls loop(vec) with the vector form of the mapping; false for a copy. `limit` is the largest
// value a sample can have (255 for bytes, 65535 for words); the clamp is left out when the table
// reaches it.
template <class Loop>
bool WithVec(const MapParams& m, uint32_t limit, Loop&& loop) {
    const bool clamp = m.maxIndex < limit;
    switch (m.kind) {
    case MapParams::Linear:
        if (m.mul == 1 && m.fill == 0)
            clamp ? loop(RightShiftVec<true>(m)) : loop(RightShiftVec<false>(m));
        else
            clamp ? loop(LinearVec<true>(m)) : loop(LinearVec<false>(m));
        return true;
    case MapParams::RoundedScale:
        clamp ? loop(ScaledVec<true>(m)) : loop(ScaledVec<false>(m));
        return true;
    case MapParams::Lookup:
        loop(LookupVec(m));
        return true;
    default:
        return false;
    }
}

void Avx2Map16to16(const uint8_t* s, uint8_t* d, size_t n, const MapParams& m) {
    size_t i = 0;
    WithVec(m, 0xFFFF, [&](const auto& f) {
        for (; i + 16 <= n; i += 16) Store256(d + 2 * i, f(Load256(s + 2 * i)));
    });
    PortableMap16to16(s + 2 * i, d + 2 * i, n - i, m);
}

void Avx2Map16to8(const uint8_t* s, uint8_t* d, size_t n, const MapParams& m) {
    size_t i = 0;
    if (m.kind == MapParams::Linear && m.mul == 1 && m.fill == 0 && (m.maxIndex >> m.shift) <= 0xFF) {
        // A right shift whose results are at most 255 (a reduction to 8 bits or fewer) needs no mask.
        auto narrow = [&](const auto& f) {
            for (; i + 32 <= n; i += 32)
                Store256(d + i, NarrowBytes(f(Load256(s + 2 * i)), f(Load256(s + 2 * i + 32))));
        };
        m.maxIndex == 0xFFFF ? narrow(RightShiftVec<false>(m)) : narrow(RightShiftVec<true>(m));
    }
    WithVec(m, 0xFFFF, [&](const auto& f) {
        for (; i + 32 <= n; i += 32) Store256(d + i, LowBytes(f(Load256(s + 2 * i)), f(Load256(s + 2 * i + 32))));
    });
    PortableMap16to8(s + 2 * i, d + i, n - i, m);
}

void Avx2Map8to16(const uint8_t* s, uint8_t* d, size_t n, const MapParams& m) {
    size_t i = 0;
    if (m.kind == MapParams::Linear && m.mul == 257 && m.fill == 0 && m.shift == 0) {
        // 8 -> 16 at gamma 1: i * 257 repeats the byte. The qword order 0 2 1 3 lets the in-lane
        // unpacks produce pixels 0-15 and 16-31.
        for (; i + 32 <= n; i += 32) {
            const __m256i x = _mm256_permute4x64_epi64(Load256(s + i), 0xD8);
            Store256(d + 2 * i, _mm256_unpacklo_epi8(x, x));
            Store256(d + 2 * i + 32, _mm256_unpackhi_epi8(x, x));
        }
    }
    auto loop = [&](const auto& f) {
        for (; i + 16 <= n; i += 16) Store256(d + 2 * i, f(_mm256_cvtepu8_epi16(Load128(s + i))));
    };
    // A table of 256 entries is looked up faster one sample at a time than by gathers.
    if (m.kind == MapParams::Copy)
        loop([](__m256i v) { return v; });
    else if (m.kind != MapParams::Lookup)
        WithVec(m, 0xFF, loop);
    PortableMap8to16(s + i, d + 2 * i, n - i, m);
}

// ---- 8-bit interleaved colour ---------------------------------------------------------------------

constexpr int8_t Z = -128; // pshufb: write a zero byte

// The dword order that gives lane 0 the bytes 0-15 and lane 1 the bytes 12-27 of 8 pixels of 3
// bytes, so that each lane holds 4 whole pixels.
inline __m256i SpreadPixels3(const uint8_t* p) {
    return _mm256_permutevar8x32_epi32(Load256(p), _mm256_setr_epi32(0, 1, 2, 3, 3, 4, 5, 6));
}

// 3 -> 3 with the first and third samples exchanged: 16 pixels (48 bytes) per step, three 16-byte
// loads and three 16-byte stores with no overlap. Pixels 5 and 10 straddle the 16-byte chunks, so
// each output chunk is gathered from the input chunks it overlaps:
//   out  0-15: in 0-14 of chunk 0, and in 17 (chunk 1, byte 1) for the first sample of pixel 5;
//   out 16-31: in 16, 15 for the rest of pixel 5, pixels 6-9 from chunk 1, in 32 and 31 for pixel 10;
//   out 32-47: in 30 for the last sample of pixel 10, pixels 11-15 from chunk 2.
void Swap3(const uint8_t* s, uint8_t* d, size_t n, size_t& i) {
    const __m128i m00 = _mm_setr_epi8(2, 1, 0, 5, 4, 3, 8, 7, 6, 11, 10, 9, 14, 13, 12, Z);
    const __m128i m01 = _mm_setr_epi8(Z, Z, Z, Z, Z, Z, Z, Z, Z, Z, Z, Z, Z, Z, Z, 1);
    const __m128i m10 = _mm_setr_epi8(Z, 15, Z, Z, Z, Z, Z, Z, Z, Z, Z, Z, Z, Z, Z, Z);
    const __m128i m11 = _mm_setr_epi8(0, Z, 4, 3, 2, 7, 6, 5, 10, 9, 8, 13, 12, 11, Z, 15);
    const __m128i m12 = _mm_setr_epi8(Z, Z, Z, Z, Z, Z, Z, Z, Z, Z, Z, Z, Z, Z, 0, Z);
    const __m128i m21 = _mm_setr_epi8(14, Z, Z, Z, Z, Z, Z, Z, Z, Z, Z, Z, Z, Z, Z, Z);
    const __m128i m22 = _mm_setr_epi8(Z, 3, 2, 1, 6, 5, 4, 9, 8, 7, 12, 11, 10, 15, 14, 13);
    for (; i + 16 <= n; i += 16) {
        const uint8_t* p = s + 3 * i;
        const __m128i a0 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        const __m128i a1 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 16));
        const __m128i a2 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 32));
        const __m128i o0 = _mm_or_si128(_mm_shuffle_epi8(a0, m00), _mm_shuffle_epi8(a1, m01));
        const __m128i o1 = _mm_or_si128(_mm_or_si128(_mm_shuffle_epi8(a0, m10), _mm_shuffle_epi8(a1, m11)),
                                        _mm_shuffle_epi8(a2, m12));
        const __m128i o2 = _mm_or_si128(_mm_shuffle_epi8(a1, m21), _mm_shuffle_epi8(a2, m22));
        uint8_t* q = d + 3 * i;
        _mm_storeu_si128(reinterpret_cast<__m128i*>(q), o0);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(q + 16), o1);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(q + 32), o2);
    }
}

// 3 -> 4, keeping the destination's fourth byte: 8 pixels per step.
void Expand3to4(const uint8_t* s, uint8_t* d, size_t n, bool swap, size_t& i) {
    static const int8_t keep[16] = {0, 1, 2, Z, 3, 4, 5, Z, 6, 7, 8, Z, 9, 10, 11, Z};
    static const int8_t swapped[16] = {2, 1, 0, Z, 5, 4, 3, Z, 8, 7, 6, Z, 11, 10, 9, Z};
    const __m256i mask = LaneMask(swap ? swapped : keep);
    const __m256i alpha = _mm256_set1_epi32(int(0xFF000000u));
    // The load takes 32 bytes from 3i: 11 pixels must remain.
    for (; i + 11 <= n; i += 8) {
        const __m256i v = _mm256_shuffle_epi8(SpreadPixels3(s + 3 * i), mask);
        Store256(d + 4 * i, _mm256_blendv_epi8(v, Load256(d + 4 * i), alpha));
    }
}

// 4 -> 4, keeping the destination's fourth byte.
void Copy4to4(const uint8_t* s, uint8_t* d, size_t n, bool swap, size_t& i) {
    static const int8_t keep[16] = {0, 1, 2, Z, 4, 5, 6, Z, 8, 9, 10, Z, 12, 13, 14, Z};
    static const int8_t swapped[16] = {2, 1, 0, Z, 6, 5, 4, Z, 10, 9, 8, Z, 14, 13, 12, Z};
    const __m256i mask = LaneMask(swap ? swapped : keep);
    const __m256i alpha = _mm256_set1_epi32(int(0xFF000000u));
    for (; i + 8 <= n; i += 8) {
        const __m256i v = _mm256_shuffle_epi8(Load256(s + 4 * i), mask);
        Store256(d + 4 * i, _mm256_blendv_epi8(v, Load256(d + 4 * i), alpha));
    }
}

// 4 -> 3: 8 pixels per step, gathered into 24 bytes as in Swap3; 11 pixels must remain for the
// 32-byte store.
void Drop4to3(const uint8_t* s, uint8_t* d, size_t n, bool swap, size_t& i) {
    static const int8_t keep[16] = {0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, Z, Z, Z, Z};
    static const int8_t swapped[16] = {2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, Z, Z, Z, Z};
    const __m256i mask = LaneMask(swap ? swapped : keep);
    const __m256i gather = _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 7, 7);
    for (; i + 11 <= n; i += 8) {
        const __m256i v = _mm256_shuffle_epi8(Load256(s + 4 * i), mask);
        Store256(d + 3 * i, _mm256_permutevar8x32_epi32(v, gather));
    }
}

void Avx2Color8(const uint8_t* s, unsigned sstep, uint8_t* d, unsigned dstep, size_t n, bool swap) {
    size_t i = 0;
    if (sstep == 3 && dstep == 3) {
        if (!swap) {
            std::memcpy(d, s, 3 * n);
            return;
        }
        Swap3(s, d, n, i);
    } else if (sstep == 3) {
        Expand3to4(s, d, n, swap, i);
    } else if (dstep == 4) {
        Copy4to4(s, d, n, swap, i);
    } else {
        Drop4to3(s, d, n, swap, i);
    }
    PortableColor8(s + sstep * i, sstep, d + dstep * i, dstep, n - i, swap);
}

// ---- 8-bit luminance -----------------------------------------------------------------------------

// Y = (w0 * s0 + 5 * s1 + w2 * s2) >> 3 for 8 pixels laid out as 4 bytes each (the fourth byte
// weighs 0): maddubs gives w0*s0 + 5*s1 and w2*s2 per pixel in 16 bits, madd with ones adds them.
inline __m256i Luma8x4(__m256i px, __m256i weights, __m256i ones) {
    return _mm256_madd_epi16(_mm256_maddubs_epi16(px, weights), ones);
}

void Avx2Luma8(const uint8_t* s, unsigned sstep, uint8_t* d, size_t n, bool blueFirst) {
    const int8_t w0 = blueFirst ? 1 : 2, w2 = blueFirst ? 2 : 1;
    const __m256i weights = _mm256_set1_epi32(int(uint8_t(w0) | (5u << 8) | (uint32_t(uint8_t(w2)) << 16)));
    const __m256i ones = _mm256_set1_epi16(1);
    static const int8_t spread[16] = {0, 1, 2, Z, 3, 4, 5, Z, 6, 7, 8, Z, 9, 10, 11, Z};
    const __m256i mask = LaneMask(spread);
    size_t i = 0;
    auto pixels8 = [&](size_t at) {
        // 8 pixels as 4 bytes each; a 3-byte layout is spread out first.
        if (sstep == 4) return Load256(s + 4 * at);
        return _mm256_shuffle_epi8(SpreadPixels3(s + 3 * at), mask);
    };
    // A 3-byte source reads 32 bytes from 3(i + 24) in the last group: 3 pixels beyond the 32.
    const size_t spare = sstep == 3 ? 3 : 0;
    for (; i + 32 + spare <= n; i += 32) {
        const __m256i y0 = Luma8x4(pixels8(i), weights, ones);
        const __m256i y1 = Luma8x4(pixels8(i + 8), weights, ones);
        const __m256i y2 = Luma8x4(pixels8(i + 16), weights, ones);
        const __m256i y3 = Luma8x4(pixels8(i + 24), weights, ones);
        // Sums are at most 8 * 255: shift, then narrow 32 -> 16 -> 8 bits. The packs interleave the
        // lanes; a final dword permutation restores pixel order.
        const __m256i a = _mm256_packus_epi32(_mm256_srli_epi32(y0, 3), _mm256_srli_epi32(y1, 3));
        const __m256i b = _mm256_packus_epi32(_mm256_srli_epi32(y2, 3), _mm256_srli_epi32(y3, 3));
        const __m256i bytes = _mm256_packus_epi16(a, b);
        const __m256i order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
        Store256(d + i, _mm256_permutevar8x32_epi32(bytes, order));
    }
    PortableLuma8(s + sstep * i, sstep, d + i, n - i, blueFirst);
}

// ---- unpacking -----------------------------------------------------------------------------------

// Decoders of 16 samples into 16-bit lanes. Each reads `Reach` bytes from p, of which 16 samples
// use `Step`; lane 1 holds samples 8-15.

// 10p and 12p: 8 samples per lane from 10 or 12 bytes. Each sample's bits lie within the 16-bit
// word that starts at its first byte, at an offset of 0, 2, 4 or 6 bits; multiplying by
// 2^(16 - bits - offset) moves them to the top of the word, a shift by 16 - bits brings them down.
struct BitPackedDecoder {
    __m256i mask, mul;
    __m128i down;
    size_t lane, step, reach;
    explicit BitPackedDecoder(unsigned bits) {
        static const int8_t shuffle10[16] = {0, 1, 1, 2, 2, 3, 3, 4, 5, 6, 6, 7, 7, 8, 8, 9};
        static const int8_t shuffle12[16] = {0, 1, 1, 2, 3, 4, 4, 5, 6, 7, 7, 8, 9, 10, 10, 11};
        mask = LaneMask(bits == 10 ? shuffle10 : shuffle12);
        mul = bits == 10 ? _mm256_setr_epi16(64, 16, 4, 1, 64, 16, 4, 1, 64, 16, 4, 1, 64, 16, 4, 1)
                         : _mm256_setr_epi16(16, 1, 16, 1, 16, 1, 16, 1, 16, 1, 16, 1, 16, 1, 16, 1);
        down = _mm_cvtsi32_si128(int(16 - bits));
        lane = bits; // bytes per 8 samples
        step = 2 * lane;
        reach = lane + 16;
    }
    __m256i operator()(const uint8_t* p) const {
        const __m256i w = _mm256_shuffle_epi8(Load2x128(p, p + lane), mask);
        return _mm256_srl_epi16(_mm256_mullo_epi16(w, mul), down);
    }
};

// 10Packed and 12Packed: 8 pixels per lane from 12 bytes. The upper bits come from bytes 0 and 2 of
// each triple, the lower ones from byte 1: its low nibble for the first pixel, its high nibble for
// the second. 12 bits: the words (byte 1, byte 0) and (byte 1, byte 2) shifted right by 4 give
// the second pixel whole and the first one's upper bits, whose low nibble then comes from byte 1.
// 10 bits: byte 1's nibble is multiplied by 16 for the first pixel and shifted down by 4.
struct PackedDecoder {
    __m256i shuffle, keepShifted, keepLow, up, lo, nibble, lowMask;
    bool twelve;
    static constexpr size_t step = 24, reach = 28;
    explicit PackedDecoder(unsigned bits) : twelve(bits == 12) {
        static const int8_t pairs[16] = {1, 0, 1, 2, 4, 3, 4, 5, 7, 6, 7, 8, 10, 9, 10, 11};
        static const int8_t upper[16] = {0, Z, 2, Z, 3, Z, 5, Z, 6, Z, 8, Z, 9, Z, 11, Z};
        static const int8_t lower[16] = {1, Z, 1, Z, 4, Z, 4, Z, 7, Z, 7, Z, 10, Z, 10, Z};
        shuffle = LaneMask(pairs);
        keepShifted = _mm256_set1_epi32(int(0xFFFF0FF0u));
        keepLow = _mm256_set1_epi32(0x0000000F);
        up = LaneMask(upper);
        lo = LaneMask(lower);
        nibble = _mm256_set1_epi32(0x00010010); // 16 for the first pixel, 1 for the second
        lowMask = _mm256_set1_epi16(3);
    }
    __m256i operator()(const uint8_t* p) const {
        const __m256i v = Load2x128(p, p + 12);
        if (twelve) {
            const __m256i w = _mm256_shuffle_epi8(v, shuffle);
            return _mm256_or_si256(_mm256_and_si256(_mm256_srli_epi16(w, 4), keepShifted),
                                   _mm256_and_si256(w, keepLow));
        }
        const __m256i hi = _mm256_slli_epi16(_mm256_shuffle_epi8(v, up), 2);
        const __m256i low = _mm256_and_si256(
            _mm256_srli_epi16(_mm256_mullo_epi16(_mm256_shuffle_epi8(v, lo), nibble), 4), lowMask);
        return _mm256_or_si256(hi, low);
    }
};

// Whole steps of 16 samples while the step's reach stays inside the n samples' `bytes`; returns
// the samples done.
template <class Decoder, class Sink>
size_t DecodeSteps(const Decoder& dec, const uint8_t* s, size_t n, size_t bytes, Sink&& sink) {
    size_t i = 0;
    for (const uint8_t* p = s; i + 16 <= n && size_t(p - s) + dec.reach <= bytes; i += 16, p += dec.step)
        sink(i, dec(p));
    return i;
}

void Avx2DecodeBitPacked(const uint8_t* s, uint16_t* d, size_t n, unsigned bits) {
    size_t i = 0;
    if (bits == 10 || bits == 12)
        i = DecodeSteps(BitPackedDecoder(bits), s, n, (n * bits + 7) / 8,
                        [d](size_t at, __m256i v) { Store256(d + at, v); });
    PortableDecodeBitPacked(s + i / 8 * bits, d + i, n - i, bits);
}

void Avx2DecodePacked(const uint8_t* s, uint16_t* d, size_t n, unsigned bits) {
    const size_t i = DecodeSteps(PackedDecoder(bits), s, n, n / 2 * 3 + (n & 1) * 2,
                                 [d](size_t at, __m256i v) { Store256(d + at, v); });
    PortableDecodePacked(s + i / 2 * 3, d + i, n - i, bits);
}

// Decoding and mapping in one pass into a 16-bit destination. Decoded samples lie below 2^bits,
// inside the table, so the mapping needs no clamp.
template <class Decoder>
size_t DecodeMap16(const Decoder& dec, const uint8_t* s, uint8_t* d, size_t n, size_t bytes, const MapParams& m) {
    size_t done = 0;
    auto run = [&](const auto& f) {
        done = DecodeSteps(dec, s, n, bytes, [&](size_t at, __m256i v) { Store256(d + 2 * at, f(v)); });
    };
    if (!WithVec(m, 0, run)) run([](__m256i v) { return v; });
    return done;
}

size_t Avx2UnpackTo16(const uint8_t* s, uint8_t* d, size_t n, unsigned bits, bool packed, const MapParams& m) {
    if (packed) return DecodeMap16(PackedDecoder(bits), s, d, n, n / 2 * 3 + (n & 1) * 2, m);
    if (bits == 10 || bits == 12) return DecodeMap16(BitPackedDecoder(bits), s, d, n, (n * bits + 7) / 8, m);
    return 0;
}

constexpr RowKernels kAvx2 = {
    PortableMap8to8, Avx2Map8to16,        Avx2Map16to8,     Avx2Map16to16,  Avx2Color8,
    Avx2Luma8,       Avx2DecodeBitPacked, Avx2DecodePacked, Avx2UnpackTo16,
};

} // namespace

const RowKernels* Avx2Rows() noexcept { return &kAvx2; }

} // namespace lxconv::detail

#else

namespace lxconv::detail {
const RowKernels* Avx2Rows() noexcept { return nullptr; }
} // namespace lxconv::detail

#endif
