#include "accumulate.h"

#include "kernels/cpudispatch.h"

#include <cstring>

namespace lxavg {
namespace detail {

void Add8Portable(uint32_t* acc, const uint8_t* src, size_t n) {
    for (size_t i = 0; i < n; ++i) acc[i] += src[i];
}

void Add16Portable(uint32_t* acc, const uint8_t* src, size_t n) {
    for (size_t i = 0; i < n; ++i) {
        uint16_t v;
        std::memcpy(&v, src + 2 * i, 2);
        acc[i] += v;
    }
}

void Stage8Portable(uint16_t* pending, const uint8_t* src, size_t n) {
    for (size_t i = 0; i < n; ++i) pending[i] = static_cast<uint16_t>(pending[i] + src[i]);
}

void FoldPortable(uint32_t* acc, uint16_t* pending, size_t n) {
    for (size_t i = 0; i < n; ++i) {
        acc[i] += pending[i];
        pending[i] = 0;
    }
}

} // namespace detail

namespace {
constexpr Kernels Portable{&detail::Add8Portable, &detail::Add16Portable, &detail::Stage8Portable,
                           &detail::FoldPortable};
#if defined(__x86_64__)
constexpr Kernels Avx2{&detail::Add8Avx2, &detail::Add16Avx2, &detail::Stage8Avx2, &detail::FoldAvx2};
constexpr lxcpu::KernelForms<Kernels> Forms(&Portable, &Avx2);
#else
constexpr lxcpu::KernelForms<Kernels> Forms(&Portable);
#endif

// The quotient as an integer of 64 bits: the mean of 32-bit sums scaled up to 32 bits stays far
// below 2^64; a divisor that is not a positive number gives 0 rather than undefined behaviour.
inline uint64_t Rounded(uint32_t sum, double q) {
    const double v = sum / q + 0.5;
    return v >= 0.0 && v < 18446744073709551616.0 ? static_cast<uint64_t>(v) : 0;
}
} // namespace

const Kernels& Active() { return Forms.Get(); }
unsigned LevelAt(unsigned allowed) { return static_cast<unsigned>(Forms.LevelAt(static_cast<lxcpu::Level>(allowed))); }

void WriteMean(uint8_t* out, const uint32_t* acc, size_t n, double q, unsigned bytes) {
    for (size_t i = 0; i < n; ++i) {
        const uint64_t v = Rounded(acc[i], q);
        if (bytes == 1) {
            out[i] = static_cast<uint8_t>(v);
        } else if (bytes == 2) {
            const uint16_t s = static_cast<uint16_t>(v);
            std::memcpy(out + 2 * i, &s, 2);
        } else {
            const uint32_t s = static_cast<uint32_t>(v);
            std::memcpy(out + 4 * i, &s, 4);
        }
    }
}

} // namespace lxavg
