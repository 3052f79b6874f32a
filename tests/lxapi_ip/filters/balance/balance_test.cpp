// The balance ratio filter end to end: every format against a table rule and a sample layout written
// here, parameters at their bounds, the automatic balance on known colour casts, the typed and the
// register roads to the parameters.
#include "lxdescriptions.h"
#include "lxmoduletest.h"

#include <GenApi/GenApi.h>
#include <lxapi/ilxbalanceratiofilter.h>

#include <cmath>
#include <functional>
#include <random>

using namespace lxtest;

namespace {

namespace R = lxres::lxbalanceratiofilter;
enum Ch { Red, Green, Blue, Y, Cb, Cr, None };

struct Balance {
    FilterPtr filter{CreateILxFilter(LxFilterType_BalanceRatio)};
    ILxBalanceRatioFilter* typed = dynamic_cast<ILxBalanceRatioFilter*>(filter.Get());
    GenApi::IPort* port = dynamic_cast<GenApi::IPort*>(filter.Get());
};

struct Params {
    double ratio;
    int32_t before;
    int32_t after;
};

// The table rule: v = (i + before) * ratio + min(top, after); top where v reaches top, lo where v is
// at or below lo, else v truncated.
uint32_t Expected(uint32_t i, const Params& p, unsigned bits, uint32_t lo, uint32_t hi) {
    const double top = hi ? hi : double((1u << bits) - 1);
    const double v = (double(i) + p.before) * p.ratio + std::min(top, double(p.after));
    if (v >= top) return uint32_t(top);
    if (double(lo) >= v) return lo;
    return uint32_t(v);
}

// Where each sample of a line lies and which channel it belongs to, written out per format.
struct Sample {
    size_t offset; // in samples from the line start
    Ch channel;
};
std::vector<Sample> LineLayout(uint32_t format, size_t width, size_t y) {
    std::vector<Sample> s;
    const char* bayer = nullptr;
    switch (format) {
    case LxPixelFormat_BayerRG8: case LxPixelFormat_BayerRG12: bayer = "RGGB"; break;
    case LxPixelFormat_BayerGR8: case LxPixelFormat_BayerGR16: bayer = "GRBG"; break;
    case LxPixelFormat_BayerGB8: case LxPixelFormat_BayerGB10: bayer = "GBRG"; break;
    case LxPixelFormat_BayerBG8: case LxPixelFormat_BayerBG14: bayer = "BGGR"; break;
    default: break;
    }
    if (bayer) {
        for (size_t x = 0; x < width; ++x) {
            const char c = bayer[(y & 1) * 2 + (x & 1)];
            s.push_back({x, c == 'R' ? Red : c == 'G' ? Green : Blue});
        }
        return s;
    }
    switch (format) {
    case LxPixelFormat_Mono8: case LxPixelFormat_Mono12: case LxPixelFormat_Mono16:
        for (size_t x = 0; x < width; ++x) s.push_back({x, Y});
        break;
    case LxPixelFormat_RGB8: case LxPixelFormat_RGBa8: {
        const size_t n = format == LxPixelFormat_RGB8 ? 3 : 4;
        for (size_t x = 0; x < width; ++x) {
            s.push_back({n * x, Red}), s.push_back({n * x + 1, Green}), s.push_back({n * x + 2, Blue});
            if (n == 4) s.push_back({n * x + 3, None});
        }
        break;
    }
    case LxPixelFormat_BGR8: case LxPixelFormat_BGRa8: case LxPixelFormat_BGR12: case LxPixelFormat_BGRa16: {
        const size_t n = format == LxPixelFormat_BGR8 || format == LxPixelFormat_BGR12 ? 3 : 4;
        for (size_t x = 0; x < width; ++x) {
            s.push_back({n * x, Blue}), s.push_back({n * x + 1, Green}), s.push_back({n * x + 2, Red});
            if (n == 4) s.push_back({n * x + 3, None});
        }
        break;
    }
    case LxPixelFormat_YCbCr8:
        for (size_t x = 0; x < width; ++x) s.push_back({3 * x, Y}), s.push_back({3 * x + 1, Cb}), s.push_back({3 * x + 2, Cr});
        break;
    case LxPixelFormat_YCbCr422_8: case LxPixelFormat_YCbCr709_422_8:
        for (size_t g = 0; width > 1 && g < width / 2; ++g)
            s.push_back({4 * g, Y}), s.push_back({4 * g + 1, Cb}), s.push_back({4 * g + 2, Y}), s.push_back({4 * g + 3, Cr});
        break;
    case LxPixelFormat_YCbCr411_8:
        for (size_t g = 0; width > 3 && g < width / 4; ++g)
            for (size_t k = 0; k < 6; ++k) s.push_back({6 * g + k, k == 2 ? Cb : k == 5 ? Cr : Y});
        break;
    default: ADD_FAILURE() << "no layout for " << std::hex << format;
    }
    return s;
}

unsigned BitsOf(uint32_t format) { return unsigned(GetILxPixelFormatInfo(format)->GetComponentBits()); }

// A random image of valid samples with random padding.
BufferPtr RandomImage(uint32_t format, size_t width, size_t height, std::mt19937& rng) {
    BufferPtr b = MakeImage(width, height, format);
    const unsigned bits = BitsOf(format);
    const size_t bytes = Pitch(b) * height;
    for (size_t i = 0; i < bytes; ++i) Bytes(b)[i] = uint8_t(rng());
    if (bits > 8)
        for (size_t y = 0; y < height; ++y)
            for (size_t i = 0; i < Pitch(b) / 2; ++i) SetWord(b, y, i, uint16_t(Word(b, y, i) & ((1u << bits) - 1)));
    return b;
}

uint32_t SampleAt(const BufferPtr& b, bool words, size_t y, size_t i) {
    return words ? Word(b, y, i) : Bytes(b)[y * Pitch(b) + i];
}

// Filters a random image of `format` and compares every byte: mapped samples by the rule, all
// others (alpha, remainders, padding) unchanged.
void CheckFormat(Balance& f, uint32_t format, size_t width, size_t height, const Params (&p)[6], std::mt19937& rng) {
    SCOPED_TRACE(testing::Message() << "format " << std::hex << format << std::dec << " " << width << "x" << height);
    BufferPtr img = RandomImage(format, width, height, rng);
    std::vector<uint8_t> before(Bytes(img), Bytes(img) + Pitch(img) * height);
    const unsigned bits = BitsOf(format);
    const bool words = bits > 8;
    const bool limited = format == LxPixelFormat_YCbCr709_422_8;
    const bool luma = GetILxPixelFormatInfo(format)->IsYCbCr();
    f.filter->Filter(img->GetILxImage());
    std::vector<bool> mapped(Pitch(img) * height, false);
    for (size_t y = 0; y < height; ++y)
        for (const Sample& s : LineLayout(format, width, y)) {
            const size_t at = y * Pitch(img) + s.offset * (words ? 2 : 1);
            uint32_t in = words ? uint32_t(before[at] | before[at + 1] << 8) : before[at];
            uint32_t want = in;
            if (s.channel != None) {
                const uint32_t lo = limited ? 16 : 0;
                const uint32_t hi = limited ? (s.channel == Y ? 235 : 240) : luma ? 255 : 0;
                want = Expected(in, p[s.channel], bits, lo, hi);
                mapped[at] = true;
                if (words) mapped[at + 1] = true;
            }
            ASSERT_EQ(SampleAt(img, words, y, s.offset), want) << "line " << y << " sample " << s.offset;
        }
    for (size_t i = 0; i < mapped.size(); ++i)
        if (!mapped[i]) {
            ASSERT_EQ(Bytes(img)[i], before[i]) << "unmapped byte " << i;
        }
}

void SetAll(Balance& f, const Params (&p)[6]) {
    for (int c = 0; c < 6; ++c) {
        const auto s = ELxBalanceRatioSelector_t(c);
        f.typed->SetBalanceRatio(s, p[c].ratio);
        f.typed->SetOffsetLevelBeforeGain(s, p[c].before);
        f.typed->SetOffsetLevelAfterGain(s, p[c].after);
    }
}

const uint32_t kFormats[] = {
    LxPixelFormat_Mono8,    LxPixelFormat_Mono12,    LxPixelFormat_Mono16,     LxPixelFormat_BayerRG8,
    LxPixelFormat_BayerGR8, LxPixelFormat_BayerGB8,  LxPixelFormat_BayerBG8,   LxPixelFormat_BayerRG12,
    LxPixelFormat_BayerGR16, LxPixelFormat_BayerGB10, LxPixelFormat_BayerBG14, LxPixelFormat_RGB8,
    LxPixelFormat_RGBa8,    LxPixelFormat_BGR8,      LxPixelFormat_BGRa8,      LxPixelFormat_BGR12,
    LxPixelFormat_BGRa16,   LxPixelFormat_YCbCr8,    LxPixelFormat_YCbCr422_8, LxPixelFormat_YCbCr411_8,
    LxPixelFormat_YCbCr709_422_8,
};

double Average(const BufferPtr& b, uint32_t format, size_t width, size_t height, Ch channel) {
    const bool words = BitsOf(format) > 8;
    double sum = 0, count = 0;
    for (size_t y = 0; y < height; ++y)
        for (const Sample& s : LineLayout(format, width, y))
            if (s.channel == channel) sum += SampleAt(b, words, y, s.offset), count += 1;
    return count ? sum / count : 0;
}

} // namespace

