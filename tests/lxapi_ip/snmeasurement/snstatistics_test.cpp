// The SN statistics against a reference written here from the definitions (double sums per sample
// position, per frame and per component), the known figures of synthetic frames, the component layouts
// and the memory rule.
#include "lxsnmeasurementfilter.h"
#include "snformats.h"
#include "snstatistics.h"

#include <kernels/cpudispatch.h>
#include <lxapi/lxpixelformat.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <tuple>

namespace {

using lxsn::Frame;
using lxsn::Layout;
using lxsn::Record;
using lxsn::Roi;

// Frames of raw samples, pitch padded past the row.
struct Frames {
    std::vector<std::vector<uint8_t>> bytes;
    size_t pitch = 0;
    std::vector<Frame> View() const {
        std::vector<Frame> v;
        for (const auto& b : bytes) v.push_back({b.data(), pitch});
        return v;
    }
};

uint32_t Sample(const Frames& f, size_t frame, size_t y, size_t s, uint32_t bytes) {
    const uint8_t* p = f.bytes[frame].data() + y * f.pitch + s * bytes;
    if (bytes == 1) return *p;
    uint16_t v;
    std::memcpy(&v, p, 2);
    return v;
}

Frames RandomFrames(std::mt19937& rng, size_t count, size_t width, size_t height, const Layout& l, uint32_t bits) {
    Frames f;
    f.pitch = width * l.stride * l.bytesPerSample + 6;
    std::uniform_int_distribution<uint32_t> value(0, (1u << bits) - 1);
    for (size_t i = 0; i < count; ++i) {
        std::vector<uint8_t> b(f.pitch * height);
        for (size_t y = 0; y < height; ++y)
            for (size_t s = 0; s < width * l.stride; ++s) {
                const uint32_t v = value(rng);
                std::memcpy(b.data() + y * f.pitch + s * l.bytesPerSample, &v, l.bytesPerSample);
            }
        f.bytes.push_back(std::move(b));
    }
    return f;
}

// The definitions, straight: component of a sample by its ROI row and column and the sample within
// the pixel.
std::vector<Record> Reference(const Layout& l, const Frames& f, const Roi& roi) {
    const size_t n = f.bytes.size(), count = l.count;
    std::vector<double> meanSum(count), tSum(count), dSum(count);
    std::vector<uint64_t> samples(count);
    auto component = [&](size_t r, size_t i) { return l.component[r % l.rowClasses][i % l.period]; };
    for (size_t r = 0; r < roi.height; ++r)
        for (size_t i = 0; i < roi.width * l.stride; ++i) {
            const int c = component(r, i);
            if (c < 0) continue;
            double s = 0, q = 0;
            for (size_t k = 0; k < n; ++k) {
                const double v = Sample(f, k, roi.y + r, roi.x * l.stride + i, l.bytesPerSample);
                s += v;
                q += v * v;
            }
            const double mean = s / n;
            meanSum[c] += mean;
            tSum[c] += std::sqrt(q / n - mean * mean);
            ++samples[c];
        }
    for (size_t k = 0; k < n; ++k) {
        std::vector<double> s(count), q(count);
        for (size_t r = 0; r < roi.height; ++r)
            for (size_t i = 0; i < roi.width * l.stride; ++i) {
                const int c = component(r, i);
                if (c < 0) continue;
                const double v = Sample(f, k, roi.y + r, roi.x * l.stride + i, l.bytesPerSample);
                s[c] += v;
                q[c] += v * v;
            }
        for (size_t c = 0; c < count; ++c)
            if (samples[c]) {
                const double m = s[c] / samples[c], e = q[c] / samples[c];
                dSum[c] += std::sqrt(e - m * m);
            }
    }
    std::vector<Record> out(count);
    for (size_t c = 0; c < count; ++c) {
        out[c].component = l.ids[c];
        out[c].pixelCount = samples[c];
        if (!samples[c]) continue;
        out[c].average = meanSum[c] / samples[c];
        out[c].temporalDeviation = tSum[c] / samples[c];
        out[c].frameDeviation = dSum[c] / n;
    }
    return out;
}

void ExpectNear(const std::vector<Record>& a, const std::vector<Record>& b) {
    ASSERT_EQ(a.size(), b.size());
    for (size_t c = 0; c < a.size(); ++c) {
        SCOPED_TRACE(c);
        EXPECT_EQ(a[c].component, b[c].component);
        EXPECT_EQ(a[c].pixelCount, b[c].pixelCount);
        EXPECT_NEAR(a[c].average, b[c].average, 1e-9 * (1 + std::fabs(b[c].average)));
        EXPECT_NEAR(a[c].temporalDeviation, b[c].temporalDeviation, 1e-8 * (1 + b[c].temporalDeviation));
        EXPECT_NEAR(a[c].frameDeviation, b[c].frameDeviation, 1e-8 * (1 + b[c].frameDeviation));
    }
}

std::vector<Record> Measure(const Layout& l, const Frames& f, const Roi& roi) {
    std::vector<Record> out;
    EXPECT_TRUE(lxsn::Compute(l, f.View(), roi, &out));
    return out;
}

Layout LayoutOf(uint32_t format, uint64_t roiX = 0) {
    Layout l;
    EXPECT_TRUE(lxsn::LayoutOf(format, roiX, &l));
    return l;
}

} // namespace

