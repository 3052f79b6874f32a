// The demosaicing kernels in AVX2 lanes. This file alone is compiled with -mavx2 and is only
// entered after the processor has been checked. The kernels are the same templates as the portable
// ones; this file supplies the lane interface:
//   bytes: a 32-byte load holds 16 cells; E and O are its even and odd bytes in 16-bit lanes.
//   words: a 32-byte load holds 8 cells; E and O are its even and odd words in 32-bit lanes.
// Lanes are wide enough for every intermediate value (at most 16 times a sample: 4080 in a 16-bit
// lane, 16 * 65535 in a 32-bit one; the gradient products go through 32 and 64 bits), so the
// arithmetic is the scalar arithmetic exactly. Results are packed back to samples (packus) and
// interleaved into 3- or 4-sample pixels by byte shuffles.
#include "bayerframe.h"

#include <cstdint>

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>

#define LXB_ISA avx2
#include "bayerdriver.h"

namespace lxbayer::detail::avx2 {
namespace {

struct I16 {
    __m256i v;
};
LXB_INLINE I16 operator+(I16 a, I16 b) { return {_mm256_add_epi16(a.v, b.v)}; }
LXB_INLINE I16 operator-(I16 a, I16 b) { return {_mm256_sub_epi16(a.v, b.v)}; }
LXB_INLINE I16 operator>>(I16 a, int n) { return {_mm256_srai_epi16(a.v, n)}; }
LXB_INLINE I16 operator<<(I16 a, int n) { return {_mm256_slli_epi16(a.v, n)}; }
LXB_INLINE I16 operator&(I16 a, I16 b) { return {_mm256_and_si256(a.v, b.v)}; }

struct I32 {
    __m256i v;
};
LXB_INLINE I32 operator+(I32 a, I32 b) { return {_mm256_add_epi32(a.v, b.v)}; }
LXB_INLINE I32 operator-(I32 a, I32 b) { return {_mm256_sub_epi32(a.v, b.v)}; }
LXB_INLINE I32 operator>>(I32 a, int n) { return {_mm256_srai_epi32(a.v, n)}; }
LXB_INLINE I32 operator<<(I32 a, int n) { return {_mm256_slli_epi32(a.v, n)}; }
LXB_INLINE I32 operator&(I32 a, I32 b) { return {_mm256_and_si256(a.v, b.v)}; }

LXB_INLINE __m256i Load(const void* p) { return _mm256_loadu_si256(static_cast<const __m256i*>(p)); }
LXB_INLINE void StoreU(void* p, __m256i v) { _mm256_storeu_si256(static_cast<__m256i*>(p), v); }

// Planes of output samples arrive packed by cells: packus(e, o) puts, in each 128-bit lane, the
// lane's even pixels first and its odd pixels after them (P = 16 / B pixels of B bytes per lane).
constexpr int PackedByte(int B, int pixel, int byte) {
    const int half = 16 / B / 2;
    return ((pixel & 1) * half + pixel / 2) * B + byte;
}

// Controls that interleave three packed planes into pixels of Step samples, one 128-bit lane at a
// time; output vector m of a lane holds bytes 16m .. 16m+15 of the lane's pixels.
//  Step 3: byte p of output m belongs to channel ((16m + p) / B) % 3, and for a fixed p each
//  channel owns it in exactly one m (16 and 8 are invertible modulo 3). So one shuffle per plane
//  places every byte it contributes to any of the three outputs (plane[c]), and the outputs are
//  blends of the three shuffled planes (pick1: channel 1, pick2: channel 2).
//  Step 4: a byte position keeps its channel in every output, so each output shuffles all three
//  planes (mask) and ors them; alpha bytes are zero and taken from memory (keepColour).
template <int B, int Step>
struct Interleave {
    alignas(32) int8_t plane[3][32];
    alignas(32) int8_t pick1[3][32];
    alignas(32) int8_t pick2[3][32];
    alignas(32) int8_t mask[4][3][32];
    alignas(32) int8_t keepColour[32]; // -1 on colour bytes of a 32-byte store, 0 on alpha

