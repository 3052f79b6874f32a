// Every fast form of the JPEG primitives gives the portable form's bytes, on random and extreme data.
#include "jpegtest.h"

#include "jpegtables.h"

#include <gtest/gtest.h>
#include <lxapi/lxpixelformat.h>

#include <cstring>

namespace {

const lxjpeg::KernelTable& Form(lxcpu::Level level) {
    lxcpu::ForcedLevel forced(level);
    return lxjpeg::Forms().Get();
}

std::vector<lxcpu::Level> Fast() {
    return lxcpu::FastLevels([](lxcpu::Level l) { return lxjpeg::Forms().LevelAt(l); });
}

// Blocks that reach the ends of the range: flat black, flat white, checkerboards, stripes and noise.
std::vector<uint8_t> TestBlocks(std::mt19937& rng, size_t count, size_t step) {
    std::vector<uint8_t> px(step * 8);
    for (size_t j = 0; j < count; ++j) {
        const int kind = int(j % 6);
        for (int y = 0; y < 8; ++y)
            for (int x = 0; x < 8; ++x) {
                uint8_t v;
                switch (kind) {
                case 0: v = 0; break;
                case 1: v = 255; break;
                case 2: v = ((x + y) & 1) ? 255 : 0; break;
                case 3: v = (x & 1) ? 0 : 255; break;
                case 4: v = (y < 4) ? 255 : 0; break;
                default: v = static_cast<uint8_t>(rng()); break;
                }
                px[y * step + 8 * j + x] = v;
            }
    }
    return px;
}

} // namespace

TEST(JpegKernels, ForwardDctMatchesPortable) {
    std::mt19937 rng(11);
    const lxjpeg::KernelTable& ref = lxjpeg::PortableKernels();
    for (lxcpu::Level level : Fast()) {
        const lxjpeg::KernelTable& fast = Form(level);
        for (int round = 0; round < 40; ++round) {
            uint8_t raw[64];
            for (auto& v : raw) v = round < 3 ? uint8_t(round == 0 ? 1 : round == 1 ? 255 : 2) : uint8_t(1 + rng() % 255);
            lxjpeg::ForwardQuantTable table;
            lxjpeg::BuildForwardTable(raw, table);
            const size_t count = 1 + rng() % 13, step = 8 * count + rng() % 5;
            auto px = TestBlocks(rng, count, step);
            std::vector<int16_t> a(64 * count), b(64 * count, 0x5555);
            ref.forwardDct(px.data(), step, count, table, a.data());
            fast.forwardDct(px.data(), step, count, table, b.data());
            ASSERT_EQ(a, b) << lxcpu::LevelName(level) << " round " << round;
        }
    }
}

TEST(JpegKernels, ColourAndReductionMatchPortable) {
    std::mt19937 rng(12);
    const lxjpeg::KernelTable& ref = lxjpeg::PortableKernels();
    for (lxcpu::Level level : Fast()) {
        const lxjpeg::KernelTable& fast = Form(level);
        for (size_t width : {1u, 15u, 16u, 17u, 31u, 32u, 33u, 64u, 100u, 257u}) {
            const size_t lines = 3, srcStep = 3 * width + 7, dstStep = width + 3;
            std::vector<uint8_t> src(srcStep * lines + 64);
            for (auto& v : src) v = static_cast<uint8_t>(rng());
            src[0] = src[1] = src[2] = 255;
            src[3] = src[4] = src[5] = 0;
            for (int red : {0, 2}) {
                std::vector<uint8_t> a(3 * dstStep * lines, 7), b(3 * dstStep * lines, 7);
                ref.toYCbCr(src.data(), srcStep, a.data(), a.data() + dstStep * lines, a.data() + 2 * dstStep * lines,
                            dstStep, width, lines, red);
                fast.toYCbCr(src.data(), srcStep, b.data(), b.data() + dstStep * lines, b.data() + 2 * dstStep * lines,
                             dstStep, width, lines, red);
                ASSERT_EQ(a, b) << lxcpu::LevelName(level) << " width " << width;
            }
            std::vector<uint8_t> a(width + 8, 7), b(width + 8, 7);
            ref.reduceLine(src.data(), a.data(), width);
            fast.reduceLine(src.data(), b.data(), width);
            ASSERT_EQ(a, b) << "reduce line, width " << width;
            ref.reduceTwoLines(src.data(), src.data() + srcStep, a.data(), width);
            fast.reduceTwoLines(src.data(), src.data() + srcStep, b.data(), width);
            ASSERT_EQ(a, b) << "reduce two lines, width " << width;
        }
    }
}

