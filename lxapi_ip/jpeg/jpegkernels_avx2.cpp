// The AVX2 form of the JPEG primitives: two DCT blocks at a time (one per 128-bit lane), sixteen
// pixels of colour conversion and thirty-two of box reduction per step, and the Huffman coder walking
// a bit mask of the nonzero coefficients. Tails and single blocks take the shared scalar arithmetic, so
// every result equals the portable form's.
#include "jpegkernelcommon.h"

#if defined(__AVX2__)
#include <immintrin.h>

namespace lxjpeg {
namespace {

using namespace detail;

inline __m256i Pair(int a, int b) { return _mm256_set1_epi32(static_cast<int32_t>((static_cast<uint32_t>(b) << 16) | static_cast<uint16_t>(a))); }

// a x ca + b x cb for each 16-bit pair, rounded, shifted and saturated back to 16 bits.
template <int Shift>
inline __m256i Rotate(__m256i lo, __m256i hi, __m256i c, __m256i round) {
    const __m256i l = _mm256_srai_epi32(_mm256_add_epi32(_mm256_madd_epi16(lo, c), round), Shift);
    const __m256i h = _mm256_srai_epi32(_mm256_add_epi32(_mm256_madd_epi16(hi, c), round), Shift);
    return _mm256_packs_epi32(l, h);
}
template <int Shift>
inline __m256i Rotate2(__m256i lo1, __m256i hi1, __m256i c1, __m256i lo2, __m256i hi2, __m256i c2, __m256i round) {
    const __m256i l = _mm256_add_epi32(_mm256_madd_epi16(lo1, c1), _mm256_madd_epi16(lo2, c2));
    const __m256i h = _mm256_add_epi32(_mm256_madd_epi16(hi1, c1), _mm256_madd_epi16(hi2, c2));
    return _mm256_packs_epi32(_mm256_srai_epi32(_mm256_add_epi32(l, round), Shift),
                              _mm256_srai_epi32(_mm256_add_epi32(h, round), Shift));
}

// 8 x 8 transpose of 16-bit values within each 128-bit lane.
inline void Transpose(__m256i v[8]) {
    const __m256i t0 = _mm256_unpacklo_epi16(v[0], v[1]), t1 = _mm256_unpackhi_epi16(v[0], v[1]);
    const __m256i t2 = _mm256_unpacklo_epi16(v[2], v[3]), t3 = _mm256_unpackhi_epi16(v[2], v[3]);
    const __m256i t4 = _mm256_unpacklo_epi16(v[4], v[5]), t5 = _mm256_unpackhi_epi16(v[4], v[5]);
    const __m256i t6 = _mm256_unpacklo_epi16(v[6], v[7]), t7 = _mm256_unpackhi_epi16(v[6], v[7]);
    const __m256i u0 = _mm256_unpacklo_epi32(t0, t2), u1 = _mm256_unpackhi_epi32(t0, t2);
    const __m256i u2 = _mm256_unpacklo_epi32(t1, t3), u3 = _mm256_unpackhi_epi32(t1, t3);
    const __m256i u4 = _mm256_unpacklo_epi32(t4, t6), u5 = _mm256_unpackhi_epi32(t4, t6);
    const __m256i u6 = _mm256_unpacklo_epi32(t5, t7), u7 = _mm256_unpackhi_epi32(t5, t7);
    v[0] = _mm256_unpacklo_epi64(u0, u4);
    v[1] = _mm256_unpackhi_epi64(u0, u4);
    v[2] = _mm256_unpacklo_epi64(u1, u5);
    v[3] = _mm256_unpackhi_epi64(u1, u5);
    v[4] = _mm256_unpacklo_epi64(u2, u6);
    v[5] = _mm256_unpackhi_epi64(u2, u6);
    v[6] = _mm256_unpacklo_epi64(u3, u7);
    v[7] = _mm256_unpackhi_epi64(u3, u7);
}

// The 1-D pass of Dct1D on eight vectors, lane by lane.
template <bool First>
inline void Dct1D(__m256i d[8]) {
    constexpr int shift = First ? kConstBits - kPass1Bits : kConstBits + kPass1Bits;
    const __m256i round = _mm256_set1_epi32(1 << (shift - 1));
    const __m256i tmp0 = _mm256_add_epi16(d[0], d[7]), tmp7 = _mm256_sub_epi16(d[0], d[7]);
    const __m256i tmp1 = _mm256_add_epi16(d[1], d[6]), tmp6 = _mm256_sub_epi16(d[1], d[6]);
    const __m256i tmp2 = _mm256_add_epi16(d[2], d[5]), tmp5 = _mm256_sub_epi16(d[2], d[5]);
    const __m256i tmp3 = _mm256_add_epi16(d[3], d[4]), tmp4 = _mm256_sub_epi16(d[3], d[4]);
    const __m256i tmp10 = _mm256_add_epi16(tmp0, tmp3), tmp13 = _mm256_sub_epi16(tmp0, tmp3);
    const __m256i tmp11 = _mm256_add_epi16(tmp1, tmp2), tmp12 = _mm256_sub_epi16(tmp1, tmp2);
    if constexpr (First) {
        d[0] = _mm256_slli_epi16(_mm256_add_epi16(tmp10, tmp11), kPass1Bits);
        d[4] = _mm256_slli_epi16(_mm256_sub_epi16(tmp10, tmp11), kPass1Bits);
    } else {
        const __m256i r = _mm256_set1_epi16(1 << (kPass1Bits - 1));
        d[0] = _mm256_srai_epi16(_mm256_add_epi16(_mm256_add_epi16(tmp10, tmp11), r), kPass1Bits);
        d[4] = _mm256_srai_epi16(_mm256_add_epi16(_mm256_sub_epi16(tmp10, tmp11), r), kPass1Bits);
    }
    const __m256i e_lo = _mm256_unpacklo_epi16(tmp13, tmp12), e_hi = _mm256_unpackhi_epi16(tmp13, tmp12);
    d[2] = Rotate<shift>(e_lo, e_hi, Pair(kC2a, kC2b), round);
    d[6] = Rotate<shift>(e_lo, e_hi, Pair(kC6a, kC6b), round);
    const __m256i z3 = _mm256_add_epi16(tmp4, tmp6), z4 = _mm256_add_epi16(tmp5, tmp7);
    const __m256i z_lo = _mm256_unpacklo_epi16(z3, z4), z_hi = _mm256_unpackhi_epi16(z3, z4);
    const __m256i a_lo = _mm256_unpacklo_epi16(tmp4, tmp7), a_hi = _mm256_unpackhi_epi16(tmp4, tmp7);
    const __m256i b_lo = _mm256_unpacklo_epi16(tmp5, tmp6), b_hi = _mm256_unpackhi_epi16(tmp5, tmp6);
    const __m256i za = Pair(kZ3a, kZ4a), zb = Pair(kZ3b, kZ4b);
    d[7] = Rotate2<shift>(z_lo, z_hi, za, a_lo, a_hi, Pair(k7T4, k7T7), round);
    d[1] = Rotate2<shift>(z_lo, z_hi, zb, a_lo, a_hi, Pair(k1T4, k1T7), round);
    d[5] = Rotate2<shift>(z_lo, z_hi, zb, b_lo, b_hi, Pair(k5T5, k5T6), round);
    d[3] = Rotate2<shift>(z_lo, z_hi, za, b_lo, b_hi, Pair(k3T5, k3T6), round);
}

inline __m256i QuantiseRow(__m256i x, const ForwardQuantTable& q, int row) {
    const __m256i recip = _mm256_broadcastsi128_si256(_mm_load_si128(reinterpret_cast<const __m128i*>(q.reciprocal + 8 * row)));
    const __m256i corr = _mm256_broadcastsi128_si256(_mm_load_si128(reinterpret_cast<const __m128i*>(q.correction + 8 * row)));
    const __m256i scale = _mm256_broadcastsi128_si256(_mm_load_si128(reinterpret_cast<const __m128i*>(q.scale + 8 * row)));
    const __m256i sign = _mm256_srai_epi16(x, 15);
    __m256i t = _mm256_sub_epi16(_mm256_xor_si256(x, sign), sign);
    t = _mm256_mulhi_epu16(_mm256_add_epi16(t, corr), recip);
    t = _mm256_mulhi_epu16(t, scale);
    t = _mm256_min_epu16(t, _mm256_set1_epi16(kMaxQuantised));
    return _mm256_sub_epi16(_mm256_xor_si256(t, sign), sign);
}

void ForwardDct(const uint8_t* src, size_t step, size_t count, const ForwardQuantTable& table, int16_t* out) {
    const __m256i bias = _mm256_set1_epi16(128);
    size_t j = 0;
    for (; j + 2 <= count; j += 2) {
        __m256i v[8];
        for (int r = 0; r < 8; ++r) {
            const __m128i px = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + r * step + 8 * j));
            v[r] = _mm256_sub_epi16(_mm256_cvtepu8_epi16(px), bias); // lane 0: block j, lane 1: block j + 1
        }
        Transpose(v);
        Dct1D<true>(v);
        Transpose(v);
        Dct1D<false>(v);
        int16_t* o = out + 64 * j;
        for (int r = 0; r < 8; ++r) {
            const __m256i q = QuantiseRow(v[r], table, r);
            _mm_storeu_si128(reinterpret_cast<__m128i*>(o + 8 * r), _mm256_castsi256_si128(q));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(o + 64 + 8 * r), _mm256_extracti128_si256(q, 1));
        }
    }
    for (; j < count; ++j) ForwardDctBlock(src + 8 * j, step, table, out + 64 * j);
}

