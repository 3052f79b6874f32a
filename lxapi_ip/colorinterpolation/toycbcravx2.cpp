// AVX2 rows of the YCbCr conversions. Built with -mavx2 alone and entered only after the dispatcher
// found AVX2.
#include "toycbcrrows.h"

namespace lxycc::detail::avx2 {

size_t Color3To422(const uint8_t*, bool, uint8_t*, const Layout&, size_t) { return 0; }
size_t Color3To420(const uint8_t*, bool, uint8_t*, uint8_t*, uint8_t*, size_t) { return 0; }
size_t Ycc422ToColor3(const uint8_t*, const Layout&, uint8_t*, bool, size_t) { return 0; }

} // namespace lxycc::detail::avx2
