// The reverse converter end to end: parameters, registers and features; every served format moved
// by each of the eight operations against a per-pixel reference; round trips; the format of the
// result against the sites of the pattern; in place, views, padding and refusals.
#include "reversetest.h"

#include "lxdescriptions.h"

#include <algorithm>

using namespace lxtest;

namespace R = lxres::lxreverseconverter;

uint32_t lxtest::FormatCode(const std::string& name) {
    static ConverterPtr converter(CreateILxConverter(LxConverterType_PixelFormat));
    GenApi::CEnumerationPtr formats = converter->GetINodeMap()->GetNode("DestinationPixelFormat");
    GenApi::IEnumEntry* entry = formats->GetEntryByName(name.c_str());
    if (!entry) throw std::runtime_error("no pixel format " + name);
    return static_cast<uint32_t>(entry->GetValue());
}

TEST(ReverseConverter, DefaultsInfoAndSetterTexts) {
    Reverser r;
    EXPECT_FALSE(r.typed->GetReverseX());
    EXPECT_FALSE(r.typed->GetReverseY());
    EXPECT_EQ(r.typed->GetRotationMode(), LxRotationMode_OFF);
    EXPECT_EQ(r.typed->GetDestinationBufferParameter(), 0);
    ILxConverterInfo* info = r.module->GetConverterInfo();
    EXPECT_EQ(info->GetConverterType(), LxConverterType_Reverse);
    EXPECT_STREQ(info->GetDisplayName().c_str(), "Reverse");
    size_t supported = 0;
    for (uint32_t f : ReversibleFormats()) supported += info->IsSupportedPixelFormat(f);
    EXPECT_EQ(supported, 88u);
    for (const char* n : {"Mono10p", "Mono12Packed", "BayerRG12p", "Pol1Mono10p", "BGR10p", "RGB8_Planar", "RGB16",
                          "YUV422_8", "YCbCr422_8"})
        EXPECT_FALSE(info->IsSupportedPixelFormat(FormatCode(n))) << n;

    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { r.typed->SetRotationMode(ELxRotationMode_t(3)); }),
              "eRM = 3 must be smaller than Max = 3");
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { r.typed->SetRotationMode(ELxRotationMode_t(-1)); }),
              "eRM = -1 must be equal or greater than Min = 0");
    EXPECT_EQ(r.typed->GetRotationMode(), LxRotationMode_OFF);
}

// The typed setters and the features end on the same registers; a register write stores as it comes.
TEST(ReverseConverter, RegistersAndFeatures) {
    Reverser r;
    GenApi::INodeMap* map = r.module->GetINodeMap();
    GenApi::CBooleanPtr x = map->GetNode("ReverseX");
    GenApi::CBooleanPtr y = map->GetNode("ReverseY");
    GenApi::CEnumerationPtr rotation = map->GetNode("RotationMode");
    ASSERT_TRUE(x.IsValid() && y.IsValid() && rotation.IsValid());

    r.typed->SetReverseX(true);
    r.typed->SetRotationMode(LxRotationMode_Counterclockwise90);
    EXPECT_TRUE(x->GetValue()); // the setter invalidated the node
    EXPECT_STREQ(rotation->GetCurrentEntry()->GetSymbolic().c_str(), "Counterclockwise90");
    y->SetValue(true);
    EXPECT_TRUE(r.typed->GetReverseY());
    rotation->FromString("Clockwise90");
    EXPECT_EQ(r.typed->GetRotationMode(), LxRotationMode_Clockwise90);

    for (const lxip::RegisterNode& node : {R::ReverseXReg, R::ReverseYReg, R::RotationModeReg}) {
        uint32_t v = 0xFFFFFFFF;
        r.port->Read(&v, node.address, 4);
        EXPECT_EQ(v, 1u) << node.name;
    }
    uint32_t untouched = 0xABCDEF01;
    r.port->Read(&untouched, R::ReverseXReg.address + 4, 4); // no register there
    EXPECT_EQ(untouched, 0xABCDEF01u);
    uint8_t size = 0;
    r.port->Read(&size, 0, 1);
    EXPECT_EQ(size, sizeof(size_t));

    // 2 is not the on value of a flip; a rotation mode out of range is kept and acts as OFF.
    uint32_t two = 2, five = 5;
    r.port->Write(&two, R::ReverseXReg.address, 4);
    EXPECT_FALSE(r.typed->GetReverseX());
    r.port->Write(&five, R::RotationModeReg.address, 4);
    EXPECT_EQ(int(r.typed->GetRotationMode()), 5);
    r.typed->SetReverseY(false);
    BufferPtr src = MakeImage(5, 3, LxPixelFormat_Mono8);
    std::mt19937 rng(1);
    FillRandom(src, rng);
    EXPECT_TRUE(MovedByCode(src, r.Run(src), 0));
}

