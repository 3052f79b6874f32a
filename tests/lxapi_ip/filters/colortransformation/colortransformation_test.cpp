// The colour transformation filter: table and pixels against a reference written from the rules,
// every format and level, the disabled and refused paths, the texts and the register route.
#include "kernels/cpudispatch.h"
#include "lxcolortransformationfilter.h"

#include "lxmoduletest.h"

#include <GenApi/GenApi.h>

#include <cmath>
#include <random>

using namespace lxtest;

namespace {

struct Ct {
    FilterPtr filter{CreateILxFilter(LxFilterType_ColorTransformation)};
    ILxColorTransformationFilter* typed = dynamic_cast<ILxColorTransformationFilter*>(filter.Get());
    CLxColorTransformationFilter* module = dynamic_cast<CLxColorTransformationFilter*>(filter.Get());
};

// The reference: H from hue and saturation, M = H * G, and per output row r the sum over the three
// input channels j of trunc(running sum of M[r][j], t = v_j + 1 times, plus the offset for red).
struct Reference {
    double values[12];
    double hue, saturation;

    // The three channels (r, g, b) of one pixel to their outputs, at `bits`.
    void Apply(uint32_t in[3], unsigned bits) const {
        const double x = hue * 3.141592653589793 / 180.0, s = std::sin(x), c = std::cos(x), S = saturation;
        const double a = double(0.7011f), b = double(0.2989f), d = double(0.1145f), e = 0.8854999989271164,
                     g = double(0.5866f);
        double H[3][3];
        H[0][0] = (c * a + s * b) * S + b;
        H[0][1] = ((s - c) * S + 1.0) * g;
        H[0][2] = d - (c * d + s * e) * S;
        H[2][0] = (s * a - c * b) * S + b;
        H[2][1] = (1.0 - (c + s) * S) * g;
        H[2][2] = (c * e - s * d) * S + d;
        H[1][0] = (1.0 - H[0][0]) * b / g - H[2][0] * d / g;
        H[1][1] = 1.0 - H[0][1] * b / g - H[2][1] * d / g;
        H[1][2] = (1.0 - H[2][2]) * d / g - H[0][2] * b / g;
        const uint32_t max = (1u << bits) - 1;
        uint32_t out[3];
        for (int r = 0; r < 3; ++r) {
            uint32_t sum = 0;
            for (int j = 0; j < 3; ++j) {
                const double m = H[r][0] * values[j] + H[r][1] * values[4 + j] + H[r][2] * values[8 + j];
                double acc = j == 0 ? values[4 * r + 3] : 0.0;
                for (uint32_t t = 0; t <= std::min(in[j], max); ++t) acc += m;
                sum += uint32_t(int32_t(acc));
            }
            out[r] = sum <= max ? sum : sum < 0x10000000u ? max : 0;
        }
        for (int r = 0; r < 3; ++r) in[r] = out[r];
    }
};

struct FormatCase {
    uint32_t format;
    unsigned bits, step, bytes;
    bool rgb;
};
const FormatCase Formats[] = {
    {LxPixelFormat_RGB8, 8, 3, 1, true},    {LxPixelFormat_RGBa8, 8, 4, 1, true},
    {LxPixelFormat_BGR8, 8, 3, 1, false},   {LxPixelFormat_BGRa8, 8, 4, 1, false},
    {LxPixelFormat_BGR10, 10, 3, 2, false}, {LxPixelFormat_BGRa10, 10, 4, 2, false},
    {LxPixelFormat_BGR12, 12, 3, 2, false}, {LxPixelFormat_BGRa12, 12, 4, 2, false},
    {LxPixelFormat_BGR14, 14, 3, 2, false}, {LxPixelFormat_BGRa14, 14, 4, 2, false},
    {LxPixelFormat_BGR16, 16, 3, 2, false}, {LxPixelFormat_BGRa16, 16, 4, 2, false},
};

uint32_t Get(const uint8_t* p, unsigned bytes) { return bytes == 1 ? p[0] : uint32_t(p[0] | p[1] << 8); }
void Put(uint8_t* p, unsigned bytes, uint32_t v) {
    p[0] = uint8_t(v);
    if (bytes == 2) p[1] = uint8_t(v >> 8);
}

// Levels to prove: portable, and every faster one the kernel has on this processor.
std::vector<lxcpu::Level> Levels() {
    std::vector<lxcpu::Level> levels{lxcpu::Level::Portable};
    for (lxcpu::Level l : lxcpu::FastLevels([](lxcpu::Level a) { return lxcpu::Level(lxct::LevelAt(unsigned(a))); }))
        levels.push_back(l);
    return levels;
}

} // namespace