// Every kind of layout, random samples and ROIs at odd places, rows longer than the lanes, a ROI taller
// than one block of rows with a part block at its end, frame counts that leave part groups, and every
// instruction-set level: the same figures as the reference, and the same bits at every level.
TEST(SNStatistics, RandomFramesMatchTheDefinitions) {
    std::mt19937 rng(2024);
    struct Case {
        uint32_t format;
        uint32_t bits;
    };
    const Case cases[] = {{LxPixelFormat_Mono8, 8},          {LxPixelFormat_Mono12, 12},
                          {LxPixelFormat_Mono16, 16},        {LxPixelFormat_BayerGB10, 10},
                          {LxPixelFormat_Pol1BayerRGXC12, 12}, {LxPixelFormat_Pol1MonoY8, 8},
                          {LxPixelFormat_RGBa8, 8},          {LxPixelFormat_BGR12, 12},
                          {LxPixelFormat_YCbCr8, 8},         {LxPixelFormat_YCbCr422_8, 8}};
    struct Shape {
        size_t frames, width, height;
        Roi roi;
    };
    const Shape shapes[] = {{11, 70, 9, {3, 1, 61, 7}}, {3, 40, 41, {1, 2, 37, 37}}};
    const auto levels = lxcpu::FastLevels([](lxcpu::Level a) { return lxsn::RowForms().LevelAt(a); });
    for (const Case& c : cases) {
        for (const Shape& shape : shapes) {
            SCOPED_TRACE(c.format);
            const Roi roi = shape.roi;
            const Layout l = LayoutOf(c.format, roi.x);
            const Frames f = RandomFrames(rng, shape.frames, shape.width, shape.height, l, c.bits);
            const std::vector<Record> portable = [&] {
                lxcpu::ForcedLevel forced(lxcpu::Level::Portable);
                return Measure(l, f, roi);
            }();
            ExpectNear(portable, Reference(l, f, roi));
            for (lxcpu::Level level : levels) {
                lxcpu::ForcedLevel forced(level);
                const std::vector<Record> fast = Measure(l, f, roi);
                ASSERT_EQ(fast.size(), portable.size());
                for (size_t i = 0; i < fast.size(); ++i) {
                    EXPECT_EQ(fast[i].average, portable[i].average);
                    EXPECT_EQ(fast[i].temporalDeviation, portable[i].temporalDeviation);
                    EXPECT_EQ(fast[i].frameDeviation, portable[i].frameDeviation);
                }
            }
        }
    }
}