// Every served format, every operation, odd sizes on both sides of the movers' tiles: each pixel
// lands where the reference puts it, and a quarter turn exchanges width and height.
TEST(ReverseConverter, EveryFormatEveryOperationAgainstReference) {
    Reverser r;
    std::mt19937 rng(12);
    for (uint32_t format : ReversibleFormats())
        for (const auto& [w, h] : {std::pair<size_t, size_t>{37, 23}, {1, 5}, {67, 131}}) {
            BufferPtr src = MakeImage(w, h, format);
            FillRandom(src, rng);
            for (int code = 0; code < 8; ++code) {
                const Setting s = kSettingOfCode[code];
                r.Set(s.x, s.y, s.rotation);
                EXPECT_TRUE(MovedByCode(src, r.Run(src), code)) << NameOf(format) << " " << w << " x " << h;
            }
        }
}

// Flipping twice in X or in Y, or turning four times, gives back the source bit for bit, in its own
// format; the images between have the result formats of the sites moved.
TEST(ReverseConverter, RoundTripsGiveBackTheSource) {
    Reverser r;
    std::mt19937 rng(3);
    const auto same = [](const BufferPtr& a, const BufferPtr& b) {
        ILxImage *x = a->GetILxImage(), *y = b->GetILxImage();
        if (x->GetImagePixelFormat() != y->GetImagePixelFormat() || x->GetImageWidth() != y->GetImageWidth() ||
            x->GetImageHeight() != y->GetImageHeight())
            return false;
        const size_t line = FormatFacts(x->GetImagePixelFormat())->GetLineBytes(x->GetImageWidth());
        for (size_t l = 0; l < x->GetImageHeight(); ++l)
            if (std::memcmp(static_cast<uint8_t*>(x->GetImageBuffer()) + l * x->GetImageLinePitch(),
                            static_cast<uint8_t*>(y->GetImageBuffer()) + l * y->GetImageLinePitch(), line))
                return false;
        return true;
    };
    for (uint32_t format : ReversibleFormats())
        for (const auto& [w, h] : {std::pair<size_t, size_t>{6, 4}, {13, 8}, {10, 7}}) {
            BufferPtr src = MakeImage(w, h, format);
            FillRandom(src, rng);
            for (const Setting& s : {Setting{true, false, LxRotationMode_OFF}, Setting{false, true, LxRotationMode_OFF},
                                     Setting{true, true, LxRotationMode_OFF}}) {
                r.Set(s.x, s.y, s.rotation);
                EXPECT_TRUE(same(r.Run(r.Run(src)), src)) << NameOf(format) << " " << w << " x " << h;
            }
            for (ELxRotationMode_t rotation : {LxRotationMode_Clockwise90, LxRotationMode_Counterclockwise90}) {
                r.Set(false, false, rotation);
                BufferPtr turned = r.Run(src);
                EXPECT_EQ(turned->GetILxImage()->GetImageWidth(), h);
                EXPECT_EQ(turned->GetILxImage()->GetImageHeight(), w);
                for (int i = 0; i < 3; ++i) turned = r.Run(turned);
                EXPECT_TRUE(same(turned, src)) << NameOf(format) << " " << w << " x " << h;
            }
        }
}