TEST(BalanceFilter, EveryFormatFollowsTheTableRuleAtTheParameterBounds) {
    std::mt19937 rng(108);
    const Params sets[][6] = {
        // new filter: ratio 1, offsets 0, chroma centred
        {{1, 0, 0}, {1, 0, 0}, {1, 0, 0}, {1, 0, 0}, {1, -128, 128}, {1, -128, 128}},
        // every bound on some channel
        {{0, -255, 0}, {16, 255, 255}, {16, -255, 0}, {0, 255, 255}, {16, -128, 128}, {0, -255, 255}},
        {{0.73, -37, 12}, {2.5, 100, 255}, {1.01, 0, 3}, {0.5, 10, 200}, {3.3, -200, 17}, {0.01, 60, 250}},
    };
    for (const auto& p : sets) {
        Balance f;
        SetAll(f, p);
        for (uint32_t format : kFormats)
            for (auto [w, h] : {std::pair<size_t, size_t>{1, 1}, {3, 2}, {5, 3}, {67, 5}, {130, 4}})
                CheckFormat(f, format, w, h, p, rng);
    }
}

TEST(BalanceFilter, NewFilterAndTheEdges) {
    Balance f;
    // Mono8 unchanged; YCbCr8 chroma c maps to (c - 128) + 128, 0 stays 0.
    std::mt19937 rng(1);
    BufferPtr mono = RandomImage(LxPixelFormat_Mono8, 33, 3, rng);
    std::vector<uint8_t> before(Bytes(mono), Bytes(mono) + Pitch(mono) * 3);
    f.filter->Filter(mono->GetILxImage());
    EXPECT_EQ(0, std::memcmp(before.data(), Bytes(mono), before.size()));
    BufferPtr ycc = MakeImage(2, 1, LxPixelFormat_YCbCr8);
    const uint8_t px[] = {10, 0, 255, 200, 128, 77};
    std::memcpy(Bytes(ycc), px, 6);
    f.filter->Filter(ycc->GetILxImage());
    EXPECT_EQ(0, std::memcmp(px, Bytes(ycc), 6));
    // A width of 3 on YCbCr411_8 makes no group: the line stays.
    f.typed->SetBalanceRatio(LxBalanceRatioSelector_Y, 0.0);
    BufferPtr w3 = MakeImage(3, 2, LxPixelFormat_YCbCr411_8);
    FillBytes(w3, 99);
    f.filter->Filter(w3->GetILxImage());
    for (size_t i = 0; i < Pitch(w3) * 2; ++i) ASSERT_EQ(Bytes(w3)[i], 99);
    // Formats without a handler raise and change nothing.
    BufferPtr rgb16 = MakeImage(4, 2, LxPixelFormat_RGB16);
    FillBytes(rgb16, 5);
    EXPECT_EQ(TextOf<GenICam::RuntimeException>([&] { f.filter->Filter(rgb16->GetILxImage()); }),
              "Not supported pixelformat RGB16");
    EXPECT_EQ(Bytes(rgb16)[0], 5);
    EXPECT_EQ(f.filter->GetFilterInfo()->IsSupportedPixelFormat(LxPixelFormat_BGR10), true);
    EXPECT_EQ(f.filter->GetFilterInfo()->IsSupportedPixelFormat(LxPixelFormat_RGB16), false);
}

