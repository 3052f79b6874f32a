// The noise reduction filter end to end, against per-pixel references written from the window rules:
// mono and every Bayer phase at both sample sizes, odd sizes and padded lines, the calibration and
// the subtraction with its repair, parameters and registers.
#include "lxmoduletest.h"

#include <GenApi/GenApi.h>
#include <lxapi/ilxnoisereductionfilter.h>

#include <algorithm>
#include <functional>
#include <random>
#include <thread>

using namespace lxtest;

namespace {

struct Noise {
    FilterPtr filter{CreateILxFilter(LxFilterType_NoiseReduction)};
    ILxNoiseReductionFilter* typed = dynamic_cast<ILxNoiseReductionFilter*>(filter.Get());
};

// Samples of any image of one component, 8 bits or 16.
struct Samples {
    std::vector<uint8_t> bytes;
    size_t width, height, pitch, size;
    int64_t At(int64_t y, int64_t x) const {
        uint16_t v = 0;
        std::memcpy(&v, bytes.data() + y * pitch + x * size, size);
        return v;
    }
    void Put(int64_t y, int64_t x, int64_t v) {
        const uint16_t s = uint16_t(v);
        std::memcpy(bytes.data() + y * pitch + x * size, &s, size);
    }
    bool Inside(int64_t y, int64_t x) const { return x >= 0 && y >= 0 && x < int64_t(width) && y < int64_t(height); }
};

Samples Read(const BufferPtr& b) {
    ILxImage* img = b->GetILxImage();
    const size_t size = GetILxPixelFormatInfo(img->GetImagePixelFormat())->GetComponentBits() > 8 ? 2 : 1;
    return {std::vector<uint8_t>(Bytes(b), Bytes(b) + img->GetImageHeight() * img->GetImageLinePitch()),
            img->GetImageWidth(), img->GetImageHeight(), img->GetImageLinePitch(), size};
}

// The rank rule, by a sort.
int64_t Rank(std::vector<int64_t> v) {
    std::sort(v.begin(), v.end(), std::greater<>());
    switch (v.size()) {
    case 5: return v[2];
    case 4: return (v[1] + v[2]) >> 1;
    case 3: return v[1];
    case 2: return (v[0] + v[1]) >> 1;
    default: return v[0];
    }
}

using Offsets = std::vector<std::pair<int, int>>; // (dx, dy)
const Offsets kX{{-1, -1}, {1, -1}, {-1, 1}, {1, 1}};
const Offsets kCross{{-1, 0}, {1, 0}, {0, -1}, {0, 1}};
const Offsets kPlus2{{-2, 0}, {2, 0}, {0, -2}, {0, 2}};

std::vector<int64_t> Window(const Samples& s, int64_t x, int64_t y, const Offsets& offsets) {
    std::vector<int64_t> v{s.At(y, x)};
    for (auto [dx, dy] : offsets)
        if (s.Inside(y + dy, x + dx)) v.push_back(s.At(y + dy, x + dx));
    return v;
}

bool Green(uint32_t format, size_t x, size_t y) {
    const uint32_t c = GetILxPixelFormatInfo(format)->GetPixelComponent(x, y);
    return c == LxColorFilter_GreenR || c == LxColorFilter_GreenB;
}

// The Simple result for every pixel, from the values before.
Samples SimpleReference(const Samples& in, uint32_t format) {
    Samples out = in;
    const bool bayer = GetILxPixelFormatInfo(format)->IsBayer();
    for (int64_t y = 0; y < int64_t(in.height); ++y)
        for (int64_t x = 0; x < int64_t(in.width); ++x) {
            std::vector<int64_t> w;
            if (!bayer) {
                const bool inner = x > 0 && y > 0 && x + 1 < int64_t(in.width) && y + 1 < int64_t(in.height);
                w = Window(in, x, y, inner ? kX : kCross);
            } else if (Green(format, x, y)) {
                w = Window(in, x, y, kX);
                if (x == 0 && y == 0 && in.Inside(0, 2)) w.push_back(in.At(0, 2));
            } else {
                w = Window(in, x, y, kPlus2);
            }
            out.Put(y, x, Rank(w));
        }
    return out;
}

void Randomize(const BufferPtr& b, std::mt19937& rng) {
    ILxImage* img = b->GetILxImage();
    const unsigned bits = unsigned(GetILxPixelFormatInfo(img->GetImagePixelFormat())->GetComponentBits());
    uint8_t* p = Bytes(b);
    const size_t total = img->GetImageHeight() * img->GetImageLinePitch();
    if (bits == 8) {
        for (size_t i = 0; i < total; ++i) p[i] = uint8_t(rng());
    } else {
        for (size_t i = 0; i + 1 < total; i += 2) {
            const uint16_t v = uint16_t(rng() & ((1u << bits) - 1));
            std::memcpy(p + i, &v, 2);
        }
    }
}

const uint32_t kFormats[] = {LxPixelFormat_Mono8,     LxPixelFormat_Mono12,    LxPixelFormat_Mono16,
                             LxPixelFormat_BayerRG8,  LxPixelFormat_BayerGR8,  LxPixelFormat_BayerGB8,
                             LxPixelFormat_BayerBG8,  LxPixelFormat_BayerRG12, LxPixelFormat_BayerGR16,
                             LxPixelFormat_BayerGB10, LxPixelFormat_BayerBG14};

} // namespace

