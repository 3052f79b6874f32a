// Mono to colour through the converter: the module's map reaches every channel order, the alpha
// sample and the padding stay, the flip writes bottom up; the parameters take effect by typed call
// and by register; deeper colours take the depth table and no map; deeper monos reach the map
// through Mono8.
#include "colormap/lxcolormap.h"
#include "colormap/monotocolor.h"
#include "convertertest.h"
#include "lxdescriptions.h"

#include <array>
#include <random>
#include <vector>

using namespace lxtest;

namespace {
#define PF(name) LxPixelFormat_##name
namespace R = lxres::lxpixelformatconverter;

BufferPtr RandomMono8(size_t w, size_t h, size_t pitch, std::mt19937& rng) {
    BufferPtr b = MakeImage(w, h, PF(Mono8), pitch);
    FillBytes(b, 0);
    for (size_t y = 0; y < h; ++y)
        for (size_t x = 0; x < w; ++x) Bytes(b)[y * Pitch(b) + x] = uint8_t(rng());
    return b;
}

// The destination was filled with `fill` before: alpha samples and padding must still hold it.
void ExpectMapped(const BufferPtr& src, const BufferPtr& out, const std::array<lxip::ColorMapEntry, 256>& map,
                  unsigned step, bool blueFirst, bool reverse, uint8_t fill) {
    const size_t w = src->GetILxImage()->GetImageWidth(), h = src->GetILxImage()->GetImageHeight();
    for (size_t y = 0; y < h; ++y) {
        const uint8_t* s = Bytes(src) + y * Pitch(src);
        const uint8_t* d = Bytes(out) + (reverse ? h - 1 - y : y) * Pitch(out);
        for (size_t x = 0; x < w; ++x) {
            const uint32_t e = map[s[x]];
            const uint8_t b = e & 0xFF, g = (e >> 8) & 0xFF, r = (e >> 16) & 0xFF;
            ASSERT_EQ(d[step * x + 0], blueFirst ? b : r) << x << "," << y;
            ASSERT_EQ(d[step * x + 1], g) << x << "," << y;
            ASSERT_EQ(d[step * x + 2], blueFirst ? r : b) << x << "," << y;
            if (step == 4) {
                ASSERT_EQ(d[4 * x + 3], fill);
            }
        }
        for (size_t i = step * w; i < Pitch(out); ++i) ASSERT_EQ(d[i], fill) << "padding " << i;
    }
}

TEST(MonoToColor8, EveryMapOrderAlphaAndFlip) {
    std::mt19937 rng(3);
    Converter c;
    const BufferPtr src = RandomMono8(13, 7, 16, rng);
    struct Dest {
        uint32_t format;
        unsigned step;
        bool blueFirst;
    };
    const Dest dests[] = {{PF(BGR8), 3, true}, {PF(RGB8), 3, false}, {PF(BGRa8), 4, true}, {PF(RGBa8), 4, false}};
    struct MapKey {
        ELxColorMapType_t type;
        bool inversion;
        int32_t phase;
    };
    const MapKey maps[] = {{LxColorMapType_Normal, false, 0},          {LxColorMapType_Normal, true, 0},
                           {LxColorMapType_Normal, false, 1},          {LxColorMapType_PseudoColor_BGR, false, 0},
                           {LxColorMapType_PseudoColor_BGR, true, 1},  {LxColorMapType_PseudoColor_BGR, false, 255},
                           {LxColorMapType_PseudoColor_BGRB, true, 77}, {LxColorMapType_PseudoColor_BGRB, false, 0}};
    for (const MapKey& m : maps) {
        c.typed->SetColorMapType(m.type);
        c.typed->SetColorMapInversion(m.inversion);
        c.typed->SetColorMapPhase(m.phase);
        std::array<lxip::ColorMapEntry, 256> map;
        lxip::BuildColorMap(map.data(), m.type, m.inversion, m.phase);
        for (const Dest& d : dests)
            for (bool reverse : {false, true}) {
                SCOPED_TRACE(testing::Message() << m.type << " " << m.inversion << " " << m.phase << " format "
                                                << std::hex << d.format << " reverse " << reverse);
                BufferPtr out = MakeImage(13, 7, d.format, 13 * d.step + 5);
                FillBytes(out, 0xA5);
                c.typed->SetReverseY(reverse);
                c.Into(src->GetILxImage(), out.Get(), d.format);
                ExpectMapped(src, out, map, d.step, d.blueFirst, reverse, 0xA5);
            }
    }
}

TEST(MonoToColor8, NamedValuesAndRegisterWrites) {
    Converter c;
    BufferPtr src = MakeImage(4, 1, PF(Mono8));
    const uint8_t values[4] = {0, 128, 254, 255};
    std::memcpy(Bytes(src), values, 4);
    auto pixel = [&](size_t x) {
        BufferPtr out = c.Run(src, PF(BGR8));
        const uint8_t* p = Bytes(out) + 3 * x;
        return std::array<int, 3>{p[0], p[1], p[2]};
    };
    EXPECT_EQ(pixel(1), (std::array<int, 3>{128, 128, 128}));
    // Registers: type 1, inversion by any non-zero value, phase 1.
    c.WriteRegister<uint32_t>(R::ColorMapTypeReg.address, 1);
    EXPECT_EQ(pixel(0), (std::array<int, 3>{255, 0, 0}));
    EXPECT_EQ(pixel(1), (std::array<int, 3>{0, 255, 0}));
    EXPECT_EQ(pixel(3), (std::array<int, 3>{0, 3, 255}));
    c.WriteRegister<uint32_t>(R::ColorMapInversionReg.address, 2);
    c.WriteRegister<uint32_t>(R::ColorMapPhaseReg.address, 1);
    EXPECT_TRUE(c.typed->GetColorMapInversion());
    EXPECT_EQ(pixel(2), (std::array<int, 3>{255, 0, 0}));   // index 0
    EXPECT_EQ(pixel(3), (std::array<int, 3>{255, 0, 3}));   // index 383
    c.typed->SetColorMapType(LxColorMapType_Normal);
    c.typed->SetColorMapPhase(0);
    EXPECT_EQ(pixel(0), (std::array<int, 3>{255, 255, 255})); // a negative
    c.typed->SetColorMapInversion(false);
    c.typed->SetColorMapPhase(1);
    EXPECT_EQ(pixel(3), (std::array<int, 3>{0, 0, 0}));
    c.typed->SetColorMapType(LxColorMapType_PseudoColor_BGRB);
    c.typed->SetColorMapPhase(0);
    EXPECT_EQ(pixel(3), (std::array<int, 3>{255, 0, 0}));
}

// Mono10 reaches BGR8 through Mono8, so the map applies to the top eight bits.
TEST(MonoToColor8, DeeperMonoTakesTheMapThroughMono8) {
    Converter c;
    c.typed->SetColorMapType(LxColorMapType_PseudoColor_BGR);
    BufferPtr src = MakeImage(3, 2, PF(Mono10));
    const uint16_t v[3] = {0, 512, 1023};
    for (size_t y = 0; y < 2; ++y)
        for (size_t x = 0; x < 3; ++x) SetWord(src, y, x, v[x]);
    BufferPtr out = c.Run(src, PF(RGB8));
    std::array<lxip::ColorMapEntry, 256> map;
    lxip::BuildColorMap(map.data(), 1, false, 0);
    for (size_t x = 0; x < 3; ++x) {
        const uint32_t e = map[v[x] >> 2];
        EXPECT_EQ(Bytes(out)[Pitch(out) + 3 * x], (e >> 16) & 0xFF);
        EXPECT_EQ(Bytes(out)[Pitch(out) + 3 * x + 2], e & 0xFF);
    }
}

// Deeper colours: no map, the depth table (8 to 16 at gamma 1 is v * 257), equal depths copy, the
// alpha word stays.
TEST(MonoToColorN, DepthTableNoMapAlphaKept) {
    Converter c;
    c.typed->SetColorMapType(LxColorMapType_PseudoColor_BGR);
    std::mt19937 rng(5);
    const BufferPtr mono8 = RandomMono8(9, 3, 0, rng);
    for (bool reverse : {false, true}) {
        c.typed->SetReverseY(reverse);
        BufferPtr out = MakeImage(9, 3, PF(BGRa16));
        FillBytes(out, 0x5A);
        c.Into(mono8->GetILxImage(), out.Get(), PF(BGRa16));
        for (size_t y = 0; y < 3; ++y)
            for (size_t x = 0; x < 9; ++x) {
                const uint16_t want = uint16_t(Bytes(mono8)[y * Pitch(mono8) + x] * 257);
                const size_t row = reverse ? 2 - y : y;
                for (size_t ch = 0; ch < 3; ++ch) ASSERT_EQ(Word(out, row, 4 * x + ch), want);
                ASSERT_EQ(Word(out, row, 4 * x + 3), 0x5A5A);
            }
    }
    BufferPtr mono12 = MakeImage(5, 2, PF(Mono12));
    for (size_t x = 0; x < 5; ++x) SetWord(mono12, 1, x, uint16_t(0xABC + x));
    c.typed->SetReverseY(false);
    BufferPtr same = c.Run(mono12, PF(BGR12));
    BufferPtr deeper = c.Run(mono12, PF(RGB16));
    for (size_t x = 0; x < 5; ++x)
        for (size_t ch = 0; ch < 3; ++ch) {
            EXPECT_EQ(Word(same, 1, 3 * x + ch), 0xABC + x);
            const double exact = (0xABC + x) * 65535.0 / 4095.0;
            EXPECT_EQ(Word(deeper, 1, 3 * x + ch), uint16_t(exact + 0.5));
        }
}

// The vector row of the identity is bit-exact with the portable one, odd widths, padded lines and
// the flip included, and leaves the padding alone.
TEST(MonoToColor8, VectorRowIsBitExact) {
    if (lxcmap::KernelLevelAt(lxcpu::Detected()) == lxcpu::Level::Portable) GTEST_SKIP() << "no vector form here";
    std::mt19937 rng(21);
    for (size_t w : {1u, 31u, 32u, 33u, 64u, 95u, 130u}) {
        const size_t h = 3, srcPitch = w + 3, dstPitch = 3 * w + 7;
        std::vector<uint8_t> src(srcPitch * h);
        for (auto& v : src) v = uint8_t(rng());
        for (bool reverse : {false, true}) {
            std::vector<uint8_t> a(dstPitch * h, 0x3C), b(dstPitch * h, 0x3C);
            {
                lxcpu::ForcedLevel portable(lxcpu::Level::Portable);
                lxcmap::Mono8ToColor8(src.data(), srcPitch, a.data(), dstPitch, w, h, 3, true, nullptr, reverse);
            }
            lxcmap::Mono8ToColor8(src.data(), srcPitch, b.data(), dstPitch, w, h, 3, true, nullptr, reverse);
            ASSERT_EQ(a, b) << w;
            for (size_t y = 0; y < h; ++y)
                for (size_t x = 0; x < w; ++x)
                    ASSERT_EQ(b[(reverse ? h - 1 - y : y) * dstPitch + 3 * x + 1], src[y * srcPitch + x]);
        }
    }
}

} // namespace