TEST(ColorTransformation, RandomImagesMatchTheReferenceInEveryFormatAndLevel) {
    std::mt19937 rng(112);
    for (lxcpu::Level level : Levels()) {
        lxcpu::ForcedLevel forced(level);
        for (const FormatCase& fc : Formats) {
            // 8-bit images also with a matrix near the identity (small cross terms), with the largest
            // values (sums beyond 16 bits), and with offsets that put the sums around the 16-bit limits.
            for (int mode = 0; mode < (fc.bytes == 1 ? 4 : 1); ++mode) {
                SCOPED_TRACE(testing::Message() << lxcpu::LevelName(level) << " " << std::hex << fc.format
                                                << " mode " << mode);
                Ct ct;
                Reference ref{};
                const double gainSpan[4] = {2.0, 0.3, 16.0, 1.0}, offsetSpan[4] = {300.0, 20.0, 65535.0, 32767.0};
                std::uniform_real_distribution<double> gain(-gainSpan[mode], gainSpan[mode]),
                    offset(-offsetSpan[mode], offsetSpan[mode]);
                for (int i = 0; i < 12; ++i) {
                    const bool diagonal = i % 5 == 0;
                    ref.values[i] = (i % 4 == 3) ? offset(rng) : gain(rng) + (mode % 2 == 1 && diagonal ? 1.0 : 0.0);
                    if (mode == 3 && i % 4 == 3)
                        ref.values[i] = std::copysign(32000.0 + std::fabs(ref.values[i]) / 40.0, ref.values[i]);
                    ct.typed->SetColorTransformationValue(ELxColorTransformationValueSelector_t(i), ref.values[i]);
                }
                ref.hue = std::uniform_real_distribution<double>(-180.0, 180.0)(rng) / (mode == 1 ? 20.0 : 1.0);
                ref.saturation = std::uniform_real_distribution<double>(0.0, 4.0)(rng);
                if (mode == 1) ref.saturation = 0.8 + ref.saturation / 10.0;
                ct.typed->SetHueCorrection(ref.hue);
                ct.typed->SetSaturationCorrection(ref.saturation);
                ct.typed->SetColorTransformationEnable(true);
                // 8-bit lines across whole vector groups of 64 pixels and a partial last one.
                const size_t width = 1 + rng() % (fc.bytes == 1 ? 200 : 41), height = 1 + rng() % 5;
                const size_t pitch = width * fc.step * fc.bytes + rng() % 5;
                BufferPtr img = MakeImage(width, height, fc.format, pitch);
                // Any bytes: deep samples above the depth's maximum are looked up as the maximum.
                for (size_t i = 0; i < pitch * height; ++i) Bytes(img)[i] = uint8_t(rng());
                std::vector<uint8_t> expected(Bytes(img), Bytes(img) + pitch * height);
                const unsigned rPos = fc.rgb ? 0 : 2, bPos = fc.rgb ? 2 : 0;
                for (size_t y = 0; y < height; ++y)
                    for (size_t x = 0; x < width; ++x) {
                        uint8_t* p = expected.data() + y * pitch + x * fc.step * fc.bytes;
                        uint32_t v[3] = {Get(p + rPos * fc.bytes, fc.bytes), Get(p + fc.bytes, fc.bytes),
                                         Get(p + bPos * fc.bytes, fc.bytes)};
                        ref.Apply(v, fc.bits);
                        Put(p + rPos * fc.bytes, fc.bytes, v[0]);
                        Put(p + fc.bytes, fc.bytes, v[1]);
                        Put(p + bPos * fc.bytes, fc.bytes, v[2]);
                    }
                ct.filter->Filter(img->GetILxImage());
                ASSERT_EQ(0, std::memcmp(expected.data(), Bytes(img), expected.size()));
            }
        }
    }
}