TEST(NoiseFilter, SimpleMatchesTheReference) {
    std::mt19937 rng(21);
    Noise n;
    n.typed->SetNoiseReductionMode(LxNoiseReductionMode_Simple);
    const struct {
        size_t w, h, pad;
    } sizes[] = {{2, 2, 0}, {2, 5, 1}, {5, 2, 3}, {3, 3, 0}, {4, 4, 2}, {17, 9, 5}, {64, 6, 0}, {33, 7, 7}, {6, 11, 1}};
    for (uint32_t format : kFormats)
        for (const auto& s : sizes) {
            const size_t size = GetILxPixelFormatInfo(format)->GetComponentBits() > 8 ? 2 : 1;
            BufferPtr img = MakeImage(s.w, s.h, format, s.w * size + s.pad);
            Randomize(img, rng);
            const Samples expected = SimpleReference(Read(img), format);
            n.filter->Filter(img->GetILxImage());
            ASSERT_EQ(Read(img).bytes, expected.bytes) << std::hex << format << std::dec << " " << s.w << "x" << s.h;
        }
}

// With the red plane flat and the others noisy, red stays flat: its windows hold only red.
TEST(NoiseFilter, BayerWindowsHoldOneColour) {
    std::mt19937 rng(4);
    Noise n;
    n.typed->SetNoiseReductionMode(LxNoiseReductionMode_Simple);
    for (uint32_t format : {LxPixelFormat_BayerRG8, LxPixelFormat_BayerGR8, LxPixelFormat_BayerGB16, LxPixelFormat_BayerBG12}) {
        BufferPtr img = MakeImage(12, 10, format);
        Randomize(img, rng);
        Samples s = Read(img);
        for (size_t y = 0; y < 10; ++y)
            for (size_t x = 0; x < 12; ++x)
                if (GetILxPixelFormatInfo(format)->GetPixelComponent(x, y) == LxColorFilter_Red) s.Put(y, x, 100);
        std::memcpy(Bytes(img), s.bytes.data(), s.bytes.size());
        n.filter->Filter(img->GetILxImage());
        const Samples after = Read(img);
        size_t changed = 0;
        for (size_t y = 0; y < 10; ++y)
            for (size_t x = 0; x < 12; ++x) {
                if (GetILxPixelFormatInfo(format)->GetPixelComponent(x, y) == LxColorFilter_Red)
                    ASSERT_EQ(after.At(y, x), 100) << std::hex << format << std::dec << " " << x << "," << y;
                else changed += after.At(y, x) != s.At(y, x);
            }
        EXPECT_GT(changed, 0u); // the noisy planes were filtered
    }
}

TEST(NoiseFilter, SimpleOnMono8Cases) {
    Noise n;
    n.typed->SetNoiseReductionMode(LxNoiseReductionMode_Simple);
    BufferPtr img = MakeImage(9, 7, LxPixelFormat_Mono8);
    FillBytes(img, 77);
    n.filter->Filter(img->GetILxImage());
    for (size_t i = 0; i < 9 * 7; ++i) ASSERT_EQ(Bytes(img)[i], 77); // uniform stays uniform

    // A bright inner pixel disappears; its direct neighbour does not see it (only diagonals count).
    FillBytes(img, 10);
    Bytes(img)[3 * 9 + 4] = 250;
    Bytes(img)[3 * 9 + 5] = 200;
    n.filter->Filter(img->GetILxImage());
    EXPECT_EQ(Bytes(img)[3 * 9 + 4], 10);
    EXPECT_EQ(Bytes(img)[3 * 9 + 5], 10);
    // A diagonal neighbour of the bright pixel sees it once among five: the median stays 10.
    EXPECT_EQ(Bytes(img)[2 * 9 + 3], 10);

    // Below 2 pixels in a direction: unchanged.
    BufferPtr line = MakeImage(9, 1, LxPixelFormat_Mono8);
    for (size_t x = 0; x < 9; ++x) Bytes(line)[x] = uint8_t(x * 29);
    n.filter->Filter(line->GetILxImage());
    for (size_t x = 0; x < 9; ++x) EXPECT_EQ(Bytes(line)[x], uint8_t(x * 29));
}