// The row kernels alone (the one-phase form too), every fast level against the portable one: all
// outputs to the bit, for groups of every size, on lengths around the lane blocks and the 64-sample
// blocks, rows at odd addresses, sums that are already large, and samples at the top of their range as
// well as random ones.
TEST(SNStatistics, RowKernelsGiveThePortableSums) {
    const auto levels = lxcpu::FastLevels([](lxcpu::Level a) { return lxsn::RowForms().LevelAt(a); });
    if (levels.empty()) GTEST_SKIP() << "no fast form on this processor";
    const lxsn::RowKernels& portable = []() -> const lxsn::RowKernels& {
        lxcpu::ForcedLevel forced(lxcpu::Level::Portable);
        return lxsn::RowForms().Get();
    }();
    std::mt19937 rng(99);
    for (size_t frames = 1; frames <= lxsn::Group; ++frames) {
        for (size_t n : {1u, 47u, 48u, 49u, 63u, 64u, 97u, 128u, 301u, 2447u}) {
            const bool full = n == 2447 && frames == lxsn::Group;
            std::vector<std::vector<uint8_t>> bytes(frames, std::vector<uint8_t>(n + 3));
            std::vector<std::vector<uint16_t>> words(frames, std::vector<uint16_t>(n + 2));
            const uint8_t* rows8[lxsn::Group];
            const uint16_t* rows16[lxsn::Group];
            for (size_t k = 0; k < frames; ++k) {
                for (uint8_t& b : bytes[k]) b = full ? 0xFF : uint8_t(rng());
                for (uint16_t& w : words[k]) w = full ? 0xFFFF : uint16_t(rng());
                rows8[k] = bytes[k].data() + 1;
                rows16[k] = words[k].data() + 1;
            }
            // Per-position sums as after many frames; lanes with some history.
            std::vector<uint32_t> sum(n), sq32(n);
            std::vector<uint64_t> sq64(n), lanes(frames * 2 * lxsn::Lanes);
            for (size_t i = 0; i < n; ++i) {
                sum[i] = rng() % (1u << 20);
                sq32[i] = rng() % (1u << 28);
                sq64[i] = (uint64_t(rng()) << 8) + rng();
            }
            for (uint64_t& v : lanes) v = (uint64_t(rng()) << 12) + rng();
            auto run = [&](const lxsn::RowKernels& k) {
                auto s8 = sum, q8 = sq32, s16 = sum;
                auto q16 = sq64, l8 = lanes, l16 = lanes;
                uint64_t* lanes8[lxsn::Group];
                uint64_t* lanes16[lxsn::Group];
                for (size_t f = 0; f < frames; ++f) {
                    lanes8[f] = l8.data() + f * 2 * lxsn::Lanes;
                    lanes16[f] = l16.data() + f * 2 * lxsn::Lanes;
                }
                k.row8(rows8, frames, n, s8.data(), q8.data(), lanes8);
                k.row16(rows16, frames, n, s16.data(), q16.data(), lanes16);
                auto s1 = sum, q1 = sq32;
                auto l1 = lanes;
                uint64_t* lanes1[lxsn::Group];
                for (size_t f = 0; f < frames; ++f) lanes1[f] = l1.data() + f * 2 * lxsn::Lanes;
                k.row8single(rows8, frames, n, s1.data(), q1.data(), lanes1);
                return std::make_tuple(s8, q8, l8, s16, q16, l16, s1, q1, l1);
            };
            const auto expected = run(portable);
            for (lxcpu::Level level : levels) {
                lxcpu::ForcedLevel forced(level);
                EXPECT_TRUE(run(lxsn::RowForms().Get()) == expected)
                    << lxcpu::LevelName(level) << " frames " << frames << " n " << n;
            }
        }
    }
}

