// A group of up to 64 pixels of `Step` bytes in `Step` 512-bit vectors, for the AVX-512 kernels that
// work on interleaved 8-bit pixels in place. The last group of a line is loaded and stored under
// byte masks, so that no byte past the line is read or written.
#pragma once

#include <cstddef>
#include <cstdint>
#include <immintrin.h>

namespace lxkernels {

template <size_t Step>
struct PixelGroup512 {
    uint8_t* at;
    size_t bytes; // of the group: 64 * Step for a whole group
    __mmask64 mask[Step];
    __m512i v[Step];

    // The group of the pixels from `px` on, `pixels` of them at most 64; lanes past them hold 0.
    PixelGroup512(uint8_t* px, size_t pixels) : at(px), bytes((pixels < 64 ? pixels : 64) * Step) {
        for (size_t q = 0; q < Step; ++q) {
            mask[q] = bytes >= 64 * (q + 1) ? ~__mmask64(0)
                      : bytes > 64 * q      ? (__mmask64(1) << (bytes - 64 * q)) - 1
                                            : 0;
            v[q] = Whole() ? _mm512_loadu_si512(at + 64 * q) : _mm512_maskz_loadu_epi8(mask[q], at + 64 * q);
        }
    }
    bool Whole() const { return bytes == 64 * Step; }
    // Writes vector q back where it was loaded from.
    void Store(size_t q) const {
        if (Whole())
            _mm512_storeu_si512(at + 64 * q, v[q]);
        else
            _mm512_mask_storeu_epi8(at + 64 * q, mask[q], v[q]);
    }
};

} // namespace lxkernels
