// The pixel format converter end to end: parameters and registers, Convert's in-place and flip
// rules, and bit-exact results of the depth, packing and colour conversions through the module.
#include "convertertest.h"

#include <includeinside/ilxpixelformatinfoinside.h>

#include <cmath>

using namespace lxtest;

namespace {

uint32_t FormatOf(const BufferPtr& b) { return b->GetILxImage()->GetImagePixelFormat(); }

} // namespace

TEST(PixelFormatConverter, DefaultsAndInfo) {
    Converter c;
    EXPECT_EQ(c.typed->GetDestinationPixelFormat(), uint32_t(LxPixelFormat_BGR8));
    EXPECT_EQ(c.typed->GetBayerInterpolationMethod(), LxBayerInterpolationMethod_NearestNeighbor2);
    EXPECT_EQ(c.typed->GetPolarizationImageTransformationMethod(), LxPolarizationImageTransformationMethod_EachAngle);
    EXPECT_EQ(c.typed->GetGamma(), 1.0);
    ILxConverterInfo* info = c.module->GetConverterInfo();
    EXPECT_STREQ(info->GetDisplayName().c_str(), "Pixel Format");
    EXPECT_TRUE(info->IsSupportedPixelFormat(LxPixelFormat_BayerRG12p)); // to the default BGR8
    EXPECT_TRUE(info->IsSupportedPixelFormat(LxPixelFormat_Pol1Mono8));
    EXPECT_FALSE(info->IsSupportedPixelFormat(0x12345678u));
    c.typed->SetDestinationPixelFormat(LxPixelFormat_Mono16);
    EXPECT_TRUE(info->IsSupportedPixelFormat(LxPixelFormat_BGR10));
}

TEST(PixelFormatConverter, SetterTexts) {
    Converter c;
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>(
                  [&] { c.typed->SetBayerInterpolationMethod(ELxBayerInterpolationMethod_t(8)); }),
              "eBIM = 8 must be smaller than Max = 8");
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>(
                  [&] { c.typed->SetBayerInterpolationMethod(ELxBayerInterpolationMethod_t(-1)); }),
              "eBIM = -1 must be equal or greater than Min = 0");
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { c.typed->SetGamma(4.5); }),
              "Gamma Value = 4.500000 must be smaller than or equal 4.000000");
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { c.typed->SetBitExpansionMode(ELxBitExpansionMode_t(4)); }),
              "Bit Expansion Mode Value = 4.000000 must be smaller than or equal 3.000000");
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { c.typed->SetColorMapPhase(256); }),
              "nPhase = 256 must be smaller than Max = 256");
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { c.typed->SetColorMapType(ELxColorMapType_t(3)); }),
              "eCMT = 3 must be smaller than Max = 3");
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { c.typed->SetPolarizationSpecifiedAngle(180.5); }),
              "Polarization Specified Angle = 180.500000 must be smaller than or equal 180.000000");
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] {
                  c.typed->SetPolarizationSpecifiedAngleInterpolationMethod(
                      ELxPolarizationSpecifiedAngleInterpolationMethod_t(2));
              }),
              "Interpolation Method For Specified Angle = 2 must be smaller than Max = 2");
    EXPECT_EQ(c.typed->GetBayerInterpolationMethod(), LxBayerInterpolationMethod_NearestNeighbor2);
}

TEST(PixelFormatConverter, RegisterAsymmetries) {
    Converter c;
    const uint32_t one = 1, two = 2, nine = 9;
    c.port->Write(&one, 0x18, 4);
    EXPECT_TRUE(c.typed->GetReverseY());
    c.port->Write(&two, 0x18, 4); // only 1 turns the flip on
    EXPECT_FALSE(c.typed->GetReverseY());
    c.port->Write(&two, 0x64, 4); // any value but 0 turns the inversion on
    EXPECT_TRUE(c.typed->GetColorMapInversion());
    c.port->Write(&nine, 0x20, 4); // stored without a range check
    EXPECT_EQ(int(c.typed->GetBayerInterpolationMethod()), 9);
    const int32_t phase = 300;
    EXPECT_THROW(c.port->Write(&phase, 0x68, 4), GenICam::OutOfRangeException); // setter's check
    EXPECT_EQ(c.typed->GetColorMapPhase(), 0);
    // From 0x60 up a length below 4 is refused, below it is not looked at.
    uint16_t small = 0;
    EXPECT_THROW(c.port->Read(&small, 0x60, 2), GenICam::OutOfRangeException);
    uint32_t reverse = 7;
    c.port->Read(&reverse, 0x18, 4);
    EXPECT_EQ(reverse, 0u);
    double bounds[2];
    c.port->Read(bounds, 0x30, 16);
    EXPECT_EQ(bounds[0], 0.0);
    EXPECT_EQ(bounds[1], 4.0);
}

