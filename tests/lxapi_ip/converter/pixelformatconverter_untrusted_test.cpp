// The pixel format converter with what comes from outside: views and shared memory, format codes the
// sister library does not know, values written through the register port, 16-bit lines at odd
// pitches, and the whole units of the bit-packed colour formats.
#include "convertertest.h"
#include "lxdescriptions.h"

#include <cmath>
#include <vector>

using namespace lxtest;

namespace {

BufferPtr ViewOf(const BufferPtr& parent, size_t x, size_t y, size_t w, size_t h) {
    return BufferPtr(CreateILxImageView(parent->GetILxImage(), x, y, w, h));
}

// A Mono8 image whose byte at (x, y) is 16 * y + x + 1: every pixel tells where it came from.
BufferPtr Numbered(size_t w, size_t h) {
    BufferPtr b = MakeImage(w, h, LxPixelFormat_Mono8);
    for (size_t y = 0; y < h; ++y)
        for (size_t x = 0; x < w; ++x) Bytes(b)[y * Pitch(b) + x] = uint8_t(16 * y + x + 1);
    return b;
}

// An image of the caller's own making with a code the sister library does not know.
struct ForeignImage : ILxImage {
    explicit ForeignImage(uint32_t code) : format(code) {}
    uint32_t format;
    uint8_t pixels[16] = {};
    size_t GetImageWidth() override { return 4; }
    size_t GetImageHeight() override { return 4; }
    size_t GetImageLinePitch() override { return 4; }
    size_t GetImagePlaneSize() override { return 16; }
    uint32_t GetImagePixelFormat() override { return format; }
    void* GetImageBuffer() override { return pixels; }
};

namespace R = lxres::lxpixelformatconverter;
constexpr int64_t kBayerMethodReg = R::BayerInterpolationMethodReg.address;
constexpr int64_t kGammaReg = R::GammaReg.address;
constexpr int64_t kBitExpansionModeReg = R::BitExpansionModeReg.address;

} // namespace

// A view on the last columns and lines of its parent, converted in its own format into lines wider
// than its own: only each line's pixels are copied. The parent's block ends with the view's last
// line, so copying a pitch would read past it (the sanitizer build sees that) and would write the
// neighbouring parent pixels into the destination's padding (any build sees that).
TEST(ConverterViews, CopyTakesEachLinesOwnBytes) {
    Converter c;
    BufferPtr mono = Numbered(8, 4);
    BufferPtr planar = MakeImage(6, 3, LxPixelFormat_RGB8_Planar);
    for (size_t i = 0; i < 3 * 18; ++i) Bytes(planar)[i] = uint8_t(i + 1);
    struct Case {
        const BufferPtr* parent;
        uint32_t format;
        size_t x, y, w, h, lineBytes, planes;
    };
    const Case cases[] = {{&mono, LxPixelFormat_Mono8, 5, 1, 3, 3, 3, 1},
                          {&planar, LxPixelFormat_RGB8_Planar, 4, 1, 2, 2, 2, 3}};
    for (const Case& k : cases) {
        BufferPtr view = ViewOf(*k.parent, k.x, k.y, k.w, k.h);
        ILxImage* v = view->GetILxImage();
        const size_t parentPitch = Pitch(*k.parent);
        // 16: pitches differ, line by line; the parent's pitch: equal pitches, one block per plane.
        for (int64_t alignment : {int64_t(16), int64_t(parentPitch)}) {
            c.typed->SetDestinationBufferParameter(alignment);
            BufferPtr out(CreateILxImageBuffer(nullptr));
            c.Into(v, out.Get(), k.format); // sizes the buffer
            FillBytes(out, 0xEE);
            c.Into(v, out.Get(), k.format);
            ILxImage* o = out->GetILxImage();
            ASSERT_EQ(o->GetImageLinePitch(), size_t(alignment));
            for (size_t p = 0; p < k.planes; ++p)
                for (size_t y = 0; y < k.h; ++y) {
                    const uint8_t* line = Bytes(out) + p * o->GetImagePlaneSize() + y * alignment;
                    const uint8_t* want = static_cast<uint8_t*>(v->GetImageBuffer()) + p * v->GetImagePlaneSize() +
                                          y * parentPitch;
                    EXPECT_EQ(std::memcmp(line, want, k.lineBytes), 0) << k.format << " plane " << p << " line " << y;
                    if (y + 1 < k.h && alignment == int64_t(parentPitch)) continue; // a block copies between lines
                    for (size_t i = k.lineBytes; i < size_t(alignment); ++i)
                        ASSERT_EQ(line[i], 0xEE) << k.format << " plane " << p << " line " << y << " byte " << i;
                }
        }
    }
}