    constexpr Interleave() : plane{}, pick1{}, pick2{}, mask{}, keepColour{} {
        for (int m = 0; m < Step; ++m)
            for (int j = 0; j < 32; ++j) {
                const int p = j & 15, byte = 16 * m + p; // byte of the lane's output run
                const int sample = byte / B, pixel = sample / Step, channel = sample % Step;
                const int8_t from = channel < 3 ? int8_t(PackedByte(B, pixel, byte % B)) : int8_t(-128);
                for (int c = 0; c < 3; ++c) mask[m][c][j] = channel == c ? from : int8_t(-128);
                if (Step == 3) {
                    plane[channel][j] = from;
                    pick1[m][j] = channel == 1 ? -1 : 0;
                    pick2[m][j] = channel == 2 ? -1 : 0;
                }
            }
        for (int j = 0; j < 32; ++j) keepColour[j] = (j / B) % Step == 3 ? 0 : -1;
    }
};

template <int B>
LXB_INLINE void StorePixels(void* dst, int step, __m256i c0, __m256i c1, __m256i c2) {
    auto* d = static_cast<uint8_t*>(dst);
    if (step == 3) {
        static constexpr Interleave<B, 3> t;
        const __m256i s0 = _mm256_shuffle_epi8(c0, Load(t.plane[0]));
        const __m256i s1 = _mm256_shuffle_epi8(c1, Load(t.plane[1]));
        const __m256i s2 = _mm256_shuffle_epi8(c2, Load(t.plane[2]));
        auto out = [&](int m) {
            return _mm256_blendv_epi8(_mm256_blendv_epi8(s0, s1, Load(t.pick1[m])), s2, Load(t.pick2[m]));
        };
        const __m256i o0 = out(0), o1 = out(1), o2 = out(2);
        // Lane 0 holds the first half of the pixels, lane 1 the second.
        StoreU(d, _mm256_permute2x128_si256(o0, o1, 0x20));
        StoreU(d + 32, _mm256_permute2x128_si256(o2, o0, 0x30));
        StoreU(d + 64, _mm256_permute2x128_si256(o1, o2, 0x31));
    } else {
        static constexpr Interleave<B, 4> t;
        auto out = [&](int m) {
            const __m256i s0 = _mm256_shuffle_epi8(c0, Load(t.mask[m][0]));
            const __m256i s1 = _mm256_shuffle_epi8(c1, Load(t.mask[m][1]));
            const __m256i s2 = _mm256_shuffle_epi8(c2, Load(t.mask[m][2]));
            return _mm256_or_si256(_mm256_or_si256(s0, s1), s2);
        };
        const __m256i o0 = out(0), o1 = out(1), o2 = out(2), o3 = out(3);
        const __m256i keep = Load(t.keepColour);
        const __m256i v[4] = {_mm256_permute2x128_si256(o0, o1, 0x20), _mm256_permute2x128_si256(o2, o3, 0x20),
                              _mm256_permute2x128_si256(o0, o1, 0x31), _mm256_permute2x128_si256(o2, o3, 0x31)};
        for (int i = 0; i < 4; ++i) StoreU(d + 32 * i, _mm256_blendv_epi8(Load(d + 32 * i), v[i], keep));
    }
}

// A packed plane back in pixel order (for single-sample output).
template <int B>
LXB_INLINE __m256i Unpack(__m256i packed) {
    struct Order {
        alignas(32) int8_t m[32];
        constexpr Order() : m{} {
            for (int j = 0; j < 32; ++j) m[j] = int8_t(PackedByte(B, (j & 15) / B, j % B));
        }
    };
    static constexpr Order order;
    return _mm256_shuffle_epi8(packed, Load(order.m));
}

struct Bytes {
    using T = uint8_t;
    using L = int16_t;
    using Vec = I16;
    using Mask = I16;
    using Px = __m256i;
    static constexpr int kCells = 16;
    LXB_INLINE static Vec E(const T* p) { return {_mm256_and_si256(Load(p), _mm256_set1_epi16(0x00FF))}; }
    LXB_INLINE static Vec O(const T* p) { return {_mm256_srli_epi16(Load(p), 8)}; }
    LXB_INLINE static Vec LoadLane(const L* p) { return {Load(p)}; }
    LXB_INLINE static void StoreLane(L* p, Vec v) { StoreU(p, v.v); }
    LXB_INLINE static Vec Splat(int v) { return {_mm256_set1_epi16(int16_t(v))}; }
    LXB_INLINE static Vec Min(Vec a, Vec b) { return {_mm256_min_epi16(a.v, b.v)}; }
    LXB_INLINE static Vec Max(Vec a, Vec b) { return {_mm256_max_epi16(a.v, b.v)}; }
    LXB_INLINE static Vec Select(Mask m, Vec a, Vec b) { return {_mm256_blendv_epi8(b.v, a.v, m.v)}; }
    LXB_INLINE static Px Join(Vec e, Vec o) { return _mm256_packus_epi16(e.v, o.v); }
    LXB_INLINE static void Store3(T* d, int step, Px c0, Px c1, Px c2) { StorePixels<1>(d, step, c0, c1, c2); }
    LXB_INLINE static void Store1(T* d, Px p) { StoreU(d, Unpack<1>(p)); }
    // The factors fit 16 bits (at most 4 * 255 in magnitude); madd forms the products and their
    // pair sums in 32 bits, and packs saturates the total back to 16 bits keeping its sign.
    LXB_INLINE static void Sign3(Vec a1, Vec b1, Vec a2, Vec b2, Vec a3, Vec b3, Mask& neg, Mask& pos) {
        const __m256i z = _mm256_setzero_si256();
        const __m256i lo = _mm256_add_epi32(
            _mm256_madd_epi16(_mm256_unpacklo_epi16(a1.v, a2.v), _mm256_unpacklo_epi16(b1.v, b2.v)),
            _mm256_madd_epi16(_mm256_unpacklo_epi16(a3.v, z), _mm256_unpacklo_epi16(b3.v, z)));
        const __m256i hi = _mm256_add_epi32(
            _mm256_madd_epi16(_mm256_unpackhi_epi16(a1.v, a2.v), _mm256_unpackhi_epi16(b1.v, b2.v)),
            _mm256_madd_epi16(_mm256_unpackhi_epi16(a3.v, z), _mm256_unpackhi_epi16(b3.v, z)));
        // packs restores the lane order that unpacklo/unpackhi took apart.
        const __m256i d = _mm256_packs_epi32(lo, hi);
        neg = {_mm256_cmpgt_epi16(z, d)};
        pos = {_mm256_cmpgt_epi16(d, z)};
    }
};

struct Words {
    using T = uint16_t;
    using L = int32_t;
    using Vec = I32;
    using Mask = I32;
    using Px = __m256i;
    static constexpr int kCells = 8;
    LXB_INLINE static Vec E(const T* p) { return {_mm256_and_si256(Load(p), _mm256_set1_epi32(0xFFFF))}; }
    LXB_INLINE static Vec O(const T* p) { return {_mm256_srli_epi32(Load(p), 16)}; }
    LXB_INLINE static Vec LoadLane(const L* p) { return {Load(p)}; }
    LXB_INLINE static void StoreLane(L* p, Vec v) { StoreU(p, v.v); }
    LXB_INLINE static Vec Splat(int v) { return {_mm256_set1_epi32(v)}; }
    LXB_INLINE static Vec Min(Vec a, Vec b) { return {_mm256_min_epi32(a.v, b.v)}; }
    LXB_INLINE static Vec Max(Vec a, Vec b) { return {_mm256_max_epi32(a.v, b.v)}; }
    LXB_INLINE static Vec Select(Mask m, Vec a, Vec b) { return {_mm256_blendv_epi8(b.v, a.v, m.v)}; }
    LXB_INLINE static Px Join(Vec e, Vec o) { return _mm256_packus_epi32(e.v, o.v); }
    LXB_INLINE static void Store3(T* d, int step, Px c0, Px c1, Px c2) { StorePixels<2>(d, step, c0, c1, c2); }
    LXB_INLINE static void Store1(T* d, Px p) { StoreU(d, Unpack<2>(p)); }
    // Factors of words need up to 19 bits, their products 64: even and odd lanes separately
    // (mul_epi32 takes the low 32 bits of each 64-bit element as signed).
    LXB_INLINE static void Sign3(Vec a1, Vec b1, Vec a2, Vec b2, Vec a3, Vec b3, Mask& neg, Mask& pos) {
        auto sum = [&](int shift) {
            auto mul = [&](Vec a, Vec b) {
                return _mm256_mul_epi32(_mm256_srli_epi64(a.v, shift), _mm256_srli_epi64(b.v, shift));
            };
            return _mm256_add_epi64(_mm256_add_epi64(mul(a1, b1), mul(a2, b2)), mul(a3, b3));
        };
        const __m256i de = sum(0), dodd = sum(32), z = _mm256_setzero_si256();
        neg = {_mm256_blend_epi32(_mm256_cmpgt_epi64(z, de), _mm256_cmpgt_epi64(z, dodd), 0xAA)};
        pos = {_mm256_blend_epi32(_mm256_cmpgt_epi64(de, z), _mm256_cmpgt_epi64(dodd, z), 0xAA)};
    }
};

template <class T>
struct LanesOf;
template <>
struct LanesOf<uint8_t> {
    using type = Bytes;
};
template <>
struct LanesOf<uint16_t> {
    using type = Words;
};

} // namespace

template <class T>
void Color(uint32_t method, const Frame<T>& f) {
    Driver<typename LanesOf<T>::type>(f).Color(method);
}

template <class T>
void Luminance(const Frame<T>& f) {
    Driver<typename LanesOf<T>::type>(f).Luminance();
}

template void Color<uint8_t>(uint32_t, const Frame<uint8_t>&);
template void Color<uint16_t>(uint32_t, const Frame<uint16_t>&);
template void Luminance<uint8_t>(const Frame<uint8_t>&);
template void Luminance<uint16_t>(const Frame<uint16_t>&);

} // namespace lxbayer::detail::avx2

#else // other processors: never selected, the portable kernels serve

namespace lxbayer::detail::avx2 {
template <class T> void Color(uint32_t method, const Frame<T>& f) { portable::Color(method, f); }
template <class T> void Luminance(const Frame<T>& f) { portable::Luminance(f); }
template void Color<uint8_t>(uint32_t, const Frame<uint8_t>&);
template void Color<uint16_t>(uint32_t, const Frame<uint16_t>&);
template void Luminance<uint8_t>(const Frame<uint8_t>&);
template void Luminance<uint16_t>(const Frame<uint16_t>&);
} // namespace lxbayer::detail::avx2

#endif