TEST(PixelFormatConverter, NodeMapFeatures) {
    Converter c;
    GenApi::INodeMap* map = c.module->GetINodeMap();
    GenApi::CEnumerationPtr dpf = map->GetNode("DestinationPixelFormat");
    ASSERT_TRUE(dpf.IsValid());
    GenApi::NodeList_t entries;
    dpf->GetEntries(entries);
    EXPECT_EQ(entries.size(), 179u);
    dpf->FromString("Mono12p");
    EXPECT_EQ(c.typed->GetDestinationPixelFormat(), uint32_t(LxPixelFormat_Mono12p));
    c.typed->SetDestinationPixelFormat(LxPixelFormat_RGB8);
    EXPECT_STREQ(dpf->ToString().c_str(), "RGB8");

    // Hiding the less common entries: BayerRG8 can no longer be chosen, Mono8 still can.
    GenApi::CIntegerPtr hide = map->GetNode("AvailableUnvisibleDestinationPixelFomat");
    ASSERT_TRUE(hide.IsValid());
    hide->SetValue(0);
    EXPECT_THROW(dpf->FromString("BayerRG8"), GenICam::GenericException);
    EXPECT_NO_THROW(dpf->FromString("Mono8"));

    // The lock node makes the format read-only.
    c.typed->SetDestinationPixelFormatNodeLock(true);
    EXPECT_THROW(dpf->FromString("BGR8"), GenICam::AccessException);

    // The misspelled node name leaves the feature stale after a typed set.
    GenApi::CEnumerationPtr bem = map->GetNode("BitExpansionMode");
    EXPECT_STREQ(bem->ToString().c_str(), "Gamma");
    c.typed->SetBitExpansionMode(LxBitExpansionMode_LeftShiftBy1);
    EXPECT_STREQ(bem->ToString().c_str(), "Gamma");
    map->GetNode("BitExpansionModeReg")->InvalidateNode(); // the register holds the cached value
    EXPECT_STREQ(bem->ToString().c_str(), "LeftShiftBy1");

    // The specified angle exists only in its mode.
    GenApi::CFloatPtr angle = map->GetNode("PolarizationSpecifiedAngle");
    EXPECT_FALSE(GenApi::IsAvailable(angle->GetNode()->GetAccessMode()));
    c.typed->SetPolarizationImageTransformationMethod(LxPolarizationImageTransformationMethod_SpecifiedAngle);
    EXPECT_TRUE(GenApi::IsAvailable(angle->GetNode()->GetAccessMode()));
}

TEST(PixelFormatConverter, BadInput) {
    Converter c;
    BufferPtr img = MakeImage(4, 4, LxPixelFormat_Mono8);
    EXPECT_EQ(TextOf<GenICam::InvalidArgumentException>([&] { c.module->Convert(nullptr, img.Get()); }),
              "ILxImage is NULL.");
    EXPECT_EQ(TextOf<GenICam::InvalidArgumentException>([&] { c.module->Convert(img->GetILxImage(), nullptr); }),
              "ILxImageBuffer is NULL.");
    BufferPtr bayer = MakeImage(4, 4, LxPixelFormat_BayerRG8);
    EXPECT_EQ(TextOf<GenICam::RuntimeException>([&] { c.Run(bayer, LxPixelFormat_BayerGR8); }),
              "Converting a pixelformat from  BayerRG8 to BayerGR8 is not supported.");
    c.typed->SetDestinationPixelFormat(0x12345678u);
    BufferPtr out(CreateILxImageBuffer(nullptr));
    EXPECT_THROW(c.module->Convert(img->GetILxImage(), out.Get()), GenICam::GenericException);
}