// A fixed per-pixel pattern (a ramp of known spread) plus seeded Gaussian noise: the mean is the
// level, the temporal deviation the noise (population form over 64 frames), the frame deviation the
// spread of pattern and noise together; within their statistical error.
TEST(SNStatistics, SyntheticFramesGiveTheirKnownNoise) {
    const size_t width = 256, height = 64, frames = 64;
    const double level = 2000, sigma = 8;
    const Layout l = LayoutOf(LxPixelFormat_Mono16);
    Frames f;
    f.pitch = width * 2;
    std::mt19937 rng(7);
    std::normal_distribution<double> noise(0, sigma);
    for (size_t k = 0; k < frames; ++k) {
        std::vector<uint8_t> b(f.pitch * height);
        for (size_t y = 0; y < height; ++y)
            for (size_t x = 0; x < width; ++x) {
                const double pattern = (double(x) - 127.5) * 2; // spread 2 * sqrt((256^2 - 1) / 12)
                const uint16_t v = uint16_t(std::lround(level + pattern + noise(rng)));
                std::memcpy(b.data() + y * f.pitch + 2 * x, &v, 2);
            }
        f.bytes.push_back(std::move(b));
    }
    const std::vector<Record> r = Measure(l, f, {0, 0, width, height});
    ASSERT_EQ(r.size(), 1u);
    EXPECT_EQ(r[0].component, 0x01100000u);
    EXPECT_EQ(r[0].pixelCount, width * height);
    EXPECT_NEAR(r[0].average, level, 0.05);
    // E[population deviation over N] ~ sigma * sqrt((N - 1) / N) * (1 - 1 / (4N)); rounding adds 1/12.
    const double expectedT = std::sqrt(sigma * sigma + 1.0 / 12) * std::sqrt(63.0 / 64) * (1 - 1.0 / 256);
    EXPECT_NEAR(r[0].temporalDeviation, expectedT, 0.05);
    const double spread = 2 * std::sqrt((256.0 * 256 - 1) / 12);
    EXPECT_NEAR(r[0].frameDeviation, std::sqrt(spread * spread + sigma * sigma + 1.0 / 12), 0.1);
}

TEST(SNStatistics, ConstantFramesAndASingleFrame) {
    const Layout l = LayoutOf(LxPixelFormat_Mono8);
    Frames f;
    f.pitch = 4;
    for (uint8_t v : {10, 20, 30}) f.bytes.emplace_back(16, v);
    std::vector<Record> r = Measure(l, f, {0, 0, 4, 4});
    EXPECT_DOUBLE_EQ(r[0].average, 20);
    EXPECT_DOUBLE_EQ(r[0].temporalDeviation, std::sqrt(200.0 / 3));
    EXPECT_DOUBLE_EQ(r[0].frameDeviation, 0);

    Frames one;
    one.pitch = 2;
    one.bytes.push_back({0, 2, 4, 6});
    r = Measure(l, one, {0, 0, 2, 2});
    EXPECT_EQ(r[0].temporalDeviation, 0);
    EXPECT_DOUBLE_EQ(r[0].frameDeviation, std::sqrt(5.0)); // values 0 2 4 6 around 3
    // An empty ROI gives the records with zeros.
    r = Measure(l, one, {0, 0, 0, 2});
    ASSERT_EQ(r.size(), 1u);
    EXPECT_EQ(r[0].pixelCount, 0u);
    EXPECT_EQ(r[0].average, 0);
}

// Long 8-bit rows pass the lane limit of one call and still sum exactly at every level (a row of 255
// fills a kernel's row squares to near their 32-bit limit); a cancelled run says so.
TEST(SNStatistics, LongRowsAndCancellation) {
    const Layout l = LayoutOf(LxPixelFormat_Mono8);
    const size_t width = lxsn::MaxRow8 + 100;
    Frames f;
    f.pitch = width;
    f.bytes.emplace_back(width, 255);
    f.bytes.emplace_back(width, 1);
    std::vector<lxcpu::Level> levels = lxcpu::FastLevels([](lxcpu::Level a) { return lxsn::RowForms().LevelAt(a); });
    levels.push_back(lxcpu::Level::Portable);
    for (lxcpu::Level level : levels) {
        lxcpu::ForcedLevel forced(level);
        SCOPED_TRACE(lxcpu::LevelName(level));
        const std::vector<Record> r = Measure(l, f, {0, 0, width, 1});
        EXPECT_DOUBLE_EQ(r[0].average, 128);
        EXPECT_DOUBLE_EQ(r[0].temporalDeviation, 127);
        EXPECT_NEAR(r[0].frameDeviation, 0, 1e-5); // sqrt(e - m^2) of equal samples, rounded
    }
    std::atomic<bool> cancel{true};
    std::vector<Record> out;
    EXPECT_FALSE(lxsn::Compute(l, f.View(), {0, 0, width, 1}, &out, &cancel));
}

