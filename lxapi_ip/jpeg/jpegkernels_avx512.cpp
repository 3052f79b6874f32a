// The AVX-512 form of the JPEG primitives: four DCT blocks at a time (one per 128-bit lane), and the
// Huffman coder taking the zigzag order and the nonzero mask from two permutes and two tests.
// Colour conversion and box reduction are the AVX2 form's, and so is the DCT of a last one to three
// blocks.
#include "jpegkernelcommon.h"

#if defined(__AVX512BW__) && defined(__AVX512VBMI__)
#include "kernels/lxavx512.h"

namespace lxjpeg {
namespace {

using namespace detail;

// One 128-bit row in every lane.
inline __m512i Broadcast(__m128i row) {
    const __m512i z = _mm512_zextsi128_si512(row);
    return _mm512_shuffle_i32x4(z, z, 0);
}

inline __m512i Pair(int a, int b) { return _mm512_set1_epi32(static_cast<int32_t>((static_cast<uint32_t>(b) << 16) | static_cast<uint16_t>(a))); }

// a x ca + b x cb for each 16-bit pair, rounded, shifted and saturated back to 16 bits.
template <int Shift>
inline __m512i Rotate(__m512i lo, __m512i hi, __m512i c, __m512i round) {
    const __m512i l = _mm512_srai_epi32(_mm512_add_epi32(_mm512_madd_epi16(lo, c), round), Shift);
    const __m512i h = _mm512_srai_epi32(_mm512_add_epi32(_mm512_madd_epi16(hi, c), round), Shift);
    return _mm512_packs_epi32(l, h);
}
template <int Shift>
inline __m512i Rotate2(__m512i lo1, __m512i hi1, __m512i c1, __m512i lo2, __m512i hi2, __m512i c2, __m512i round) {
    const __m512i l = _mm512_add_epi32(_mm512_madd_epi16(lo1, c1), _mm512_madd_epi16(lo2, c2));
    const __m512i h = _mm512_add_epi32(_mm512_madd_epi16(hi1, c1), _mm512_madd_epi16(hi2, c2));
    return _mm512_packs_epi32(_mm512_srai_epi32(_mm512_add_epi32(l, round), Shift),
                              _mm512_srai_epi32(_mm512_add_epi32(h, round), Shift));
}

// 8 x 8 transpose of 16-bit values within each 128-bit lane.
inline void Transpose(__m512i v[8]) {
    const __m512i t0 = _mm512_unpacklo_epi16(v[0], v[1]), t1 = _mm512_unpackhi_epi16(v[0], v[1]);
    const __m512i t2 = _mm512_unpacklo_epi16(v[2], v[3]), t3 = _mm512_unpackhi_epi16(v[2], v[3]);
    const __m512i t4 = _mm512_unpacklo_epi16(v[4], v[5]), t5 = _mm512_unpackhi_epi16(v[4], v[5]);
    const __m512i t6 = _mm512_unpacklo_epi16(v[6], v[7]), t7 = _mm512_unpackhi_epi16(v[6], v[7]);
    const __m512i u0 = _mm512_unpacklo_epi32(t0, t2), u1 = _mm512_unpackhi_epi32(t0, t2);
    const __m512i u2 = _mm512_unpacklo_epi32(t1, t3), u3 = _mm512_unpackhi_epi32(t1, t3);
    const __m512i u4 = _mm512_unpacklo_epi32(t4, t6), u5 = _mm512_unpackhi_epi32(t4, t6);
    const __m512i u6 = _mm512_unpacklo_epi32(t5, t7), u7 = _mm512_unpackhi_epi32(t5, t7);
    v[0] = _mm512_unpacklo_epi64(u0, u4);
    v[1] = _mm512_unpackhi_epi64(u0, u4);
    v[2] = _mm512_unpacklo_epi64(u1, u5);
    v[3] = _mm512_unpackhi_epi64(u1, u5);
    v[4] = _mm512_unpacklo_epi64(u2, u6);
    v[5] = _mm512_unpackhi_epi64(u2, u6);
    v[6] = _mm512_unpacklo_epi64(u3, u7);
    v[7] = _mm512_unpackhi_epi64(u3, u7);
}

// The 1-D pass of Dct1D on eight vectors, lane by lane.
template <bool First>
inline void Dct1D(__m512i d[8]) {
    constexpr int shift = First ? kConstBits - kPass1Bits : kConstBits + kPass1Bits;
    const __m512i round = _mm512_set1_epi32(1 << (shift - 1));
    const __m512i tmp0 = _mm512_add_epi16(d[0], d[7]), tmp7 = _mm512_sub_epi16(d[0], d[7]);
    const __m512i tmp1 = _mm512_add_epi16(d[1], d[6]), tmp6 = _mm512_sub_epi16(d[1], d[6]);
    const __m512i tmp2 = _mm512_add_epi16(d[2], d[5]), tmp5 = _mm512_sub_epi16(d[2], d[5]);
    const __m512i tmp3 = _mm512_add_epi16(d[3], d[4]), tmp4 = _mm512_sub_epi16(d[3], d[4]);
    const __m512i tmp10 = _mm512_add_epi16(tmp0, tmp3), tmp13 = _mm512_sub_epi16(tmp0, tmp3);
    const __m512i tmp11 = _mm512_add_epi16(tmp1, tmp2), tmp12 = _mm512_sub_epi16(tmp1, tmp2);
    if constexpr (First) {
        d[0] = _mm512_slli_epi16(_mm512_add_epi16(tmp10, tmp11), kPass1Bits);
        d[4] = _mm512_slli_epi16(_mm512_sub_epi16(tmp10, tmp11), kPass1Bits);
    } else {
        const __m512i r = _mm512_set1_epi16(1 << (kPass1Bits - 1));
        d[0] = _mm512_srai_epi16(_mm512_add_epi16(_mm512_add_epi16(tmp10, tmp11), r), kPass1Bits);
        d[4] = _mm512_srai_epi16(_mm512_add_epi16(_mm512_sub_epi16(tmp10, tmp11), r), kPass1Bits);
    }
    const __m512i e_lo = _mm512_unpacklo_epi16(tmp13, tmp12), e_hi = _mm512_unpackhi_epi16(tmp13, tmp12);
    d[2] = Rotate<shift>(e_lo, e_hi, Pair(kC2a, kC2b), round);
    d[6] = Rotate<shift>(e_lo, e_hi, Pair(kC6a, kC6b), round);
    const __m512i z3 = _mm512_add_epi16(tmp4, tmp6), z4 = _mm512_add_epi16(tmp5, tmp7);
    const __m512i z_lo = _mm512_unpacklo_epi16(z3, z4), z_hi = _mm512_unpackhi_epi16(z3, z4);
    const __m512i a_lo = _mm512_unpacklo_epi16(tmp4, tmp7), a_hi = _mm512_unpackhi_epi16(tmp4, tmp7);
    const __m512i b_lo = _mm512_unpacklo_epi16(tmp5, tmp6), b_hi = _mm512_unpackhi_epi16(tmp5, tmp6);
    const __m512i za = Pair(kZ3a, kZ4a), zb = Pair(kZ3b, kZ4b);
    d[7] = Rotate2<shift>(z_lo, z_hi, za, a_lo, a_hi, Pair(k7T4, k7T7), round);
    d[1] = Rotate2<shift>(z_lo, z_hi, zb, a_lo, a_hi, Pair(k1T4, k1T7), round);
    d[5] = Rotate2<shift>(z_lo, z_hi, zb, b_lo, b_hi, Pair(k5T5, k5T6), round);
    d[3] = Rotate2<shift>(z_lo, z_hi, za, b_lo, b_hi, Pair(k3T5, k3T6), round);
}

inline __m512i QuantiseRow(__m512i x, const ForwardQuantTable& q, int row) {
    const __m512i recip = Broadcast(_mm_load_si128(reinterpret_cast<const __m128i*>(q.reciprocal + 8 * row)));
    const __m512i corr = Broadcast(_mm_load_si128(reinterpret_cast<const __m128i*>(q.correction + 8 * row)));
    const __m512i scale = Broadcast(_mm_load_si128(reinterpret_cast<const __m128i*>(q.scale + 8 * row)));
    const __m512i sign = _mm512_srai_epi16(x, 15);
    __m512i t = _mm512_sub_epi16(_mm512_xor_si512(x, sign), sign);
    t = _mm512_mulhi_epu16(_mm512_add_epi16(t, corr), recip);
    t = _mm512_mulhi_epu16(t, scale);
    t = _mm512_min_epu16(t, _mm512_set1_epi16(kMaxQuantised));
    return _mm512_sub_epi16(_mm512_xor_si512(t, sign), sign);
}

void ForwardDct(const uint8_t* src, size_t step, size_t count, const ForwardQuantTable& table, int16_t* out) {
    const __m512i bias = _mm512_set1_epi16(128);
    size_t j = 0;
    for (; j + 4 <= count; j += 4) {
        __m512i v[8];
        for (int r = 0; r < 8; ++r) {
            const __m256i px = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + r * step + 8 * j));
            v[r] = _mm512_sub_epi16(_mm512_cvtepu8_epi16(px), bias); // lane i: block j + i
        }
        Transpose(v);
        Dct1D<true>(v);
        Transpose(v);
        Dct1D<false>(v);
        int16_t* o = out + 64 * j;
        for (int r = 0; r < 8; ++r) {
            const __m512i q = QuantiseRow(v[r], table, r);
            alignas(64) int16_t lanes[32];
            _mm512_store_si512(lanes, q);
            for (int i = 0; i < 4; ++i) std::memcpy(o + 64 * i + 8 * r, lanes + 8 * i, 16);
        }
    }
    if (j < count) Avx2Kernels()->forwardDct(src + 8 * j, step, count - j, table, out + 64 * j);
}