TEST(BalanceFilter, TypedSettersCheckTheirArguments) {
    Balance f;
    auto& t = *f.typed;
    EXPECT_NO_THROW(t.SetBalanceRatio(LxBalanceRatioSelector_Red, 16.0));
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { t.SetBalanceRatio(LxBalanceRatioSelector_Red, 16.1); }),
              "value = 16.100000 must be smaller than or equal 16.000000");
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { t.SetBalanceRatio(LxBalanceRatioSelector_Red, NAN); }),
              "value = nan must be greater than or equal 0.000000");
    EXPECT_EQ(t.GetBalanceRatio(LxBalanceRatioSelector_Red), 16.0);
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { t.SetOffsetLevelAfterGain(LxBalanceRatioSelector_Cb, -1); }),
              "value = -1 must be equal or greater than Min = 0");
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { t.SetOffsetLevelAfterGain(LxBalanceRatioSelector_Cb, 256); }),
              "value = 256 must be equal or smaller than Max = 255");
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { t.SetOffsetLevelBeforeGain(LxBalanceRatioSelector_Y, -256); }),
              "value = -256 must be equal or greater than Min = -255");
    EXPECT_EQ(t.GetOffsetLevelAfterGain(LxBalanceRatioSelector_Cb), 128);
    EXPECT_EQ(t.GetOffsetLevelBeforeGain(LxBalanceRatioSelector_Cr), -128);
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { t.GetBalanceRatio(ELxBalanceRatioSelector_t(6)); }),
              "eBRS = 6 must be smaller than Max = 6");
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { t.SetBalanceRatio(ELxBalanceRatioSelector_t(-1), 1.0); }),
              "eBRS = -1 must be equal or greater than Min = 0");
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { t.SetBalanceWhiteAuto(ELxBalanceWhiteAuto_t(3)); }),
              "eBWA = 3 must be smaller than Max = 3");
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { t.SetBalanceWhiteAuto(ELxBalanceWhiteAuto_t(-1)); }),
              "eBWA = -1 must be equal or greater than Min = 0");
    EXPECT_EQ(t.GetBalanceWhiteAuto(), LxBalanceWhiteAuto_Off);
}

