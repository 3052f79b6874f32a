// The fast kernels (portable, and every instruction-set form the processor runs, each chosen through
// the one dispatcher) against the per-pixel reference on random mosaics: every method, phase, sample
// size, layout, odd and even sizes, padded lines and kept alpha.
#include "bayerreference.h"
#include "colorinterpolation.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace {

using lxcpu::Level;

struct Layout {
    uint32_t step;
    bool bgr, reverse;
    int pad; // extra samples at the end of every source and destination line
};
const Layout kLayouts[] = {{3, false, false, 0}, {3, true, true, 5}, {4, false, true, 3}, {4, true, false, 0}};
const int kSizes[][2] = {{2, 2}, {3, 3}, {2, 5}, {4, 4}, {5, 5}, {7, 3}, {6, 5}, {7, 4}, {9, 7},  {33, 17},
                         {64, 48}, {45, 6}, {67, 9}, {99, 8}, {130, 5}, {41, 11}, {83, 4}};

// Portable and the kernels' own levels above it on this processor.
std::vector<Level> KernelLevels() {
    std::vector<Level> levels{Level::Portable};
    for (Level level : lxcpu::FastLevels(lxbayer::KernelLevelAt)) levels.push_back(level);
    return levels;
}

bayerref::Mosaic RandomMosaic(int w, int h, uint32_t filter, int maxSample, std::mt19937& rng) {
    bayerref::Mosaic m{w, h, filter, std::vector<int>(size_t(w) * h)};
    std::uniform_int_distribution<int> d(0, maxSample);
    for (int& v : m.s) v = d(rng);
    return m;
}

// Runs one conversion with the library and checks every sample of the destination buffer:
// colour samples against the reference, alpha and padding unchanged.
template <class T>
void Check(uint32_t method, const bayerref::Mosaic& m, const bayerref::Planes& ref, int maxv, const Layout& L,
           Level level, std::mt19937& rng) {
    const int w = m.w, h = m.h;
    const size_t sp = size_t(w) + L.pad, dp = size_t(w) * L.step + L.pad;
    std::vector<T> src(sp * h, T(0x5A5A)), dst(dp * h);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) src[y * sp + x] = T(m.At(x, y));
    for (T& v : dst) v = T(rng());
    std::vector<T> expect = dst;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            T* p = &expect[(L.reverse ? h - 1 - y : y) * dp + size_t(x) * L.step];
            p[L.bgr ? 2 : 0] = T(ref.At(bayerref::R, x, y, w));
            p[1] = T(ref.At(bayerref::G, x, y, w));
            p[L.bgr ? 0 : 2] = T(ref.At(bayerref::B, x, y, w));
        }
    {
        lxcpu::ForcedLevel forced(level);
        ASSERT_EQ(lxbayer::KernelLevel(), level);
        if constexpr (sizeof(T) == 1)
            lxbayer::BayerToColor(method, m.filter, w, h, src.data(), sp, dst.data(), dp, L.step, L.bgr, L.reverse);
        else
            lxbayer::BayerToColor(method, m.filter, w, h, src.data(), sp * 2, dst.data(), dp * 2, L.step, L.bgr,
                                  L.reverse, maxv);
    }
    for (size_t i = 0; i < dst.size(); ++i)
        if (dst[i] != expect[i]) {
            const size_t row = i / dp, col = i % dp;
            FAIL() << "method " << method << " filter " << m.filter << " " << w << "x" << h << " step " << L.step
                   << " bgr " << L.bgr << " reverse " << L.reverse << " " << lxcpu::LevelName(level)
                   << ": line " << row << " pixel " << col / L.step << " sample " << col % L.step << " is "
                   << +dst[i] << ", expected " << +expect[i];
        }
}

class ReferenceMatch : public ::testing::TestWithParam<uint32_t> {};

TEST_P(ReferenceMatch, BytesAndWordsAllPhasesAndLayouts) {
    const uint32_t method = GetParam();
    std::mt19937 rng(1234 + method);
    // (maximum value, largest sample): bytes, 10 and 12 bits, 16 bits, 12 bits holding out-of-range
    // samples (which must stay harmless and identical in every path), and samples of 0..3, whose
    // many ties reach the equal-gradient branch of Bilinear3.
    const int depths[][2] = {{255, 255}, {1023, 1023}, {4095, 4095}, {65535, 65535}, {4095, 65535}, {255, 3}, {1023, 3}};
    for (const auto& sz : kSizes)
        for (uint32_t filter = 2; filter <= 5; ++filter)
            for (const auto& d : depths) {
                const bayerref::Mosaic m = RandomMosaic(sz[0], sz[1], filter, d[1], rng);
                const bayerref::Planes ref =
                    bayerref::Demosaic(bayerref::MethodForSize(method, m.w, m.h), m, d[0]);
                for (const Layout& L : kLayouts)
                    for (Level level : KernelLevels()) {
                        if (d[0] == 255) Check<uint8_t>(method, m, ref, d[0], L, level, rng);
                        else Check<uint16_t>(method, m, ref, d[0], L, level, rng);
                        if (HasFatalFailure()) return;
                    }
            }
}