// The subtraction and the repair, against a reference in the loops' order.
TEST(NoiseFilter, SubtractionAndRepairMatchTheReference) {
    std::mt19937 rng(8);
    for (uint32_t format : kFormats) {
        Noise n;
        const unsigned bits = unsigned(GetILxPixelFormatInfo(format)->GetComponentBits());
        const int64_t top = (int64_t(1) << bits) - 1, limit = top + 1 - (int64_t(1) << (bits - 7)) - 1;
        const size_t w = 15, h = 11, size = bits > 8 ? 2 : 1, pitch = w * size + 3;
        BufferPtr dark = MakeImage(w, h, format, pitch);
        Randomize(dark, rng);
        Samples d = Read(dark);
        for (size_t y = 0; y < h; ++y)
            for (size_t x = 0; x < w; ++x) d.Put(y, x, d.At(y, x) % (top / 8));
        std::memcpy(Bytes(dark), d.bytes.data(), d.bytes.size());
        n.typed->SetCalibrationEnable(true);
        n.filter->Filter(dark->GetILxImage());
        n.typed->SetCalibrationEnable(false);
        n.typed->SetNoiseReductionMode(LxNoiseReductionMode_SubtractingLightShieldingImage);

        BufferPtr img = MakeImage(w, h, format, pitch);
        Randomize(img, rng);
        Samples before = Read(img);
        // Many saturated pixels, some neighbours of each other.
        for (size_t y = 0; y < h; ++y)
            for (size_t x = 0; x < w; ++x)
                if (rng() % 3 == 0) before.Put(y, x, top - int64_t(rng() % 3));
        std::memcpy(Bytes(img), before.bytes.data(), before.bytes.size());

        Samples after = before;
        for (size_t y = 0; y < h; ++y)
            for (size_t x = 0; x < w; ++x) after.Put(y, x, std::max<int64_t>(before.At(y, x) - d.At(y, x), 0));
        auto repair = [&](int64_t x, int64_t y, const Offsets& window) {
            if (before.At(y, x) < limit || after.At(y, x) >= limit) return;
            after.Put(y, x, std::max(after.At(y, x), Rank(Window(after, x, y, window))));
        };
        if (GetILxPixelFormatInfo(format)->IsBayer()) {
            for (int64_t y0 = 2; y0 + 3 < int64_t(h); y0 += 2)
                for (int64_t x0 = 2; x0 + 3 < int64_t(w); x0 += 2)
                    for (int64_t y = y0; y < y0 + 2; ++y)
                        for (int64_t x = x0; x < x0 + 2; ++x) repair(x, y, Green(format, x, y) ? kX : kPlus2);
        } else {
            for (int64_t y = 1; y + 1 < int64_t(h); ++y)
                for (int64_t x = 1; x + 1 < int64_t(w); ++x) repair(x, y, kX);
        }
        n.filter->Filter(img->GetILxImage());
        ASSERT_EQ(Read(img).bytes, after.bytes) << std::hex << format;
    }
}

TEST(NoiseFilter, RepairOfOneSaturatedPixel) {
    for (const uint8_t diagonal : {250, 240}) {
        Noise n;
        BufferPtr dark = MakeImage(5, 5, LxPixelFormat_Mono8);
        FillBytes(dark, 0);
        Bytes(dark)[2 * 5 + 2] = 10;
        n.typed->SetCalibrationEnable(true);
        n.filter->Filter(dark->GetILxImage());
        n.typed->SetCalibrationEnable(false);
        n.typed->SetNoiseReductionMode(LxNoiseReductionMode_SubtractingLightShieldingImage);
        BufferPtr img = MakeImage(5, 5, LxPixelFormat_Mono8);
        FillBytes(img, 0);
        Bytes(img)[2 * 5 + 2] = 254;
        for (size_t i : {1 * 5 + 1, 1 * 5 + 3, 3 * 5 + 1, 3 * 5 + 3}) Bytes(img)[i] = diagonal;
        n.filter->Filter(img->GetILxImage());
        EXPECT_EQ(Bytes(img)[2 * 5 + 2], diagonal == 250 ? 250 : 244);
    }
}