TEST(BalanceFilter, RegistersFollowTheSelector) {
    Balance f;
    auto write = [&](const lxip::RegisterNode& r, auto v) { f.port->Write(&v, r.address, sizeof v); };
    auto readDouble = [&](const lxip::RegisterNode& r) {
        double v = 0;
        f.port->Read(&v, r.address, 8);
        return v;
    };
    write(R::BalanceRatioSelectorReg, uint64_t(2));
    write(R::BalanceRatioReg, 3.5);
    write(R::OffsetLevelAfterGainReg, int32_t(-7)); // no range check on this road
    EXPECT_EQ(f.typed->GetBalanceRatio(LxBalanceRatioSelector_Blue), 3.5);
    EXPECT_EQ(f.typed->GetOffsetLevelAfterGain(LxBalanceRatioSelector_Blue), -7);
    EXPECT_EQ(f.typed->GetBalanceRatio(LxBalanceRatioSelector_Red), 1.0);
    EXPECT_EQ(readDouble(R::MaxBalanceRatioValue), 16.0);
    int32_t minBefore = 0;
    f.port->Read(&minBefore, R::MinOffsetLevelBeforeGainValue.address, 4);
    EXPECT_EQ(minBefore, -255);
    // An unknown selector makes the channel registers raise the selector text.
    write(R::BalanceRatioSelectorReg, uint64_t(9));
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { readDouble(R::BalanceRatioReg); }),
              "eBRS = 9 must be smaller than Max = 6");
    write(R::BalanceRatioSelectorReg, uint64_t(3));
    EXPECT_EQ(readDouble(R::BalanceRatioReg), 1.0);
}

