#include "testimage.h"

#include <GenICam/GCException.h>
#include <gtest/gtest.h>

using namespace lxconv;
using namespace convtest;

namespace {

// Sample x of a little-endian bit stream, bit by bit: independent of the kernels' accumulators.
uint32_t StreamSample(const uint8_t* line, size_t x, unsigned bits) {
    uint32_t v = 0;
    for (unsigned b = 0; b < bits; ++b) {
        const size_t p = x * bits + b;
        v |= uint32_t((line[p / 8] >> (p % 8)) & 1) << b;
    }
    return v;
}

TEST(ConvertUnpacked, DepthChangesGoThroughTheTableAndStrayBitsClamp) {
    Image wide(8, 1), narrow(4, 1);
    const uint32_t words[4] = {0x01FF, 0x0FFF, 0x1000, 0xFFFF}; // the last two exceed 12 bits
    for (unsigned x = 0; x < 4; ++x) wide.Set16(x, 0, words[x]);
    auto down = Table(16, 8), curve = Table(16, 8, 0.5);
    ConvertUnpacked(wide.Src(16), narrow.Dst(8), 1, 1, false, down.get());
    EXPECT_EQ(narrow.U8(0, 0), 1);
    ConvertUnpacked(wide.Src(16), narrow.Dst(8), 1, 1, false, curve.get());
    EXPECT_EQ(narrow.U8(0, 0), 23);
    // Mono12 words above 4095 take the last entry instead of reading past the 4096 entries, for a
    // computed table and a looked-up one alike.
    auto shift = Table(12, 8), looked = Table(12, 8, 0.7);
    for (auto* t : {shift.get(), looked.get()}) {
        ConvertUnpacked(wide.Src(12), narrow.Dst(8), 4, 1, false, t);
        for (unsigned x = 1; x < 4; ++x) EXPECT_EQ(narrow.U8(x, 0), t->Entries()[4095] & 0xFF);
    }
    // Mono8 -> Mono16 by mode, through the kernel.
    Image byte(1, 1), word(2, 1);
    byte.Set8(0, 0, 255);
    for (auto [mode, top] : {std::pair{0u, 65535u}, {2u, 65280u}, {3u, 65535u}, {1u, 255u}}) {
        auto t = Table(8, 16, 1.0, mode);
        ConvertUnpacked(byte.Src(8), word.Dst(16), 1, 1, false, t.get());
        EXPECT_EQ(word.U16(0, 0), top);
    }
}

TEST(ConvertUnpacked, EqualDepthsCopyAndReverseKeepsThePadding) {
    const size_t w = 3, h = 4;
    Image src(2 * w, h), dst(2 * w + 3, h);
    for (size_t y = 0; y < h; ++y)
        for (size_t x = 0; x < w; ++x) src.Set16(x, y, uint32_t(0x0F00 + 16 * y + x));
    auto ignored = Table(12, 8, 0.3); // a table given at equal depths is not used
    ConvertUnpacked(src.Src(12), dst.Dst(12), w, h, true, ignored.get());
    for (size_t y = 0; y < h; ++y)
        for (size_t x = 0; x < w; ++x) ASSERT_EQ(dst.U16(x, h - 1 - y), src.U16(x, y));
    EXPECT_TRUE(dst.PaddingIntact(2 * w));
}

TEST(ConvertUnpacked, PlanesTakeTheLineOrThePlane) {
    const size_t w = 5, h = 3;
    Image mono(w + 1, h), planar(2 * w + 2, h, 3), back(w, h, 3);
    for (size_t y = 0; y < h; ++y)
        for (size_t x = 0; x < w; ++x) mono.Set8(x, y, uint32_t(10 * y + x));
    auto up = Table(8, 16, 1.0, BitExpansion_LeftShiftBy0), down = Table(16, 8);
    ConvertMonoToPlanar(mono.Src(8), planar.Dst(16), w, h, true, up.get());
    for (size_t p = 0; p < 3; ++p)
        for (size_t y = 0; y < h; ++y)
            for (size_t x = 0; x < w; ++x) ASSERT_EQ(planar.U16(x, h - 1 - y, p), (10 * y + x) << 8);
    EXPECT_TRUE(planar.PaddingIntact(2 * w));
    for (size_t x = 0; x < w; ++x) planar.Set16(x, 0, 0x4200, 1);
    ConvertPlanarToPlanar(planar.Src(16), back.Dst(8), w, h, false, down.get());
    EXPECT_EQ(back.U8(4, 0, 0), 10 * (h - 1) + 4);
    EXPECT_EQ(back.U8(4, 0, 1), 0x42u);
    EXPECT_EQ(back.U8(4, 1, 2), 10 + 4u);
}

TEST(ConvertBitPacked, UnpacksEveryDepthLikeABitStream) {
    std::mt19937 rng(7);
    for (unsigned bits = 1; bits <= 16; ++bits) {
        if (bits == 8) continue;
        for (size_t w : {1u, 3u, 13u, 1030u}) { // 1030 crosses a chunk boundary
            const size_t h = 3;
            Image src((w * bits + 7) / 8, h); // exactly sized: no byte past a line is read
            src.Randomize(rng);
            const unsigned dbits = bits < 8 ? 8 : 16;
            Image dst(dbits / 8 * w + 1, h);
            auto t = dbits == bits ? BitConversionTableRef() : Table(bits, dbits, 1.0, BitExpansion_Fixed);
            ConvertBitPackedToUnpacked(src.Src(bits), dst.Dst(dbits), w, h, true, t.get());
            for (size_t y = 0; y < h; ++y)
                for (size_t x = 0; x < w; ++x) {
                    const uint32_t got = dbits == 8 ? dst.U8(x, h - 1 - y) : dst.U16(x, h - 1 - y);
                    ASSERT_EQ(got, StreamSample(src.Line(y), x, bits)) << bits << " bits, width " << w << " at " << x;
                }
            ASSERT_TRUE(dst.PaddingIntact(dbits / 8 * w));
        }
    }
    // Mono10p of width 3: 30 bits in 4 bytes; a width of 4 needs a fifth byte.
    Image ten(4, 1), out(8, 1);
    EXPECT_THROW(ConvertBitPackedToUnpacked(ten.Src(10), out.Dst(10), 4, 1, false, nullptr),
                 GenICam::InvalidArgumentException);
    // Mono2p -> Mono8 at gamma 1: 0..3 become 0, 85, 170, 255.
    Image two(1, 1), eight(4, 1);
    two.Set8(0, 0, 0b11100100);
    auto t = Table(2, 8);
    ConvertBitPackedToUnpacked(two.Src(2), eight.Dst(8), 4, 1, false, t.get());
    EXPECT_EQ(eight.U32(0, 0), 0xFFAA5500u);
}

TEST(ConvertBitPacked, PackingRoundTripsAndEndsLinesWithZeroBits) {
    std::mt19937 rng(11);
    const size_t w = 37, h = 2;
    Image src(w + 2, h), back(w, h);
    src.Randomize(rng);
    for (unsigned bits = 1; bits <= 16; ++bits) {
        if (bits == 8) continue;
        const size_t lineBytes = (w * bits + 7) / 8;
        Image packed(lineBytes + 1, h);
        auto up = Table(8, bits, 1.0, BitExpansion_LeftShiftBy0); // truncation below 8 bits
        ConvertUnpacked8ToBitPacked(src.Src(8), packed.Dst(bits), w, h, true, up.get());
        ASSERT_TRUE(packed.PaddingIntact(lineBytes));
        for (size_t y = 0; y < h; ++y) {
            const uint8_t* line = packed.Line(h - 1 - y);
            for (size_t x = 0; x < w; ++x) {
                const uint32_t s = src.U8(x, y);
                ASSERT_EQ(StreamSample(line, x, bits), bits > 8 ? s << (bits - 8) : s >> (8 - bits)) << bits;
            }
            if (const unsigned used = unsigned(w * bits % 8)) {
                ASSERT_EQ(line[lineBytes - 1] >> used, 0) << bits;
            }
        }
        if (bits < 8) continue;
        auto down = Table(bits, 8);
        ConvertBitPackedToUnpacked(packed.Src(bits), back.Dst(8), w, h, true, down.get());
        for (size_t y = 0; y < h; ++y) ASSERT_EQ(std::memcmp(back.Line(y), src.Line(y), w), 0) << bits;
    }
}

TEST(ConvertPacked, UnpacksAndPacksPairsAndTheOddLastPixel) {
    const uint8_t bytes12[5] = {0x12, 0x34, 0x56, 0xAB, 0x0C};
    const uint8_t bytes10[5] = {0xFF, 0x21, 0x80, 0x01, 0x03};
    Image src(5, 1), dst(6, 1), eight(3, 1);
    std::memcpy(src.Line(0), bytes12, 5);
    ConvertPackedToUnpacked(src.Src(12), dst.Dst(12), 3, 1, false, nullptr);
    EXPECT_EQ(dst.U16(0, 0), 0x124u);
    EXPECT_EQ(dst.U16(1, 0), 0x563u);
    EXPECT_EQ(dst.U16(2, 0), 0xABCu); // bytes 0 and 1 of a triple alone
    // 10 bits: the two low bits at the bottom of each nibble.
    std::memcpy(src.Line(0), bytes10, 5);
    ConvertPackedToUnpacked(src.Src(10), dst.Dst(10), 3, 1, false, nullptr);
    EXPECT_EQ(dst.U16(0, 0), (0xFFu << 2) | 1);
    EXPECT_EQ(dst.U16(1, 0), (0x80u << 2) | 2);
    EXPECT_EQ(dst.U16(2, 0), (0x01u << 2) | 3);
    auto t = Table(10, 8);
    ConvertPackedToUnpacked(src.Src(10), eight.Dst(8), 3, 1, false, t.get());
    EXPECT_EQ(eight.U8(1, 0), 0x80u);

    // Packing: a table that sends 1, 2, 3 to 0x124, 0x563, 0xABC gives the bytes above.
    std::vector<uint16_t> entries(256, 0);
    entries[1] = 0x124, entries[2] = 0x563, entries[3] = 0xABC;
    auto custom = TableOf(8, 12, entries);
    Image mono(3, 1), packed(5 + 2, 1);
    for (unsigned x = 0; x < 3; ++x) mono.Set8(x, 0, x + 1);
    ConvertMono8ToPacked(mono.Src(8), packed.Dst(12), 3, 1, false, custom.get());
    EXPECT_EQ(std::memcmp(packed.Line(0), bytes12, 5), 0);
    EXPECT_TRUE(packed.PaddingIntact(5));

    // Round trips through both depths, with reverse.
    std::mt19937 rng(3);
    for (unsigned bits : {10u, 12u})
        for (size_t w : {1u, 2u, 31u}) {
            const size_t h = 3;
            Image s8(w, h), p(w / 2 * 3 + (w & 1) * 2, h), b8(w, h);
            s8.Randomize(rng);
            auto up = Table(8, bits, 1.0, BitExpansion_LeftShiftBy1), down = Table(bits, 8);
            ConvertMono8ToPacked(s8.Src(8), p.Dst(bits), w, h, true, up.get());
            ConvertPackedToUnpacked(p.Src(bits), b8.Dst(8), w, h, true, down.get());
            EXPECT_EQ(b8.bytes, s8.bytes) << bits << " bits, width " << w;
        }
}

TEST(ConvertCopy, CopiesEachLinesOwnBytesPerLineAndPlane) {
    const size_t h = 3;
    Image src(6, h, 3), dst(4, h, 3), same(6, h, 3), wide(8, h);
    std::mt19937 rng(5);
    src.Randomize(rng);
    ConvertCopy(src.Src(8), dst.Dst(8), 4, h, 3, true);
    for (size_t p = 0; p < 3; ++p)
        for (size_t y = 0; y < h; ++y) ASSERT_EQ(std::memcmp(dst.Line(h - 1 - y, p), src.Line(y, p), 4), 0);
    // Equal pitches: one block per plane from the first line to the end of the last line's bytes.
    ConvertCopy(src.Src(8), same.Dst(8), 4, h, 3, false);
    for (size_t p = 0; p < 3; ++p) {
        EXPECT_EQ(std::memcmp(same.Line(0, p), src.Line(0, p), 6 * (h - 1) + 4), 0);
        EXPECT_EQ(same.Line(h - 1, p)[4], kMarker);
        EXPECT_EQ(same.Line(h - 1, p)[5], kMarker);
    }
    ConvertCopy(src.Src(8), wide.Dst(8), 6, h, 1, false); // a wider destination keeps its padding
    EXPECT_TRUE(wide.PaddingIntact(6));
    EXPECT_EQ(std::memcmp(wide.Line(2), src.Line(2), 6), 0);

    // A source whose memory ends with its last line's bytes, as a view on the last columns of its
    // parent does: nothing past them is read, line by line or in one block (the sanitizer build
    // sees any byte more).
    for (size_t dstPitch : {size_t(6), size_t(8)}) {
        std::vector<uint8_t> exact(6 * (h - 1) + 4);
        for (size_t i = 0; i < exact.size(); ++i) exact[i] = uint8_t(i + 1);
        SourceImage view;
        view.data = exact.data();
        view.pitch = 6;
        Image out(dstPitch, h);
        ConvertCopy(view, out.Dst(8), 4, h, 1, false);
        for (size_t y = 0; y < h; ++y) ASSERT_EQ(std::memcmp(out.Line(y), exact.data() + 6 * y, 4), 0);
        EXPECT_EQ(out.Line(h - 1)[4], kMarker);
    }
}

TEST(KernelChecks, BadDescriptionsAreRefusedBeforeWriting) {
    Image src(8, 2), dst(8, 2);
    auto t = Table(8, 16), wrong = Table(8, 12);
    using IA = GenICam::InvalidArgumentException;
    EXPECT_THROW(ConvertUnpacked(src.Src(8), dst.Dst(16), 4, 2, false, nullptr), IA);     // table missing
    EXPECT_THROW(ConvertUnpacked(src.Src(8), dst.Dst(16), 4, 2, false, wrong.get()), IA); // wrong depths
    EXPECT_THROW(ConvertUnpacked(src.Src(8), dst.Dst(16), 5, 2, false, t.get()), IA);     // pitch below a line
    EXPECT_THROW(ConvertUnpacked(src.Src(8), dst.Dst(16), SIZE_MAX / 4, 2, false, t.get()), IA); // overflow
    EXPECT_THROW(ConvertColorToColor(src.Src(8, 2), dst.Dst(8, 3), 1, 2, false, nullptr), IA);   // step
    EXPECT_THROW(ConvertColorToBayer(src.Src(8, 3), dst.Dst(8), 2, 2, false, 1), IA);            // phase
    EXPECT_THROW(ConvertPackedToUnpacked(src.Src(14), dst.Dst(16), 2, 2, false, nullptr), IA);
    EXPECT_THROW(ConvertBitPackedToUnpacked(src.Src(12), dst.Dst(20), 2, 2, false, nullptr), IA);
    EXPECT_THROW(ConvertColorToColor32(src.Src(8, 3), dst.Dst(12), 2, 2, false, nullptr), IA);
    SourceImage null = src.Src(8);
    null.data = nullptr;
    EXPECT_THROW(ConvertUnpacked(null, dst.Dst(8), 4, 2, false, nullptr), IA);
    DestImage planes = dst.Dst(8);
    planes.planeSize = 8; // below its two lines of pitch 8 and the 4 bytes of the second
    EXPECT_THROW(ConvertMonoToPlanar(src.Src(8), planes, 4, 2, false, nullptr), IA);
    ConvertUnpacked(null, dst.Dst(8), 0, 5, false, nullptr); // an empty image is no error
    EXPECT_TRUE(dst.PaddingIntact(0));                       // and nothing was written by any
}

} // namespace