TEST(ColorTransformation, DisabledTouchesNothingAndEnabledRefusesOnlyMono) {
    Ct ct;
    for (uint32_t format : {LxPixelFormat_Mono8, LxPixelFormat_BGR8, LxPixelFormat_BayerRG8}) {
        BufferPtr img = MakeImage(3, 2, format);
        FillBytes(img, 9);
        EXPECT_EQ(ct.filter->Filter(img->GetILxImage()), img->GetILxImage());
        EXPECT_EQ(Bytes(img)[0], 9);
    }
    ct.typed->SetColorTransformationEnable(true);
    BufferPtr mono = MakeImage(3, 2, LxPixelFormat_Mono8);
    FillBytes(mono, 9);
    EXPECT_EQ(TextOf<GenICam::RuntimeException>([&] { ct.filter->Filter(mono->GetILxImage()); }),
              "Not supported pixelformat Mono8");
    EXPECT_EQ(Bytes(mono)[0], 9);
    for (uint32_t format : {LxPixelFormat_BayerRG8, LxPixelFormat_RGB16, LxPixelFormat_YCbCr422_8}) {
        BufferPtr img = MakeImage(4, 2, format);
        FillBytes(img, 9);
        EXPECT_NO_THROW(ct.filter->Filter(img->GetILxImage()));
        EXPECT_EQ(Bytes(img)[0], 9);
    }
}

TEST(ColorTransformation, IdentityRaisesEverySampleByOneAndTheClampsHold) {
    Ct ct;
    ct.typed->SetColorTransformationEnable(true);
    BufferPtr img = MakeImage(32, 1, LxPixelFormat_BGR8);
    for (size_t i = 0; i < 96; ++i) Bytes(img)[i] = uint8_t(i < 3 ? 255 - i : i * 5);
    std::vector<uint8_t> before(Bytes(img), Bytes(img) + 96);
    ct.filter->Filter(img->GetILxImage());
    for (size_t i = 0; i < 96; ++i) ASSERT_EQ(Bytes(img)[i], before[i] == 255 ? 255 : before[i] + 1) << i;

    // Gain00 -1: the red output is negative, wraps, and clamps to 0 (RGB8: red first).
    ct.typed->SetColorTransformationValue(LxColorTransformationValueSelector_Gain00, -1.0);
    BufferPtr rgb = MakeImage(17, 1, LxPixelFormat_RGB8);
    FillBytes(rgb, 100);
    ct.filter->Filter(rgb->GetILxImage());
    for (size_t x = 0; x < 17; ++x) {
        EXPECT_EQ(Bytes(rgb)[3 * x], 0);
        EXPECT_EQ(Bytes(rgb)[3 * x + 1], 101);
    }

    // Offset0 65535 on BGR16 drives red to 65535 for every input.
    Ct deep;
    deep.typed->SetColorTransformationEnable(true);
    deep.typed->SetColorTransformationValue(LxColorTransformationValueSelector_Offset0, 65535.0);
    BufferPtr w = MakeImage(3, 2, LxPixelFormat_BGR16);
    for (size_t y = 0; y < 2; ++y)
        for (size_t i = 0; i < 9; ++i) SetWord(w, y, i, uint16_t(i * 7000));
    deep.filter->Filter(w->GetILxImage());
    for (size_t y = 0; y < 2; ++y)
        for (size_t x = 0; x < 3; ++x) EXPECT_EQ(Word(w, y, 3 * x + 2), 65535);
}

TEST(ColorTransformation, TablesAreMadeOncePerDepthAndParameters) {
    Ct ct;
    ct.typed->SetColorTransformationEnable(true);
    BufferPtr b8 = MakeImage(2, 2, LxPixelFormat_BGR8), b12 = MakeImage(2, 2, LxPixelFormat_BGR12),
              b16 = MakeImage(2, 2, LxPixelFormat_BGRa16);
    ct.filter->Filter(b8->GetILxImage());
    const auto* first = ct.module->PeekTable();
    ct.filter->Filter(b8->GetILxImage());
    EXPECT_EQ(ct.module->PeekTable(), first);
    EXPECT_EQ(first->Size(), 3u * 256);
    ct.filter->Filter(b12->GetILxImage());
    EXPECT_EQ(ct.module->PeekTable()->Size(), 3u * 4096);
    ct.filter->Filter(b16->GetILxImage());
    EXPECT_EQ(ct.module->PeekTable()->Size(), 3u * 65536);
    // Red input 999 adds 1000 * Gain00 to red with the identity; a hue of 10 degrees mixes it.
    EXPECT_EQ((*ct.module->PeekTable())[2 * 65536 + 999].word[2], 1000u);
    ct.typed->SetHueCorrection(10.0);
    ct.filter->Filter(b16->GetILxImage());
    EXPECT_NE((*ct.module->PeekTable())[2 * 65536 + 999].word[2], 1000u);
    // Switching off and on makes no table.
    const auto* now = ct.module->PeekTable();
    ct.typed->SetColorTransformationEnable(false);
    ct.typed->SetColorTransformationEnable(true);
    ct.filter->Filter(b16->GetILxImage());
    EXPECT_EQ(ct.module->PeekTable(), now);
}

