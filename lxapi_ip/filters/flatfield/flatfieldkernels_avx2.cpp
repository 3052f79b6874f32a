// The AVX2 form of the flat field row kernels: the same loops as the portable form, compiled with
// -mavx2 so that they run eight pixels a step. Reached only through the dispatcher after the
// processor reported AVX2.
#include "flatfieldkernels.h"

#include <cstring>

namespace lxff {

#if defined(__AVX2__)
namespace {
#include "flatfieldrows.h"
} // namespace

extern const RowKernels kAvx2Rows;
const RowKernels kAvx2Rows = MakeRowKernels();
#endif

} // namespace lxff