// The format of the result, from the format facts alone: the colour of every site of the source
// must be the colour the result's format gives the place the site moved to, for every size parity.
// (A turn makes the greens of red lines greens of blue lines: green is compared as green.)
TEST(ReverseConverter, BayerResultKeepsEverySiteColour) {
    const auto colour = [](uint32_t site) { return site == LxColorFilter_GreenB ? uint32_t(LxColorFilter_GreenR) : site; };
    Reverser r;
    for (uint32_t format : ReversibleFormats()) {
        ILxPixelFormatInfoInside* in = FormatFacts(format);
        if (!in->IsBayer() || in->IsPolarized()) continue;
        for (const auto& [w, h] : {std::pair<size_t, size_t>{4, 6}, {5, 6}, {4, 7}, {5, 7}})
            for (int code = 0; code < 8; ++code) {
                const Setting s = kSettingOfCode[code];
                r.Set(s.x, s.y, s.rotation);
                const uint32_t result = FormatOf(r.Run(MakeImage(w, h, format)));
                ILxPixelFormatInfo* out = GetILxPixelFormatInfo(result);
                EXPECT_EQ(out->GetComponentBits(), in->GetComponentBits());
                for (size_t y = 0; y < 2; ++y)
                    for (size_t x = 0; x < 2; ++x) {
                        size_t dx, dy;
                        Destination(code, w, h, x, y, &dx, &dy);
                        EXPECT_EQ(colour(out->GetPixelComponent(dx, dy)), colour(in->GetPixelComponent(x, y)))
                            << NameOf(format) << " " << w << " x " << h << " code " << code << " gives "
                            << NameOf(result);
                    }
            }
    }
}

// Polarized results: the angles of the 2x2 group (slots of the layout table) move with the pixels,
// and so do the colours of a polarized Bayer tile.
TEST(ReverseConverter, PolarizedResultKeepsEveryAngle) {
    const auto colour = [](uint32_t site) { return site == LxColorFilter_GreenB ? uint32_t(LxColorFilter_GreenR) : site; };
    // Slots (angle / 45) of (0,0), (1,0), (0,1), (1,1) for layouts 1 to 8.
    const int slots[9][4] = {{}, {2, 1, 3, 0}, {1, 2, 0, 3}, {3, 0, 2, 1}, {0, 3, 1, 2},
                             {3, 2, 0, 1}, {0, 1, 3, 2}, {2, 3, 1, 0}, {1, 0, 2, 3}};
    Reverser r;
    for (uint32_t format : ReversibleFormats()) {
        ILxPixelFormatInfoInside* in = FormatFacts(format);
        if (!in->IsPolarized()) continue;
        for (int code = 0; code < 8; ++code) {
            const Setting s = kSettingOfCode[code];
            r.Set(s.x, s.y, s.rotation);
            const size_t w = 8, h = 12;
            const uint32_t result = FormatOf(r.Run(MakeImage(w, h, format)));
            ILxPixelFormatInfoInside* out = FormatFacts(result);
            ASSERT_TRUE(out->IsPolarized());
            EXPECT_EQ(out->IsBayer(), in->IsBayer());
            EXPECT_EQ(out->GetComponentBits(), in->GetComponentBits());
            for (size_t y = 0; y < 2; ++y)
                for (size_t x = 0; x < 2; ++x) {
                    size_t dx, dy;
                    Destination(code, w, h, x, y, &dx, &dy);
                    EXPECT_EQ(slots[out->GetPolarizerLayout()][(dy % 2) * 2 + dx % 2],
                              slots[in->GetPolarizerLayout()][y * 2 + x])
                        << NameOf(format) << " code " << code << " gives " << NameOf(result);
                }
            // Polarized Bayer: the colour of each 2x2 group of a 4x4 tile moves with it.
            for (size_t y = 0; in->IsBayer() && y < 4; ++y)
                for (size_t x = 0; x < 4; ++x) {
                    size_t dx, dy;
                    Destination(code, w, h, x, y, &dx, &dy);
                    EXPECT_EQ(colour(out->GetPixelComponent(dx, dy)), colour(in->GetPixelComponent(x, y)))
                        << NameOf(format) << " code " << code << " gives " << NameOf(result);
                }
        }
    }
}