// Component names: Bayer and colour orders, the polarizer tables (the C families with their greens
// swapped), and the 4:2:2 chroma by the parity of the image column.
TEST(SNLayouts, ComponentsAreNamedByFormat) {
    auto id = [](uint32_t colour, uint32_t bits, uint32_t pol) { return (colour << 24) | (bits << 16) | pol; };
    Layout l = LayoutOf(LxPixelFormat_BayerRG12p);
    EXPECT_EQ(l.working, uint32_t(LxPixelFormat_BayerRG12));
    EXPECT_EQ(l.count, 4u);
    EXPECT_EQ(l.ids[0], id(2, 12, 0));
    EXPECT_EQ(l.ids[1], id(5, 12, 0));
    EXPECT_EQ(l.ids[2], id(6, 12, 0));
    EXPECT_EQ(l.ids[3], id(4, 12, 0));
    EXPECT_EQ(LayoutOf(LxPixelFormat_BayerGR4p).ids[0], id(5, 8, 0));
    EXPECT_EQ(LayoutOf(LxPixelFormat_Mono10p).ids[0], 0x010A0000u);
    EXPECT_EQ(LayoutOf(LxPixelFormat_Mono1p).working, uint32_t(LxPixelFormat_Mono8));
    // Polarized mono, no suffix: 90, 45 / 135, 0.
    l = LayoutOf(LxPixelFormat_Pol1Mono10p);
    EXPECT_EQ(l.working, uint32_t(LxPixelFormat_Pol1Mono10));
    EXPECT_EQ(l.ids[0], id(1, 10, 3));
    EXPECT_EQ(l.ids[3], id(1, 10, 1));
    // Polarized Bayer C: blocks Gb, R / B, Gr; angles 135, 90 / 0, 45.
    l = LayoutOf(LxPixelFormat_Pol1BayerRGC8);
    EXPECT_EQ(l.count, 16u);
    EXPECT_EQ(l.ids[0], id(6, 8, 4));
    EXPECT_EQ(l.ids[1], id(6, 8, 3));
    EXPECT_EQ(l.ids[2], id(2, 8, 4));
    EXPECT_EQ(l.ids[4], id(6, 8, 1));
    EXPECT_EQ(l.ids[15], id(5, 8, 2));
    // Without C the graph data table holds: R, Gr / Gb, B with 90, 45 / 135, 0.
    l = LayoutOf(LxPixelFormat_Pol1BayerRG12);
    EXPECT_EQ(l.ids[0], id(2, 12, 3));
    EXPECT_EQ(l.ids[8], id(6, 12, 3));
    l = LayoutOf(LxPixelFormat_BGRa14);
    EXPECT_EQ(l.stride, 4u);
    EXPECT_EQ(l.component[0][3], -1);
    EXPECT_EQ(l.ids[0], id(4, 14, 0));
    EXPECT_EQ(l.ids[2], id(2, 14, 0));
    l = LayoutOf(LxPixelFormat_YCbCr422_8, 0);
    EXPECT_EQ(l.ids[1], id(9, 8, 0));
    EXPECT_EQ(l.component[0][1], 1);
    EXPECT_EQ(l.component[0][3], 2);
    l = LayoutOf(LxPixelFormat_YCbCr422_8, 5);
    EXPECT_EQ(l.component[0][1], 2);
    EXPECT_EQ(l.component[0][3], 1);
    Layout none;
    EXPECT_FALSE(lxsn::LayoutOf(LxPixelFormat_RGB16, 0, &none));
    EXPECT_FALSE(lxsn::LayoutOf(LxPixelFormat_YCbCr422_8_CbYCrY, 0, &none));
}

TEST(SNLayouts, MemoryRuleRefusesWhatDoesNotFit) {
    const uint64_t frame = 2448ull * 2048 * 2;
    EXPECT_TRUE(CLxSNMeasurementFilter::FramesFit(1024, frame, 1024 * frame));
    EXPECT_FALSE(CLxSNMeasurementFilter::FramesFit(1024, frame, 1024 * frame - 1));
    EXPECT_FALSE(CLxSNMeasurementFilter::FramesFit(1024, UINT64_MAX / 2, UINT64_MAX));
    EXPECT_TRUE(CLxSNMeasurementFilter::FramesFit(0, UINT64_MAX, 0));
}
