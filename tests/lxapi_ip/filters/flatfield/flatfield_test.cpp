// The flat field correction filter end to end: calibration from the stream, both laws against a
// reference written here, the state of the reference across mode changes, the port and the texts.
#include "lxdescriptions.h"
#include "lxflatfieldcorrectionfilter.h"
#include "lxmoduletest.h"

#include <GenApi/GenApi.h>

#include <algorithm>
#include <cmath>
#include <random>

using namespace lxtest;
namespace R = lxres::lxflatfieldcorrectionfilter;

namespace {

struct FlatField {
    FilterPtr filter{CreateILxFilter(LxFilterType_FlatFieldCorrection)};
    ILxFlatFieldCorrectionFilter* typed = dynamic_cast<ILxFlatFieldCorrectionFilter*>(filter.Get());
    CLxFlatFieldCorrectionFilter* inside = dynamic_cast<CLxFlatFieldCorrectionFilter*>(filter.Get());
    GenApi::IPort* port = dynamic_cast<GenApi::IPort*>(filter.Get());

    void Calibrate(const BufferPtr& img) {
        typed->SetCalibrationEnable(true);
        filter->Filter(img->GetILxImage());
        typed->SetCalibrationEnable(false);
    }
};

uint32_t Sample(const BufferPtr& b, size_t x, size_t y) {
    const size_t bytes = GetILxPixelFormatInfo(b->GetILxImage()->GetImagePixelFormat())->GetStorageBits() > 8 ? 2 : 1;
    return bytes == 1 ? Bytes(b)[y * Pitch(b) + x] : Word(b, y, x);
}
void SetSample(const BufferPtr& b, size_t x, size_t y, uint32_t v) {
    const size_t bytes = GetILxPixelFormatInfo(b->GetILxImage()->GetImagePixelFormat())->GetStorageBits() > 8 ? 2 : 1;
    if (bytes == 1)
        Bytes(b)[y * Pitch(b) + x] = uint8_t(v);
    else
        SetWord(b, y, x, uint16_t(v));
}

// A vignetted image: bright centre, darker corners, per-colour levels on Bayer sites, a little noise.
BufferPtr Vignette(size_t w, size_t h, uint32_t format, size_t pitch = 0) {
    BufferPtr b = MakeImage(w, h, format, pitch);
    FillBytes(b, 0xA5);
    const double m = double((1u << GetILxPixelFormatInfo(format)->GetComponentBits()) - 1);
    std::mt19937 rng(11);
    for (size_t y = 0; y < h; ++y)
        for (size_t x = 0; x < w; ++x) {
            const double dx = (x - w / 2.0) / w, dy = (y - h / 2.0) / h;
            const double colour = 1.0 - 0.15 * double((y & 1) * 2 + (x & 1));
            const double v = m * 0.7 * colour * (1.0 - 1.2 * (dx * dx + dy * dy)) + double(rng() % 5);
            SetSample(b, x, y, uint32_t(std::clamp(v, 0.0, m)));
        }
    return b;
}

// The phase targets as the filter defines them, computed independently.
std::array<uint32_t, 4> Targets(const BufferPtr& b, uint32_t target) {
    ILxImage* img = b->GetILxImage();
    ILxPixelFormatInfo* info = GetILxPixelFormatInfo(img->GetImagePixelFormat());
    const double m = double((1u << info->GetComponentBits()) - 1);
    if (target) return {target, target, target, target};
    const size_t w = img->GetImageWidth(), h = img->GetImageHeight();
    size_t s = std::min(w, h);
    if (s >= 4) s /= 4;
    double sum[4] = {};
    double n[4] = {};
    for (size_t y = (h - s) / 2; y < (h - s) / 2 + s; ++y)
        for (size_t x = (w - s) / 2; x < (w - s) / 2 + s; ++x) {
            sum[(y % 2) * 2 + x % 2] += Sample(b, x, y);
            n[(y % 2) * 2 + x % 2] += 1;
        }
    std::array<uint32_t, 4> t{};
    for (int c = 0; c < 4; ++c) {
        const double mean = info->IsBayer() ? (n[c] ? sum[c] / n[c] : 128.0)
                                            : (sum[0] + sum[1] + sum[2] + sum[3]) / (n[0] + n[1] + n[2] + n[3]);
        t[c] = uint32_t(std::min(mean, m));
    }
    return t;
}

} // namespace

