// The edge enhancement filter end to end, against a per-pixel reference written from the rule: every
// format family on random images of odd sizes with padded lines, the parameters and their registers.
#include "lxmoduletest.h"

#include <GenApi/GenApi.h>
#include <lxapi/ilxedgeenhancementfilter.h>
#include <lxapi/ilxpixelformatconverter.h>

#include <algorithm>
#include <functional>
#include <random>
#include <thread>

using namespace lxtest;

namespace {

struct Edge {
    FilterPtr filter{CreateILxFilter(LxFilterType_EdgeEnhancement)};
    ILxEdgeEnhancementFilter* typed = dynamic_cast<ILxEdgeEnhancementFilter*>(filter.Get());
    void Set(double strength, uint32_t thresh) {
        typed->SetStrength(strength);
        typed->SetThresh(thresh);
    }
};

// The amount table: 0 up to T = thresh << (bits - 8), then k * strength + 0.5 truncated, top from
// where the sum reaches top.
std::vector<int64_t> Amounts(unsigned bits, double strength, uint32_t thresh) {
    const int64_t top = (int64_t(1) << bits) - 1, t = int64_t(thresh) << (bits - 8);
    std::vector<int64_t> a(size_t(top) + 1, 0);
    double sum = 0;
    for (int64_t i = t + 1; i <= top; ++i) {
        sum += strength;
        a[size_t(i)] = sum >= double(top) ? top : int64_t(sum + 0.5);
    }
    return a;
}

// The reference over a plane given by accessors: the mean of the 8 neighbours from the values before
// the filter, the change applied to every sample `apply` names.
struct Reference {
    unsigned bits;
    double strength;
    uint32_t thresh;

    // `decide(y, x)` gives the pixel's value; `samples(y, x)` the samples to move.
    void Run(size_t w, size_t h, const std::function<int64_t(size_t, size_t)>& value,
             const std::function<void(size_t, size_t, int64_t sign, int64_t b)>& move) const {
        const std::vector<int64_t> a = Amounts(bits, strength, thresh);
        const int64_t t = int64_t(thresh) << (bits - 8);
        for (size_t y = 1; y + 1 < h; ++y)
            for (size_t x = 1; x + 1 < w; ++x) {
                int64_t sum = 0;
                for (int dy = -1; dy <= 1; ++dy)
                    for (int dx = -1; dx <= 1; ++dx)
                        if (dy || dx) sum += value(y + dy, x + dx);
                const int64_t c = value(y, x), m = (sum + 4) >> 3;
                if (c - m > t) move(y, x, +1, a[size_t(c - m)]);
                else if (m - c > t) move(y, x, -1, a[size_t(m - c)]);
            }
    }
};

int64_t Moved(int64_t v, int64_t sign, int64_t b, int64_t top) {
    if (sign > 0) return top - v <= b ? top : v + b;
    return v <= b ? 0 : v - b;
}

// Random bytes in every byte of the buffer, padding included.
void Randomize(const BufferPtr& b, std::mt19937& rng, unsigned bits = 8) {
    ILxImage* img = b->GetILxImage();
    uint8_t* p = Bytes(b);
    if (bits == 8) {
        for (size_t i = 0; i < img->GetImageHeight() * img->GetImageLinePitch(); ++i) p[i] = uint8_t(rng());
        return;
    }
    for (size_t i = 0; i + 1 < img->GetImageHeight() * img->GetImageLinePitch(); i += 2) {
        const uint16_t v = uint16_t(rng() & ((1u << bits) - 1));
        std::memcpy(p + i, &v, 2);
    }
}

std::vector<uint8_t> Snapshot(const BufferPtr& b) {
    ILxImage* img = b->GetILxImage();
    return {Bytes(b), Bytes(b) + img->GetImageHeight() * img->GetImageLinePitch()};
}

// Mono8 and the deeper monos against the reference, every byte outside the moved samples kept.
void CheckMono(uint32_t format, unsigned bits, size_t w, size_t h, size_t pitch, double strength, uint32_t thresh,
               std::mt19937& rng) {
    Edge e;
    e.Set(strength, thresh);
    BufferPtr img = MakeImage(w, h, format, pitch);
    Randomize(img, rng, bits);
    // Some flat patches and strong steps, so that both signs and the caps occur.
    for (size_t y = 0; y < h; y += 4)
        for (size_t x = 0; x < w; ++x)
            if (bits == 8) Bytes(img)[y * pitch + x] = x % 7 < 3 ? 255 : 0;
            else SetWord(img, y, x, uint16_t(x % 7 < 3 ? (1u << bits) - 1 : 0));
    std::vector<uint8_t> expected = Snapshot(img);
    const std::vector<uint8_t> before = expected;
    const size_t size = bits == 8 ? 1 : 2;
    auto at = [&](const std::vector<uint8_t>& v, size_t y, size_t x) {
        uint16_t s = 0;
        std::memcpy(&s, v.data() + y * pitch + x * size, size);
        return int64_t(s);
    };
    const int64_t top = (int64_t(1) << bits) - 1;
    Reference{bits, strength, thresh}.Run(
        w, h, [&](size_t y, size_t x) { return at(before, y, x); },
        [&](size_t y, size_t x, int64_t sign, int64_t b) {
            const uint16_t v = uint16_t(Moved(at(before, y, x), sign, b, top));
            std::memcpy(expected.data() + y * pitch + x * size, &v, size);
        });
    e.filter->Filter(img->GetILxImage());
    ASSERT_EQ(Snapshot(img), expected) << "format " << std::hex << format << std::dec << " " << w << "x" << h
                                       << " strength " << strength << " thresh " << thresh;
}

} // namespace