INSTANTIATE_TEST_SUITE_P(Methods, ReferenceMatch, ::testing::Range(0u, 8u),
                         [](const auto& info) { return "Method" + std::to_string(info.param); });

TEST(LuminanceReferenceMatch, BytesAndWordsAllPhases) {
    std::mt19937 rng(77);
    for (const auto& sz : kSizes)
        for (uint32_t filter = 2; filter <= 5; ++filter)
            for (int maxSample : {255, 4095, 65535})
                for (bool reverse : {false, true})
                    for (Level level : KernelLevels()) {
                        const bayerref::Mosaic m = RandomMosaic(sz[0], sz[1], filter, maxSample, rng);
                        const std::vector<int> ref = bayerref::Luminance(m);
                        const int w = m.w, h = m.h, pitch = w + 3;
                        std::vector<uint16_t> src(size_t(pitch) * h), dst(size_t(pitch) * h, 0xBEEF);
                        for (int y = 0; y < h; ++y)
                            for (int x = 0; x < w; ++x) src[y * pitch + x] = uint16_t(m.At(x, y));
                        std::vector<uint16_t> expect = dst;
                        for (int y = 0; y < h; ++y)
                            for (int x = 0; x < w; ++x)
                                expect[(reverse ? h - 1 - y : y) * pitch + x] = uint16_t(ref[y * w + x]);
                        lxcpu::ForcedLevel forced(level);
                        if (maxSample == 255) {
                            std::vector<uint8_t> s8(src.begin(), src.end()), d8(dst.size(), 0xEF);
                            std::vector<uint8_t> e8(expect.begin(), expect.end());
                            lxbayer::Bayer8ToMono8(filter, w, h, s8.data(), pitch, d8.data(), pitch, reverse);
                            EXPECT_EQ(d8, e8) << w << "x" << h << " filter " << filter;
                        } else {
                            lxbayer::Bayer16ToMono16(filter, w, h, src.data(), pitch * 2, dst.data(), pitch * 2,
                                                     reverse);
                            EXPECT_EQ(dst, expect) << w << "x" << h << " filter " << filter;
                        }
                    }
}

// The instruction-set forms against the portable one on larger random images with odd widths and
// padded lines (all are also checked against the reference above on smaller ones).
TEST(SimdMatchesPortable, LargeOddImages) {
    const std::vector<Level> levels = lxcpu::FastLevels(lxbayer::KernelLevelAt);
    if (levels.empty()) GTEST_SKIP() << "no instruction-set form of the kernels runs here";
    std::mt19937 rng(99);
    for (int w : {517, 1024, 1001})
        for (uint32_t method = 0; method < 8; ++method) {
            const int h = 23, sp = w + 7, dp = w * 4 + 9;
            std::vector<uint16_t> src(size_t(sp) * h);
            for (auto& v : src) v = uint16_t(rng() & 0xFFF);
            std::vector<uint8_t> src8(src.size());
            for (size_t i = 0; i < src.size(); ++i) src8[i] = uint8_t(src[i]);
            const uint32_t filter = 2 + method % 4;
            auto run = [&](Level level, std::vector<uint16_t>& d, std::vector<uint8_t>& d8) {
                d.assign(size_t(dp) * h, 7);
                d8.assign(d.size(), 7);
                lxcpu::ForcedLevel forced(level);
                lxbayer::BayerToColor(method, filter, w, h, src.data(), sp * 2, d.data(), dp * 2, 4, true, true, 4095);
                lxbayer::BayerToColor(method, filter, w, h, src8.data(), sp, d8.data(), dp, 4, false, false);
            };
            std::vector<uint16_t> a, b;
            std::vector<uint8_t> a8, b8;
            run(Level::Portable, a, a8);
            for (Level level : levels) {
                run(level, b, b8);
                EXPECT_EQ(a, b) << "words, method " << method << " width " << w << ", " << lxcpu::LevelName(level);
                EXPECT_EQ(a8, b8) << "bytes, method " << method << " width " << w << ", " << lxcpu::LevelName(level);
            }
        }
}

} // namespace