// A frame corrects itself by gains: every pixel lands at or just below the target of its colour,
// short by the truncation of the gain and of the product (p / 128 + 1 at most), unless the gain
// ceiling 16.0 stopped it; and each output equals the fixed-point law computed here.
TEST(FlatField, MultiplicationFlattensTheCalibrationImage) {
    for (uint32_t format : {LxPixelFormat_Mono8, LxPixelFormat_Mono12, LxPixelFormat_BayerRG8, LxPixelFormat_BayerGB12}) {
        SCOPED_TRACE(format);
        FlatField f;
        f.typed->SetFlatFieldCorrectionMode(LxFlatFieldCorrectionMode_Multiplication);
        const BufferPtr ref = Vignette(67, 45, format);
        const auto T = Targets(ref, 0);
        f.typed->SetCalibrationEnable(true);
        BufferPtr img = Vignette(67, 45, format);
        f.filter->Filter(img->GetILxImage());
        for (size_t y = 0; y < 45; ++y)
            for (size_t x = 0; x < 67; ++x) {
                const uint32_t p = Sample(ref, x, y), t = T[(y % 2) * 2 + x % 2];
                const uint32_t gain = p > t / 16 ? (t << 7) / p : 2048;
                const uint32_t expected = std::min<uint32_t>((p * gain) >> 7, (1u << (format == LxPixelFormat_Mono12 || format == LxPixelFormat_BayerGB12 ? 12 : 8)) - 1);
                const uint32_t out = Sample(img, x, y);
                ASSERT_EQ(out, expected) << x << "," << y;
                if (gain < 2048) {
                    ASSERT_LE(out, t);
                    ASSERT_LE(t - out, p / 128 + 1);
                }
            }
    }
}

// Offsets make each frame exactly flat at its colour's target, clipped to the range.
TEST(FlatField, AdditionMakesEachFrameFlat) {
    for (uint32_t format : {LxPixelFormat_Mono8, LxPixelFormat_BayerBG10, LxPixelFormat_Mono16}) {
        SCOPED_TRACE(format);
        FlatField f;
        f.typed->SetFlatFieldCorrectionMode(LxFlatFieldCorrectionMode_Addition);
        f.typed->SetCalibrationEnable(true);
        BufferPtr img = Vignette(40, 30, format, 0);
        const auto T = Targets(img, 0);
        f.filter->Filter(img->GetILxImage());
        for (size_t y = 0; y < 30; ++y)
            for (size_t x = 0; x < 40; ++x) ASSERT_EQ(Sample(img, x, y), T[(y % 2) * 2 + x % 2]) << x << "," << y;
        // A later frame takes the same offsets: a flat frame gets the reference's shape inverted.
        f.typed->SetCalibrationEnable(false);
        BufferPtr ref = Vignette(40, 30, format, 0);
        BufferPtr flat = MakeImage(40, 30, format);
        for (size_t y = 0; y < 30; ++y)
            for (size_t x = 0; x < 40; ++x) SetSample(flat, x, y, 100);
        f.filter->Filter(flat->GetILxImage());
        for (size_t y = 0; y < 30; ++y)
            for (size_t x = 0; x < 40; ++x) {
                const int64_t s = 100 + int64_t(T[(y % 2) * 2 + x % 2]) - int64_t(Sample(ref, x, y));
                const int64_t m = (1 << GetILxPixelFormatInfo(format)->GetComponentBits()) - 1;
                ASSERT_EQ(int64_t(Sample(flat, x, y)), s < 1 ? 0 : std::min(s, m)) << x << "," << y;
            }
    }
}

// A set target replaces the measured one, and is fixed with the table: a later change waits for the
// next calibration.
TEST(FlatField, TargetIsTakenWhenTheTableIsBuilt) {
    FlatField f;
    f.typed->SetFlatFieldCorrectionMode(LxFlatFieldCorrectionMode_Addition);
    f.typed->SetCalibrationTargetValue(77);
    BufferPtr img = Vignette(16, 16, LxPixelFormat_Mono8);
    f.Calibrate(img);
    for (size_t i = 0; i < 16; ++i) EXPECT_EQ(Sample(img, i, i), 77u);
    f.typed->SetCalibrationTargetValue(200);
    BufferPtr again = Vignette(16, 16, LxPixelFormat_Mono8);
    f.filter->Filter(again->GetILxImage());
    EXPECT_EQ(Sample(again, 3, 5), 77u);
}