TEST(ReverseConverter, NamedResultFormats) {
    Reverser r;
    const auto result = [&](bool x, bool y, ELxRotationMode_t rotation, size_t w, size_t h, uint32_t format) {
        r.Set(x, y, rotation);
        return NameOf(FormatOf(r.Run(MakeImage(w, h, format))));
    };
    EXPECT_EQ(result(true, false, LxRotationMode_OFF, 640, 480, LxPixelFormat_BayerRG8), "BayerGR8");
    EXPECT_EQ(result(true, false, LxRotationMode_OFF, 641, 480, LxPixelFormat_BayerRG8), "BayerRG8");
    EXPECT_EQ(result(false, true, LxRotationMode_OFF, 640, 480, LxPixelFormat_BayerRG8), "BayerGB8");
    EXPECT_EQ(result(false, true, LxRotationMode_OFF, 640, 481, LxPixelFormat_BayerRG8), "BayerRG8");
    EXPECT_EQ(result(false, false, LxRotationMode_Clockwise90, 640, 480, LxPixelFormat_BayerRG8), "BayerGR8");
    EXPECT_EQ(result(false, false, LxRotationMode_Counterclockwise90, 640, 480, LxPixelFormat_BayerRG8), "BayerGB8");
    EXPECT_EQ(result(true, false, LxRotationMode_OFF, 8, 8, FormatCode("Pol1Mono8")), "Pol1MonoX8");
    EXPECT_EQ(result(false, false, LxRotationMode_Clockwise90, 8, 8, FormatCode("Pol1Mono8")), "Pol1MonoC8");
    EXPECT_EQ(result(true, true, LxRotationMode_OFF, 8, 8, LxPixelFormat_BGRa8), "BGRa8");

    // Clockwise90 with both flips is Counterclockwise90 without flips, pixels and format.
    std::mt19937 rng(5);
    BufferPtr src = MakeImage(9, 6, LxPixelFormat_BayerGB12);
    FillRandom(src, rng);
    r.Set(true, true, LxRotationMode_Clockwise90);
    BufferPtr a = r.Run(src);
    r.Set(false, false, LxRotationMode_Counterclockwise90);
    BufferPtr b = r.Run(src);
    EXPECT_EQ(FormatOf(a), FormatOf(b));
    EXPECT_TRUE(MovedByCode(src, a, 5));
}

// In place the image goes through a pooled copy; a source that is a view of the destination's own
// image too. Both give what a separate destination gets.
TEST(ReverseConverter, InPlaceAndViewsOfTheDestination) {
    Reverser r;
    std::mt19937 rng(8);
    for (int code = 1; code < 8; ++code) {
        const Setting s = kSettingOfCode[code];
        r.Set(s.x, s.y, s.rotation);
        BufferPtr src = MakeImage(11, 6, LxPixelFormat_BayerBG8);
        FillRandom(src, rng);
        BufferPtr original = MakeImage(11, 6, LxPixelFormat_BayerBG8);
        original->CopyImage(src->GetILxImage());
        BufferPtr expected = r.Run(original);

        r.module->Convert(src->GetILxImage(), src.Get());
        EXPECT_EQ(FormatOf(src), FormatOf(expected));
        EXPECT_TRUE(MovedByCode(original, src, code)) << code;

        // The left half of a buffer's image, reversed into that buffer.
        BufferPtr whole = MakeImage(22, 6, LxPixelFormat_BayerBG8);
        for (size_t y = 0; y < 6; ++y) std::memcpy(Bytes(whole) + y * Pitch(whole), Bytes(original) + y * Pitch(original), 11);
        BufferPtr view(CreateILxImageView(whole->GetILxImage(), 0, 0, 11, 6));
        r.module->Convert(view->GetILxImage(), whole.Get());
        EXPECT_TRUE(MovedByCode(original, whole, code)) << code;
    }
    // With no operation in place nothing happens; into another buffer the source is copied, whatever
    // its format.
    r.Set(false, false, LxRotationMode_OFF);
    BufferPtr packed = MakeImage(10, 3, FormatCode("Mono10p"));
    FillRandom(packed, rng);
    const std::vector<uint8_t> before(Bytes(packed), Bytes(packed) + 3 * Pitch(packed));
    r.module->Convert(packed->GetILxImage(), packed.Get());
    EXPECT_TRUE(std::equal(before.begin(), before.end(), Bytes(packed)));
    BufferPtr copy = r.Run(packed);
    EXPECT_EQ(FormatOf(copy), FormatOf(packed));
    EXPECT_EQ(std::memcmp(Bytes(copy), Bytes(packed), 13), 0);
}

