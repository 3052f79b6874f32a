// The row kernel built with -mavx2; chosen only after the processor reported AVX2.
#include "snrowkernel.h"

namespace lxsn::detail {
extern const RowKernels RowKernelsAvx2;
const RowKernels RowKernelsAvx2 = {&Row8, &Row16};
} // namespace lxsn::detail
