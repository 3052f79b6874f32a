// Chroma suppression end to end: a per-pixel reference on random images of every format at every
// kernel level, the thresholds' edges, the parameter texts and the register route.
#include "chromakernels.h"
#include "kernels/cpudispatch.h"
#include "lxmoduletest.h"

#include <GenApi/GenApi.h>
#include <lxapi/ilxchromasuppressionfilter.h>

#include <random>

using namespace lxtest;

namespace {

struct Chroma {
    FilterPtr filter{CreateILxFilter(LxFilterType_ChromaSuppression)};
    ILxChromaSuppressionFilter* typed = dynamic_cast<ILxChromaSuppressionFilter*>(filter.Get());
    void Set(uint32_t low, uint32_t sL, uint32_t high, uint32_t sH) {
        typed->SetThresholdValue(LxChromaSuppressionPartSelector_LowLuminancePart, low);
        typed->SetSuppressionValue(LxChromaSuppressionPartSelector_LowLuminancePart, sL);
        typed->SetThresholdValue(LxChromaSuppressionPartSelector_HighLuminancePart, high);
        typed->SetSuppressionValue(LxChromaSuppressionPartSelector_HighLuminancePart, sH);
    }
};

// The rule, written out with 64-bit products brought to 32-bit two's complement by hand.
int64_t Wrap32(int64_t v) {
    v &= 0xFFFFFFFFll;
    return v >= 0x80000000ll ? v - 0x100000000ll : v;
}
int64_t PullRef(int64_t c, int64_t g, int64_t k) {
    const int64_t t = Wrap32((g - c) * k);
    if (t == 0) return c;
    if (t > 0) return std::min(c + (t >> 8), g);
    const int64_t u = (-t) >> 8;
    return g + u <= c ? c - u : g;
}
void Reference(int64_t& b, int64_t g, int64_t& r, unsigned bits, int64_t thLow, int64_t sL, int64_t thHigh,
               int64_t sH) {
    const int64_t low = sL ? thLow : 0, high = sH ? thHigh : 255;
    const int64_t y = ((b + 2 * r + 5 * g) >> 3) >> (bits - 8);
    if (y >= low && high >= y) return;
    int64_t k = y < low ? (low - y + 1) * sL : 0;
    if (y > high) k = std::max(k, (y - high + 1) * sH);
    b = PullRef(b, g, k);
    r = PullRef(r, g, k);
}

struct FormatCase {
    uint32_t format;
    unsigned bits, step, bytes;
    bool blueFirst;
};
const FormatCase Formats[] = {
    {LxPixelFormat_RGB8, 8, 3, 1, false},   {LxPixelFormat_RGBa8, 8, 4, 1, false},
    {LxPixelFormat_BGR8, 8, 3, 1, true},    {LxPixelFormat_BGRa8, 8, 4, 1, true},
    {LxPixelFormat_BGR10, 10, 3, 2, true},  {LxPixelFormat_BGRa10, 10, 4, 2, true},
    {LxPixelFormat_BGR12, 12, 3, 2, true},  {LxPixelFormat_BGRa12, 12, 4, 2, true},
    {LxPixelFormat_BGR14, 14, 3, 2, true},  {LxPixelFormat_BGRa14, 14, 4, 2, true},
    {LxPixelFormat_BGR16, 16, 3, 2, true},  {LxPixelFormat_BGRa16, 16, 4, 2, true},
};

uint32_t Sample(const std::vector<uint8_t>& v, size_t at, unsigned bytes) {
    return bytes == 1 ? v[at] : uint32_t(v[at] | v[at + 1] << 8);
}

// Levels to prove: portable, and every faster one the 8-bit kernel has on this processor.
std::vector<lxcpu::Level> Levels() {
    std::vector<lxcpu::Level> levels{lxcpu::Level::Portable};
    for (lxcpu::Level l :
         lxcpu::FastLevels([](lxcpu::Level a) { return lxcpu::Level(lxchroma::LevelAt(unsigned(a))); }))
        levels.push_back(l);
    return levels;
}

} // namespace

