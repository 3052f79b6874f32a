// False-colour maps for 8-bit mono values: the three base palettes, inversion and phase, and the cache
// that keeps the 256 entries of the last key asked for. The pixel format converter applies a map on the
// way from Mono8 to 8-bit colour; the still image writers build one for their palettes.
#pragma once

#include "support/lxsharedtable.h"

#include <cstdint>

namespace lxip {

// One colour, 0x00RRGGBB: in memory blue, green, red, then a zero byte.
using ColorMapEntry = uint32_t;

// Values of ColorMapType.
enum class ColorMapType : int64_t { Normal = 0, PseudoColorBGR = 1, PseudoColorBGRB = 2 };

// Fills entries[0..255] for the map (type, inversion, phase). A type outside 0 to 2 gives 256 zero
// entries.
void BuildColorMap(ColorMapEntry* entries, int64_t type, bool inversion, int64_t phase) noexcept;

// True when the map is the identity grey ramp (Normal, not inverted, phase 0 modulo 256): the
// conversions then use no palette at all.
bool IsIdentityColorMap(int64_t type, bool inversion, int64_t phase) noexcept;

// The 256 entries of the last map asked for, rebuilt when the key changes. Acquire returns them with the
// cache's lock held until the reference ends, so two calls on one cache use the map one after the
// other and a setter on another thread never changes it under a running image.
class ColorMapCache {
public:
    using Table = CLxSharedTable<ColorMapEntry>;
    using LockedRef = CLxLockedTableRef<const Table>;

    LockedRef Acquire(int64_t type, bool inversion, int64_t phase);

private:
    struct Key {
        int64_t type = -1;
        bool inversion = false;
        int64_t phase = 0;
        bool operator==(const Key&) const = default;
    };
    CLxSharedTableCache<Key, Table> m_cache;
};

} // namespace lxip