TEST(EdgeFilter, MonoImagesMatchTheReference) {
    std::mt19937 rng(7);
    const struct {
        double strength;
        uint32_t thresh;
    } params[] = {{1.0, 0}, {0.3, 3}, {2.5, 10}, {32.0, 0}, {7.75, 100}, {0.01, 1}};
    for (const auto& p : params) {
        CheckMono(LxPixelFormat_Mono8, 8, 67, 9, 72, p.strength, p.thresh, rng);
        CheckMono(LxPixelFormat_Mono8, 8, 200, 5, 203, p.strength, p.thresh, rng);
        CheckMono(LxPixelFormat_Mono8, 8, 3, 3, 3, p.strength, p.thresh, rng);
        CheckMono(LxPixelFormat_Mono10, 10, 33, 7, 70, p.strength, p.thresh, rng);
        CheckMono(LxPixelFormat_Mono12, 12, 19, 11, 40, p.strength, p.thresh, rng);
        CheckMono(LxPixelFormat_Mono14, 14, 5, 4, 10, p.strength, p.thresh, rng);
        CheckMono(LxPixelFormat_Mono16, 16, 41, 6, 90, p.strength, p.thresh, rng);
    }
}

// Edge cases that must leave the image as it was.
TEST(EdgeFilter, NothingChanges) {
    std::mt19937 rng(3);
    auto unchanged = [&](Edge& e, size_t w, size_t h, uint32_t format, bool flat) {
        BufferPtr img = MakeImage(w, h, format, 0);
        Randomize(img, rng, format == LxPixelFormat_Mono8 ? 8 : 12);
        if (flat) FillBytes(img, 0x07);
        const std::vector<uint8_t> before = Snapshot(img);
        EXPECT_EQ(e.filter->Filter(img->GetILxImage()), img->GetILxImage());
        return Snapshot(img) == before;
    };
    Edge e;
    e.Set(0.0, 0); // strength 0, whatever the threshold
    EXPECT_TRUE(unchanged(e, 31, 9, LxPixelFormat_Mono8, false));
    e.Set(4.0, 0);
    EXPECT_TRUE(unchanged(e, 31, 9, LxPixelFormat_Mono8, true)); // flat: m equals c
    EXPECT_TRUE(unchanged(e, 31, 9, LxPixelFormat_Mono12, true));
    EXPECT_TRUE(unchanged(e, 31, 2, LxPixelFormat_Mono8, false)); // height 2: no inner pixel
    EXPECT_TRUE(unchanged(e, 2, 31, LxPixelFormat_Mono8, false));
    EXPECT_TRUE(unchanged(e, 1, 1, LxPixelFormat_Mono12, false));
    EXPECT_TRUE(unchanged(e, 0, 0, LxPixelFormat_Mono8, false));
    e.Set(32.0, 255); // T at the top of Mono8: no entries
    EXPECT_TRUE(unchanged(e, 31, 9, LxPixelFormat_Mono8, false));
}

// Mono12 with Thresh 10: T is 160. A centre 161 above a flat 0 changes, one 160 above does not.
TEST(EdgeFilter, ThresholdScalesWithDepth) {
    Edge e;
    e.Set(1.0, 10);
    for (const uint16_t centre : {160, 161, 168}) {
        BufferPtr img = MakeImage(3, 3, LxPixelFormat_Mono12);
        FillBytes(img, 0);
        SetWord(img, 1, 1, centre);
        e.filter->Filter(img->GetILxImage());
        // m = (0 + 4) >> 3 = 0, so c - m is the centre; the amount is (centre - 160) * 1.0.
        EXPECT_EQ(Word(img, 1, 1), centre > 160 ? centre + (centre - 160) : centre) << centre;
    }
}