TEST(NoiseFilter, StoredImageAndModes) {
    std::mt19937 rng(2);
    Noise n;
    BufferPtr dark = MakeImage(8, 6, LxPixelFormat_Mono8);
    Randomize(dark, rng);
    // During calibration nothing is touched, whatever the mode.
    n.typed->SetNoiseReductionMode(LxNoiseReductionMode_Simple);
    n.typed->SetCalibrationEnable(true);
    std::vector<uint8_t> before(Bytes(dark), Bytes(dark) + 48);
    n.filter->Filter(dark->GetILxImage());
    EXPECT_EQ(std::vector<uint8_t>(Bytes(dark), Bytes(dark) + 48), before);
    // The last image of the calibration is the one kept.
    BufferPtr last = MakeImage(8, 6, LxPixelFormat_Mono8);
    FillBytes(last, 5);
    n.filter->Filter(last->GetILxImage());
    n.typed->SetCalibrationEnable(false);

    BufferPtr img = MakeImage(8, 6, LxPixelFormat_Mono8);
    FillBytes(img, 100);
    n.typed->SetNoiseReductionMode(LxNoiseReductionMode_Off);
    n.filter->Filter(img->GetILxImage());
    EXPECT_EQ(Bytes(img)[20], 100); // Off ignores the stored image
    n.typed->SetNoiseReductionMode(LxNoiseReductionMode_SubtractingLightShieldingImage);
    n.filter->Filter(img->GetILxImage());
    EXPECT_EQ(Bytes(img)[20], 95);
    // Another pitch, size or format: nothing happens.
    const struct {
        size_t w, h, pitch;
        uint32_t format;
    } others[] = {{8, 6, 9, LxPixelFormat_Mono8}, {7, 6, 0, LxPixelFormat_Mono8}, {8, 5, 0, LxPixelFormat_Mono8},
                  {8, 6, 0, LxPixelFormat_BayerRG8}};
    for (const auto& o : others) {
        BufferPtr other = MakeImage(o.w, o.h, o.format, o.pitch);
        FillBytes(other, 100);
        n.filter->Filter(other->GetILxImage());
        EXPECT_EQ(Bytes(other)[20], 100);
    }
    // No stored image: nothing happens.
    Noise fresh;
    fresh.typed->SetNoiseReductionMode(LxNoiseReductionMode_SubtractingLightShieldingImage);
    fresh.filter->Filter(img->GetILxImage());
    EXPECT_EQ(Bytes(img)[20], 95);
}

TEST(NoiseFilter, SettersRegistersAndTexts) {
    Noise n;
    EXPECT_EQ(n.typed->GetNoiseReductionMode(), LxNoiseReductionMode_Off);
    EXPECT_FALSE(n.typed->GetCalibrationEnable());
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>(
                  [&] { n.typed->SetNoiseReductionMode(ELxNoiseReductionMode_t(3)); }),
              "eNRM = 3 must be smaller than Max = 3");
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>(
                  [&] { n.typed->SetNoiseReductionMode(ELxNoiseReductionMode_t(-1)); }),
              "eNRM = -1 must be equal or greater than Min = 0");
    EXPECT_EQ(n.typed->GetNoiseReductionMode(), LxNoiseReductionMode_Off);

    GenApi::INodeMap* map = n.filter->GetINodeMap();
    GenApi::CEnumerationPtr mode = map->GetNode("NoiseReductionMode");
    GenApi::CBooleanPtr enable = map->GetNode("CalibrationEnable");
    mode->FromString("SubtractingLightShieldingImage");
    EXPECT_EQ(n.typed->GetNoiseReductionMode(), LxNoiseReductionMode_SubtractingLightShieldingImage);
    n.typed->SetNoiseReductionMode(LxNoiseReductionMode_Simple);
    EXPECT_EQ(std::string(mode->ToString().c_str()), "Simple");
    enable->SetValue(true);
    EXPECT_TRUE(n.typed->GetCalibrationEnable());
    n.typed->SetCalibrationEnable(false);
    EXPECT_FALSE(enable->GetValue());
    // The register: exactly 1 turns calibration on, 2 does not.
    GenApi::CIntegerPtr reg = map->GetNode("CalibrationEnableReg");
    reg->SetValue(1);
    EXPECT_TRUE(n.typed->GetCalibrationEnable());
    reg->SetValue(2);
    EXPECT_FALSE(n.typed->GetCalibrationEnable());
    // A mode register of an unknown value stores it and leaves images alone.
    GenApi::CIntegerPtr(map->GetNode("NoiseReductionModeReg"))->SetValue(7);
    BufferPtr img = MakeImage(6, 6, LxPixelFormat_Mono8);
    std::mt19937 rng(1);
    Randomize(img, rng);
    const Samples before = Read(img);
    n.filter->Filter(img->GetILxImage());
    EXPECT_EQ(Read(img).bytes, before.bytes);
}