// A black centre gives the target 0: bright pixels get the gain 0, black ones the ceiling.
TEST(FlatField, BlackCentreGivesZeroTarget) {
    FlatField f;
    f.typed->SetFlatFieldCorrectionMode(LxFlatFieldCorrectionMode_Multiplication);
    BufferPtr ref = MakeImage(8, 8, LxPixelFormat_Mono8);
    FillBytes(ref, 90);
    for (size_t y = 3; y < 5; ++y)
        for (size_t x = 3; x < 5; ++x) SetSample(ref, x, y, 0);
    f.Calibrate(ref);
    EXPECT_EQ(Sample(ref, 0, 0), 0u);
    EXPECT_EQ(Sample(ref, 3, 3), 0u);
    BufferPtr img = MakeImage(8, 8, LxPixelFormat_Mono8);
    FillBytes(img, 1);
    f.filter->Filter(img->GetILxImage());
    EXPECT_EQ(Sample(img, 0, 0), 0u);  // gain 0
    EXPECT_EQ(Sample(img, 3, 3), 16u); // gain 16.0
}

// Below 4 in either direction the square is the whole shorter side: a 3 x 2 image measures 2 x 2
// pixels starting at column 0.
TEST(FlatField, SmallImagesMeasureTheShorterSide) {
    FlatField f;
    f.typed->SetFlatFieldCorrectionMode(LxFlatFieldCorrectionMode_Addition);
    BufferPtr img = MakeImage(3, 2, LxPixelFormat_Mono8);
    const uint8_t v[2][3] = {{10, 20, 200}, {30, 41, 200}};
    for (size_t y = 0; y < 2; ++y)
        for (size_t x = 0; x < 3; ++x) SetSample(img, x, y, v[y][x]);
    f.Calibrate(img);
    for (size_t y = 0; y < 2; ++y)
        for (size_t x = 0; x < 3; ++x) EXPECT_EQ(Sample(img, x, y), 25u); // (10 + 20 + 30 + 41) / 4
}

// Another size, line pitch or format passes unchanged, keeping the reference; with mode Off the
// reference is replaced image by image but nothing is corrected and no table is built.
TEST(FlatField, MismatchedImagesAndModeOffPassUnchanged) {
    FlatField f;
    f.typed->SetCalibrationEnable(true);
    BufferPtr img = Vignette(20, 10, LxPixelFormat_Mono8);
    std::vector<uint8_t> before(Bytes(img), Bytes(img) + 20 * 10);
    f.filter->Filter(img->GetILxImage());
    EXPECT_EQ(0, std::memcmp(before.data(), Bytes(img), before.size()));
    EXPECT_TRUE(f.inside->HasCalibration());
    EXPECT_FALSE(f.inside->HasCorrectionTable());

    f.typed->SetFlatFieldCorrectionMode(LxFlatFieldCorrectionMode_Addition);
    EXPECT_FALSE(f.inside->HasCalibration());
    f.Calibrate(Vignette(20, 10, LxPixelFormat_Mono8));
    const struct {
        size_t w, h, pitch;
        uint32_t format;
    } others[] = {{21, 10, 0, LxPixelFormat_Mono8}, {20, 11, 0, LxPixelFormat_Mono8}, {20, 10, 24, LxPixelFormat_Mono8},
                  {20, 10, 0, LxPixelFormat_BayerGR8}};
    for (const auto& c : others) {
        BufferPtr other = Vignette(c.w, c.h, c.format, c.pitch);
        ILxImage* o = other->GetILxImage();
        const std::vector<uint8_t> copy(Bytes(other), Bytes(other) + o->GetImageHeight() * o->GetImageLinePitch());
        EXPECT_EQ(f.filter->Filter(o), o);
        EXPECT_EQ(0, std::memcmp(copy.data(), Bytes(other), copy.size()));
    }
    EXPECT_TRUE(f.inside->HasCalibration());
    BufferPtr same = Vignette(20, 10, LxPixelFormat_Mono8);
    const uint32_t target = Targets(same, 0)[0];
    f.filter->Filter(same->GetILxImage());
    EXPECT_EQ(Sample(same, 0, 0), target);
    EXPECT_EQ(Sample(same, 19, 9), target);
}