// The luma of every 8-bit YCbCr and YUV form moves; the chroma bytes and the padding do not.
TEST(EdgeFilter, LumaOnlyWithTheStepOfEachForm) {
    const struct {
        uint32_t format;
        size_t step, position;
    } forms[] = {
        {LxPixelFormat_YUV8_UYV, 3, 1},         {LxPixelFormat_YCbCr8_CbYCr, 3, 1},
        {LxPixelFormat_YCbCr601_8_CbYCr, 3, 1}, {LxPixelFormat_YCbCr709_8_CbYCr, 3, 1},
        {LxPixelFormat_YCbCr8, 3, 0},           {LxPixelFormat_YUV422_8_UYVY, 2, 1},
        {LxPixelFormat_YCbCr422_8_CbYCrY, 2, 1}, {LxPixelFormat_YCbCr601_422_8_CbYCrY, 2, 1},
        {LxPixelFormat_YCbCr709_422_8_CbYCrY, 2, 1}, {LxPixelFormat_YUV422_8, 2, 0},
        {LxPixelFormat_YCbCr422_8, 2, 0},       {LxPixelFormat_YCbCr601_422_8, 2, 0},
        {LxPixelFormat_YCbCr709_422_8, 2, 0},
    };
    std::mt19937 rng(11);
    Edge e;
    e.Set(1.5, 4);
    for (const auto& f : forms) {
        const size_t w = 14, h = 7, pitch = w * f.step + 5;
        BufferPtr img = MakeImage(w, h, f.format, pitch);
        Randomize(img, rng);
        const std::vector<uint8_t> before = Snapshot(img);
        std::vector<uint8_t> expected = before;
        auto index = [&](size_t y, size_t x) { return y * pitch + x * f.step + f.position; };
        Reference{8, 1.5, 4}.Run(
            w, h, [&](size_t y, size_t x) { return int64_t(before[index(y, x)]); },
            [&](size_t y, size_t x, int64_t sign, int64_t b) {
                expected[index(y, x)] = uint8_t(Moved(before[index(y, x)], sign, b, 255));
            });
        e.filter->Filter(img->GetILxImage());
        EXPECT_EQ(Snapshot(img), expected) << std::hex << f.format;
    }
}

// Colour: the decision from the luminance the pixel format converter makes, the same amount on each of
// the first three samples by itself, alpha and padding kept.
TEST(EdgeFilter, ColourMovesEachChannelByTheLumaDecision) {
    const struct {
        uint32_t format, mono;
        unsigned bits;
        size_t samples;
    } forms[] = {
        {LxPixelFormat_RGB8, LxPixelFormat_Mono8, 8, 3},     {LxPixelFormat_RGBa8, LxPixelFormat_Mono8, 8, 4},
        {LxPixelFormat_BGR8, LxPixelFormat_Mono8, 8, 3},     {LxPixelFormat_BGRa8, LxPixelFormat_Mono8, 8, 4},
        {LxPixelFormat_BGR10, LxPixelFormat_Mono10, 10, 3},  {LxPixelFormat_BGRa10, LxPixelFormat_Mono10, 10, 4},
        {LxPixelFormat_BGR12, LxPixelFormat_Mono12, 12, 3},  {LxPixelFormat_BGRa12, LxPixelFormat_Mono12, 12, 4},
        {LxPixelFormat_BGR14, LxPixelFormat_Mono14, 14, 3},  {LxPixelFormat_BGRa14, LxPixelFormat_Mono14, 14, 4},
        {LxPixelFormat_BGR16, LxPixelFormat_Mono16, 16, 3},  {LxPixelFormat_BGRa16, LxPixelFormat_Mono16, 16, 4},
    };
    std::mt19937 rng(5);
    Edge e;
    e.Set(3.0, 2);
    ConverterPtr converter(CreateILxConverter(LxConverterType_PixelFormat));
    for (const auto& f : forms) {
        const size_t w = 13, h = 6, size = f.bits == 8 ? 1 : 2, pitch = w * f.samples * size + 6;
        BufferPtr img = MakeImage(w, h, f.format, pitch);
        Randomize(img, rng, f.bits);
        dynamic_cast<ILxPixelFormatConverter*>(converter.Get())->SetDestinationPixelFormat(f.mono);
        BufferPtr mono(CreateILxImageBuffer(nullptr));
        converter->Convert(img->GetILxImage(), mono.Get());
        const std::vector<uint8_t> before = Snapshot(img);
        std::vector<uint8_t> expected = before;
        auto sample = [&](const std::vector<uint8_t>& v, size_t offset) {
            uint16_t s = 0;
            std::memcpy(&s, v.data() + offset, size);
            return int64_t(s);
        };
        ILxImage* m = mono->GetILxImage();
        const std::vector<uint8_t> luma(static_cast<uint8_t*>(m->GetImageBuffer()),
                                        static_cast<uint8_t*>(m->GetImageBuffer()) + h * m->GetImageLinePitch());
        Reference{f.bits, 3.0, 2}.Run(
            w, h, [&](size_t y, size_t x) { return sample(luma, y * m->GetImageLinePitch() + x * size); },
            [&](size_t y, size_t x, int64_t sign, int64_t b) {
                for (size_t k = 0; k < 3; ++k) {
                    const size_t offset = y * pitch + (x * f.samples + k) * size;
                    const uint16_t v = uint16_t(Moved(sample(before, offset), sign, b, (int64_t(1) << f.bits) - 1));
                    std::memcpy(expected.data() + offset, &v, size);
                }
            });
        e.filter->Filter(img->GetILxImage());
        EXPECT_EQ(Snapshot(img), expected) << std::hex << f.format;
    }
}

