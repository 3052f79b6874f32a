// Module descriptions embedded in the library at build time, keyed by resource id (103 to 122).
#pragma once

#include <cstddef>
#include <cstdint>

namespace lxip {

struct LxResource {
    const char* data; // not terminated
    size_t size;
};

// The description of `resourceId`, or {nullptr, 0} if the library holds none.
LxResource FindDescriptionResource(int32_t resourceId) noexcept;

} // namespace lxip