// The destination's line padding stays as the buffer holds it, with the destination buffer
// parameter as the alignment of the lines.
TEST(ReverseConverter, PaddingStaysAsTheBufferHoldsIt) {
    Reverser r;
    std::mt19937 rng(9);
    r.typed->SetDestinationBufferParameter(64);
    for (int code = 1; code < 8; ++code) {
        const Setting s = kSettingOfCode[code];
        r.Set(s.x, s.y, s.rotation);
        BufferPtr src = MakeImage(13, 7, LxPixelFormat_BGR8);
        FillRandom(src, rng);
        const size_t w = code >= 4 ? 7 : 13, h = code >= 4 ? 13 : 7;
        BufferPtr out = MakeImage(w, h, LxPixelFormat_BGR8, 64);
        FillBytes(out, 0xA5);
        r.module->Convert(src->GetILxImage(), out.Get());
        ASSERT_EQ(Pitch(out), 64u);
        EXPECT_TRUE(MovedByCode(src, out, code));
        for (size_t y = 0; y < h; ++y)
            for (size_t i = 3 * w; i < 64; ++i) ASSERT_EQ(Bytes(out)[y * 64 + i], 0xA5) << code;
    }
}

TEST(ReverseConverter, RefusalsLeaveTheDestinationAsItWas) {
    Reverser r;
    BufferPtr out = MakeImage(4, 4, LxPixelFormat_Mono8);
    FillBytes(out, 7);
    EXPECT_EQ(TextOf<GenICam::InvalidArgumentException>([&] { r.module->Convert(nullptr, out.Get()); }),
              "ILxImage pointer is NULL.");
    BufferPtr src = MakeImage(4, 4, LxPixelFormat_Mono8);
    EXPECT_EQ(TextOf<GenICam::LogicalErrorException>([&] { r.module->Convert(src->GetILxImage(), nullptr); }),
              "Unexpected type in dynamic cast");
    BufferPtr packed = MakeImage(6, 4, FormatCode("Mono10p"));
    for (const Setting& s : kSettingOfCode) {
        if (!s.x && !s.y && s.rotation == LxRotationMode_OFF) continue;
        r.Set(s.x, s.y, s.rotation);
        EXPECT_EQ(TextOf<GenICam::RuntimeException>([&] { r.module->Convert(packed->GetILxImage(), out.Get()); }),
                  "Not supported pixelformat Mono10p");
        EXPECT_EQ(TextOf<GenICam::RuntimeException>([&] { r.module->Convert(packed->GetILxImage(), packed.Get()); }),
                  "Not supported pixelformat Mono10p");
    }
    EXPECT_EQ(FormatOf(out), uint32_t(LxPixelFormat_Mono8));
    EXPECT_EQ(out->GetILxImage()->GetImageWidth(), 4u);
    EXPECT_EQ(Bytes(out)[15], 7);
    EXPECT_EQ(FormatOf(packed), FormatCode("Mono10p"));
}