TEST(BalanceFilter, FeaturesLockWhileTheAutomaticBalanceRuns) {
    Balance f;
    GenApi::INodeMap* map = f.filter->GetINodeMap();
    GenApi::CEnumerationPtr selector(map->GetNode("BalanceRatioSelector"));
    GenApi::CEnumerationPtr mode(map->GetNode("BalanceWhiteAuto"));
    GenApi::CFloatPtr ratio(map->GetNode("BalanceRatio"));
    GenApi::CIntegerPtr before(map->GetNode("OffsetLevelBeforeGain"));
    ratio->SetValue(2.0);
    EXPECT_EQ(f.typed->GetBalanceRatio(LxBalanceRatioSelector_Red), 2.0);
    mode->FromString("Continuous");
    EXPECT_EQ(f.typed->GetBalanceWhiteAuto(), LxBalanceWhiteAuto_Continuous);
    EXPECT_FALSE(GenApi::IsWritable(ratio));
    EXPECT_TRUE(GenApi::IsWritable(before));
    selector->FromString("Y");
    EXPECT_TRUE(GenApi::IsWritable(ratio));
    selector->FromString("Cr");
    EXPECT_FALSE(GenApi::IsWritable(before));
    // A typed change reaches the features.
    f.typed->SetBalanceWhiteAuto(LxBalanceWhiteAuto_Off);
    EXPECT_EQ(mode->ToString(), "Off");
    EXPECT_TRUE(GenApi::IsWritable(before));
    f.typed->SetOffsetLevelBeforeGain(LxBalanceRatioSelector_Cr, -20);
    EXPECT_EQ(before->GetValue(), -20);
}

TEST(BalanceFilter, AutomaticBalanceUndoesAKnownColourCast) {
    // A grey chart of 8 patches, red multiplied by 0.5 and blue by 0.8: green is the brightest, so it
    // keeps 1.0 and red and blue get the inverse gains, as the channel averages give them.
    for (uint32_t format : {LxPixelFormat_BGR8, LxPixelFormat_RGBa8, LxPixelFormat_BGR12, LxPixelFormat_BayerRG12,
                            LxPixelFormat_BayerBG8}) {
        SCOPED_TRACE(testing::Message() << std::hex << format);
        const size_t w = 63, h = 31;
        const bool words = BitsOf(format) > 8;
        const double scale = words ? 16.0 : 1.0;
        const double gain[3] = {0.5, 1.0, 0.8};
        auto chart = [&] {
            BufferPtr b = MakeImage(w, h, format);
            for (size_t y = 0; y < h; ++y)
                for (const Sample& s : LineLayout(format, w, y)) {
                    const double grey = scale * (30 + 25 * ((s.offset / 7 + y / 4) % 8));
                    const uint32_t v = s.channel == None ? 255 : uint32_t(grey * gain[s.channel]);
                    if (words) SetWord(b, y, s.offset, uint16_t(v));
                    else Bytes(b)[y * Pitch(b) + s.offset] = uint8_t(v);
                }
            return b;
        };
        Balance f;
        f.typed->SetBalanceWhiteAuto(LxBalanceWhiteAuto_Once);
        BufferPtr img = chart();
        const double avg[3] = {Average(img, format, w, h, Red), Average(img, format, w, h, Green),
                               Average(img, format, w, h, Blue)};
        f.filter->Filter(img->GetILxImage());
        EXPECT_EQ(f.typed->GetBalanceRatio(LxBalanceRatioSelector_Green), 1.0);
        EXPECT_DOUBLE_EQ(f.typed->GetBalanceRatio(LxBalanceRatioSelector_Red), avg[1] / avg[0]);
        EXPECT_DOUBLE_EQ(f.typed->GetBalanceRatio(LxBalanceRatioSelector_Blue), avg[1] / avg[2]);
        EXPECT_NEAR(f.typed->GetBalanceRatio(LxBalanceRatioSelector_Red), 2.0, 0.02);
        EXPECT_NEAR(f.typed->GetBalanceRatio(LxBalanceRatioSelector_Blue), 1.25, 0.01);
        // The balanced image is near grey again; Once goes on until the ratios stop moving.
        EXPECT_NEAR(Average(img, format, w, h, Red), avg[1], 1.0 * scale);
        EXPECT_EQ(f.typed->GetBalanceWhiteAuto(), LxBalanceWhiteAuto_Once);
        BufferPtr again = chart();
        f.filter->Filter(again->GetILxImage());
        EXPECT_EQ(f.typed->GetBalanceWhiteAuto(), LxBalanceWhiteAuto_Off);
        // Off: the next image keeps the ratios whatever its cast.
        BufferPtr grey = MakeImage(w, h, format);
        FillBytes(grey, 9);
        f.filter->Filter(grey->GetILxImage());
        EXPECT_DOUBLE_EQ(f.typed->GetBalanceRatio(LxBalanceRatioSelector_Red), avg[1] / avg[0]);
    }
}

