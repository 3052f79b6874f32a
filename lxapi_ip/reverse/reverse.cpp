// The portable form of the movers and the choice of form.
#include "reversemovers.h"

namespace lxreverse {

const MoverTable& PortableMovers() noexcept { return detail::kGenericMovers; }

const lxcpu::KernelForms<MoverTable>& Forms() noexcept {
    static const lxcpu::KernelForms<MoverTable> forms(&detail::kGenericMovers, Avx2Movers());
    return forms;
}

void Move(const Plane& plane, size_t pixelBytes, Operation op) {
    const int index = PixelSizeIndex(pixelBytes);
    if (index < 0 || static_cast<uint8_t>(op) > 7) return;
    Forms().Get().movers[index](plane, op);
}

} // namespace lxreverse