TEST(PixelFormatConverter, InPlaceAndReverse) {
    Converter c;
    BufferPtr img = MakeImage(2, 3, LxPixelFormat_Mono8);
    for (size_t i = 0; i < 6; ++i) Bytes(img)[i] = uint8_t(i);
    c.typed->SetDestinationPixelFormat(LxPixelFormat_Mono8);
    c.module->Convert(img->GetILxImage(), img.Get()); // same format, no flip: nothing to do
    EXPECT_EQ(Bytes(img)[0], 0);
    c.typed->SetReverseY(true);
    c.module->Convert(img->GetILxImage(), img.Get()); // flipped through a pooled copy
    const uint8_t flipped[6] = {4, 5, 2, 3, 0, 1};
    EXPECT_EQ(0, std::memcmp(Bytes(img), flipped, 6));
}

TEST(PixelFormatConverter, ReverseMovesBayerPhasesAndPolarizedVariants) {
    Converter c;
    c.typed->SetReverseY(true);
    EXPECT_EQ(FormatOf(c.Run(MakeImage(4, 4, LxPixelFormat_BayerRG8), LxPixelFormat_BayerRG10)),
              uint32_t(LxPixelFormat_BayerGB10));
    EXPECT_EQ(FormatOf(c.Run(MakeImage(4, 3, LxPixelFormat_BayerRG8), LxPixelFormat_BayerRG10)),
              uint32_t(LxPixelFormat_BayerRG10));
    // 12Packed keeps its first two columns exchanged: GB flips to RG, which lands on GR12Packed.
    EXPECT_EQ(FormatOf(c.Run(MakeImage(4, 4, LxPixelFormat_BayerGB8), LxPixelFormat_BayerGB12Packed)),
              uint32_t(LxPixelFormat_BayerGR12Packed));
    // A polarized destination takes the source's variant, flipped: X becomes XY.
    EXPECT_EQ(FormatOf(c.Run(MakeImage(4, 4, LxPixelFormat_Pol1MonoX8), LxPixelFormat_Pol1MonoX10)),
              uint32_t(LxPixelFormat_Pol1MonoXY10));
    // In the C group the vertical mirrors are C with XC and YC with XYC, as the layouts say: the
    // result's angles are the source's with the two rows of the group exchanged.
    static const int slots[9][4] = {{0, 0, 0, 0}, {2, 1, 3, 0}, {1, 2, 0, 3}, {3, 0, 2, 1}, {0, 3, 1, 2},
                                    {3, 2, 0, 1}, {0, 1, 3, 2}, {2, 3, 1, 0}, {1, 0, 2, 3}};
    const uint32_t cGroup[][3] = {
        {LxPixelFormat_Pol1MonoC8, LxPixelFormat_Pol1MonoC10, LxPixelFormat_Pol1MonoXC10},
        {LxPixelFormat_Pol1MonoXC8, LxPixelFormat_Pol1MonoXC10, LxPixelFormat_Pol1MonoC10},
        {LxPixelFormat_Pol1MonoYC8, LxPixelFormat_Pol1MonoYC12, LxPixelFormat_Pol1MonoXYC12},
        {LxPixelFormat_Pol1MonoXYC8, LxPixelFormat_Pol1MonoXYC12p, LxPixelFormat_Pol1MonoYC12p},
        {LxPixelFormat_Pol1BayerRGC8, LxPixelFormat_Pol1BayerRGC12, LxPixelFormat_Pol1BayerRGXC12},
        {LxPixelFormat_Pol1BayerRGYC10p, LxPixelFormat_Pol1BayerRGYC10, LxPixelFormat_Pol1BayerRGXYC10}};
    auto layout = [](uint32_t f) {
        return dynamic_cast<ILxPixelFormatInfoInside*>(GetILxPixelFormatInfo(f))->GetPolarizerLayout();
    };
    for (const auto& [from, requested, flipped] : cGroup) {
        EXPECT_EQ(FormatOf(c.Run(MakeImage(8, 4, from), requested)), flipped) << std::hex << from;
        for (int k = 0; k < 4; ++k) EXPECT_EQ(slots[layout(flipped)][k], slots[layout(from)][k ^ 2]) << std::hex << from;
    }
    // Another variant is no registered pair, so nothing is converted.
    EXPECT_THROW(c.Run(MakeImage(4, 4, LxPixelFormat_Pol1MonoX8), LxPixelFormat_Pol1Mono10),
                 GenICam::RuntimeException);
}

