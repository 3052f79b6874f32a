#include "snformats.h"

#include <lxapi/lxpixelformat.h>

#include <map>

namespace lxsn {
namespace {

enum Colour : uint32_t { Mono = 1, R = 2, G = 3, B = 4, Gr = 5, Gb = 6, Y = 7, Cb = 8, Cr = 9 };

enum class Kind : uint8_t { Mono, Bayer, PolMono, PolBayer, Colour, YCbCr422 };

struct Entry {
    uint32_t working;
    Kind kind;
    uint32_t bits;        // valid bits of the working format
    uint32_t bytes;       // bytes per sample
    uint32_t stride;      // samples per pixel
    uint32_t colours[4];  // Bayer 2 x 2 pattern; colour order of colour formats
    uint8_t polFamily;    // index into the polarizer tables
};

// The polarizer layouts by family (none, X, Y, XY, C, XC, YC, XYC): the angles of a 2 x 2 cell, row 0
// then row 1, and the colour blocks of the polarized Bayer formats. The C families name their green
// blocks the other way round from the graph data filter; each filter keeps to its own table.
constexpr uint32_t Angles[8][4] = {
    {90, 45, 135, 0}, {45, 90, 0, 135}, {135, 0, 90, 45}, {0, 135, 45, 90},
    {135, 90, 0, 45}, {0, 45, 135, 90}, {90, 135, 45, 0}, {45, 0, 90, 135},
};
constexpr uint32_t Blocks[8][4] = {
    {R, Gr, Gb, B}, {Gr, R, B, Gb}, {Gb, B, R, Gr}, {B, Gb, Gr, R},
    {Gb, R, B, Gr}, {B, Gr, Gb, R}, {R, Gb, Gr, B}, {Gr, B, R, Gb},
};

uint32_t Polarization(uint32_t angle) { return angle / 45 + 1; }

class Table {
public:
    Table();
    const Entry* Find(uint32_t format) const {
        const auto it = m_map.find(format);
        return it == m_map.end() ? nullptr : &it->second;
    }
    size_t Size() const { return m_map.size(); }

private:
    void Add(std::initializer_list<uint32_t> sources, const Entry& e) {
        for (uint32_t s : sources) m_map.emplace(s, e);
    }
    std::map<uint32_t, Entry> m_map;
};

Table::Table() {
    auto mono = [](uint32_t w, uint32_t bits) {
        return Entry{w, Kind::Mono, bits, bits > 8 ? 2u : 1u, 1, {Mono}, 0};
    };
    Add({LxPixelFormat_Mono1p, LxPixelFormat_Mono2p, LxPixelFormat_Mono4p, LxPixelFormat_Mono8},
        mono(LxPixelFormat_Mono8, 8));
    Add({LxPixelFormat_Mono10, LxPixelFormat_Mono10p, LxPixelFormat_Mono10Packed}, mono(LxPixelFormat_Mono10, 10));
    Add({LxPixelFormat_Mono12, LxPixelFormat_Mono12p, LxPixelFormat_Mono12Packed}, mono(LxPixelFormat_Mono12, 12));
    Add({LxPixelFormat_Mono14, LxPixelFormat_Mono14p}, mono(LxPixelFormat_Mono14, 14));
    Add({LxPixelFormat_Mono16}, mono(LxPixelFormat_Mono16, 16));

#define LX_BAYER(o, c0, c1, c2, c3)                                                                             \
    {                                                                                                           \
        auto e = [](uint32_t w, uint32_t bits) {                                                                \
            return Entry{w, Kind::Bayer, bits, bits > 8 ? 2u : 1u, 1, {c0, c1, c2, c3}, 0};                     \
        };                                                                                                      \
        Add({LxPixelFormat_Bayer##o##4p, LxPixelFormat_Bayer##o##8}, e(LxPixelFormat_Bayer##o##8, 8));          \
        Add({LxPixelFormat_Bayer##o##10, LxPixelFormat_Bayer##o##10p, LxPixelFormat_Bayer##o##10Packed},        \
            e(LxPixelFormat_Bayer##o##10, 10));                                                                 \
        Add({LxPixelFormat_Bayer##o##12, LxPixelFormat_Bayer##o##12p, LxPixelFormat_Bayer##o##12Packed},        \
            e(LxPixelFormat_Bayer##o##12, 12));                                                                 \
        Add({LxPixelFormat_Bayer##o##14, LxPixelFormat_Bayer##o##14p}, e(LxPixelFormat_Bayer##o##14, 14));     \
        Add({LxPixelFormat_Bayer##o##16}, e(LxPixelFormat_Bayer##o##16, 16));                                   \
    }
    LX_BAYER(RG, R, Gr, Gb, B)
    LX_BAYER(GR, Gr, R, B, Gb)
    LX_BAYER(GB, Gb, B, R, Gr)
    LX_BAYER(BG, B, Gb, Gr, R)
#undef LX_BAYER

#define LX_POL(name, kind, family)                                                                              \
    Add({LxPixelFormat_Pol1##name##8}, Entry{LxPixelFormat_Pol1##name##8, kind, 8, 1, 1, {}, family});          \
    Add({LxPixelFormat_Pol1##name##10, LxPixelFormat_Pol1##name##10p},                                          \
        Entry{LxPixelFormat_Pol1##name##10, kind, 10, 2, 1, {}, family});                                       \
    Add({LxPixelFormat_Pol1##name##12, LxPixelFormat_Pol1##name##12p},                                          \
        Entry{LxPixelFormat_Pol1##name##12, kind, 12, 2, 1, {}, family});
    LX_POL(Mono, Kind::PolMono, 0)
    LX_POL(MonoX, Kind::PolMono, 1)
    LX_POL(MonoY, Kind::PolMono, 2)
    LX_POL(MonoXY, Kind::PolMono, 3)
    LX_POL(MonoC, Kind::PolMono, 4)
    LX_POL(MonoXC, Kind::PolMono, 5)
    LX_POL(MonoYC, Kind::PolMono, 6)
    LX_POL(MonoXYC, Kind::PolMono, 7)
    LX_POL(BayerRG, Kind::PolBayer, 0)
    LX_POL(BayerRGX, Kind::PolBayer, 1)
    LX_POL(BayerRGY, Kind::PolBayer, 2)
    LX_POL(BayerRGXY, Kind::PolBayer, 3)
    LX_POL(BayerRGC, Kind::PolBayer, 4)
    LX_POL(BayerRGXC, Kind::PolBayer, 5)
    LX_POL(BayerRGYC, Kind::PolBayer, 6)
    LX_POL(BayerRGXYC, Kind::PolBayer, 7)
#undef LX_POL

    auto colour = [](uint32_t w, uint32_t bits, uint32_t stride, bool bgr) {
        return Entry{w, Kind::Colour, bits, bits > 8 ? 2u : 1u, stride, {bgr ? B : R, G, bgr ? R : B}, 0};
    };
    Add({LxPixelFormat_RGB8}, colour(LxPixelFormat_RGB8, 8, 3, false));
    Add({LxPixelFormat_RGBa8}, colour(LxPixelFormat_RGBa8, 8, 4, false));
    Add({LxPixelFormat_BGR8}, colour(LxPixelFormat_BGR8, 8, 3, true));
    Add({LxPixelFormat_BGRa8}, colour(LxPixelFormat_BGRa8, 8, 4, true));
    Add({LxPixelFormat_BGR10}, colour(LxPixelFormat_BGR10, 10, 3, true));
    Add({LxPixelFormat_BGR12}, colour(LxPixelFormat_BGR12, 12, 3, true));
    Add({LxPixelFormat_BGR14}, colour(LxPixelFormat_BGR14, 14, 3, true));
    Add({LxPixelFormat_BGR16}, colour(LxPixelFormat_BGR16, 16, 3, true));
    Add({LxPixelFormat_BGRa10}, colour(LxPixelFormat_BGRa10, 10, 4, true));
    Add({LxPixelFormat_BGRa12}, colour(LxPixelFormat_BGRa12, 12, 4, true));
    Add({LxPixelFormat_BGRa14}, colour(LxPixelFormat_BGRa14, 14, 4, true));
    Add({LxPixelFormat_BGRa16}, colour(LxPixelFormat_BGRa16, 16, 4, true));
    Add({LxPixelFormat_YCbCr8}, Entry{LxPixelFormat_YCbCr8, Kind::Colour, 8, 1, 3, {Y, Cb, Cr}, 0});
    for (uint32_t f : {LxPixelFormat_YCbCr422_8, LxPixelFormat_YCbCr709_422_8})
        Add({f}, Entry{f, Kind::YCbCr422, 8, 1, 2, {Y, Cr, Cb}, 0});
}

const Table& Formats() {
    static const Table table;
    return table;
}
// Built at library load, as every format table is.
const Table& g_formats = Formats();

} // namespace

uint32_t ComponentId(uint32_t colour, uint32_t bits, uint32_t polarization) {
    const uint32_t slot = bits < 10 ? 8 : bits >= 16 ? 16 : bits & ~1u;
    return (colour << 24) | (slot << 16) | polarization;
}

uint32_t WorkingFormatOf(uint32_t source) {
    const Entry* e = g_formats.Find(source);
    return e ? e->working : 0xFFFFFFFFu;
}

size_t AcceptedFormatCount() { return g_formats.Size(); }

bool LayoutOf(uint32_t source, uint64_t roiX, Layout* layout) {
    const Entry* e = g_formats.Find(source);
    if (!e) return false;
    Layout l;
    l.working = e->working;
    l.bytesPerSample = e->bytes;
    l.stride = e->stride;
    switch (e->kind) {
    case Kind::Mono:
        l.count = 1;
        l.ids[0] = (Mono << 24) | (e->bits << 16); // the id of its own depth
        break;
    case Kind::Bayer:
    case Kind::PolMono:
        l.rowClasses = l.period = 2;
        l.count = 4;
        for (uint32_t i = 0; i < 4; ++i) {
            l.component[i >> 1][i & 1] = static_cast<int8_t>(i);
            l.ids[i] = e->kind == Kind::Bayer ? ComponentId(e->colours[i], e->bits, 0)
                                              : ComponentId(Mono, e->bits, Polarization(Angles[e->polFamily][i]));
        }
        break;
    case Kind::PolBayer:
        l.rowClasses = l.period = 4;
        l.count = 16;
        for (uint32_t i = 0; i < 16; ++i) {
            const uint32_t px = i & 3, py = i >> 2;
            l.component[py][px] = static_cast<int8_t>(i);
            const uint32_t colour = Blocks[e->polFamily][(py >> 1) * 2 + (px >> 1)];
            const uint32_t angle = Angles[e->polFamily][(py & 1) * 2 + (px & 1)];
            l.ids[i] = ComponentId(colour, e->bits, Polarization(angle));
        }
        break;
    case Kind::Colour:
        l.period = e->stride;
        l.count = 3;
        for (uint32_t i = 0; i < 4; ++i) l.component[0][i] = static_cast<int8_t>(i < 3 ? int(i) : -1);
        for (uint32_t i = 0; i < 3; ++i) l.ids[i] = ComponentId(e->colours[i], e->bits, 0);
        break;
    case Kind::YCbCr422: {
        // Two pixels, four samples: Y, chroma, Y, chroma; records Y, Cr, Cb.
        l.period = 4;
        l.count = 3;
        const int8_t even = (roiX & 1) ? 2 : 1, odd = (roiX & 1) ? 1 : 2;
        l.component[0][0] = 0;
        l.component[0][1] = even;
        l.component[0][2] = 0;
        l.component[0][3] = odd;
        for (uint32_t i = 0; i < 3; ++i) l.ids[i] = ComponentId(e->colours[i], 8, 0);
        break;
    }
    }
    *layout = l;
    return true;
}

} // namespace lxsn
