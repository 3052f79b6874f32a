#include "testimage.h"

#include <GenICam/GCException.h>
#include <gtest/gtest.h>
#include <lxapi/ilxpixelformatinfo.h>

using namespace lxconv;
using namespace convtest;

namespace {

// Writes (b, g, r) into pixel x of an interleaved line in the given order and sample size.
void PutBGR(Image& img, size_t x, size_t y, unsigned step, bool blueFirst, uint32_t b, uint32_t g, uint32_t r,
            bool wide = false) {
    const uint32_t v[3] = {blueFirst ? b : r, g, blueFirst ? r : b};
    for (unsigned i = 0; i < 3; ++i) wide ? img.Set16(step * x + i, y, v[i]) : img.Set8(step * x + i, y, v[i]);
}
bool Bytes(const Image& img, std::initializer_list<uint8_t> expect) {
    return std::memcmp(img.Line(0), expect.begin(), expect.size()) == 0;
}

TEST(ConvertColorToColor, OrderAlphaAndDepth) {
    Image bgr(6, 1), bgra(8, 1), rgb(6, 1), rgb2(6, 1), rgba16(16, 1), c8(3, 1);
    PutBGR(bgr, 0, 0, 3, true, 10, 20, 30);
    PutBGR(bgr, 1, 0, 3, true, 255, 0, 128);
    // BGR8 -> BGRa8 leaves the alpha bytes as they are.
    ConvertColorToColor(bgr.Src(8, 3, true), bgra.Dst(8, 4, true), 2, 1, false, nullptr);
    EXPECT_TRUE(Bytes(bgra, {10, 20, 30, kMarker, 255, 0, 128, kMarker}));
    // BGR8 -> RGB8 exchanges first and third; BGRa8 -> RGB8 drops alpha.
    ConvertColorToColor(bgr.Src(8, 3, true), rgb.Dst(8, 3, false), 2, 1, false, nullptr);
    EXPECT_TRUE(Bytes(rgb, {30, 20, 10, 128, 0, 255}));
    ConvertColorToColor(bgra.Src(8, 4, true), rgb2.Dst(8, 3, false), 2, 1, false, nullptr);
    EXPECT_EQ(rgb2.bytes, rgb.bytes);
    // BGR8 -> RGBa16 through 8 -> 16 (i * 257 at gamma 1), alpha untouched.
    auto up = Table(8, 16);
    ConvertColorToColor(bgr.Src(8, 3, true), rgba16.Dst(16, 4, false), 2, 1, false, up.get());
    EXPECT_EQ(rgba16.U16(0, 0), 30u * 257);
    EXPECT_EQ(rgba16.U16(3, 0), kMarker * 0x101u);
    EXPECT_EQ(rgba16.U16(6, 0), 255u * 257);
    // BGRa12 -> BGR8 through 12 -> 8.
    Image c12(8, 1);
    PutBGR(c12, 0, 0, 4, true, 0xABC, 0x123, 0xFFF, true);
    auto down = Table(12, 8);
    ConvertColorToColor(c12.Src(12, 4, true), c8.Dst(8, 3, true), 1, 1, false, down.get());
    EXPECT_TRUE(Bytes(c8, {0xAB, 0x12, 0xFF}));
}

TEST(ConvertColorToMono, LuminanceWeights) {
    // White gives (5 + 2 + 1) * 255 >> 3 = 255; (5 * 20 + 2 * 30 + 10) >> 3 = 21; no rounding term.
    Image bgr(9, 1), rgba(12, 1), mono(3, 1), mono2(3, 1);
    const uint32_t px[3][3] = {{255, 255, 255}, {10, 20, 30}, {7, 0, 0}};
    for (unsigned x = 0; x < 3; ++x) {
        PutBGR(bgr, x, 0, 3, true, px[x][0], px[x][1], px[x][2]);
        PutBGR(rgba, x, 0, 4, false, px[x][0], px[x][1], px[x][2]);
    }
    ConvertColorToMono(bgr.Src(8, 3, true), mono.Dst(8), 3, 1, false, nullptr);
    EXPECT_TRUE(Bytes(mono, {255, 21, 0}));
    ConvertColorToMono(rgba.Src(8, 4, false), mono2.Dst(8), 3, 1, false, nullptr);
    EXPECT_EQ(mono2.bytes, mono.bytes);
    // 16 bits: at the source depth (8 * 65535 must not overflow), then the table.
    Image c16(12, 1), y16(4, 1), y8(2, 1);
    PutBGR(c16, 0, 0, 3, true, 65535, 65535, 65535, true);
    PutBGR(c16, 1, 0, 3, true, 1000, 3000, 2000, true); // (15000 + 4000 + 1000) >> 3 = 2500
    ConvertColorToMono(c16.Src(16, 3, true), y16.Dst(16), 2, 1, false, nullptr);
    EXPECT_EQ(y16.U16(0, 0), 65535u);
    EXPECT_EQ(y16.U16(1, 0), 2500u);
    auto down = Table(16, 8);
    ConvertColorToMono(c16.Src(16, 3, true), y8.Dst(8), 2, 1, false, down.get());
    EXPECT_TRUE(Bytes(y8, {255, 2500 >> 8}));
}

TEST(ConvertPlanar, PlanesAreRedGreenBlueBothWays) {
    const size_t w = 3, h = 2;
    Image bgra(4 * w + 1, h), planar(2 * w, h, 3), rgb16(6 * w, h), rgb(3 * w + 2, h);
    for (size_t y = 0; y < h; ++y)
        for (size_t x = 0; x < w; ++x) PutBGR(bgra, x, y, 4, true, 100 + x, 50 + y, 10 * x + y);
    auto up = Table(8, 16, 1.0, BitExpansion_Fixed);
    ConvertColorToPlanar(bgra.Src(8, 4, true), planar.Dst(16), w, h, true, up.get());
    for (size_t y = 0; y < h; ++y)
        for (size_t x = 0; x < w; ++x) {
            ASSERT_EQ(planar.U16(x, h - 1 - y, 0), 10 * x + y); // red
            ASSERT_EQ(planar.U16(x, h - 1 - y, 1), 50 + y);     // green
            ASSERT_EQ(planar.U16(x, h - 1 - y, 2), 100 + x);    // blue
        }
    // Back at equal depth; a second reverse restores the line order.
    ConvertPlanarToColor(planar.Src(16), rgb16.Dst(16, 3, false), w, h, true, nullptr);
    for (size_t y = 0; y < h; ++y)
        for (size_t x = 0; x < w; ++x)
            for (unsigned c = 0; c < 3; ++c) ASSERT_EQ(rgb16.U16(3 * x + c, y), bgra.U8(4 * x + 2 - c, y));
    auto down = Table(16, 8); // the small values truncate to 0; the padding stays
    ConvertPlanarToColor(planar.Src(16), rgb.Dst(8, 3, false), w, h, false, down.get());
    EXPECT_EQ(rgb.U8(0, 0), 0u);
    EXPECT_TRUE(rgb.PaddingIntact(3 * w));
}

TEST(ConvertColorP, PacksInTheFormatsOrderAndRoundTrips) {
    // One BGR10 pixel to RGB10p: the stream holds R, G, B from the lowest bit: 30 bits in 4 bytes.
    Image bgr10(6, 1), packed(4, 1);
    PutBGR(bgr10, 0, 0, 3, true, 0x3FF, 0x155, 0x001, true);
    ConvertColorToColorP(bgr10.Src(10, 3, true), packed.Dst(10, 1, false), 1, 1, false, nullptr);
    EXPECT_EQ(packed.U32(0, 0), 0x001u | (0x155u << 10) | (0x3FFu << 20));
    // BGR8 through the table into BGR12p and RGB12p and back: width 5 is 180 bits, 23 bytes, which
    // go out as 12 whole 16-bit units: byte 23 is written too, as zero.
    std::mt19937 rng(9);
    const size_t w = 5, h = 3;
    auto up = Table(8, 12, 1.0, BitExpansion_LeftShiftBy0), down = Table(12, 8);
    for (bool packedBlueFirst : {true, false}) {
        Image src(3 * w, h), p(24 + 1, h), back(4 * w, h);
        src.Randomize(rng);
        ConvertColorToColorP(src.Src(8, 3, true), p.Dst(12, 1, packedBlueFirst), w, h, true, up.get());
        EXPECT_TRUE(p.PaddingIntact(24));
        for (size_t y = 0; y < h; ++y) {
            EXPECT_EQ(p.Line(y)[22] >> 4, 0); // bits beyond the last sample are zero
            EXPECT_EQ(p.Line(y)[23], 0);      // and so is the rest of the last unit
        }
        // A destination line shorter than its whole units is refused.
        Image shortLines(23, h);
        EXPECT_THROW(ConvertColorToColorP(src.Src(8, 3, true), shortLines.Dst(12, 1, packedBlueFirst), w, h, false,
                                          up.get()),
                     GenICam::InvalidArgumentException);
        // The first sample of the stream is blue for BGR12p, red for RGB12p.
        EXPECT_EQ(p.U16(0, h - 1) & 0xFFF, uint32_t(src.U8(packedBlueFirst ? 0 : 2, 0)) << 4);
        ConvertColorPToColor(p.Src(12, 1, packedBlueFirst), back.Dst(8, 4, true), w, h, true, down.get());
        for (size_t y = 0; y < h; ++y)
            for (size_t x = 0; x < w; ++x) {
                for (unsigned c = 0; c < 3; ++c) ASSERT_EQ(back.U8(4 * x + c, y), src.U8(3 * x + c, y));
                ASSERT_EQ(back.U8(4 * x + 3, y), kMarker);
            }
    }
}

TEST(ConvertColor32, FieldLayoutsAndTheTableToTenBits) {
    Image bgr10(6, 1), bgr12(6, 1), word(4 + 2, 1), out(4, 1);
    PutBGR(bgr10, 0, 0, 3, true, 0x3FF, 0x155, 0x001, true);
    // CBGR10p32 has blue in bits 0-9, RGB10p32 red; equal depth keeps the values.
    ConvertColorToColor32(bgr10.Src(10, 3, true), word.Dst(10, 1, true), 1, 1, false, nullptr);
    EXPECT_EQ(word.U32(0, 0), 0x3FFu | (0x155u << 10) | (0x001u << 20));
    EXPECT_TRUE(word.PaddingIntact(4));
    ConvertColorToColor32(bgr10.Src(10, 3, true), word.Dst(10, 1, false), 1, 1, false, nullptr);
    EXPECT_EQ(word.U32(0, 0), 0x001u | (0x155u << 10) | (0x3FFu << 20));
    // BGR12 -> CBGR10p32 goes through 12 -> 10 (gamma 1: >> 2); bits 30 and 31 stay zero.
    PutBGR(bgr12, 0, 0, 3, true, 0xFFF, 0x800, 0x007, true);
    auto t = Table(12, 10);
    ConvertColorToColor32(bgr12.Src(12, 3, true), word.Dst(10, 1, true), 1, 1, false, t.get());
    EXPECT_EQ(word.U32(0, 0), 0x3FFu | (0x200u << 10) | (0x001u << 20));
    // RGB10p32 -> BGRa8 through 10 -> 8; alpha stays.
    const uint32_t w32 = 0x3FCu | (0x100u << 10) | (0x004u << 20);
    std::memcpy(word.Line(0), &w32, 4);
    auto down = Table(10, 8);
    ConvertColor32ToColor(word.Src(10, 1, false), out.Dst(8, 4, true), 1, 1, false, down.get());
    EXPECT_TRUE(Bytes(out, {0x01, 0x40, 0xFF, kMarker}));
}

TEST(ConvertColorToBayer, EachSiteTakesItsSampleAndReverseFollowsTheDestination) {
    // Colour of each site for the phases RG, GR, GB, BG (1 blue, 2 green, 3 red).
    const uint32_t sites[4][2][2] = {{{3, 2}, {2, 1}}, {{2, 3}, {1, 2}}, {{2, 1}, {3, 2}}, {{1, 2}, {2, 3}}};
    for (uint32_t phase = LxColorFilter_Red; phase <= LxColorFilter_Blue; ++phase)
        for (size_t h : {2u, 3u})
            for (bool reverse : {false, true}) {
                // Pixel (x, y) has blue 1, green 2, red 3 plus k = 10 * (2y + x).
                Image src(6, h), dst(3, h);
                for (size_t y = 0; y < h; ++y)
                    for (size_t x = 0; x < 2; ++x) {
                        const uint32_t k = uint32_t(10 * (2 * y + x));
                        PutBGR(src, x, y, 3, true, 1 + k, 2 + k, 3 + k);
                    }
                ConvertColorToBayer(src.Src(8, 3, true), dst.Dst(8), 2, h, reverse, phase);
                for (size_t y = 0; y < h; ++y)
                    for (size_t x = 0; x < 2; ++x) {
                        const size_t yd = reverse ? h - 1 - y : y;
                        ASSERT_EQ(dst.U8(x, yd), sites[phase - 2][yd & 1][x] + 10 * (2 * y + x))
                            << "phase " << phase << " height " << h << " reverse " << reverse;
                    }
                ASSERT_TRUE(dst.PaddingIntact(2));
            }
    // 16 bits, RGB order, odd width.
    Image rgb16(18, 1), bayer(6, 1);
    for (uint32_t x = 0; x < 3; ++x) PutBGR(rgb16, x, 0, 3, false, 0x100 + x, 0x200 + x, 0x300 + x, true);
    ConvertColorToBayer(rgb16.Src(12, 3, false), bayer.Dst(12), 3, 1, false, LxColorFilter_GreenB);
    EXPECT_EQ(bayer.U16(0, 0), 0x200u);
    EXPECT_EQ(bayer.U16(1, 0), 0x101u);
    EXPECT_EQ(bayer.U16(2, 0), 0x202u);
    EXPECT_THROW(ConvertColorToBayer(rgb16.Src(12, 3), bayer.Dst(8), 3, 1, false, LxColorFilter_GreenB),
                 GenICam::InvalidArgumentException);
}

} // namespace