TEST(PixelFormatConverter, DepthChangesByMode) {
    Converter c;
    BufferPtr img = MakeImage(1, 1, LxPixelFormat_Mono8);
    Bytes(img)[0] = 255;
    const std::pair<ELxBitExpansionMode_t, uint16_t> cases[] = {{LxBitExpansionMode_Gamma, 65535},
                                                               {LxBitExpansionMode_LeftShiftBy0, 65280},
                                                               {LxBitExpansionMode_LeftShiftBy1, 65535},
                                                               {LxBitExpansionMode_Fixed, 255}};
    for (const auto& [mode, expected] : cases) {
        c.typed->SetBitExpansionMode(mode);
        EXPECT_EQ(Word(c.Run(img, LxPixelFormat_Mono16), 0, 0), expected) << mode;
    }
    // Reductions at gamma 1 truncate, whatever the mode.
    BufferPtr deep = MakeImage(1, 1, LxPixelFormat_Mono16);
    SetWord(deep, 0, 0, 0x01FF);
    EXPECT_EQ(Bytes(c.Run(deep, LxPixelFormat_Mono8))[0], 1);
    c.typed->SetGamma(0.5);
    EXPECT_EQ(Bytes(c.Run(deep, LxPixelFormat_Mono8))[0], uint8_t(std::pow(511.0 / 65535.0, 0.5) * 255 + 0.5));
}

TEST(PixelFormatConverter, PackedLayouts) {
    Converter c;
    BufferPtr packed = MakeImage(2, 1, LxPixelFormat_Mono12Packed);
    const uint8_t bytes[3] = {0x12, 0x34, 0x56};
    std::memcpy(Bytes(packed), bytes, 3);
    BufferPtr out = c.Run(packed, LxPixelFormat_Mono12);
    EXPECT_EQ(Word(out, 0, 0), 0x124);
    EXPECT_EQ(Word(out, 0, 1), 0x563);

    BufferPtr mono = MakeImage(3, 2, LxPixelFormat_Mono8);
    for (size_t i = 0; i < 6; ++i) Bytes(mono)[i] = uint8_t(40 * i + 1);
    BufferPtr p10 = c.Run(mono, LxPixelFormat_Mono10p);
    EXPECT_EQ(Pitch(p10), 4u); // 30 bits
    BufferPtr back = c.Run(p10, LxPixelFormat_Mono8);
    EXPECT_EQ(0, std::memcmp(Bytes(back), Bytes(mono), 3));
}

TEST(PixelFormatConverter, ColourChainsAndAlpha) {
    Converter c;
    // BGR10 to Mono16 takes two steps: luminance at 10 bits, then the widening table.
    BufferPtr bgr10 = MakeImage(1, 1, LxPixelFormat_BGR10);
    SetWord(bgr10, 0, 0, 1023);
    SetWord(bgr10, 0, 1, 1023);
    SetWord(bgr10, 0, 2, 1023);
    EXPECT_EQ(Word(c.Run(bgr10, LxPixelFormat_Mono16), 0, 0), 65535);
    EXPECT_EQ(Word(c.Run(bgr10, LxPixelFormat_Mono12), 0, 0), 4095);

    BufferPtr bgr = MakeImage(2, 1, LxPixelFormat_BGR8);
    const uint8_t px[6] = {10, 20, 30, 255, 255, 255};
    std::memcpy(Bytes(bgr), px, 6);
    EXPECT_EQ(Bytes(c.Run(bgr, LxPixelFormat_Mono8))[1], 255); // (5 + 2 + 1) * 255 >> 3
    BufferPtr rgb = c.Run(bgr, LxPixelFormat_RGB8);
    EXPECT_EQ(Bytes(rgb)[0], 30);
    EXPECT_EQ(Bytes(rgb)[2], 10);

    // The alpha of the destination stays as the buffer holds it.
    BufferPtr bgra = MakeImage(2, 1, LxPixelFormat_BGRa8);
    FillBytes(bgra, 0x77);
    c.typed->SetDestinationPixelFormat(LxPixelFormat_BGRa8);
    c.module->Convert(bgr->GetILxImage(), bgra.Get());
    EXPECT_EQ(Bytes(bgra)[0], 10);
    EXPECT_EQ(Bytes(bgra)[3], 0x77);
    EXPECT_EQ(Bytes(bgra)[7], 0x77);
}

