// The vector rows of the edge enhancement against the portable ones, byte for byte: every width up to
// a few blocks (so every tail length), random samples and steep steps, random and extreme tables.
#include "edgekernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

namespace {

std::vector<uint8_t> EnhanceAt(lxcpu::Level level, const std::vector<uint8_t>& image, size_t width, size_t height,
                         const std::vector<uint16_t>& table) {
    lxcpu::ForcedLevel forced(level);
    EXPECT_EQ(lxedge::KernelLevel(), lxedge::KernelLevelAt(level));
    std::vector<uint8_t> out = image;
    std::vector<uint16_t> work(3 * width);
    lxedge::EnhanceMono8(out.data(), width + 3, width, height, work.data(), table.data());
    return out;
}

} // namespace

TEST(EdgeKernels, VectorRowsEqualThePortableRows) {
    const auto levels = lxcpu::FastLevels([](lxcpu::Level l) { return lxedge::KernelLevelAt(l); });
    if (levels.empty()) GTEST_SKIP() << "no vector form runs on this processor";
    std::mt19937 rng(17);
    for (size_t width = 1; width <= 200; ++width) {
        const size_t height = 4, pitch = width + 3;
        std::vector<uint8_t> image(pitch * height);
        for (auto& v : image) v = uint8_t(rng());
        if (width % 3 == 0)
            for (size_t i = 0; i < image.size(); ++i) image[i] = (i / 5) % 2 ? 255 : 0;
        // A random increasing table of bytes, zero up to a random threshold; every fifth width the
        // largest one (every difference at 255).
        std::vector<uint16_t> table(256, 0);
        const size_t t = rng() % 40;
        for (size_t i = t + 1; i < 256; ++i) table[i] = width % 5 ? uint16_t(std::min<size_t>(255, (i - t) * (rng() % 4))) : 255;
        const std::vector<uint8_t> portable = EnhanceAt(lxcpu::Level::Portable, image, width, height, table);
        for (lxcpu::Level level : levels)
            ASSERT_EQ(EnhanceAt(level, image, width, height, table), portable)
                << lxcpu::LevelName(level) << " width " << width;
    }
}
