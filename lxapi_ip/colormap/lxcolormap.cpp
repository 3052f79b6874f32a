#include "lxcolormap.h"

namespace lxip {

namespace {

constexpr ColorMapEntry Bgr(uint32_t b, uint32_t g, uint32_t r) noexcept { return (r << 16) | (g << 8) | b; }

// The colour wheel of six arcs of 64 entries, one channel changing by 4 at a time: blue, cyan, green,
// yellow, red, magenta and back towards blue. The arcs that fall start from 255 and end at 3.
ColorMapEntry WheelBGR(uint32_t i) noexcept {
    const uint32_t arc = i / 64, k = i % 64;
    switch (arc) {
    case 0: return Bgr(255, 4 * k, 0);
    case 1: return Bgr(255 - 4 * k, 255, 0);
    case 2: return Bgr(0, 255, 4 * k);
    case 3: return Bgr(0, 255 - 4 * k, 255);
    case 4: return Bgr(4 * k, 0, 255);
    default: return Bgr(255, 0, 255 - 4 * k);
    }
}

// The same wheel in 256 entries: arcs of 42 or 43 entries, steps of 6, and pure blue at the end.
ColorMapEntry WheelBGRB(uint32_t i) noexcept {
    if (i <= 41) return Bgr(255, 6 * i, 0);
    if (i <= 84) return Bgr(255 - 6 * (i - 42), 255, 0);
    if (i <= 127) return Bgr(0, 255, 6 * (i - 85));
    if (i <= 170) return Bgr(0, 255 - 6 * (i - 128), 255);
    if (i <= 212) return Bgr(6 * (i - 171), 0, 255);
    if (i <= 254) return Bgr(255, 0, 255 - 6 * (i - 213));
    return Bgr(255, 0, 0);
}

uint32_t PhaseOf(int64_t phase) noexcept { return static_cast<uint32_t>(((phase % 256) + 256) % 256); }

} // namespace

void BuildColorMap(ColorMapEntry* entries, int64_t type, bool inversion, int64_t phase) noexcept {
    ColorMapEntry (*base)(uint32_t) noexcept = nullptr;
    uint32_t n = 256;
    switch (type) {
    case static_cast<int64_t>(ColorMapType::Normal): base = [](uint32_t i) noexcept { return i * 0x010101u; }; break;
    case static_cast<int64_t>(ColorMapType::PseudoColorBGR): base = WheelBGR; n = 384; break;
    case static_cast<int64_t>(ColorMapType::PseudoColorBGRB): base = WheelBGRB; break;
    default:
        for (uint32_t i = 0; i < 256; ++i) entries[i] = 0;
        return;
    }
    const uint32_t p = PhaseOf(phase);
    // Inverted maps start at 255 - p whatever the palette's length and run down through index 0 into
    // the palette's upper end; the wheel of 384 entries is therefore not mirrored about its middle.
    for (uint32_t i = 0; i < 256; ++i) {
        const uint32_t index = inversion ? (255 - p + n - i) % n : (p + i) % n;
        entries[i] = base(index);
    }
}

bool IsIdentityColorMap(int64_t type, bool inversion, int64_t phase) noexcept {
    return type == static_cast<int64_t>(ColorMapType::Normal) && !inversion && PhaseOf(phase) == 0;
}

ColorMapCache::LockedRef ColorMapCache::Acquire(int64_t type, bool inversion, int64_t phase) {
    // Keys that give the same entries are made equal: the phase counts modulo 256, and every type
    // outside the three palettes gives the same zero map.
    Key key{type, inversion, static_cast<int64_t>(PhaseOf(phase))};
    if (type < 0 || type > 2) key = Key{3, false, 0};
    return m_cache.AcquireLocked(key, [&key] {
        CLxSharedTableRef<Table> table(Table::Create(256));
        BuildColorMap(table->Entries(), key.type, key.inversion, key.phase);
        return table.Detach();
    });
}

} // namespace lxip