TEST(PixelFormatConverter, DestinationLinesFollowTheBufferParameter) {
    Converter c;
    c.typed->SetDestinationBufferParameter(64);
    BufferPtr out = c.Run(MakeImage(5, 2, LxPixelFormat_BGR8), LxPixelFormat_Mono16);
    EXPECT_EQ(Pitch(out), 64u);
}

TEST(PixelFormatConverter, BayerMethodAboveRangeGivesZeros) {
    Converter c;
    const int32_t nine = 9;
    c.port->Write(&nine, 0x20, 4);
    BufferPtr bayer = MakeImage(4, 4, LxPixelFormat_BayerRG8);
    FillBytes(bayer, 100);
    BufferPtr out = MakeImage(4, 4, LxPixelFormat_BGR8);
    FillBytes(out, 0x5A);
    c.module->Convert(bayer->GetILxImage(), out.Get());
    for (size_t i = 0; i < 48; ++i) ASSERT_EQ(Bytes(out)[i], 0); // defined, whatever the buffer held
    // Every real method turns a flat mosaic into the flat value; below 2 pixels it throws.
    for (int m = 1; m <= 7; ++m) {
        c.typed->SetBayerInterpolationMethod(ELxBayerInterpolationMethod_t(m));
        BufferPtr flat = c.Run(bayer, LxPixelFormat_BGR8);
        for (size_t i = 0; i < 48; ++i) ASSERT_EQ(Bytes(flat)[i], 100) << m;
    }
    EXPECT_THROW(c.Run(MakeImage(1, 8, LxPixelFormat_BayerRG8), LxPixelFormat_BGR8), GenICam::RuntimeException);
}

TEST(PixelFormatConverter, EmptyImagesPassThrough) {
    Converter c;
    for (const auto& [w, h] : {std::pair<size_t, size_t>{0, 5}, {5, 0}, {0, 0}}) {
        EXPECT_NO_THROW(c.Run(MakeImage(w, h, LxPixelFormat_BGR8), LxPixelFormat_Mono8)) << w << "x" << h;
        EXPECT_NO_THROW(c.Run(MakeImage(w, h, LxPixelFormat_Mono12p), LxPixelFormat_Mono16)) << w << "x" << h;
        BufferPtr out = c.Run(MakeImage(w, h, LxPixelFormat_Mono8), LxPixelFormat_RGB12_Planar);
        EXPECT_EQ(out->GetILxImage()->GetImageWidth(), w);
        // Every family of kernels, sanitizers watching for a null line: YCbCr, polarization, colour map.
        for (const auto& [from, to] : {std::pair<uint32_t, uint32_t>{LxPixelFormat_CYCbCr420_8_YY_Cb_Cr_Planar, LxPixelFormat_BGR8},
                                       {LxPixelFormat_Pol1BayerRG12, LxPixelFormat_Mono16},
                                       {LxPixelFormat_Pol1Mono12, LxPixelFormat_BGR8},
                                       {LxPixelFormat_Mono12, LxPixelFormat_BGR16}}) {
            out = c.Run(MakeImage(w, h, from), to);
            EXPECT_EQ(out->GetILxImage()->GetImageWidth() * out->GetILxImage()->GetImageHeight(), 0u);
        }
    }
}
