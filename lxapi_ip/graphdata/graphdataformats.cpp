#include "graphdata/graphdataformats.h"

#include "lxconversiontable.h"
#include "lxpixelformatname.h"
#include "support/lxinside.h"

#include <lxapi/lxpixelformat.h>

#include <iterator>

namespace lxgraph {
namespace {

#define PF(name) LxPixelFormat_##name

// The 153 rows: every accepted input with its working format.
#define SELF(f) {PF(f), PF(f)}
#define MONO_LIKE(p)                                                                                             \
    SELF(p##8), SELF(p##10), SELF(p##12), SELF(p##14), SELF(p##16), {PF(p##10p), PF(p##10)},                     \
        {PF(p##10Packed), PF(p##10)}, {PF(p##12p), PF(p##12)}, {PF(p##12Packed), PF(p##12)}, {PF(p##14p), PF(p##14)}
#define POLARIZED(p) SELF(p##8), SELF(p##10), SELF(p##12), {PF(p##10p), PF(p##10)}, {PF(p##12p), PF(p##12)}

const FormatRow kRows[] = {
    MONO_LIKE(Mono),
    MONO_LIKE(BayerGR), MONO_LIKE(BayerRG), MONO_LIKE(BayerGB), MONO_LIKE(BayerBG),
    SELF(RGB8), SELF(BGR8), SELF(RGBa8), SELF(BGRa8), {PF(RGB8_Planar), PF(BGR8)},
    SELF(RGB16), SELF(BGR10), SELF(BGR12), SELF(BGR14), SELF(BGR16),
    SELF(BGRa10), SELF(BGRa12), SELF(BGRa14), SELF(BGRa16),
    {PF(RGB10p32), PF(BGR10)}, {PF(CBGR10p32), PF(BGR10)}, {PF(RGB10_Planar), PF(BGR10)},
    {PF(BGR10p), PF(BGR10)}, {PF(RGB10p), PF(BGR10)},
    {PF(RGB12_Planar), PF(BGR12)}, {PF(BGR12p), PF(BGR12)}, {PF(RGB12p), PF(BGR12)},
    {PF(RGB16_Planar), PF(BGR16)},
    POLARIZED(Pol1Mono), POLARIZED(Pol1MonoX), POLARIZED(Pol1MonoY), POLARIZED(Pol1MonoXY),
    POLARIZED(Pol1MonoC), POLARIZED(Pol1MonoXC), POLARIZED(Pol1MonoYC), POLARIZED(Pol1MonoXYC),
    POLARIZED(Pol1BayerRG), POLARIZED(Pol1BayerRGX), POLARIZED(Pol1BayerRGY), POLARIZED(Pol1BayerRGXY),
    POLARIZED(Pol1BayerRGC), POLARIZED(Pol1BayerRGXC), POLARIZED(Pol1BayerRGYC), POLARIZED(Pol1BayerRGXYC),
};
static_assert(std::size(kRows) == 153);

#undef POLARIZED
#undef MONO_LIKE
#undef SELF
#undef PF

// Component id: (colour << 24) | (bits << 16) | polarization.
enum Colour : uint32_t { Mono = 1, R = 2, G = 3, B = 4, Gr = 5, Gb = 6 };
constexpr uint32_t Component(uint32_t colour, unsigned bits, uint32_t polarization = 0) {
    return colour << 24 | bits << 16 | polarization;
}

// The colour of a Bayer site, from the colour filter code the format facts answer.
uint32_t ColourOfFilter(uint32_t filter) {
    switch (filter) {
    case LxColorFilter_Red: return R;
    case LxColorFilter_GreenR: return Gr;
    case LxColorFilter_GreenB: return Gb;
    case LxColorFilter_Blue: return B;
    default: throw INVALID_ARGUMENT_EXCEPTION("PixelFormat is invalid.");
    }
}

// The polarization values (1: 0 degrees, 2: 45, 3: 90, 4: 135) of the 2 x 2 polarizer cell, row 0
// then row 1, for the layouts 1 to 8 (no suffix, X, Y, XY, C, XC, YC, XYC).
constexpr uint32_t kAngles[8][4] = {
    {3, 2, 4, 1}, // 90, 45 / 135, 0
    {2, 3, 1, 4}, // 45, 90 / 0, 135
    {4, 1, 3, 2}, // 135, 0 / 90, 45
    {1, 4, 2, 3}, // 0, 135 / 45, 90
    {4, 3, 1, 2}, // 135, 90 / 0, 45
    {1, 2, 4, 3}, // 0, 45 / 135, 90
    {3, 4, 2, 1}, // 90, 135 / 45, 0
    {2, 1, 3, 4}, // 45, 0 / 90, 135
};

uint32_t AngleAt(ILxPixelFormatInfoInside* info, unsigned x, unsigned y) {
    const uint32_t layout = info->GetPolarizerLayout();
    if (layout < 1 || layout > 8) throw INVALID_ARGUMENT_EXCEPTION("PixelFormat is invalid.");
    return kAngles[layout - 1][(y & 1) * 2 + (x & 1)];
}

} // namespace

CFormatTable::CFormatTable() {
    for (const FormatRow& r : kRows)
        if (r.input == r.working || FindConversion(r.input, r.working)) m_rows.emplace(r.input, &r);
}

const FormatRow* CFormatTable::Find(uint32_t pixelFormat) const {
    const auto it = m_rows.find(pixelFormat);
    return it == m_rows.end() ? nullptr : it->second;
}

const FormatRow& CFormatTable::Require(uint32_t pixelFormat) const {
    const FormatRow* row = Find(pixelFormat);
    if (!row) throw RUNTIME_EXCEPTION("Not supported pixelformat %s", lxip::PixelFormatName(pixelFormat).c_str());
    return *row;
}

const CFormatTable& FormatTable() {
    static const CFormatTable table;
    return table;
}

Shape ShapeOf(uint32_t workingFormat) {
    ILxPixelFormatInfoInside* info = lxip::FindPixelFormatInfo(workingFormat)
                                         ? lxip::InsideOf<ILxPixelFormatInfoInside>(GetILxPixelFormatInfo(workingFormat))
                                         : nullptr;
    if (!info || info->GetPlaneCount() != 1 || info->IsPacked())
        throw INVALID_ARGUMENT_EXCEPTION("PixelFormat is invalid.");
    Shape s;
    s.bits = static_cast<unsigned>(info->GetComponentBits());
    s.sampleBytes = info->GetStorageBits() < 9 ? 1 : 2;
    const bool polarized = info->IsPolarized();
    if (info->IsBayer()) {
        s.layout = polarized ? Layout::PolarizedBayer : Layout::Bayer;
        s.grid = polarized ? 4 : 2;
        for (unsigned y = 0; y < s.grid; ++y)
            for (unsigned x = 0; x < s.grid; ++x)
                s.components[s.componentCount++] = Component(ColourOfFilter(info->GetPixelComponent(x, y)), s.bits,
                                                             polarized ? AngleAt(info, x, y) : 0);
    } else if (info->IsMono()) {
        s.layout = polarized ? Layout::PolarizedMono : Layout::Mono;
        s.grid = polarized ? 2 : 1;
        for (unsigned y = 0; y < s.grid; ++y)
            for (unsigned x = 0; x < s.grid; ++x)
                s.components[s.componentCount++] = Component(Mono, s.bits, polarized ? AngleAt(info, x, y) : 0);
    } else if (info->IsColor() && !info->IsYCbCr() && (info->GetComponentCount() == 3 || info->GetComponentCount() == 4)) {
        s.layout = Layout::Color;
        s.samplesPerPixel = static_cast<unsigned>(info->GetComponentCount());
        const bool blueFirst = info->IsBlueFirst();
        s.components[0] = Component(blueFirst ? B : R, s.bits);
        s.components[1] = Component(G, s.bits);
        s.components[2] = Component(blueFirst ? R : B, s.bits);
        s.componentCount = 3;
    } else {
        throw INVALID_ARGUMENT_EXCEPTION("PixelFormat is invalid.");
    }
    return s;
}

} // namespace lxgraph