// A source lying in the destination's memory is read before the destination is created over it:
// a view of the destination, whether the destination grows (its block is replaced and freed) or
// keeps its block and overwrites lines the handler has yet to read, and a view overlapping a view
// destination.
TEST(ConverterViews, SourceSharingTheDestinationsMemory) {
    Converter c;
    // Growing: Mono8 8 x 4 into Mono16 needs a larger block.
    BufferPtr dest = Numbered(8, 4);
    BufferPtr whole = ViewOf(dest, 0, 0, 8, 4);
    c.Into(whole->GetILxImage(), dest.Get(), LxPixelFormat_Mono16);
    for (size_t y = 0; y < 4; ++y)
        for (size_t x = 0; x < 8; ++x) ASSERT_EQ(Word(dest, y, x), (16 * y + x + 1) * 257) << x << "," << y;

    // Same block: the first two lines into Mono16 fill 32 bytes, over the view's second line.
    dest = Numbered(8, 4);
    BufferPtr top = ViewOf(dest, 0, 0, 8, 2);
    c.typed->SetBitExpansionMode(LxBitExpansionMode_Fixed);
    c.Into(top->GetILxImage(), dest.Get(), LxPixelFormat_Mono16);
    for (size_t y = 0; y < 2; ++y)
        for (size_t x = 0; x < 8; ++x) ASSERT_EQ(Word(dest, y, x), 16 * y + x + 1) << x << "," << y;

    // Two views of one parent, lines 1..3 flipped onto lines 0..2: the flip writes line 2 before it
    // reads it.
    BufferPtr parent = Numbered(4, 4);
    BufferPtr lower = ViewOf(parent, 0, 1, 4, 3), upper = ViewOf(parent, 0, 0, 4, 3);
    c.typed->SetReverseY(true);
    c.Into(lower->GetILxImage(), upper.Get(), LxPixelFormat_Mono8);
    for (size_t y = 0; y < 3; ++y)
        for (size_t x = 0; x < 4; ++x) ASSERT_EQ(Bytes(parent)[4 * y + x], 16 * (3 - y) + x + 1) << x << "," << y;
    // Unflipped, the same views copy forwards over themselves.
    parent = Numbered(4, 4);
    lower = ViewOf(parent, 0, 1, 4, 3);
    upper = ViewOf(parent, 0, 0, 4, 3);
    c.typed->SetReverseY(false);
    c.Into(upper->GetILxImage(), lower.Get(), LxPixelFormat_Mono8);
    for (size_t y = 1; y < 4; ++y)
        for (size_t x = 0; x < 4; ++x) ASSERT_EQ(Bytes(parent)[4 * y + x], 16 * (y - 1) + x + 1) << x << "," << y;
}

// A code the sister library does not know is named in hex in the converter's own text and class,
// whether it is the source's, the destination's or both (not even a copy onto itself is made).
TEST(UnknownFormatCodes, ConverterNamesThemInHex) {
    Converter c;
    ForeignImage foreign(0x12345678u);
    BufferPtr out = MakeImage(2, 2, LxPixelFormat_Mono8);
    FillBytes(out, 0x33);
    EXPECT_EQ(TextOf<GenICam::RuntimeException>([&] { c.Into(&foreign, out.Get(), LxPixelFormat_BGR8); }),
              "Converting a pixelformat from  0x12345678 to BGR8 is not supported.");
    EXPECT_EQ(TextOf<GenICam::RuntimeException>([&] { c.Into(&foreign, out.Get(), 0x12345678u); }),
              "Converting a pixelformat from  0x12345678 to 0x12345678 is not supported.");
    BufferPtr mono = MakeImage(4, 4, LxPixelFormat_Mono8);
    EXPECT_EQ(TextOf<GenICam::RuntimeException>([&] { c.Into(mono->GetILxImage(), out.Get(), 0xDEADBEEFu); }),
              "Converting a pixelformat from  Mono8 to 0xDEADBEEF is not supported.");
    // The destination is left as it was.
    EXPECT_EQ(out->GetILxImage()->GetImageWidth(), 2u);
    EXPECT_EQ(Bytes(out)[3], 0x33);
    // A foreign image lying in the destination's memory is refused the same way, before any copy.
    BufferPtr host = MakeImage(4, 4, LxPixelFormat_Mono8);
    struct Alias : ForeignImage {
        using ForeignImage::ForeignImage;
        void* target = nullptr;
        void* GetImageBuffer() override { return target; }
    } alias(0x0BADC0DEu);
    alias.target = Bytes(host);
    EXPECT_EQ(TextOf<GenICam::RuntimeException>([&] { c.Into(&alias, host.Get(), LxPixelFormat_Mono8); }),
              "Converting a pixelformat from  0x0BADC0DE to Mono8 is not supported.");
}

