// Arithmetic shared by every form of the JPEG primitives, so that the forms agree to the bit: the
// colour equations, the fixed-point constants of the forward DCT, the quantiser and the bit writer.
#pragma once

#include "jpegkernels.h"

#include <cstring>

namespace lxjpeg::detail {

// JFIF (full range) colour equations in 14-bit fixed point; each row of weights sums to 16384 (Y) or 0
// (Cb, Cr), so white stays 255 and grey keeps Cb = Cr = 128:
//  Y  =  0.299 R + 0.587 G + 0.114 B
//  Cb = -0.1687 R - 0.3313 G + 0.5 B + 128
//  Cr =  0.5 R - 0.4187 G - 0.0813 B + 128
constexpr int kColourBits = 14;
constexpr int kYR = 4899, kYG = 9617, kYB = 1868;
constexpr int kCbR = -2765, kCbG = -5427, kCbB = 8192;
constexpr int kCrR = 8192, kCrG = -6860, kCrB = -1332;
constexpr int kYRound = 1 << (kColourBits - 1);
constexpr int kCRound = (128 << kColourBits) + (1 << (kColourBits - 1)) - 1;

inline void YCbCrOf(int r, int g, int b, uint8_t& y, uint8_t& cb, uint8_t& cr) noexcept {
    y = static_cast<uint8_t>((kYR * r + kYG * g + kYB * b + kYRound) >> kColourBits);
    cb = static_cast<uint8_t>((kCbR * r + kCbG * g + kCbB * b + kCRound) >> kColourBits);
    cr = static_cast<uint8_t>((kCrR * r + kCrG * g + kCrB * b + kCRound) >> kColourBits);
}

// Forward DCT: the integer algorithm of Loeffler, Ligtenberg and Moschytz with 13-bit constants, rows
// first (results scaled up by 2 bits), then columns (scaled back), so a result is 8 times the true
// coefficient. The rotations are written as sums of two products with one constant each, the form a
// multiply-add of 16-bit pairs computes, and every sum between them is a 16-bit value.
constexpr int kConstBits = 13;
constexpr int kPass1Bits = 2;
constexpr int kC2a = 10703, kC2b = 4433;   // out2 = tmp13 kC2a + tmp12 kC2b
constexpr int kC6a = 4433, kC6b = -10704;  // out6 = tmp13 kC6a + tmp12 kC6b
constexpr int kZ3a = -6436, kZ4a = 9633;   // (z3, z4) weights of out7 and out3
constexpr int kZ3b = 9633, kZ4b = 6437;    // (z3, z4) weights of out1 and out5
constexpr int k7T4 = -4927, k7T7 = -7373;  // out7: tmp4, tmp7
constexpr int k1T4 = -7373, k1T7 = 4926;   // out1: tmp4, tmp7
constexpr int k5T5 = -4176, k5T6 = -20995; // out5: tmp5, tmp6
constexpr int k3T5 = -20995, k3T6 = 4177;  // out3: tmp5, tmp6

inline int16_t W16(int v) noexcept { return static_cast<int16_t>(v); }
inline int16_t Sat16(int v) noexcept { return static_cast<int16_t>(v < -32768 ? -32768 : v > 32767 ? 32767 : v); }

// One 1-D pass over 8 values d[0], d[s], ..., d[7 s], in place.
template <bool First>
inline void Dct1D(int16_t* d, size_t s) noexcept {
    constexpr int shift = First ? kConstBits - kPass1Bits : kConstBits + kPass1Bits;
    constexpr int round = 1 << (shift - 1);
    const int16_t tmp0 = W16(d[0] + d[7 * s]), tmp7 = W16(d[0] - d[7 * s]);
    const int16_t tmp1 = W16(d[s] + d[6 * s]), tmp6 = W16(d[s] - d[6 * s]);
    const int16_t tmp2 = W16(d[2 * s] + d[5 * s]), tmp5 = W16(d[2 * s] - d[5 * s]);
    const int16_t tmp3 = W16(d[3 * s] + d[4 * s]), tmp4 = W16(d[3 * s] - d[4 * s]);
    const int16_t tmp10 = W16(tmp0 + tmp3), tmp13 = W16(tmp0 - tmp3);
    const int16_t tmp11 = W16(tmp1 + tmp2), tmp12 = W16(tmp1 - tmp2);
    if constexpr (First) {
        d[0] = W16(W16(tmp10 + tmp11) * (1 << kPass1Bits));
        d[4 * s] = W16(W16(tmp10 - tmp11) * (1 << kPass1Bits));
    } else {
        d[0] = W16(W16(W16(tmp10 + tmp11) + (1 << (kPass1Bits - 1))) >> kPass1Bits);
        d[4 * s] = W16(W16(W16(tmp10 - tmp11) + (1 << (kPass1Bits - 1))) >> kPass1Bits);
    }
    d[2 * s] = Sat16((tmp13 * kC2a + tmp12 * kC2b + round) >> shift);
    d[6 * s] = Sat16((tmp13 * kC6a + tmp12 * kC6b + round) >> shift);
    const int16_t z3 = W16(tmp4 + tmp6), z4 = W16(tmp5 + tmp7);
    d[7 * s] = Sat16((z3 * kZ3a + z4 * kZ4a + tmp4 * k7T4 + tmp7 * k7T7 + round) >> shift);
    d[1 * s] = Sat16((z3 * kZ3b + z4 * kZ4b + tmp4 * k1T4 + tmp7 * k1T7 + round) >> shift);
    d[5 * s] = Sat16((z3 * kZ3b + z4 * kZ4b + tmp5 * k5T5 + tmp6 * k5T6 + round) >> shift);
    d[3 * s] = Sat16((z3 * kZ3a + z4 * kZ4a + tmp5 * k3T5 + tmp6 * k3T6 + round) >> shift);
}

// Largest quantised magnitude: the baseline Huffman tables code at most 10 bits of AC and 11 of DC
// difference; 1023 keeps both in range whatever the rounding of an extreme block.
constexpr uint16_t kMaxQuantised = 1023;

inline int16_t Quantise(int16_t x, uint16_t reciprocal, uint16_t correction, uint16_t scale) noexcept {
    const uint16_t sign = static_cast<uint16_t>(x >> 15); // 0 or 0xFFFF
    const uint16_t a = static_cast<uint16_t>((static_cast<uint16_t>(x) ^ sign) - sign);
    uint32_t t = static_cast<uint16_t>(a + correction);
    t = (t * reciprocal) >> 16;
    t = (t * scale) >> 16;
    if (t > kMaxQuantised) t = kMaxQuantised;
    return static_cast<int16_t>((static_cast<uint16_t>(t) ^ sign) - sign);
}

// One block, any form's tail: level shift, both passes, quantisation.
inline void ForwardDctBlock(const uint8_t* src, size_t step, const ForwardQuantTable& q, int16_t* out) noexcept {
    int16_t w[64];
    for (int r = 0; r < 8; ++r)
        for (int c = 0; c < 8; ++c) w[r * 8 + c] = static_cast<int16_t>(src[r * step + c] - 128);
    for (int r = 0; r < 8; ++r) Dct1D<true>(w + r * 8, 1);
    for (int c = 0; c < 8; ++c) Dct1D<false>(w + c, 8);
    for (int i = 0; i < 64; ++i) out[i] = Quantise(w[i], q.reciprocal[i], q.correction[i], q.scale[i]);
}

// Box means with the alternating bias of libjpeg's downsampler, so that rounding does not drift.
inline uint8_t Mean2(int a, int b, size_t i) noexcept { return static_cast<uint8_t>((a + b + (i & 1)) >> 1); }
inline uint8_t Mean4(int a, int b, int c, int d, size_t i) noexcept {
    return static_cast<uint8_t>((a + b + c + d + 1 + (i & 1)) >> 2);
}

// Bit writer: codes enter the accumulator high bit first; each full 32 bits go out big-endian, a 0xFF
// byte followed by a stuffed 0x00.
inline size_t PutWord(uint8_t* buf, size_t pos, uint32_t w) noexcept {
    const uint32_t x = ~w;
    if (((x - 0x01010101u) & ~x & 0x80808080u) == 0) { // no byte of w is 0xFF
        const uint32_t be = __builtin_bswap32(w);
        std::memcpy(buf + pos, &be, 4);
        return pos + 4;
    }
    for (int sh = 24; sh >= 0; sh -= 8) {
        const uint8_t b = static_cast<uint8_t>(w >> sh);
        buf[pos++] = b;
        if (b == 0xFF) buf[pos++] = 0;
    }
    return pos;
}

// The accumulator, output buffer and position of one block, held in locals while the block is coded:
// stores through the byte pointer cannot touch them, so they stay in registers.
struct BitWriter {
    uint64_t acc;
    uint32_t bits;
    uint8_t* buf;
    size_t pos;

