// The gamma correction filter end to end: tables, formats, padding and threads.
#include "lxmoduletest.h"

#include <lxapi/ilxgammacorrectionfilter.h>

#include <atomic>
#include <cmath>
#include <thread>

using namespace lxtest;

namespace {

struct Gamma {
    FilterPtr filter{CreateILxFilter(LxFilterType_GammaCorrection)};
    ILxGammaCorrectionFilter* typed = dynamic_cast<ILxGammaCorrectionFilter*>(filter.Get());
};

// Independent table rule: v = pow(k / range, g) * range + lo + 0.5, truncated, hi where v reaches hi.
uint16_t Expected(unsigned i, double g, unsigned lo, unsigned hi) {
    const double range = hi - lo;
    const double v = std::pow((i - lo) / range, g) * range + lo + 0.5;
    return hi > v ? uint16_t(v) : uint16_t(hi);
}

// A Mono8 image with every value 0..255 in its lines and 0xEE padding.
BufferPtr Ramp8(size_t width, size_t height, size_t pitch) {
    BufferPtr b = MakeImage(width, height, LxPixelFormat_Mono8, pitch);
    FillBytes(b, 0xEE);
    for (size_t y = 0; y < height; ++y)
        for (size_t x = 0; x < width; ++x) Bytes(b)[y * pitch + x] = uint8_t(y * width + x);
    return b;
}

} // namespace

TEST(GammaFilter, IdentityLeavesTheImageUntouched) {
    Gamma g;
    BufferPtr img = Ramp8(16, 16, 20);
    std::vector<uint8_t> before(Bytes(img), Bytes(img) + 20 * 16);
    EXPECT_EQ(g.filter->Filter(img->GetILxImage()), img->GetILxImage());
    EXPECT_EQ(0, std::memcmp(before.data(), Bytes(img), before.size()));
}

TEST(GammaFilter, Mono8TablesAtTheBounds) {
    Gamma g;
    // Gamma 0: pow(0, 0) is 1, so every entry is 255.
    g.typed->SetGamma(0.0);
    BufferPtr img = Ramp8(16, 16, 16);
    g.filter->Filter(img->GetILxImage());
    for (size_t i = 0; i < 256; ++i) ASSERT_EQ(Bytes(img)[i], 255) << i;

    g.typed->SetGamma(4.0);
    img = Ramp8(16, 16, 16);
    g.filter->Filter(img->GetILxImage());
    EXPECT_EQ(Bytes(img)[255], 255);
    EXPECT_EQ(Bytes(img)[0], 0);
    EXPECT_EQ(Bytes(img)[128], uint8_t(std::trunc(std::pow(128.0 / 255.0, 4.0) * 255.0 + 0.5)));
    for (unsigned i = 0; i < 256; ++i) ASSERT_EQ(Bytes(img)[i], Expected(i, 4.0, 0, 255)) << i;
}

TEST(GammaFilter, SetterBoundsAreInclusive) {
    Gamma g;
    EXPECT_NO_THROW(g.typed->SetGamma(4.0));
    EXPECT_NO_THROW(g.typed->SetGamma(0.0));
    try {
        g.typed->SetGamma(4.0000001);
        FAIL() << "no exception";
    } catch (const GenICam::OutOfRangeException& e) {
        EXPECT_STREQ(e.GetDescription(), "value = 4.000000 must be smaller than or equal 4.000000");
    }
    try {
        g.typed->SetGamma(-0.1);
        FAIL() << "no exception";
    } catch (const GenICam::OutOfRangeException& e) {
        EXPECT_STREQ(e.GetDescription(), "value = -0.100000 must be greater than or equal 0.000000");
    }
    EXPECT_EQ(g.typed->GetGamma(), 0.0);
}