// Byte-gathering masks: channel c of pixel i of 16 interleaved 3-byte pixels lies in chunk
// (3 i + c) / 16 at (3 i + c) % 16.
struct ChannelMasks {
    alignas(16) uint8_t m[3][3][16]; // [channel][chunk][output]
};
constexpr ChannelMasks MakeMasks() {
    ChannelMasks k{};
    for (int c = 0; c < 3; ++c)
        for (int chunk = 0; chunk < 3; ++chunk)
            for (int i = 0; i < 16; ++i) {
                const int at = 3 * i + c;
                k.m[c][chunk][i] = static_cast<uint8_t>(at / 16 == chunk ? at % 16 : 0x80);
            }
    return k;
}
constexpr ChannelMasks kMasks = MakeMasks();

inline __m256i Channel(__m128i c0, __m128i c1, __m128i c2, int c) {
    const __m128i* m = reinterpret_cast<const __m128i*>(kMasks.m[c]);
    const __m128i v = _mm_or_si128(_mm_or_si128(_mm_shuffle_epi8(c0, _mm_load_si128(m)), _mm_shuffle_epi8(c1, _mm_load_si128(m + 1))),
                                   _mm_shuffle_epi8(c2, _mm_load_si128(m + 2)));
    return _mm256_cvtepu8_epi16(v);
}

