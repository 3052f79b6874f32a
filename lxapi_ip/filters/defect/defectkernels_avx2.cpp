// The AVX2 form of the defect detection row kernels: the same loops as the portable form, compiled
// with -mavx2. Reached only through the dispatcher after the processor reported AVX2.
#include "defectkernels.h"

#include <cstring>

namespace lxdpd {

#if defined(__AVX2__)
namespace {
#include "defectrows.h"
} // namespace

extern const RowKernels kAvx2Rows;
const RowKernels kAvx2Rows = MakeRowKernels();
#endif

} // namespace lxdpd