// Values that reach the pixel code through the register port unchecked give defined images: a Bayer
// method number above 7 gives zeros in the colour samples of a buffer that held anything (through
// the chains too), a bit expansion mode above 3 acts as LeftShiftBy0, and a gamma that is no number,
// negative or infinite gives a fixed table.
TEST(RegisterWrittenValues, GiveDefinedImages) {
    Converter c;
    BufferPtr bayer8 = MakeImage(6, 4, LxPixelFormat_BayerRG8);
    FillBytes(bayer8, 100);
    BufferPtr bayer12 = MakeImage(6, 4, LxPixelFormat_BayerGB12);
    for (size_t y = 0; y < 4; ++y)
        for (size_t x = 0; x < 6; ++x) SetWord(bayer12, y, x, uint16_t(1000 + x));
    for (int32_t method : {8, 9, -1, INT32_MAX}) {
        c.WriteRegister(kBayerMethodReg, method);
        ASSERT_EQ(int32_t(c.typed->GetBayerInterpolationMethod()), method);
        const std::pair<const BufferPtr*, uint32_t> cases[] = {{&bayer8, LxPixelFormat_BGR8},
                                                               {&bayer8, LxPixelFormat_BGR16},
                                                               {&bayer12, LxPixelFormat_BGR12},
                                                               {&bayer12, LxPixelFormat_RGB8}};
        for (const auto& [source, format] : cases) {
            BufferPtr out = c.Run((*source)->GetILxImage(), format); // sizes the buffer
            FillBytes(out, 0x5A);
            c.Into((*source)->GetILxImage(), out.Get(), format);
            ILxImage* o = out->GetILxImage();
            const size_t lineBytes = 6 * (format == LxPixelFormat_BGR8 || format == LxPixelFormat_RGB8 ? 3 : 6);
            for (size_t y = 0; y < 4; ++y)
                for (size_t i = 0; i < lineBytes; ++i)
                    ASSERT_EQ(Bytes(out)[y * o->GetImageLinePitch() + i], 0)
                        << "method " << method << " format " << std::hex << format;
        }
    }

    // Bit expansion modes above 3 shift left with zeros, as LeftShiftBy0 does.
    BufferPtr mono8 = MakeImage(2, 1, LxPixelFormat_Mono8);
    Bytes(mono8)[0] = 255;
    Bytes(mono8)[1] = 1;
    for (uint32_t mode : {4u, 77u, 0xFFFFFFFFu}) {
        c.WriteRegister(kBitExpansionModeReg, mode);
        BufferPtr out = c.Run(mono8->GetILxImage(), LxPixelFormat_Mono16);
        EXPECT_EQ(Word(out, 0, 0), 0xFF00) << mode;
        EXPECT_EQ(Word(out, 0, 1), 0x0100) << mode;
    }

    // A gamma that is no number, negative or infinite makes a table of fixed values, the same on
    // every call.
    BufferPtr mono16 = MakeImage(3, 1, LxPixelFormat_Mono16);
    SetWord(mono16, 0, 0, 0);
    SetWord(mono16, 0, 1, 0x1FF);
    SetWord(mono16, 0, 2, 0xFFFF);
    const double gammas[] = {std::nan(""), -1.0, -INFINITY, INFINITY};
    const std::vector<uint8_t> expected[] = {{0, 0, 255}, {255, 255, 255}, {255, 255, 255}, {0, 0, 255}};
    for (size_t k = 0; k < std::size(gammas); ++k)
        for (int round = 0; round < 2; ++round) {
            try {
                c.WriteRegister(kGammaReg, gammas[k]);
            } catch (const GenICam::OutOfRangeException&) {
                break; // a port that refuses the value leaves nothing undefined either
            }
            BufferPtr out = c.Run(mono16->GetILxImage(), LxPixelFormat_Mono8);
            EXPECT_EQ(std::vector<uint8_t>(Bytes(out), Bytes(out) + 3), expected[k]) << gammas[k];
        }
}