// Zigzag order as word indices into the pair (coefficients 0 to 31, 32 to 63).
alignas(64) constexpr int16_t kZigzagLow[32] = {0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,
                                               12, 19, 26, 33, 40, 48, 41, 34, 27, 20, 13, 6,  7,  14, 21, 28};
alignas(64) constexpr int16_t kZigzagHigh[32] = {35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23, 30, 37, 44, 51,
                                                58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63};

size_t EncodeBlock(const int16_t* coef, uint8_t* buf, size_t pos, int16_t& lastDc, const HuffmanCodeTable& dc,
                   const HuffmanCodeTable& ac, HuffmanState& st) {
    const __m512i a = _mm512_loadu_si512(coef), b = _mm512_loadu_si512(coef + 32);
    alignas(64) int16_t zz[64];
    const __m512i lo = _mm512_permutex2var_epi16(a, _mm512_load_si512(kZigzagLow), b);
    const __m512i hi = _mm512_permutex2var_epi16(a, _mm512_load_si512(kZigzagHigh), b);
    _mm512_store_si512(zz, lo);
    _mm512_store_si512(zz + 32, hi);
    uint64_t mask = static_cast<uint64_t>(_mm512_test_epi16_mask(lo, lo)) |
                    static_cast<uint64_t>(_mm512_test_epi16_mask(hi, hi)) << 32;
    BitWriter w(st, buf, pos);
    PutDc(w, zz[0], lastDc, dc);
    mask >>= 1; // bit 0: the coefficient at k
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

} // namespace

const KernelTable* Avx512Kernels() noexcept {
    const KernelTable* avx2 = Avx2Kernels();
    if (!avx2) return nullptr;
    static const KernelTable table{avx2->toYCbCr, avx2->reduceLine, avx2->reduceTwoLines, ForwardDct, EncodeBlock};
    return &table;
}

} // namespace lxjpeg

#else

namespace lxjpeg {
const KernelTable* Avx512Kernels() noexcept { return nullptr; }
} // namespace lxjpeg

#endif
