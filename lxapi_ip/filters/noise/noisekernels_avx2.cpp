// The mono rank rows built for AVX2; entered only after the dispatcher found AVX2.
#if defined(__x86_64__) && defined(__AVX2__)
#define LXN_ISA avx2
#include "noiserows.h"
#endif
#include "noisekernels.h"

namespace lxnoise {
#if defined(__x86_64__) && defined(__AVX2__)
namespace {
constexpr RowKernels kAvx2 = {avx2::RowX<uint8_t>, avx2::RowX<uint16_t>};
}
const RowKernels* Avx2Rows() noexcept { return &kAvx2; }
#else
const RowKernels* Avx2Rows() noexcept { return nullptr; }
#endif
} // namespace lxnoise
