// The demosaicing kernels in plain C++, one cell (two columns) at a time. They run on every x86-64
// and are the measure the AVX2 kernels are tested against.
#define LXB_ISA portable
#include "bayerdriver.h"

namespace lxbayer::detail::portable {

template <class T>
void Color(uint32_t method, const Frame<T>& f) {
    Driver<Scalar<T>>(f).Color(method);
}

template <class T>
void Luminance(const Frame<T>& f) {
    Driver<Scalar<T>>(f).Luminance();
}

template void Color<uint8_t>(uint32_t, const Frame<uint8_t>&);
template void Color<uint16_t>(uint32_t, const Frame<uint16_t>&);
template void Luminance<uint8_t>(const Frame<uint8_t>&);
template void Luminance<uint16_t>(const Frame<uint16_t>&);

} // namespace lxbayer::detail::portable