// A table made for 8-bit images is not used for a 16-bit one: each depth gets its own.
TEST(EdgeFilter, ADepthChangeUsesATableOfTheNewDepth) {
    std::mt19937 rng(9);
    Edge e;
    e.Set(2.0, 1);
    BufferPtr small = MakeImage(9, 9, LxPixelFormat_Mono8);
    Randomize(small, rng);
    e.filter->Filter(small->GetILxImage());
    // Differences far above 255 now; with the 8-bit table these would read past it.
    CheckMono(LxPixelFormat_Mono16, 16, 17, 9, 40, 2.0, 1, rng);
    Edge same;
    same.Set(2.0, 1);
    BufferPtr deep = MakeImage(17, 9, LxPixelFormat_Mono16);
    Randomize(deep, rng, 16);
    BufferPtr deepCopy = MakeImage(17, 9, LxPixelFormat_Mono16);
    deepCopy->CopyImage(deep->GetILxImage());
    e.filter->Filter(deep->GetILxImage());
    same.filter->Filter(deepCopy->GetILxImage());
    EXPECT_EQ(Snapshot(deep), Snapshot(deepCopy));
}

// Threads filter on one filter while its parameters change: every image comes out as under one of the
// settings passed through (both parameters change one after the other), and a table replaced meanwhile
// stays alive for the call using it.
TEST(EdgeFilter, SharedBetweenThreadsWhileParametersChange) {
    std::mt19937 rng(23);
    const size_t w = 37, h = 20;
    BufferPtr original = MakeImage(w, h, LxPixelFormat_Mono12);
    Randomize(original, rng, 12);
    auto result = [&](double strength, uint32_t thresh) {
        Edge e;
        e.Set(strength, thresh);
        BufferPtr img = MakeImage(w, h, LxPixelFormat_Mono12);
        img->CopyImage(original->GetILxImage());
        e.filter->Filter(img->GetILxImage());
        return Snapshot(img);
    };
    const std::vector<std::vector<uint8_t>> results = {result(1.0, 2), result(5.0, 2), result(5.0, 0), result(1.0, 0)};
    Edge shared;
    shared.Set(1.0, 2);
    std::vector<std::thread> threads;
    for (int t = 0; t < 2; ++t)
        threads.emplace_back([&] {
            BufferPtr img = MakeImage(w, h, LxPixelFormat_Mono12);
            for (int i = 0; i < 100; ++i) {
                img->CopyImage(original->GetILxImage());
                shared.filter->Filter(img->GetILxImage());
                const std::vector<uint8_t> got = Snapshot(img);
                EXPECT_NE(std::find(results.begin(), results.end(), got), results.end());
            }
        });
    for (int i = 0; i < 200; ++i) i % 2 ? shared.Set(1.0, 2) : shared.Set(5.0, 0);
    for (auto& t : threads) t.join();
}