TEST(ChromaSuppression, RandomImagesMatchTheReferenceInEveryFormatAndLevel) {
    std::mt19937 rng(23);
    for (lxcpu::Level level : Levels()) {
        for (const FormatCase& fc : Formats) {
            lxcpu::ForcedLevel forced(level);
            for (int round = 0; round < 4; ++round) {
                SCOPED_TRACE(testing::Message() << lxcpu::LevelName(level) << " " << std::hex << fc.format << std::dec
                                                << " round " << round);
                Chroma c;
                // The last round lets the parts overlap (both pull a pixel) and reach 0 and 255.
                const bool any = round == 3;
                const uint32_t thLow = any ? rng() % 256 : rng() % 120, thHigh = any ? rng() % 256 : 130 + rng() % 126;
                const uint32_t sL = rng() % 256, sH = rng() % 256;
                c.Set(thLow, sL, thHigh, sH);
                // Widths across whole vector groups and partial ones, down to a single pixel.
                const size_t width = round == 0 ? 1 + rng() % 37 : 1 + rng() % 200, height = 1 + rng() % 9;
                const size_t pitch = width * fc.step * fc.bytes + 1 + rng() % 7; // odd padding, any alignment
                BufferPtr img = MakeImage(width, height, fc.format, pitch);
                // Samples within the depth, with dark and bright pixels made common.
                const uint32_t max = (1u << fc.bits) - 1;
                for (size_t i = 0; i < pitch * height; ++i) Bytes(img)[i] = uint8_t(rng());
                for (size_t y = 0; y < height; ++y)
                    for (size_t s = 0; s < width * fc.step; ++s) {
                        const uint32_t kind = rng() % 3;
                        const uint32_t v = kind == 0 ? rng() % (max / 8 + 1) : kind == 1 ? max - rng() % (max / 8 + 1)
                                                                                         : rng() % (max + 1);
                        if (fc.bytes == 1)
                            Bytes(img)[y * pitch + s] = uint8_t(v);
                        else
                            SetWord(img, y, s, uint16_t(v));
                    }
                std::vector<uint8_t> expected(Bytes(img), Bytes(img) + pitch * height);
                for (size_t y = 0; y < height; ++y)
                    for (size_t x = 0; x < width; ++x) {
                        const size_t at = y * pitch + x * fc.step * fc.bytes;
                        const size_t bAt = at + (fc.blueFirst ? 0 : 2) * fc.bytes, rAt = at + (fc.blueFirst ? 2 : 0) * fc.bytes;
                        int64_t b = Sample(expected, bAt, fc.bytes), r = Sample(expected, rAt, fc.bytes);
                        Reference(b, Sample(expected, at + fc.bytes, fc.bytes), r, fc.bits, thLow, sL, thHigh, sH);
                        for (unsigned i = 0; i < fc.bytes; ++i) {
                            expected[bAt + i] = uint8_t(b >> (8 * i));
                            expected[rAt + i] = uint8_t(r >> (8 * i));
                        }
                    }
                EXPECT_EQ(c.filter->Filter(img->GetILxImage()), img->GetILxImage());
                ASSERT_EQ(0, std::memcmp(expected.data(), Bytes(img), expected.size()));
            }
        }
    }
}

TEST(ChromaSuppression, DefaultsAndThresholdEdgesLeavePixels) {
    Chroma c;
    BufferPtr img = MakeImage(4, 3, LxPixelFormat_BGR8);
    for (size_t i = 0; i < 36; ++i) Bytes(img)[i] = uint8_t(i * 7);
    const std::vector<uint8_t> before(Bytes(img), Bytes(img) + 36);
    c.filter->Filter(img->GetILxImage());
    EXPECT_EQ(0, std::memcmp(before.data(), Bytes(img), 36)) << "a new filter changes nothing";

    BufferPtr one = MakeImage(1, 1, LxPixelFormat_BGR8);
    const uint8_t px[3] = {40, 24, 8}; // Y = (40 + 16 + 120) >> 3 = 22
    std::memcpy(Bytes(one), px, 3);
    c.Set(22, 255, 22, 255);
    c.filter->Filter(one->GetILxImage());
    EXPECT_EQ(0, std::memcmp(Bytes(one), px, 3)) << "Y equal to both thresholds stays";
    c.Set(23, 1, 255, 0); // one below the low threshold: k = 2, t = (24 - 40) * 2 = -32, u = 0
    c.filter->Filter(one->GetILxImage());
    EXPECT_EQ(0, std::memcmp(Bytes(one), px, 3));
    // k = 400: blue 40 - (16 * 400 >> 8) = 15 and red 8 + 25 = 33 would pass green: both stop at 24.
    c.Set(23, 200, 255, 0);
    c.filter->Filter(one->GetILxImage());
    const uint8_t pulled[3] = {24, 24, 24};
    EXPECT_EQ(0, std::memcmp(Bytes(one), pulled, 3));
}

