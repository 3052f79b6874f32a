// The vector forms of the mono rank rows against the portable form, byte for byte: every width up
// to a few vectors (every tail length), random samples, both sample sizes, lines at odd addresses.
#include "noisekernels.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace {

template <class T>
std::vector<uint8_t> RankAt(lxcpu::Level level, const std::vector<uint8_t>& image, size_t offset, size_t width,
                            size_t height, size_t pitch) {
    lxcpu::ForcedLevel forced(level);
    EXPECT_EQ(lxnoise::KernelLevel(), lxnoise::KernelLevelAt(level));
    std::vector<uint8_t> copy = image, out = image;
    lxnoise::RankMono<T>({copy.data() + offset, pitch, width, height}, {out.data() + offset, pitch, width, height});
    return out;
}

template <class T>
void Compare(const std::vector<lxcpu::Level>& levels) {
    std::mt19937 rng(31);
    for (size_t width = 1; width <= 140; ++width) {
        const size_t height = 4, offset = width % 2, pitch = width * sizeof(T) + 1 + width % 3;
        std::vector<uint8_t> image(offset + pitch * height);
        for (auto& v : image) v = uint8_t(rng());
        const std::vector<uint8_t> portable = RankAt<T>(lxcpu::Level::Portable, image, offset, width, height, pitch);
        for (lxcpu::Level level : levels)
            ASSERT_EQ(RankAt<T>(level, image, offset, width, height, pitch), portable)
                << lxcpu::LevelName(level) << " width " << width << " bytes " << sizeof(T);
    }
}

} // namespace

TEST(NoiseKernels, VectorRowsEqualThePortableRows) {
    const auto levels = lxcpu::FastLevels([](lxcpu::Level l) { return lxnoise::KernelLevelAt(l); });
    if (levels.empty()) GTEST_SKIP() << "no vector form runs on this processor";
    Compare<uint8_t>(levels);
    Compare<uint16_t>(levels);
}