namespace {
// An image of the caller's own making, at any address and pitch.
struct ForeignImage : ILxImage {
    uint32_t format = 0;
    size_t width = 0, height = 0, pitch = 0;
    uint8_t* data = nullptr;
    size_t GetImageWidth() override { return width; }
    size_t GetImageHeight() override { return height; }
    size_t GetImageLinePitch() override { return pitch; }
    size_t GetImagePlaneSize() override { return height * pitch; }
    uint32_t GetImagePixelFormat() override { return format; }
    void* GetImageBuffer() override { return data; }
};
} // namespace

// 16-bit lines at odd addresses come out as on even ones (the sanitizer build checks the loads).
TEST(NoiseFilter, WordLinesAtOddAddresses) {
    std::mt19937 rng(13);
    for (uint32_t format : {LxPixelFormat_Mono12, LxPixelFormat_BayerGB16}) {
        Noise n;
        n.typed->SetNoiseReductionMode(LxNoiseReductionMode_Simple);
        const size_t w = 10, h = 7;
        BufferPtr even = MakeImage(w, h, format);
        Randomize(even, rng);
        std::vector<uint8_t> storage(1 + (2 * w + 1) * h);
        ForeignImage odd;
        odd.format = format;
        odd.width = w;
        odd.height = h;
        odd.pitch = 2 * w + 1;
        odd.data = storage.data() + 1;
        for (size_t y = 0; y < h; ++y) std::memcpy(odd.data + y * odd.pitch, Bytes(even) + y * Pitch(even), 2 * w);
        n.filter->Filter(even->GetILxImage());
        n.filter->Filter(&odd);
        for (size_t y = 0; y < h; ++y)
            EXPECT_EQ(0, std::memcmp(odd.data + y * odd.pitch, Bytes(even) + y * Pitch(even), 2 * w)) << y;
    }
}

TEST(NoiseFilter, UnsupportedFormatsAndInfo) {
    Noise n;
    n.typed->SetCalibrationEnable(true);
    BufferPtr rgb = MakeImage(4, 4, LxPixelFormat_RGB8);
    EXPECT_EQ(TextOf<GenICam::RuntimeException>([&] { n.filter->Filter(rgb->GetILxImage()); }),
              "Not supported pixelformat RGB8");
    EXPECT_EQ(TextOf<GenICam::InvalidArgumentException>([&] { n.filter->Filter(nullptr); }), "ILxImage is NULL.");
    ILxFilterInfo* info = n.filter->GetFilterInfo();
    EXPECT_EQ(info, GetILxFilterInfo(LxFilterType_NoiseReduction));
    EXPECT_EQ(std::string(info->GetDisplayName().c_str()), "Noise Reduction");
    EXPECT_TRUE(info->IsSupportedPixelFormat(LxPixelFormat_BayerBG14));
    EXPECT_FALSE(info->IsSupportedPixelFormat(LxPixelFormat_Mono12Packed));
}

// Threads filter with the stored image while another thread calibrates anew, again and again: each
// call works on a stored image that stays alive for it (the sanitizer builds prove it). Each image is
// either subtracted or, while calibration is on, passed as it was and taken as the dark image; so the
// dark image is the calibrating thread's (3) or a filtering thread's (50), and a result is 47 or 0.
TEST(NoiseFilter, CalibrationWhileOthersFilter) {
    Noise n;
    n.typed->SetNoiseReductionMode(LxNoiseReductionMode_SubtractingLightShieldingImage);
    BufferPtr dark = MakeImage(32, 16, LxPixelFormat_Mono8);
    FillBytes(dark, 3);
    n.typed->SetCalibrationEnable(true);
    n.filter->Filter(dark->GetILxImage());
    n.typed->SetCalibrationEnable(false);
    std::vector<std::thread> threads;
    for (int t = 0; t < 2; ++t)
        threads.emplace_back([&] {
            BufferPtr img = MakeImage(32, 16, LxPixelFormat_Mono8);
            for (int i = 0; i < 100; ++i) {
                FillBytes(img, 50);
                n.filter->Filter(img->GetILxImage());
                const uint8_t v = Bytes(img)[40];
                EXPECT_TRUE(v == 47 || v == 50 || v == 0) << int(v);
            }
        });
    BufferPtr again = MakeImage(32, 16, LxPixelFormat_Mono8);
    for (int i = 0; i < 100; ++i) {
        FillBytes(again, 3);
        n.typed->SetCalibrationEnable(true);
        n.filter->Filter(again->GetILxImage());
        n.typed->SetCalibrationEnable(false);
    }
    for (auto& t : threads) t.join();
}