// 16-bit samples on lines at odd addresses: a Bayer source with an odd pitch, or destination lines
// aligned to an odd number of bytes, demosaic to the same pixels as even lines do.
TEST(OddWordPitches, BayerConvertsAsOnEvenLines) {
    Converter c;
    const size_t w = 7, h = 5;
    BufferPtr even = MakeImage(w, h, LxPixelFormat_BayerBG12);
    BufferPtr odd = MakeImage(w, h, LxPixelFormat_BayerBG12, 2 * w + 1);
    for (size_t y = 0; y < h; ++y)
        for (size_t x = 0; x < w; ++x) {
            SetWord(even, y, x, uint16_t((x * 577 + y * 131) & 0xFFF));
            SetWord(odd, y, x, uint16_t((x * 577 + y * 131) & 0xFFF));
        }
    for (int method = 0; method <= 7; ++method) {
        c.typed->SetBayerInterpolationMethod(ELxBayerInterpolationMethod_t(method));
        for (uint32_t format : {uint32_t(LxPixelFormat_BGR12), uint32_t(LxPixelFormat_Mono12)}) {
            c.typed->SetDestinationBufferParameter(0);
            BufferPtr want = c.Run(even->GetILxImage(), format);
            c.typed->SetDestinationBufferParameter(5); // lines of 42 (BGR12) or 14 bytes at a pitch of 45 or 15
            for (const BufferPtr* source : {&even, &odd}) {
                BufferPtr got;
                ASSERT_NO_THROW(got = c.Run((*source)->GetILxImage(), format)) << method;
                ASSERT_EQ(Pitch(got) % 2, 1u);
                const size_t lineBytes = format == LxPixelFormat_BGR12 ? 6 * w : 2 * w;
                for (size_t y = 0; y < h; ++y)
                    ASSERT_EQ(std::memcmp(Bytes(got) + y * Pitch(got), Bytes(want) + y * Pitch(want), lineBytes), 0)
                        << "method " << method << " line " << y;
            }
        }
    }
}

// Bit-packed colour goes out in whole 16-bit units: the byte after a line's last sample bits is
// written (zero) even where the line's bits end on a byte, so no byte of the line keeps what the
// buffer held.
TEST(BitPackedColour, LinesEndOnWholeUnits) {
    Converter c;
    BufferPtr bgr = MakeImage(5, 2, LxPixelFormat_BGR8);
    for (size_t i = 0; i < 30; ++i) Bytes(bgr)[i / 15 * Pitch(bgr) + i % 15] = uint8_t(7 * i + 3);
    // 5 pixels: 150 bits in 10 units (20 bytes), 180 bits in 12 units (24 bytes).
    const std::pair<uint32_t, size_t> cases[] = {{LxPixelFormat_BGR10p, 20}, {LxPixelFormat_RGB10p, 20},
                                                 {LxPixelFormat_BGR12p, 24}, {LxPixelFormat_RGB12p, 24}};
    for (const auto& [format, lineBytes] : cases) {
        BufferPtr out = c.Run(bgr->GetILxImage(), format);
        ASSERT_EQ(Pitch(out), lineBytes);
        FillBytes(out, 0xFF);
        c.Into(bgr->GetILxImage(), out.Get(), format);
        for (size_t y = 0; y < 2; ++y) {
            EXPECT_EQ(Bytes(out)[y * lineBytes + lineBytes - 1], 0) << std::hex << format << " line " << y;
            EXPECT_EQ(Bytes(out)[y * lineBytes + lineBytes - 2] >> 6, 0) << std::hex << format; // 10p: 2 spare bits
        }
        // The packed line converts back to the same colours.
        BufferPtr back = c.Run(out->GetILxImage(), LxPixelFormat_BGR8);
        EXPECT_EQ(std::memcmp(Bytes(back), Bytes(bgr), 30), 0) << std::hex << format;
    }
}
