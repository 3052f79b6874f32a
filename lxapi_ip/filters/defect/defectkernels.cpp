#include "defectkernels.h"

#include <cstring>

namespace lxdpd {

namespace {
#include "defectrows.h"

const RowKernels kPortableRows = MakeRowKernels();
} // namespace

#if defined(__x86_64__) || defined(_M_X64)
extern const RowKernels kAvx2Rows;
#define LXDPD_AVX2 &kAvx2Rows
#else
#define LXDPD_AVX2 nullptr
#endif

const lxcpu::KernelForms<RowKernels>& Kernels() {
    static const lxcpu::KernelForms<RowKernels> forms(&kPortableRows, LXDPD_AVX2);
    return forms;
}

} // namespace lxdpd