TEST(ColorTransformation, TextsBoundsAndTheRegisterRoute) {
    Ct ct;
    using S = ELxColorTransformationValueSelector_t;
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { ct.typed->SetColorTransformationValue(S(12), 0.0); }),
              "eCTVS = 12 must be smaller than Max = 12");
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { ct.typed->GetColorTransformationValue(S(-1)); }),
              "eCTVS = -1 must be equal or greater than Min = 0");
    EXPECT_NO_THROW(ct.typed->SetColorTransformationValue(S(0), 16.0));
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { ct.typed->SetColorTransformationValue(S(0), 16.5); }),
              "value = 16.500000 must be smaller than or equal 16.000000");
    EXPECT_EQ(ct.typed->GetColorTransformationValue(S(0)), 16.0);
    EXPECT_NO_THROW(ct.typed->SetColorTransformationValue(S(3), 16.5));
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { ct.typed->SetHueCorrection(-180.5); }),
              "value = -180.500000 must be greater than or equal -180.000000");
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { ct.typed->SetSaturationCorrection(4.25); }),
              "value = 4.250000 must be smaller than or equal 4.000000");

    GenApi::INodeMap* map = ct.filter->GetINodeMap();
    GenApi::CEnumerationPtr selector(map->GetNode("ColorTransformationValueSelector"));
    GenApi::CFloatPtr value(map->GetNode("ColorTransformationValue"));
    GenApi::CBooleanPtr enable(map->GetNode("ColorTransformationEnable"));
    ASSERT_TRUE(selector && value && enable);
    EXPECT_FALSE(enable->GetValue());
    EXPECT_EQ(value->GetValue(), 16.0);
    EXPECT_EQ(value->GetMax(), 16.0);
    *selector = "Offset1";
    EXPECT_EQ(value->GetMax(), 65535.0);
    EXPECT_EQ(value->GetMin(), -65535.0);
    value->SetValue(-1000.0);
    EXPECT_EQ(ct.typed->GetColorTransformationValue(LxColorTransformationValueSelector_Offset1), -1000.0);
    ct.typed->SetColorTransformationValue(LxColorTransformationValueSelector_Offset1, 5.0);
    EXPECT_EQ(value->GetValue(), 5.0);

    // Only exactly 1 enables; 2 disables.
    auto* port = dynamic_cast<GenApi::IPort*>(ct.filter.Get());
    const uint32_t one = 1, two = 2;
    port->Write(&one, 0x20, 4);
    EXPECT_TRUE(ct.typed->GetColorTransformationEnable());
    port->Write(&two, 0x20, 4);
    EXPECT_FALSE(ct.typed->GetColorTransformationEnable());
    // The matrix value keeps its bounds on the register route; a selector of 12 names no value.
    const double big = 20.0;
    const uint64_t gain = 5, none = 12;
    port->Write(&gain, 0x28, 8);
    EXPECT_THROW(port->Write(&big, 0x30, 8), GenICam::OutOfRangeException);
    EXPECT_EQ(ct.typed->GetColorTransformationValue(LxColorTransformationValueSelector_Gain11), 1.0);
    port->Write(&none, 0x28, 8);
    double read = 0;
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { port->Read(&read, 0x30, 8); }),
              "eCTVS = 12 must be smaller than Max = 12");
    EXPECT_THROW(port->Write(&big, 0x30, 8), GenICam::OutOfRangeException);
    // Hue and saturation are stored unchecked from the port; a value that is no number still makes a
    // table with defined entries.
    const double nan = std::nan("");
    port->Write(&nan, 0x10, 8);
    ct.typed->SetColorTransformationEnable(true);
    BufferPtr img = MakeImage(5, 1, LxPixelFormat_BGR8);
    FillBytes(img, 50);
    EXPECT_NO_THROW(ct.filter->Filter(img->GetILxImage()));
}