TEST(GammaFilter, DeepFormatsUseTheirOwnDepthAndRebuildOnChange) {
    Gamma g;
    g.typed->SetGamma(0.5);
    for (uint32_t format : {LxPixelFormat_Mono12, LxPixelFormat_Mono16, LxPixelFormat_Mono12}) {
        const unsigned bits = format == LxPixelFormat_Mono12 ? 12 : 16;
        const unsigned max = (1u << bits) - 1;
        BufferPtr img = MakeImage(5, 3, format);
        const uint16_t probes[5] = {0, 1, uint16_t(max / 3), uint16_t(max - 1), uint16_t(max)};
        for (size_t y = 0; y < 3; ++y)
            for (size_t x = 0; x < 5; ++x) SetWord(img, y, x, probes[x]);
        g.filter->Filter(img->GetILxImage());
        for (size_t x = 0; x < 5; ++x) EXPECT_EQ(Word(img, 2, x), Expected(probes[x], 0.5, 0, max)) << bits << " " << x;
    }
}

TEST(GammaFilter, ColourKeepsAlphaAndOnlyBgrHasDeepHandlers) {
    Gamma g;
    g.typed->SetGamma(2.0);
    BufferPtr bgra = MakeImage(3, 2, LxPixelFormat_BGRa8);
    FillBytes(bgra, 200);
    g.filter->Filter(bgra->GetILxImage());
    const uint8_t mapped = uint8_t(Expected(200, 2.0, 0, 255));
    for (size_t p = 0; p < 6; ++p) {
        EXPECT_EQ(Bytes(bgra)[4 * p + 0], mapped);
        EXPECT_EQ(Bytes(bgra)[4 * p + 2], mapped);
        EXPECT_EQ(Bytes(bgra)[4 * p + 3], 200) << "alpha";
    }

    BufferPtr bgr16 = MakeImage(2, 2, LxPixelFormat_BGR16);
    EXPECT_NO_THROW(g.filter->Filter(bgr16->GetILxImage()));
    BufferPtr rgb16 = MakeImage(2, 2, LxPixelFormat_RGB16);
    FillBytes(rgb16, 0x12);
    try {
        g.filter->Filter(rgb16->GetILxImage());
        FAIL() << "no exception";
    } catch (const GenICam::RuntimeException& e) {
        EXPECT_STREQ(e.GetDescription(), "Not supported pixelformat RGB16");
    }
    for (size_t i = 0; i < 12; ++i) EXPECT_EQ(Bytes(rgb16)[i], 0x12);
}

TEST(GammaFilter, LumaOnlyAndTheLimitedRangeOf709) {
    Gamma g;
    g.typed->SetGamma(2.0);
    // YCbCr422_8: Y Cb Y Cr; only every other byte is luma.
    BufferPtr ycc = MakeImage(4, 1, LxPixelFormat_YCbCr422_8);
    const uint8_t line[8] = {100, 50, 200, 60, 255, 70, 0, 80};
    std::memcpy(Bytes(ycc), line, 8);
    g.filter->Filter(ycc->GetILxImage());
    const uint8_t expect[8] = {uint8_t(Expected(100, 2, 0, 255)), 50, uint8_t(Expected(200, 2, 0, 255)), 60,
                               255, 70, 0, 80};
    EXPECT_EQ(0, std::memcmp(Bytes(ycc), expect, 8));

    // A new filter, so that the first table it makes is the limited one (the cache ignores limits).
    Gamma g709;
    g709.typed->SetGamma(2.0);
    BufferPtr y709 = MakeImage(2, 1, LxPixelFormat_YCbCr709_422_8);
    const uint8_t line709[4] = {16, 128, 135, 128};
    std::memcpy(Bytes(y709), line709, 4);
    g709.filter->Filter(y709->GetILxImage());
    EXPECT_EQ(Bytes(y709)[0], 16);
    EXPECT_EQ(Bytes(y709)[2], Expected(135, 2.0, 16, 255));
    EXPECT_EQ(Bytes(y709)[1], 128);

    // YCbCr411_8 of width 1 has no luma group; of width 4, (4 - 2) / 2 + 1 = 2 groups of 3 bytes.
    BufferPtr y411 = MakeImage(1, 1, LxPixelFormat_YCbCr411_8, 8);
    FillBytes(y411, 100);
    g.filter->Filter(y411->GetILxImage());
    for (size_t i = 0; i < 8; ++i) EXPECT_EQ(Bytes(y411)[i], 100);
    BufferPtr y411w = MakeImage(4, 1, LxPixelFormat_YCbCr411_8, 8);
    FillBytes(y411w, 100);
    g.filter->Filter(y411w->GetILxImage());
    const uint8_t m = uint8_t(Expected(100, 2, 0, 255));
    const uint8_t expect411[8] = {m, m, 100, m, m, 100, 100, 100};
    EXPECT_EQ(0, std::memcmp(Bytes(y411w), expect411, 8));
}