inline __m128i Weighted(__m256i rg_lo, __m256i rg_hi, __m256i b_lo, __m256i b_hi, __m256i crg, __m256i cb, __m256i round) {
    const __m256i l = _mm256_srai_epi32(_mm256_add_epi32(_mm256_add_epi32(_mm256_madd_epi16(rg_lo, crg), _mm256_madd_epi16(b_lo, cb)), round), kColourBits);
    const __m256i h = _mm256_srai_epi32(_mm256_add_epi32(_mm256_add_epi32(_mm256_madd_epi16(rg_hi, crg), _mm256_madd_epi16(b_hi, cb)), round), kColourBits);
    const __m256i w = _mm256_packs_epi32(l, h);
    return _mm256_castsi256_si128(_mm256_permute4x64_epi64(_mm256_packus_epi16(w, w), 0x08));
}

void ToYCbCr(const uint8_t* src, size_t srcStep, uint8_t* y, uint8_t* cb, uint8_t* cr, size_t dstStep, size_t width,
             size_t lines, int redIndex) {
    const int ri = redIndex, bi = 2 - redIndex;
    const __m256i zero = _mm256_setzero_si256();
    const __m256i cy = Pair(kYR, kYG), cyb = Pair(kYB, 0), ccb = Pair(kCbR, kCbG), ccbb = Pair(kCbB, 0);
    const __m256i ccr = Pair(kCrR, kCrG), ccrb = Pair(kCrB, 0);
    const __m256i yRound = _mm256_set1_epi32(kYRound), cRound = _mm256_set1_epi32(kCRound);
    for (size_t l = 0; l < lines; ++l) {
        const uint8_t* s = src + l * srcStep;
        uint8_t* py = y + l * dstStep;
        uint8_t* pb = cb + l * dstStep;
        uint8_t* pr = cr + l * dstStep;
        size_t x = 0;
        for (; x + 16 <= width; x += 16) {
            const __m128i c0 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 3 * x));
            const __m128i c1 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 3 * x + 16));
            const __m128i c2 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 3 * x + 32));
            const __m256i r = Channel(c0, c1, c2, ri), g = Channel(c0, c1, c2, 1), b = Channel(c0, c1, c2, bi);
            const __m256i rg_lo = _mm256_unpacklo_epi16(r, g), rg_hi = _mm256_unpackhi_epi16(r, g);
            const __m256i b_lo = _mm256_unpacklo_epi16(b, zero), b_hi = _mm256_unpackhi_epi16(b, zero);
            _mm_storeu_si128(reinterpret_cast<__m128i*>(py + x), Weighted(rg_lo, rg_hi, b_lo, b_hi, cy, cyb, yRound));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(pb + x), Weighted(rg_lo, rg_hi, b_lo, b_hi, ccb, ccbb, cRound));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(pr + x), Weighted(rg_lo, rg_hi, b_lo, b_hi, ccr, ccrb, cRound));
        }
        for (; x < width; ++x) YCbCrOf(s[3 * x + ri], s[3 * x + 1], s[3 * x + bi], py[x], pb[x], pr[x]);
    }
}