    BitWriter(const HuffmanState& st, uint8_t* b, size_t p) noexcept : acc(st.acc), bits(st.bits), buf(b), pos(p) {}
    size_t Finish(HuffmanState& st) const noexcept {
        st.acc = acc;
        st.bits = bits;
        return pos;
    }
    void Put(uint32_t value, uint32_t n) noexcept {
        acc = (acc << n) | value;
        bits += n;
        if (bits >= 32) {
            bits -= 32;
            pos = PutWord(buf, pos, static_cast<uint32_t>(acc >> bits));
        }
    }
};

// Category (bit count) of a magnitude, and the bits that code a value in it (one's complement for
// negatives).
inline uint32_t BitCount(uint32_t magnitude) noexcept { return magnitude ? 32 - __builtin_clz(magnitude) : 0; }
inline uint32_t ValueBits(int v, uint32_t n) noexcept {
    return static_cast<uint32_t>(v < 0 ? v - 1 : v) & ((1u << n) - 1);
}

inline void PutDc(BitWriter& w, int16_t dc, int16_t& lastDc, const HuffmanCodeTable& t) noexcept {
    const int diff = dc - lastDc;
    lastDc = dc;
    const uint32_t n = BitCount(static_cast<uint32_t>(diff < 0 ? -diff : diff));
    w.Put((t.code[n] << n) | ValueBits(diff, n), t.size[n] + n);
}

// One nonzero AC coefficient after `run` zeros (run below 16).
inline void PutAc(BitWriter& w, int v, uint32_t run, const HuffmanCodeTable& t) noexcept {
    const uint32_t n = BitCount(static_cast<uint32_t>(v < 0 ? -v : v));
    const uint32_t sym = (run << 4) | n;
    w.Put((t.code[sym] << n) | ValueBits(v, n), t.size[sym] + n);
}

} // namespace lxjpeg::detail
