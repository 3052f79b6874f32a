// Buffers and method numbers from outside: word images at odd addresses or with odd pitches give the
// same pixels as aligned ones, and a method number above 7 gives a defined image.
#include "colorinterpolation.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

namespace {

constexpr uint8_t kMarker = 0xA5;

// An image of `lineBytes` per line at `pitch`, starting `offset` bytes into its storage; everything
// around the lines holds the marker.
struct Lines {
    size_t offset, pitch, lineBytes, height;
    std::vector<uint8_t> storage;
    Lines(size_t offset_, size_t pitch_, size_t lineBytes_, size_t height_)
        : offset(offset_), pitch(pitch_), lineBytes(lineBytes_), height(height_),
          storage(offset_ + pitch_ * height_, kMarker) {}
    uint8_t* Line(size_t y) { return storage.data() + offset + y * pitch; }
    // The address is odd or even as the offset is: storage from the heap is aligned.
    const uint16_t* Src() { return reinterpret_cast<const uint16_t*>(Line(0)); }
    uint16_t* Dst() { return reinterpret_cast<uint16_t*>(Line(0)); }
    bool OutsideIntact() const {
        for (size_t i = 0; i < storage.size(); ++i) {
            const bool inLine = i >= offset && (i - offset) % pitch < lineBytes;
            if (!inLine && storage[i] != kMarker) return false;
        }
        return true;
    }
};

struct Layout {
    size_t srcOffset, srcPad, dstOffset, dstPad;
};

class WordLines : public ::testing::TestWithParam<lxcpu::Level> {
protected:
    void SetUp() override { previous_ = lxcpu::Force(GetParam()); }
    void TearDown() override { lxcpu::Force(previous_); }
    lxcpu::Level previous_ = lxcpu::Level::Avx512;
};

// Every method, phase, step and flip of a 12-bit mosaic, and the luminance, run on lines at odd
// addresses or odd pitches: each line's bytes equal those of the aligned run, the alpha samples
// keep what the buffer held and nothing outside the lines is touched.
TEST_P(WordLines, OddAddressesAndPitchesGiveTheAlignedResult) {
    const uint32_t w = 9, h = 7;
    std::mt19937 rng(21);
    std::vector<uint16_t> mosaic(size_t(w) * h);
    for (auto& v : mosaic) v = uint16_t(rng() & 0xFFF);
    const Layout layouts[] = {{1, 1, 0, 0}, {0, 0, 1, 3}, {1, 3, 3, 1}, {0, 1, 0, 1}};

    for (uint32_t step : {1u, 3u, 4u}) {
        const size_t srcLine = 2 * w, dstLine = 2 * size_t(w) * step;
        for (uint32_t method = 0; method < (step == 1 ? 1u : 8u); ++method)
            for (uint32_t filter = 2; filter <= 5; ++filter)
                for (bool reverse : {false, true}) {
                    auto run = [&](Lines& s, Lines& d) {
                        for (size_t y = 0; y < h; ++y) std::memcpy(s.Line(y), &mosaic[y * w], srcLine);
                        if (step == 1)
                            lxbayer::Bayer16ToMono16(filter, w, h, s.Src(), s.pitch, d.Dst(), d.pitch, reverse);
                        else
                            lxbayer::BayerToColor(method, filter, w, h, s.Src(), s.pitch, d.Dst(), d.pitch, step,
                                                  filter & 1, reverse, 0xFFF);
                    };
                    Lines alignedSrc(0, srcLine, srcLine, h), alignedDst(0, dstLine, dstLine, h);
                    run(alignedSrc, alignedDst);
                    for (const Layout& l : layouts) {
                        Lines s(l.srcOffset, srcLine + l.srcPad, srcLine, h);
                        Lines d(l.dstOffset, dstLine + l.dstPad, dstLine, h);
                        ASSERT_NO_THROW(run(s, d)) << "step " << step << " method " << method;
                        for (size_t y = 0; y < h; ++y)
                            ASSERT_EQ(std::memcmp(d.Line(y), alignedDst.Line(y), dstLine), 0)
                                << "step " << step << " method " << method << " filter " << filter << " line " << y
                                << " reverse " << reverse << " offsets " << l.srcOffset << "/" << l.dstOffset;
                        ASSERT_TRUE(d.OutsideIntact());
                        if (step == 4)
                            for (size_t y = 0; y < h; ++y)
                                for (size_t x = 0; x < w; ++x) {
                                    ASSERT_EQ(d.Line(y)[8 * x + 6], kMarker);
                                    ASSERT_EQ(d.Line(y)[8 * x + 7], kMarker);
                                }
                    }
                }
    }
}

INSTANTIATE_TEST_SUITE_P(KernelLevels, WordLines, ::testing::Values(lxcpu::Detected(), lxcpu::Level::Portable));

// A method number above 7 (possible through the register port) zeroes the colour samples, keeps the
// alpha samples and the padding, and comes after the size rules: below 4 pixels it runs as
// NearestNeighbor.
TEST(MethodNumbers, AboveSevenZeroesTheColourSamples) {
    const uint32_t w = 6, h = 5, pitch = 4 * w + 1;
    std::vector<uint8_t> src(size_t(w) * h, 200);
    for (uint32_t method : {9u, 0xFFFFFFFFu}) {
        std::vector<uint8_t> dst(size_t(pitch) * h, 0xCD);
        lxbayer::BayerToColor(method, 2, w, h, src.data(), w, dst.data(), pitch, 4, true, false);
        for (size_t i = 0; i < dst.size(); ++i)
            ASSERT_EQ(dst[i], (i % pitch == 4 * w || i % pitch % 4 == 3) ? 0xCD : 0) << method << " byte " << i;
    }
    std::vector<uint8_t> nearest(27, 1), nine(27, 2);
    lxbayer::BayerToColor(1, 3, 3, 3, src.data(), 3, nearest.data(), 9, 3, false, false);
    lxbayer::BayerToColor(9, 3, 3, 3, src.data(), 3, nine.data(), 9, 3, false, false);
    EXPECT_EQ(nine, nearest);
}

} // namespace