// The mode through the port: the same mode again keeps the reference, another drops it, and only a
// written 1 enables calibration. Register writes store without announcing; typed setters announce.
TEST(FlatField, RegistersAndReferenceLifetime) {
    FlatField f;
    f.filter->GetINodeMap();
    f.typed->SetFlatFieldCorrectionMode(LxFlatFieldCorrectionMode_Addition);
    f.Calibrate(Vignette(8, 8, LxPixelFormat_Mono8));
    int32_t mode = 2;
    f.port->Write(&mode, R::FlatFieldCorrectionModeReg.address, 4);
    EXPECT_TRUE(f.inside->HasCalibration());
    mode = 1;
    f.port->Write(&mode, R::FlatFieldCorrectionModeReg.address, 4);
    EXPECT_FALSE(f.inside->HasCalibration());
    EXPECT_EQ(f.typed->GetFlatFieldCorrectionMode(), LxFlatFieldCorrectionMode_Multiplication);
    BufferPtr img = Vignette(8, 8, LxPixelFormat_Mono8);
    std::vector<uint8_t> before(Bytes(img), Bytes(img) + 64);
    f.filter->Filter(img->GetILxImage());
    EXPECT_EQ(0, std::memcmp(before.data(), Bytes(img), 64));

    for (uint32_t v : {1u, 2u, 0u}) {
        f.port->Write(&v, R::CalibrationEnableReg.address, 4);
        EXPECT_EQ(f.typed->GetCalibrationEnable(), v == 1) << v;
        uint32_t back = 7;
        f.port->Read(&back, R::CalibrationEnableReg.address, 4);
        EXPECT_EQ(back, v == 1 ? 1u : 0u);
    }
    uint32_t bounds[2] = {9, 9};
    f.port->Read(&bounds[0], R::CalibrationTargetValueMin.address, 4);
    f.port->Read(&bounds[1], R::CalibrationTargetValueMax.address, 4);
    EXPECT_EQ(bounds[0], 0u);
    EXPECT_EQ(bounds[1], 65535u);

    GenApi::CEnumerationPtr modeNode(f.filter->GetINodeMap()->GetNode("FlatFieldCorrectionMode"));
    EXPECT_EQ(std::string(modeNode->GetCurrentEntry()->GetSymbolic().c_str()), "Multiplication");
    f.typed->SetFlatFieldCorrectionMode(LxFlatFieldCorrectionMode_Off);
    EXPECT_EQ(std::string(modeNode->GetCurrentEntry()->GetSymbolic().c_str()), "Off");
    GenApi::CIntegerPtr target(f.filter->GetINodeMap()->GetNode("CalibrationTargetValue"));
    target->SetValue(300);
    EXPECT_EQ(f.typed->GetCalibrationTargetValue(), 300);
    EXPECT_EQ(target->GetMax(), 65535);
}

TEST(FlatField, FailureTexts) {
    FlatField f;
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { f.typed->SetFlatFieldCorrectionMode(ELxFlatFieldCorrectionMode_t(-1)); }),
              "eFFCM = -1 must be equal or greater than Min = 0");
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { f.typed->SetFlatFieldCorrectionMode(ELxFlatFieldCorrectionMode_t(3)); }),
              "eFFCM = 3 must be smaller than Max = 3");
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { f.typed->SetCalibrationTargetValue(-1); }),
              "value = -1 must be equal or greater than Min = 0");
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { f.typed->SetCalibrationTargetValue(65536); }),
              "value = 65536 must be equal or smaller than Max = 65535");
    EXPECT_EQ(f.typed->GetCalibrationTargetValue(), 0);
    BufferPtr packed = MakeImage(8, 2, LxPixelFormat_Mono12p);
    EXPECT_EQ(TextOf<GenICam::RuntimeException>([&] { f.filter->Filter(packed->GetILxImage()); }),
              "Not supported pixelformat Mono12p");
    int64_t length = 0;
    uint8_t byte = 0;
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { f.inside->ReadRegister(&byte, 0, &length); }),
              "Length = 0 must be equal or greater than Min = 1");
    EXPECT_EQ(f.filter->GetFilterInfo()->IsSupportedPixelFormat(LxPixelFormat_BayerGR14), true);
    EXPECT_EQ(f.filter->GetFilterInfo()->IsSupportedPixelFormat(LxPixelFormat_Mono10p), false);
}