void ReduceLine(const uint8_t* src, uint8_t* dst, size_t outWidth) {
    const __m256i ones = _mm256_set1_epi8(1), bias = _mm256_set1_epi32(0x00010000);
    size_t i = 0;
    for (; i + 32 <= outWidth; i += 32) {
        const __m256i a = _mm256_maddubs_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + 2 * i)), ones);
        const __m256i b = _mm256_maddubs_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + 2 * i + 32)), ones);
        const __m256i p = _mm256_packus_epi16(_mm256_srli_epi16(_mm256_add_epi16(a, bias), 1),
                                              _mm256_srli_epi16(_mm256_add_epi16(b, bias), 1));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + i), _mm256_permute4x64_epi64(p, 0xD8));
    }
    for (; i < outWidth; ++i) dst[i] = Mean2(src[2 * i], src[2 * i + 1], i);
}

void ReduceTwoLines(const uint8_t* a, const uint8_t* b, uint8_t* dst, size_t outWidth) {
    const __m256i ones = _mm256_set1_epi8(1), bias = _mm256_set1_epi32(0x00020001);
    size_t i = 0;
    for (; i + 32 <= outWidth; i += 32) {
        auto sum = [&](size_t at) {
            const __m256i x = _mm256_maddubs_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(a + at)), ones);
            const __m256i y = _mm256_maddubs_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(b + at)), ones);
            return _mm256_srli_epi16(_mm256_add_epi16(_mm256_add_epi16(x, y), bias), 2);
        };
        const __m256i p = _mm256_packus_epi16(sum(2 * i), sum(2 * i + 32));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + i), _mm256_permute4x64_epi64(p, 0xD8));
    }
    for (; i < outWidth; ++i) dst[i] = Mean4(a[2 * i], a[2 * i + 1], b[2 * i], b[2 * i + 1], i);
}

// The coefficients in zigzag order and the mask of the nonzero ones, bit k for the k-th.
inline uint64_t NonzeroMask(const int16_t* zz) {
    const __m256i zero = _mm256_setzero_si256();
    uint64_t mask = 0;
    for (int h = 0; h < 2; ++h) {
        const __m256i a = _mm256_cmpeq_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(zz + 32 * h)), zero);
        const __m256i b = _mm256_cmpeq_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(zz + 32 * h + 16)), zero);
        const __m256i p = _mm256_permute4x64_epi64(_mm256_packs_epi16(a, b), 0xD8);
        mask |= static_cast<uint64_t>(~static_cast<uint32_t>(_mm256_movemask_epi8(p))) << (32 * h);
    }
    return mask;
}

size_t EncodeBlock(const int16_t* coef, uint8_t* buf, size_t pos, int16_t& lastDc, const HuffmanCodeTable& dc,
                   const HuffmanCodeTable& ac, HuffmanState& st) {
    alignas(32) int16_t zz[64];
    for (int k = 0; k < 64; ++k) zz[k] = coef[kZigzag[k]];
    BitWriter w(st, buf, pos);
    PutDc(w, zz[0], lastDc, dc);
    uint64_t mask = NonzeroMask(zz) >> 1; // bit 0: the coefficient at k
    uint32_t k = 1;
    while (mask) {
        uint32_t run = static_cast<uint32_t>(__builtin_ctzll(mask));
        k += run;
        mask >>= run;
        mask >>= 1;
        for (; run > 15; run -= 16) w.Put(ac.code[0xF0], ac.size[0xF0]);
        PutAc(w, zz[k], run, ac);
        ++k;
    }
    if (k < 64) w.Put(ac.code[0], ac.size[0]);
    return w.Finish(st);
}

constexpr KernelTable kAvx2{ToYCbCr, ReduceLine, ReduceTwoLines, ForwardDct, EncodeBlock};

} // namespace

const KernelTable* Avx2Kernels() noexcept { return &kAvx2; }

} // namespace lxjpeg

#else

namespace lxjpeg {
const KernelTable* Avx2Kernels() noexcept { return nullptr; }
} // namespace lxjpeg

#endif