TEST(ChromaSuppression, StrongLowSuppressionReachesGreenAtOnce) {
    Chroma c;
    c.Set(10, 255, 255, 0);
    BufferPtr img = MakeImage(2, 1, LxPixelFormat_RGBa8);
    const uint8_t px[8] = {0, 0, 0, 77, 3, 1, 0, 9}; // Y 0: k = 11 * 255 = 2805
    std::memcpy(Bytes(img), px, 8);
    c.filter->Filter(img->GetILxImage());
    const uint8_t expect[8] = {0, 0, 0, 77, 1, 1, 1, 9};
    EXPECT_EQ(0, std::memcmp(Bytes(img), expect, 8));
}

TEST(ChromaSuppression, TextsAndTheRegisterRoute) {
    Chroma c;
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] {
                  c.typed->SetThresholdValue(ELxChromaSuppressionPartSelector_t(2), 1);
              }),
              "eCSPS = 2 must be smaller than Max = 2");
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] {
                  c.typed->SetSuppressionValue(ELxChromaSuppressionPartSelector_t(-1), 1);
              }),
              "eCSPS = -1 must be equal or greater than Min = 0");
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] {
                  c.typed->SetSuppressionValue(LxChromaSuppressionPartSelector_HighLuminancePart, 256);
              }),
              "value = 256 must be equal or smaller than Max = 255");
    EXPECT_EQ(c.typed->GetThresholdValue(LxChromaSuppressionPartSelector_HighLuminancePart), 255u);
    EXPECT_EQ(c.typed->GetSuppressionValue(LxChromaSuppressionPartSelector_HighLuminancePart), 0u);

    GenApi::INodeMap* map = c.filter->GetINodeMap();
    GenApi::CEnumerationPtr selector(map->GetNode("ChromaSuppressionPartSelector"));
    GenApi::CIntegerPtr threshold(map->GetNode("ThresholdValue"));
    GenApi::CIntegerPtr suppression(map->GetNode("SuppressionValue"));
    ASSERT_TRUE(selector && threshold && suppression);
    EXPECT_EQ(threshold->GetMin(), 0);
    EXPECT_EQ(threshold->GetMax(), 255);
    *selector = "HighLuminancePart";
    threshold->SetValue(200);
    suppression->SetValue(7);
    EXPECT_EQ(c.typed->GetThresholdValue(LxChromaSuppressionPartSelector_HighLuminancePart), 200u);
    EXPECT_EQ(c.typed->GetSuppressionValue(LxChromaSuppressionPartSelector_HighLuminancePart), 7u);
    EXPECT_EQ(c.typed->GetThresholdValue(LxChromaSuppressionPartSelector_LowLuminancePart), 0u);
    // A typed change is seen through the node at once.
    c.typed->SetThresholdValue(LxChromaSuppressionPartSelector_HighLuminancePart, 180);
    EXPECT_EQ(threshold->GetValue(), 180);
    *selector = "LowLuminancePart";
    EXPECT_EQ(threshold->GetValue(), 0);

    // A raw port write of a part the selector does not have is refused, and nothing changes.
    auto* port = dynamic_cast<GenApi::IPort*>(c.filter.Get());
    const uint64_t part = 5;
    EXPECT_THROW(port->Write(&part, 0x10, 8), GenICam::OutOfRangeException);
    EXPECT_EQ(selector->GetIntValue(), 0);
}

TEST(ChromaSuppression, OnlyTheTwelveFormatsAreTaken) {
    Chroma c;
    c.Set(100, 10, 200, 10);
    for (uint32_t format : {LxPixelFormat_Mono8, LxPixelFormat_RGB16, LxPixelFormat_BayerRG8}) {
        BufferPtr img = MakeImage(2, 2, format);
        FillBytes(img, 3);
        EXPECT_EQ(TextOf<GenICam::RuntimeException>([&] { c.filter->Filter(img->GetILxImage()); }).rfind(
                      "Not supported pixelformat ", 0),
                  0u);
        EXPECT_EQ(Bytes(img)[0], 3);
    }
    EXPECT_TRUE(c.filter->GetFilterInfo()->IsSupportedPixelFormat(LxPixelFormat_BGRa14));
    EXPECT_FALSE(c.filter->GetFilterInfo()->IsSupportedPixelFormat(LxPixelFormat_RGB16));
    EXPECT_THROW(c.filter->Filter(nullptr), GenICam::InvalidArgumentException);
}
