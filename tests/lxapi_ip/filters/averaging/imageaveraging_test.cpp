// The image averaging filter: sums and means against a reference, depths of the mean, the series'
// rules and refusals, and the vector accumulation bit-exact with the plain loop.
#include "accumulate.h"
#include "kernels/cpudispatch.h"
#include "lximageaveragingfilter.h"

#include "lxmoduletest.h"

#include <lxapi/ilximageaveragingfilter.h>

#include <cmath>
#include <random>

using namespace lxtest;

namespace {

struct Avg {
    FilterPtr filter{CreateILxFilter(LxFilterType_ImageAveraging)};
    ILxImageAveragingFilter* typed = dynamic_cast<ILxImageAveragingFilter*>(filter.Get());
    BufferPtr out{CreateILxImageBuffer(nullptr)};
    ILxImage* Mean(uint32_t bits) {
        typed->GetAveragedImage(out.Get(), bits);
        return out->GetILxImage();
    }
};

BufferPtr Constant(uint32_t format, size_t width, size_t height, uint16_t value) {
    BufferPtr b = MakeImage(width, height, format);
    const size_t storage = GetILxPixelFormatInfo(format)->GetStorageBits();
    for (size_t y = 0; y < height; ++y)
        for (size_t x = 0; x < width; ++x) {
            if (storage == 8)
                Bytes(b)[y * Pitch(b) + x] = uint8_t(value);
            else
                SetWord(b, y, x, value);
        }
    return b;
}

uint32_t SampleAt(ILxImage* img, size_t x, size_t y) {
    const auto* line = static_cast<const uint8_t*>(img->GetImageBuffer()) + y * img->GetImageLinePitch();
    const size_t storage = GetILxPixelFormatInfo(img->GetImagePixelFormat())->GetStorageBits();
    uint32_t v = 0;
    std::memcpy(&v, line + x * storage / 8, storage / 8);
    return v;
}

} // namespace

TEST(ImageAveraging, VectorAccumulationEqualsThePlainLoop) {
    std::mt19937 rng(121);
    std::vector<uint8_t> src(2 * 300 + 3);
    for (uint8_t& b : src) b = uint8_t(rng());
    for (lxcpu::Level level :
         lxcpu::FastLevels([](lxcpu::Level a) { return lxcpu::Level(lxavg::LevelAt(unsigned(a))); })) {
        lxcpu::ForcedLevel forced(level);
        for (size_t n : {0, 1, 15, 16, 17, 33, 255, 300})
            for (size_t offset : {0, 1, 3}) {
                std::vector<uint32_t> plain(n), fast(n);
                for (size_t i = 0; i < n; ++i) plain[i] = fast[i] = 0xFFFFFF00u + uint32_t(rng() % 512);
                lxavg::detail::Add8Portable(plain.data(), src.data() + offset, n);
                lxavg::Active().add8(fast.data(), src.data() + offset, n);
                ASSERT_EQ(plain, fast) << lxcpu::LevelName(level) << " 8-bit n " << n;
                lxavg::detail::Add16Portable(plain.data(), src.data() + offset, n);
                lxavg::Active().add16(fast.data(), src.data() + offset, n);
                ASSERT_EQ(plain, fast) << lxcpu::LevelName(level) << " 16-bit n " << n;
                std::vector<uint16_t> stagedPlain(n), stagedFast(n);
                for (size_t i = 0; i < n; ++i) stagedPlain[i] = stagedFast[i] = uint16_t(0xFF00u + rng() % 256);
                lxavg::detail::Stage8Portable(stagedPlain.data(), src.data() + offset, n);
                lxavg::Active().stage8(stagedFast.data(), src.data() + offset, n);
                ASSERT_EQ(stagedPlain, stagedFast) << lxcpu::LevelName(level) << " staged n " << n;
                lxavg::detail::FoldPortable(plain.data(), stagedPlain.data(), n);
                lxavg::Active().fold(fast.data(), stagedFast.data(), n);
                ASSERT_EQ(plain, fast) << lxcpu::LevelName(level) << " folded n " << n;
                ASSERT_EQ(stagedFast, std::vector<uint16_t>(n)) << "a fold empties the staged sums";
            }
    }
}

