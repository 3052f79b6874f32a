#include "defectkernels.h"

#include <cstring>

namespace lxdpd {

namespace {
#include "defectrows.h"

const RowKernels kPortableRows = MakeRowKernels();
} // namespace

#if defined(__x86_64__) || defined(_M_X64)
extern const RowKernels kAvx2Rows;
extern const RowKernels kAvx512Rows;
#define LXDPD_AVX2 &kAvx2Rows
#define LXDPD_AVX512 &kAvx512Rows
#else
#define LXDPD_AVX2 nullptr
#define LXDPD_AVX512 nullptr
#endif

const lxcpu::KernelForms<RowKernels>& Kernels() {
    static const lxcpu::KernelForms<RowKernels> forms(&kPortableRows, LXDPD_AVX2, LXDPD_AVX512);
    return forms;
}

} // namespace lxdpd
