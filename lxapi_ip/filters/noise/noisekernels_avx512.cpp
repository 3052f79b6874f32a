// The mono rank rows built for AVX-512 (F, BW); entered only after the dispatcher found AVX-512.
#if defined(__x86_64__) && defined(__AVX512BW__)
#define LXN_ISA avx512
#include "noiserows.h"
#endif
#include "noisekernels.h"

namespace lxnoise {
#if defined(__x86_64__) && defined(__AVX512BW__)
namespace {
constexpr RowKernels kAvx512 = {avx512::RowX<uint8_t>, avx512::RowX<uint16_t>};
}
const RowKernels* Avx512Rows() noexcept { return &kAvx512; }
#else
const RowKernels* Avx512Rows() noexcept { return nullptr; }
#endif
} // namespace lxnoise