TEST(ImageAveraging, RandomSeriesMatchTheReferenceMean) {
    std::mt19937 rng(9);
    for (uint32_t format : {LxPixelFormat_Mono8, LxPixelFormat_BayerGB12, LxPixelFormat_Pol1MonoXC10}) {
        SCOPED_TRACE(format);
        for (lxcpu::Level level : {lxcpu::Level::Portable, lxcpu::Detected()}) {
            lxcpu::ForcedLevel forced(level);
            Avg a;
            const size_t width = 19 + rng() % 30, height = 1 + rng() % 6, count = 3;
            const unsigned bits = unsigned(GetILxPixelFormatInfo(format)->GetComponentBits());
            std::vector<uint64_t> sums(width * height);
            for (size_t n = 0; n < count; ++n) {
                const size_t pitch = width * (bits > 8 ? 2 : 1) + 2 * (rng() % 4);
                BufferPtr img = MakeImage(width, height, format, pitch);
                FillBytes(img, 0xFF); // padding that must not be summed
                for (size_t y = 0; y < height; ++y)
                    for (size_t x = 0; x < width; ++x) {
                        const uint16_t v = uint16_t(rng() % (1u << bits));
                        if (bits > 8)
                            SetWord(img, y, x, v);
                        else
                            Bytes(img)[y * pitch + x] = uint8_t(v);
                        sums[y * width + x] += v;
                    }
                std::vector<uint8_t> before(Bytes(img), Bytes(img) + pitch * height);
                EXPECT_EQ(a.filter->Filter(img->GetILxImage()), img->GetILxImage());
                EXPECT_EQ(0, std::memcmp(before.data(), Bytes(img), before.size())) << "the image stays";
            }
            EXPECT_EQ(a.typed->GetImageCount(), count);
            for (uint32_t outBits : {0u, 8u}) {
                ILxImage* mean = a.Mean(outBits);
                const double q = outBits == 0 ? double(count)
                                              : double(count) * (std::ldexp(1.0, int(bits)) - 1) / 255.0;
                for (size_t y = 0; y < height; ++y)
                    for (size_t x = 0; x < width; ++x)
                        ASSERT_EQ(SampleAt(mean, x, y), uint32_t(uint64_t(sums[y * width + x] / q + 0.5) &
                                                                 (outBits == 8 || bits == 8 ? 0xFF : 0xFFFF)))
                            << x << "," << y << " at " << outBits;
            }
        }
    }
}

// 8-bit sums are staged in 16 bits: a series of full-scale images crosses several folds, and a mean
// read between images (which folds early) must not lose or double what is staged.
TEST(ImageAveraging, LongEightBitSeriesKeepEverySum) {
    for (lxcpu::Level level : {lxcpu::Level::Portable, lxcpu::Detected()}) {
        lxcpu::ForcedLevel forced(level);
        Avg a;
        BufferPtr full = Constant(LxPixelFormat_Mono8, 37, 3, 255);
        BufferPtr low = Constant(LxPixelFormat_Mono8, 37, 3, 1);
        uint64_t sum = 0, count = 0;
        for (size_t n = 0; n < 3 * lxavg::StagedImages + 5; ++n) {
            const bool high = n < 3 * lxavg::StagedImages;
            a.filter->Filter((high ? full : low)->GetILxImage());
            sum += high ? 255 : 1;
            ++count;
            if (n == 100 || n == lxavg::StagedImages - 1 || n == lxavg::StagedImages || n == 600) {
                const uint32_t expected = uint32_t(uint64_t(double(sum) / (double(count) * 255.0 / 65535.0) + 0.5));
                ASSERT_EQ(SampleAt(a.Mean(16), 36, 2), expected) << "after " << count << " images";
            }
        }
        ILxImage* mean = a.Mean(32);
        const auto expected = uint32_t(uint64_t(double(sum) / (double(count) * 255.0 / 4294967295.0) + 0.5));
        for (size_t y = 0; y < 3; ++y)
            for (size_t x = 0; x < 37; ++x) ASSERT_EQ(SampleAt(mean, x, y), expected) << x << "," << y;
    }
}

TEST(ImageAveraging, MeansAtOtherDepthsRoundHalfUp) {
    Avg a;
    a.filter->Filter(Constant(LxPixelFormat_Mono8, 3, 2, 1)->GetILxImage());
    a.filter->Filter(Constant(LxPixelFormat_Mono8, 3, 2, 2)->GetILxImage());
    EXPECT_EQ(SampleAt(a.Mean(0), 2, 1), 2u) << "(3 / 2) + 0.5 truncates to 2";

    Avg full;
    full.filter->Filter(Constant(LxPixelFormat_Mono8, 2, 2, 255)->GetILxImage());
    ILxImage* m16 = full.Mean(16);
    EXPECT_EQ(m16->GetImagePixelFormat(), LxPixelFormat_Mono16);
    EXPECT_EQ(SampleAt(m16, 1, 1), 65535u);
    ILxImage* m32 = full.Mean(32);
    EXPECT_EQ(m32->GetImagePixelFormat(), LxPixelFormat_Mono32);
    EXPECT_EQ(SampleAt(m32, 0, 0), 0xFFFFFFFFu);

    Avg deep;
    BufferPtr img = MakeImage(2, 1, LxPixelFormat_BayerRG16);
    SetWord(img, 0, 0, 65535);
    SetWord(img, 0, 1, 32768);
    deep.filter->Filter(img->GetILxImage());
    ILxImage* m8 = deep.Mean(8);
    EXPECT_EQ(m8->GetImagePixelFormat(), LxPixelFormat_BayerRG8);
    EXPECT_EQ(SampleAt(m8, 0, 0), 255u);
    EXPECT_EQ(SampleAt(m8, 1, 0), 128u) << "127.50 + 0.5, truncated";
    EXPECT_EQ(TextOf<GenICam::RuntimeException>([&] { deep.Mean(32); }), "Output pixel format is not valid.");
}