TEST(EdgeFilter, SettersRegistersAndTexts) {
    Edge e;
    EXPECT_EQ(e.typed->GetStrength(), 0.0);
    EXPECT_EQ(e.typed->GetThresh(), 0u);
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { e.typed->SetStrength(32.5); }),
              "value = 32.500000 must be smaller than or equal 32.000000");
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { e.typed->SetStrength(-1.0); }),
              "value = -1.000000 must be greater than or equal 0.000000");
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { e.typed->SetThresh(256); }),
              "value = 256 must be equal or smaller than Max = 255");
    e.Set(32.0, 255);
    EXPECT_EQ(e.typed->GetStrength(), 32.0);
    EXPECT_EQ(e.typed->GetThresh(), 255u);

    GenApi::INodeMap* map = e.filter->GetINodeMap();
    GenApi::CFloatPtr strength = map->GetNode("Strength");
    GenApi::CIntegerPtr thresh = map->GetNode("Thresh");
    EXPECT_EQ(strength->GetMin(), 0.0);
    EXPECT_EQ(strength->GetMax(), 32.0);
    EXPECT_EQ(thresh->GetMin(), 0);
    EXPECT_EQ(thresh->GetMax(), 255);
    strength->SetValue(1.25);
    thresh->SetValue(7);
    EXPECT_EQ(e.typed->GetStrength(), 1.25);
    EXPECT_EQ(e.typed->GetThresh(), 7u);
    // A typed change reaches the features, which were cached before.
    e.Set(2.5, 9);
    EXPECT_EQ(strength->GetValue(), 2.5);
    EXPECT_EQ(thresh->GetValue(), 9);
    // The registers themselves take what they are given.
    GenApi::CFloatPtr(map->GetNode("StrengthReg"))->SetValue(40.0);
    GenApi::CIntegerPtr(map->GetNode("ThreshReg"))->SetValue(1000);
    EXPECT_EQ(e.typed->GetStrength(), 40.0);
    EXPECT_EQ(e.typed->GetThresh(), 1000u);
    // ... and the filter stays safe with them: T beyond the top changes nothing.
    BufferPtr img = MakeImage(9, 9, LxPixelFormat_Mono8);
    std::mt19937 rng(1);
    Randomize(img, rng);
    const std::vector<uint8_t> before = Snapshot(img);
    e.filter->Filter(img->GetILxImage());
    EXPECT_EQ(Snapshot(img), before);
    EXPECT_EQ(GenApi::CIntegerPtr(map->GetNode("SizeTSize"))->GetValue(), int64_t(sizeof(size_t)));
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
TEST(EdgeFilter, WordLinesAtOddAddresses) {
    std::mt19937 rng(13);
    Edge e;
    e.Set(2.0, 3);
    const size_t w = 11, h = 6;
    BufferPtr even = MakeImage(w, h, LxPixelFormat_Mono12);
    Randomize(even, rng, 12);
    std::vector<uint8_t> storage(1 + (2 * w + 1) * h);
    ForeignImage odd;
    odd.format = LxPixelFormat_Mono12;
    odd.width = w;
    odd.height = h;
    odd.pitch = 2 * w + 1;
    odd.data = storage.data() + 1;
    for (size_t y = 0; y < h; ++y) std::memcpy(odd.data + y * odd.pitch, Bytes(even) + y * Pitch(even), 2 * w);
    e.filter->Filter(even->GetILxImage());
    e.filter->Filter(&odd);
    for (size_t y = 0; y < h; ++y)
        EXPECT_EQ(0, std::memcmp(odd.data + y * odd.pitch, Bytes(even) + y * Pitch(even), 2 * w)) << y;
}

TEST(EdgeFilter, UnsupportedFormatsAndInfo) {
    Edge e;
    e.Set(1.0, 0);
    BufferPtr bayer = MakeImage(8, 8, LxPixelFormat_BayerRG8);
    EXPECT_EQ(TextOf<GenICam::RuntimeException>([&] { e.filter->Filter(bayer->GetILxImage()); }),
              "Not supported pixelformat BayerRG8");
    EXPECT_EQ(TextOf<GenICam::InvalidArgumentException>([&] { e.filter->Filter(nullptr); }), "ILxImage is NULL.");
    ILxFilterInfo* info = e.filter->GetFilterInfo();
    EXPECT_EQ(info, GetILxFilterInfo(LxFilterType_EdgeEnhancement));
    EXPECT_EQ(std::string(info->GetDisplayName().c_str()), "Edge Enhancement");
    size_t supported = 0;
    for (uint32_t f : {LxPixelFormat_Mono8, LxPixelFormat_Mono16, LxPixelFormat_RGBa8, LxPixelFormat_BGRa16,
                       LxPixelFormat_YUV422_8_UYVY, LxPixelFormat_RGB16, LxPixelFormat_YCbCr411_8, LxPixelFormat_BayerBG16})
        supported += info->IsSupportedPixelFormat(f);
    EXPECT_EQ(supported, 5u);
}
