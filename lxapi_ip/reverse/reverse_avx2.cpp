// The AVX2 form of the movers: the same templates built with AVX2, so that the compiler's vector
// permutes reverse the lines. Reached only through the dispatcher, after the processor reported AVX2.
#include "reversemovers.h"

namespace lxreverse {

#if defined(__AVX2__)
const MoverTable* Avx2Movers() noexcept { return &detail::kGenericMovers; }
#else
const MoverTable* Avx2Movers() noexcept { return nullptr; }
#endif

} // namespace lxreverse
