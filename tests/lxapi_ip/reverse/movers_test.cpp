// The movers' forms: every form the processor runs gives the portable form's bytes, for each pixel
// size and operation, on odd sizes with padded lines, from a source that ends at the end of its
// allocation (an over-read of the last line shows under the sanitizers). The sizes cross the
// register blocks and cache tiles of the fast forms with partial blocks on both edges.
#include "reversekernels.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace {

using lxreverse::Operation;

std::vector<uint8_t> RunForm(lxcpu::Level level, size_t n, Operation op, const std::vector<uint8_t>& src,
                             size_t w, size_t h, size_t srcPitch) {
    const bool swaps = lxreverse::SwapsAxes(op);
    const size_t dw = swaps ? h : w, dh = swaps ? w : h, dstPitch = dw * n + 5;
    std::vector<uint8_t> dst(dstPitch * dh, 0xCD);
    lxcpu::ForcedLevel forced(level);
    lxreverse::Move({src.data(), srcPitch, dst.data(), dstPitch, w, h}, n, op);
    return dst;
}

} // namespace

TEST(ReverseMovers, EveryFormIsBitExactWithThePortableOne) {
    const auto levels = lxcpu::FastLevels([](lxcpu::Level l) { return lxreverse::Forms().LevelAt(l); });
    std::mt19937 rng(4);
    for (size_t n : lxreverse::kPixelSizes)
        for (const auto& [w, h] : {std::pair<size_t, size_t>{1, 1}, {3, 70}, {129, 33}, {200, 65}, {275, 141}}) {
            const size_t pitch = w * n + 3;
            // The last line holds no padding, so the buffer ends with the last pixel.
            std::vector<uint8_t> src(pitch * (h - 1) + w * n);
            for (uint8_t& b : src) b = uint8_t(rng());
            for (int code = 0; code < 8; ++code) {
                const auto op = static_cast<Operation>(code);
                const std::vector<uint8_t> portable = RunForm(lxcpu::Level::Portable, n, op, src, w, h, pitch);
                // The padding of the destination lines is never written.
                const bool swaps = lxreverse::SwapsAxes(op);
                const size_t dw = swaps ? h : w, dh = swaps ? w : h;
                for (size_t y = 0; y < dh; ++y)
                    for (size_t i = dw * n; i < dw * n + 5; ++i) ASSERT_EQ(portable[y * (dw * n + 5) + i], 0xCD);
                for (lxcpu::Level level : levels)
                    EXPECT_EQ(RunForm(level, n, op, src, w, h, pitch), portable)
                        << lxcpu::LevelName(level) << " pixel " << n << " code " << code << " " << w << " x " << h;
            }
        }
}