TEST(BalanceFilter, AutomaticBalanceCornerCases) {
    {
        // All black: averages 0, red stays the maximum, the others get 0 / 0.
        Balance f;
        f.typed->SetBalanceWhiteAuto(LxBalanceWhiteAuto_Continuous);
        BufferPtr black = MakeImage(8, 4, LxPixelFormat_BGR8);
        FillBytes(black, 0);
        f.filter->Filter(black->GetILxImage());
        EXPECT_EQ(f.typed->GetBalanceRatio(LxBalanceRatioSelector_Red), 1.0);
        EXPECT_TRUE(std::isnan(f.typed->GetBalanceRatio(LxBalanceRatioSelector_Green)));
        EXPECT_TRUE(std::isnan(f.typed->GetBalanceRatio(LxBalanceRatioSelector_Blue)));
        EXPECT_EQ(Bytes(black)[0], 0);
        EXPECT_EQ(f.typed->GetBalanceWhiteAuto(), LxBalanceWhiteAuto_Continuous);
    }
    {
        // Chroma: the before-offsets move the averages of Cb and Cr to 128.
        Balance f;
        f.typed->SetBalanceWhiteAuto(LxBalanceWhiteAuto_Once);
        f.typed->SetBalanceRatio(LxBalanceRatioSelector_Cb, 3.0);
        auto image = [] {
            BufferPtr b = MakeImage(6, 2, LxPixelFormat_YCbCr422_8);
            for (size_t y = 0; y < 2; ++y)
                for (size_t g = 0; g < 3; ++g) {
                    uint8_t* p = Bytes(b) + y * Pitch(b) + 4 * g;
                    p[0] = 50, p[1] = uint8_t(99 + g), p[2] = 60, p[3] = 150;
                }
            return b;
        };
        BufferPtr img = image();
        f.filter->Filter(img->GetILxImage());
        EXPECT_EQ(f.typed->GetOffsetLevelBeforeGain(LxBalanceRatioSelector_Cb), -100);
        EXPECT_EQ(f.typed->GetOffsetLevelBeforeGain(LxBalanceRatioSelector_Cr), -150);
        EXPECT_EQ(f.typed->GetBalanceRatio(LxBalanceRatioSelector_Cb), 1.0);
        EXPECT_EQ(f.typed->GetOffsetLevelAfterGain(LxBalanceRatioSelector_Cr), 128);
        EXPECT_EQ(Bytes(img)[1], 127);
        EXPECT_EQ(Bytes(img)[3], 128);
        EXPECT_EQ(Bytes(img)[0], 50);
        EXPECT_EQ(f.typed->GetBalanceWhiteAuto(), LxBalanceWhiteAuto_Once);
        f.filter->Filter(image()->GetILxImage());
        EXPECT_EQ(f.typed->GetBalanceWhiteAuto(), LxBalanceWhiteAuto_Off);
    }
    {
        // Mono takes no statistics: Once stays Once.
        Balance f;
        f.typed->SetBalanceWhiteAuto(LxBalanceWhiteAuto_Once);
        BufferPtr mono = MakeImage(8, 4, LxPixelFormat_Mono12);
        FillBytes(mono, 1);
        f.filter->Filter(mono->GetILxImage());
        EXPECT_EQ(f.typed->GetBalanceWhiteAuto(), LxBalanceWhiteAuto_Once);
    }
}
