// Pixel primitives of the JPEG encoder: colour conversion, box reduction, level shift + forward DCT +
// quantisation, and Huffman coding with byte stuffing. Each has a portable form and faster forms
// chosen at run time through the library's one dispatcher; every fast form gives the same bytes as
// the portable one.
#pragma once

#include "kernels/cpudispatch.h"

#include <cstddef>
#include <cstdint>

namespace lxjpeg {

// Forward quantisation table of one quant table, in natural (row-major) order: for each coefficient
// the divisor's reciprocal, the rounding correction and the post-scale, so that a quotient is two
// 16-bit high multiplies. The DCT output is eight times the true coefficient, so the divisor of a
// table entry q is 8 q.
struct alignas(64) ForwardQuantTable {
    uint16_t reciprocal[64];
    uint16_t correction[64];
    uint16_t scale[64];
};

// Encoding table of one Huffman table: code and code length by symbol (length 0: no code).
struct HuffmanCodeTable {
    uint32_t code[256];
    uint8_t size[256];
};

// Bit accumulator of the entropy coder: `bits` valid bits at the low end of `acc`, always fewer than 32
// between calls.
struct HuffmanState {
    uint64_t acc;
    uint32_t bits;
};

// The largest number of bytes one encoded block (with byte stuffing and the accumulator's content)
// can add: 64 codes of at most 16 + 11 bits, every byte doubled by stuffing, plus 8.
constexpr size_t kMaxBlockBytes = 2 * (64 * 27 / 8 + 1) + 8;

// The zigzag order: the natural index of the k-th coefficient in file order.
extern const uint8_t kZigzag[64];

// Builds the forward table from 64 quantiser values in zigzag (file) order; values 0 count as 1.
void BuildForwardTable(const uint8_t zigzagValues[64], ForwardQuantTable& table) noexcept;

// Builds the encoding table from the 16 code counts and the values of a DHT. Answers false when the
// counts describe no valid code (more codes than lengths allow, or more than 256 values).
bool BuildHuffmanTable(const uint8_t counts[16], const uint8_t* values, HuffmanCodeTable& table) noexcept;

struct KernelTable {
    // Interleaved 8-bit RGB (redIndex 0) or BGR (redIndex 2), 3 bytes a pixel, to Y, Cb and Cr planes by
    // the JFIF (full range) equations; `width` pixels of `lines` lines.
    void (*toYCbCr)(const uint8_t* src, size_t srcStep, uint8_t* y, uint8_t* cb, uint8_t* cr, size_t dstStep,
                    size_t width, size_t lines, int redIndex);
    // dst[i] = box mean of src[2i], src[2i+1], for i below `outWidth`.
    void (*reduceLine)(const uint8_t* src, uint8_t* dst, size_t outWidth);
    // dst[i] = box mean of the 2 x 2 samples at column 2i of lines a and b.
    void (*reduceTwoLines)(const uint8_t* a, const uint8_t* b, uint8_t* dst, size_t outWidth);
    // Level shift, forward DCT and quantisation of `count` 8 x 8 blocks side by side (block j starts at
    // src + 8 j), each to 64 coefficients in natural order at out + 64 j.
    void (*forwardDct)(const uint8_t* src, size_t step, size_t count, const ForwardQuantTable& table, int16_t* out);
    // Encodes one block of coefficients (natural order) into buf at pos; answers the new position.
    // `lastDc` is the component's previous DC and becomes this block's.
    size_t (*encodeBlock)(const int16_t* coef, uint8_t* buf, size_t pos, int16_t& lastDc, const HuffmanCodeTable& dc,
                          const HuffmanCodeTable& ac, HuffmanState& state);
};

// Pads the accumulator's bits with ones to a whole byte and writes them out; answers the new position.
size_t FlushBits(uint8_t* buf, size_t pos, HuffmanState& state) noexcept;

const lxcpu::KernelForms<KernelTable>& Forms() noexcept;
const KernelTable& PortableKernels() noexcept;
const KernelTable* Avx2Kernels() noexcept;   // null when the build has no AVX2 form
const KernelTable* Avx512Kernels() noexcept; // null when the build has no AVX-512 form

} // namespace lxjpeg