TEST(GammaFilter, PaddingAndEmptyImages) {
    Gamma g;
    g.typed->SetGamma(3.0);
    BufferPtr img = Ramp8(5, 4, 8);
    g.filter->Filter(img->GetILxImage());
    for (size_t y = 0; y < 4; ++y)
        for (size_t x = 5; x < 8; ++x) EXPECT_EQ(Bytes(img)[y * 8 + x], 0xEE);
    for (size_t w : {0, 3})
        for (size_t h : {0, 3})
            if (w == 0 || h == 0) {
                BufferPtr empty = MakeImage(w, h, LxPixelFormat_Mono16);
                EXPECT_NO_THROW(g.filter->Filter(empty->GetILxImage()));
            }
}

namespace {
// An image of the caller's own making, with a format code no table knows.
struct ForeignImage : ILxImage {
    uint8_t pixels[4] = {1, 2, 3, 4};
    size_t GetImageWidth() override { return 2; }
    size_t GetImageHeight() override { return 2; }
    size_t GetImageLinePitch() override { return 2; }
    size_t GetImagePlaneSize() override { return 4; }
    uint32_t GetImagePixelFormat() override { return 0x12345678u; }
    void* GetImageBuffer() override { return pixels; }
};
} // namespace

TEST(GammaFilter, BadInputChangesNothing) {
    Gamma g;
    g.typed->SetGamma(2.0);
    EXPECT_THROW(g.filter->Filter(nullptr), GenICam::InvalidArgumentException);
    BufferPtr odd = MakeImage(2, 2, LxPixelFormat_Mono12p);
    FillBytes(odd, 0x42);
    EXPECT_THROW(g.filter->Filter(odd->GetILxImage()), GenICam::RuntimeException);
    EXPECT_EQ(Bytes(odd)[0], 0x42);
    ForeignImage foreign;
    EXPECT_THROW(g.filter->Filter(&foreign), GenICam::GenericException);
    EXPECT_EQ(foreign.pixels[3], 4);
}

// Two threads filter with one filter while a third changes Gamma: every image must come out as the
// table of one of the two gammas made it, never a mix within a line of the old and a freed table.
TEST(GammaFilter, SharedBetweenThreadsWhileGammaChanges) {
    Gamma g;
    std::atomic<bool> stop{false};
    std::atomic<int> bad{0};
    const uint8_t a = uint8_t(Expected(77, 0.5, 0, 255)), b = uint8_t(Expected(77, 2.0, 0, 255));
    auto worker = [&] {
        for (int n = 0; n < 200; ++n) {
            BufferPtr img = MakeImage(64, 8, LxPixelFormat_Mono8);
            FillBytes(img, 77);
            g.filter->Filter(img->GetILxImage());
            const uint8_t first = Bytes(img)[0];
            if (first != a && first != b && first != 77) ++bad;
            for (size_t i = 0; i < 64 * 8; ++i)
                if (Bytes(img)[i] != first) ++bad;
        }
    };
    std::thread setter([&] {
        for (int n = 0; !stop; ++n) g.typed->SetGamma(n % 2 ? 0.5 : 2.0);
    });
    std::thread t1(worker), t2(worker);
    t1.join();
    t2.join();
    stop = true;
    setter.join();
    EXPECT_EQ(bad, 0);
}