TEST(JpegKernels, HuffmanCodingMatchesPortable) {
    std::mt19937 rng(13);
    lxjpeg::HuffmanCodeTable dc, ac;
    ASSERT_TRUE(lxjpeg::BuildHuffmanTable(lxjpeg::kDcLuminance.counts, lxjpeg::kDcLuminance.values, dc));
    ASSERT_TRUE(lxjpeg::BuildHuffmanTable(lxjpeg::kAcLuminance.counts, lxjpeg::kAcLuminance.values, ac));
    const lxjpeg::KernelTable& ref = lxjpeg::PortableKernels();
    for (lxcpu::Level level : Fast()) {
        const lxjpeg::KernelTable& fast = Form(level);
        std::vector<uint8_t> a(200 * lxjpeg::kMaxBlockBytes), b(a.size());
        size_t pa = 0, pb = 0;
        lxjpeg::HuffmanState sa{}, sb{};
        int16_t da = 0, db = 0;
        for (int round = 0; round < 200; ++round) {
            int16_t coef[64] = {};
            const int density = round % 5; // empty, sparse, long runs, dense, extremes
            for (int i = 0; i < 64; ++i) {
                if (density == 0) break;
                if (density == 1 && rng() % 10) continue;
                if (density == 2 && i % 17) continue;
                coef[i] = density == 4 ? int16_t(rng() % 2 ? 1023 : -1023) : int16_t(int(rng() % 61) - 30);
            }
            coef[0] = int16_t(int(rng() % 2047) - 1023);
            pa = ref.encodeBlock(coef, a.data(), pa, da, dc, ac, sa);
            pb = fast.encodeBlock(coef, b.data(), pb, db, dc, ac, sb);
            ASSERT_EQ(pa, pb) << lxcpu::LevelName(level) << " round " << round;
        }
        pa = lxjpeg::FlushBits(a.data(), pa, sa);
        pb = lxjpeg::FlushBits(b.data(), pb, sb);
        ASSERT_EQ(pa, pb);
        ASSERT_TRUE(std::equal(a.begin(), a.begin() + pa, b.begin()));
    }
}

// Whole streams of every format are the same bytes at every level.
TEST(JpegKernels, StreamsAreTheSameAtEveryLevel) {
    const jpegtest::Image rgb = jpegtest::Photo(203, 77, 3, 9);
    const jpegtest::Image grey = jpegtest::Photo(203, 77, 1, 9);
    for (lxcpu::Level level : Fast()) {
        for (uint32_t q : {1u, 75u, 100u}) {
            std::vector<uint8_t> a, b, c, d;
            {
                lxcpu::ForcedLevel forced(lxcpu::Level::Portable);
                a = jpegtest::Encode(LxPixelFormat_BGR8, rgb.pixels.data(), 203, 77, 609, q);
                c = jpegtest::Encode(LxPixelFormat_Mono8, grey.pixels.data(), 203, 77, 203, q);
            }
            {
                lxcpu::ForcedLevel forced(level);
                b = jpegtest::Encode(LxPixelFormat_BGR8, rgb.pixels.data(), 203, 77, 609, q);
                d = jpegtest::Encode(LxPixelFormat_Mono8, grey.pixels.data(), 203, 77, 203, q);
            }
            EXPECT_EQ(a, b) << lxcpu::LevelName(level);
            EXPECT_EQ(c, d) << lxcpu::LevelName(level);
        }
    }
}
