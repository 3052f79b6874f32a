// Image averaging kernels: samples added to 32-bit accumulators, and the mean written back.
#pragma once

#include <cstddef>
#include <cstdint>

namespace lxavg {

// acc[i] += src[i] for i < n. 16-bit samples may lie at any address. The accumulators wrap; the
// module bounds the image count so that they never do.
struct Kernels {
    void (*add8)(uint32_t* acc, const uint8_t* src, size_t n);
    void (*add16)(uint32_t* acc, const uint8_t* src, size_t n);
    // 8-bit samples go first into 16-bit sums, half the bytes of 32-bit ones to read and write per
    // image: pending[i] += src[i]. The caller folds them before 257 images of 255 could wrap.
    void (*stage8)(uint16_t* pending, const uint8_t* src, size_t n);
    // acc[i] += pending[i], and pending[i] = 0.
    void (*fold)(uint32_t* acc, uint16_t* pending, size_t n);
};
// The images of 8-bit samples that 16-bit sums hold without wrapping: 257 x 255 = 65535.
constexpr unsigned StagedImages = 257;
const Kernels& Active();
// For the tests: the level the kernels run at under `allowed` (see kernels/cpudispatch.h).
unsigned LevelAt(unsigned allowed);

// One line of the mean: out[i] = truncation of acc[i] / q + 0.5, kept to the sample's width
// (`bytes` 1, 2 or 4) with no limit check; 16-bit and 32-bit samples may lie at any address.
void WriteMean(uint8_t* out, const uint32_t* acc, size_t n, double q, unsigned bytes);

namespace detail {
void Add8Portable(uint32_t* acc, const uint8_t* src, size_t n);
void Add16Portable(uint32_t* acc, const uint8_t* src, size_t n);
void Stage8Portable(uint16_t* pending, const uint8_t* src, size_t n);
void FoldPortable(uint32_t* acc, uint16_t* pending, size_t n);
void Stage8Avx2(uint16_t* pending, const uint8_t* src, size_t n);
void FoldAvx2(uint32_t* acc, uint16_t* pending, size_t n);
void Add8Avx2(uint32_t* acc, const uint8_t* src, size_t n);
void Add16Avx2(uint32_t* acc, const uint8_t* src, size_t n);
} // namespace detail

} // namespace lxavg
