// What the library derives from a format's facts: the Bayer sites of a colour filter code, checked
// against the format information of LxApi_TL, and the inside view of a format or its refusal.
#include "support/lxcolorfilter.h"
#include "support/lxinside.h"

#include <GenICam/GCException.h>
#include <gtest/gtest.h>
#include <lxapi/lxpixelformat.h>

namespace {

TEST(ColorFilter, BayerSitesAgreeWithTheFormatInformation) {
    const uint32_t formats[] = {LxPixelFormat_BayerRG8,  LxPixelFormat_BayerGR8,    LxPixelFormat_BayerGB8,
                                LxPixelFormat_BayerBG8,  LxPixelFormat_BayerGR12,   LxPixelFormat_BayerBG16,
                                LxPixelFormat_BayerRG10p, LxPixelFormat_BayerGB12Packed};
    for (uint32_t format : formats) {
        ILxPixelFormatInfoInside* info = lxip::FormatInside(format);
        const uint32_t phase = info->GetColorFilter();
        ASSERT_TRUE(lxip::IsBayerPhase(phase)) << info->GetName().c_str();
        for (size_t y = 0; y < 4; ++y)
            for (size_t x = 0; x < 4; ++x) {
                const ELxColorFilter_t site = lxip::BayerSite(phase, x, y);
                ASSERT_EQ(uint32_t(site), info->GetPixelComponent(x, y))
                    << info->GetName().c_str() << " at " << x << ", " << y;
                const unsigned channel = site == LxColorFilter_Red ? 0 : site == LxColorFilter_Blue ? 2 : 1;
                ASSERT_EQ(lxip::BayerChannel(phase, x, y), channel);
            }
    }
}

TEST(ColorFilter, PhasesAndTheirFlips) {
    EXPECT_FALSE(lxip::IsBayerPhase(LxColorFilter_None));
    EXPECT_FALSE(lxip::IsBayerPhase(LxColorFilter_Mono));
    EXPECT_FALSE(lxip::IsBayerPhase(6));
    for (uint32_t phase = LxColorFilter_Red; phase <= LxColorFilter_Blue; ++phase) {
        EXPECT_TRUE(lxip::IsBayerPhase(phase));
        EXPECT_EQ(uint32_t(lxip::BayerSite(phase, 0, 0)), phase);
    }
    // An even mosaic flipped upside down starts with its second row: RG and GB, GR and BG swap.
    EXPECT_EQ(lxip::BayerSite(LxColorFilter_Red, 0, 1), LxColorFilter_GreenB);
    EXPECT_EQ(lxip::BayerSite(LxColorFilter_GreenB, 0, 1), LxColorFilter_Red);
    EXPECT_EQ(lxip::BayerSite(LxColorFilter_GreenR, 0, 1), LxColorFilter_Blue);
    EXPECT_EQ(lxip::BayerSite(LxColorFilter_Blue, 0, 1), LxColorFilter_GreenR);
}

// An implementation of the public interface that is not the library's.
class ForeignFormat : public ILxPixelFormatInfo {
public:
    uint32_t GetPixelFormat() override { return LxPixelFormat_Mono8; }
    GenICam::gcstring GetName() override { return "Foreign"; }
    size_t GetPixelBits() override { return 8; }
    size_t GetStorageBits() override { return 8; }
    bool IsPacked() override { return false; }
    size_t GetComponentBits() override { return 8; }
    size_t GetComponentCount() override { return 1; }
    size_t GetPlaneCount() override { return 1; }
    bool IsPlanar() override { return false; }
    bool IsYCbCr() override { return false; }
    bool IsColor() override { return false; }
    bool IsMono() override { return true; }
    bool IsBayer() override { return false; }
    bool HasAlpha() override { return false; }
    uint32_t GetPixelComponent(size_t, size_t) override { return LxColorFilter_Mono; }
};

TEST(FormatInside, TheLibrarysFormatsOrALogicalError) {
    ILxPixelFormatInfoInside* mono12 = lxip::FormatInside(LxPixelFormat_Mono12);
    ASSERT_NE(mono12, nullptr);
    EXPECT_EQ(mono12->GetPixelFormat(), uint32_t(LxPixelFormat_Mono12));
    EXPECT_EQ(mono12->GetDepth(), 12u);

    ForeignFormat foreign;
    for (ILxPixelFormatInfo* info : {static_cast<ILxPixelFormatInfo*>(&foreign), static_cast<ILxPixelFormatInfo*>(nullptr)}) {
        try {
            lxip::InsideOf<ILxPixelFormatInfoInside>(info);
            FAIL() << "no exception";
        } catch (const GenICam::LogicalErrorException& e) {
            EXPECT_STREQ(e.GetDescription(), "Unexpected type in dynamic cast");
        }
    }
    // A code no table knows fails inside the format information, as a GenICam exception.
    EXPECT_THROW(lxip::FormatInside(0x7FFFFFFFu), GenICam::GenericException);
}

} // namespace