TEST(ImageAveraging, PackedSourcesAreSummedUnpacked) {
    Avg a;
    BufferPtr packed = MakeImage(4, 2, LxPixelFormat_Mono10p);
    // Four 10-bit samples in 5 bytes, least significant bits first: 1, 1023, 0, 3.
    const uint8_t line[5] = {0x01, 0xFC, 0x0F, 0xC0, 0x00};
    for (size_t y = 0; y < 2; ++y) std::memcpy(Bytes(packed) + y * Pitch(packed), line, 5);
    a.filter->Filter(packed->GetILxImage());
    ILxImage* mean = a.Mean(0);
    EXPECT_EQ(mean->GetImagePixelFormat(), LxPixelFormat_Mono10);
    const uint32_t expect[4] = {1, 1023, 0, 3};
    for (size_t x = 0; x < 4; ++x) EXPECT_EQ(SampleAt(mean, x, 1), expect[x]) << x;
}

TEST(ImageAveraging, SeriesRulesAndRefusalsKeepTheSums) {
    Avg a;
    EXPECT_EQ(TextOf<GenICam::RuntimeException>([&] { a.Mean(0); }), "There is no image data.");
    EXPECT_EQ(TextOf<GenICam::InvalidArgumentException>([&] { a.filter->Filter(nullptr); }), "ILxImage is NULL.");
    EXPECT_EQ(TextOf<GenICam::InvalidArgumentException>([&] { a.filter->Filter(Constant(LxPixelFormat_RGB8, 2, 2, 1)->GetILxImage()); }),
              "Not supported pixel format.");
    // Mono16 sums at most 2^16 images.
    BufferPtr one = Constant(LxPixelFormat_Mono16, 1, 1, 65535);
    for (uint32_t i = 0; i < 65536; ++i) a.filter->Filter(one->GetILxImage());
    EXPECT_EQ(TextOf<GenICam::RuntimeException>([&] { a.filter->Filter(one->GetILxImage()); }), "Too many frame.");
    EXPECT_EQ(a.typed->GetImageCount(), 65536u);
    EXPECT_EQ(SampleAt(a.Mean(0), 0, 0), 65535u);
    EXPECT_EQ(TextOf<GenICam::InvalidArgumentException>([&] { a.filter->Filter(Constant(LxPixelFormat_Mono16, 2, 1, 1)->GetILxImage()); }),
              "Pixel format or image size is changed.");
    EXPECT_EQ(TextOf<GenICam::InvalidArgumentException>([&] { a.filter->Filter(Constant(LxPixelFormat_Mono8, 1, 1, 1)->GetILxImage()); }),
              "Pixel format or image size is changed.");
    a.typed->ResetImageCount();
    EXPECT_EQ(a.typed->GetImageCount(), 0u);
    a.filter->Filter(Constant(LxPixelFormat_Mono8, 2, 1, 7)->GetILxImage());
    EXPECT_EQ(SampleAt(a.Mean(0), 1, 0), 7u);

    // Polarized series: 8, 10 and 12 bits only, in the same pattern.
    Avg pol;
    pol.filter->Filter(Constant(LxPixelFormat_Pol1BayerRGYC12, 2, 2, 4095)->GetILxImage());
    EXPECT_EQ(pol.Mean(10)->GetImagePixelFormat(), LxPixelFormat_Pol1BayerRGYC10);
    EXPECT_EQ(SampleAt(pol.Mean(10), 1, 1), 1023u);
    for (uint32_t bits : {14u, 16u, 32u, 9u}) EXPECT_EQ(TextOf<GenICam::RuntimeException>([&] { pol.Mean(bits); }), "Output pixel format is not valid.");
}

TEST(ImageAveraging, TheFormatTableHas137Rows) {
    EXPECT_EQ(CLxImageAveragingFilter::Handlers().Size(), 137u);
    ILxFilterInfo* info = GetILxFilterInfo(LxFilterType_ImageAveraging);
    size_t accepted = 0;
    for (uint32_t code : {LxPixelFormat_Mono1p, LxPixelFormat_BayerBG4p, LxPixelFormat_BayerGR12Packed,
                          LxPixelFormat_Pol1MonoXYC12p, LxPixelFormat_Mono16})
        accepted += info->IsSupportedPixelFormat(code);
    EXPECT_EQ(accepted, 5u);
    EXPECT_FALSE(info->IsSupportedPixelFormat(LxPixelFormat_Mono32));
    EXPECT_FALSE(info->IsSupportedPixelFormat(LxPixelFormat_BGR8));
}
