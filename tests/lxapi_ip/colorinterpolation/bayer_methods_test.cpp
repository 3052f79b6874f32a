// Values of each method worked out by hand from its definition, the size and argument rules, the
// flat-image property, and agreement of the phases on a mosaic shifted by one pixel.
#include "colorinterpolation.h"

#include <GenICam/GCException.h>
#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <random>
#include <vector>

namespace {

using Rgb = std::array<int, 3>;

// Demosaics samples (row-major, w * h) into RGB pixels through the public entry point.
struct Image {
    int w, h;
    std::vector<Rgb> px;
    Rgb At(int x, int y) const { return px[size_t(y) * w + x]; }
};

Image Demosaic(uint32_t method, uint32_t filter, int w, int h, const std::vector<int>& s, int maxv = 255) {
    Image out{w, h, std::vector<Rgb>(size_t(w) * h)};
    std::vector<uint16_t> d16(size_t(w) * h * 3, 0);
    if (maxv == 255) {
        std::vector<uint8_t> src(s.begin(), s.end()), dst(d16.size(), 0);
        lxbayer::BayerToColor(method, filter, w, h, src.data(), w, dst.data(), w * 3, 3, false, false);
        d16.assign(dst.begin(), dst.end());
    } else {
        std::vector<uint16_t> src(s.begin(), s.end());
        lxbayer::BayerToColor(method, filter, w, h, src.data(), w * 2, d16.data(), w * 6, 3, false, false, maxv);
    }
    for (size_t i = 0; i < out.px.size(); ++i) out.px[i] = {d16[3 * i], d16[3 * i + 1], d16[3 * i + 2]};
    return out;
}

std::vector<int> Random(int n, int maxv, unsigned seed) {
    std::mt19937 rng(seed);
    std::vector<int> v(n);
    for (int& x : v) x = int(rng() % unsigned(maxv + 1));
    return v;
}

// 4 x 4 RG mosaic with the sample 10y + x + 1:   R  G  R  G  /  G  B  G  B
const std::vector<int> kSmall = {1, 2, 3, 4, 11, 12, 13, 14, 21, 22, 23, 24, 31, 32, 33, 34};

TEST(Methods, OffMonoAndNearestNeighborsByHand) {
    const Image off = Demosaic(0, 2, 4, 4, kSmall);
    EXPECT_EQ(off.At(0, 0), (Rgb{1, 0, 0}));
    EXPECT_EQ(off.At(1, 0), (Rgb{0, 2, 0}));
    EXPECT_EQ(off.At(1, 1), (Rgb{0, 0, 12}));
    EXPECT_EQ(Demosaic(6, 2, 4, 4, kSmall).At(1, 1), (Rgb{12, 12, 12}));
    // NearestNeighbor: tile (0,0)-(1,1) has R 1, B 12; green 2 on row 0 and 11 on row 1, so the
    // tile's rows agree in red and blue and differ in green.
    const Image nn = Demosaic(1, 2, 4, 4, kSmall);
    EXPECT_EQ(nn.At(0, 0), (Rgb{1, 2, 12}));
    EXPECT_EQ(nn.At(1, 0), (Rgb{1, 2, 12}));
    EXPECT_EQ(nn.At(0, 1), (Rgb{1, 11, 12}));
    EXPECT_EQ(nn.At(1, 1), (Rgb{1, 11, 12}));
    EXPECT_EQ(nn.At(3, 3), (Rgb{23, 33, 34}));
    // NearestNeighbor2: window of (1,1) is B 12, G 13 and 22, R 23: green (13 + 22) >> 1 = 17.
    // The last column takes the window of the column before: (2,0)-(3,1) = R 3, G 4 and 13, B 14.
    const Image nn2 = Demosaic(2, 2, 4, 4, kSmall);
    EXPECT_EQ(nn2.At(1, 1), (Rgb{23, 17, 12}));
    EXPECT_EQ(nn2.At(3, 0), (Rgb{3, 8, 14}));
    EXPECT_EQ(nn2.At(3, 3), (Rgb{23, 28, 34}));
}

TEST(Methods, LuminanceByHand) {
    std::vector<uint8_t> src(kSmall.begin(), kSmall.end()), dst(16);
    lxbayer::Bayer8ToMono8(2, 4, 4, src.data(), 4, dst.data(), 4, false);
    EXPECT_EQ(dst[0], (6 * 5 + 2 * 1 + 12) >> 3);  // window R 1, G (2 + 11) >> 1, B 12 -> 5
    EXPECT_EQ(dst[5], (17 * 5 + 2 * 23 + 12) >> 3); // (1,1): 143 >> 3 = 17
    EXPECT_EQ(dst[3], (8 * 5 + 2 * 3 + 14) >> 3);  // last column, window moved inwards: 7
}

TEST(Methods, BilinearAveragesRowsFirst) {
    // RG 6 x 6, zero but for: blue 1 and 2 at (1,1), (3,1), blue 1 at (1,3); red 9 at (4,2);
    // green 7 at (5,2) and 200 above and below the red site (4,2).
    std::vector<int> s(36, 0);
    auto set = [&](int x, int y, int v) { s[y * 6 + x] = v; };
    set(1, 1, 1), set(3, 1, 2), set(1, 3, 1), set(4, 2, 9), set(5, 2, 7), set(4, 1, 200), set(4, 3, 200);
    const Image im = Demosaic(3, 2, 6, 6, s);
    // Blue at red (2,2): ((1 + 2) >> 1 + (1 + 0) >> 1) >> 1 = 0, not (1 + 2 + 1 + 0) >> 2 = 1.
    EXPECT_EQ(im.At(2, 2)[2], 0);
    EXPECT_EQ(im.At(2, 1)[2], 1); // blue at green of a blue row: (1 + 2) >> 1
    EXPECT_EQ(im.At(3, 2)[2], 1); // blue at green of a red row: rows 1 and 3 at x 3: (2 + 0) >> 1
    EXPECT_EQ(im.At(3, 2)[0], 4); // red at green: (0 + 9) >> 1
    EXPECT_EQ(im.At(4, 2)[1], 3); // green at red: (0 + 7) >> 1, the 200s above and below unused
}

TEST(Methods, Bilinear2WeighsNineThreeThreeOne) {
    // RG 8 x 8, zero but for the samples of pixel (2,2)'s window and their further neighbours.
    std::vector<int> s(64, 0);
    auto set = [&](int x, int y, int v) { s[y * 8 + x] = v; };
    set(2, 2, 160), set(0, 2, 80), set(2, 0, 48), set(0, 0, 32); // red a, b, c, d
    set(3, 3, 100), set(5, 3, 20), set(3, 5, 40), set(5, 5, 4);  // blue a, b, c, d
    set(3, 2, 50), set(2, 3, 31);                                // the window's greens
    const Image im = Demosaic(4, 2, 8, 8, s);
    // R (9*160 + 3*80 + 3*48 + 32) >> 4 = 1856 >> 4; G (50 + 31) >> 1; B 1084 >> 4.
    EXPECT_EQ(im.At(2, 2), (Rgb{116, 40, 67}));
    // (2,0): red a = 48 on the top row has no further row: (3 * 48 + 32) >> 2 = 44.
    EXPECT_EQ(im.At(2, 0)[0], 44);
    // (0,0): red alone in the corner (32); blue a 0, b 0, c 0, d 100: 100 >> 4 = 6.
    EXPECT_EQ(im.At(0, 0)[0], 32);
    EXPECT_EQ(im.At(0, 0)[2], 6);
}

TEST(Methods, BicubicTapsAndClamps) {
    // RG 12 x 12. Row 4 (red): greens 40, 100, 60, 8 at x 1, 3, 5, 7. Blue rows 1, 3, 5, 7 hold
    // 16, 120, 40, 0 on all their blue sites. Row 8: greens 0, 255, 255, 0, 255 at x 1, 3, 5, 7, 11.
    std::vector<int> s(144, 0);
    auto set = [&](int x, int y, int v) { s[y * 12 + x] = v; };
    set(1, 4, 40), set(3, 4, 100), set(5, 4, 60), set(7, 4, 8);
    const int blue[4][2] = {{1, 16}, {3, 120}, {5, 40}, {7, 0}};
    for (const auto& b : blue)
        for (int x = 1; x < 12; x += 2) set(x, b[0], b[1]);
    set(3, 8, 255), set(5, 8, 255), set(11, 8, 255);
    for (int scale : {1, 16}) {
        std::vector<int> t(s);
        for (int& v : t) v *= scale;
        const Image im = Demosaic(5, 2, 12, 12, t, scale == 1 ? 255 : 4095);
        // G(4,4): m = (100 + 60) >> 1 = 80, 80 + 20 - (40 + 8) >> 3 = 94. A flat blue row keeps
        // its value in pass 1, so B(4,4) = 80 + 20 - (16 + 0) >> 3 = 98 from rows 3, 5, 1, 7.
        EXPECT_EQ(im.At(4, 4)[1], 94 * scale);
        EXPECT_EQ(im.At(4, 4)[2], 98 * scale);
        // G(8,8): inner 0, 0 and outer 255, 255: 0 - 63 is clamped to 0.
        EXPECT_EQ(im.At(8, 8)[1], 0);
        // G(4,8): inner 255, 255, outer 0, 0: 255 + 63 is clamped to the maximum.
        EXPECT_EQ(im.At(4, 8)[1], scale == 1 ? 255 : 4095);
    }
}

TEST(Methods, Bilinear3SingleBrightRedAndEdge) {
    // One red sample of 255 at (4,4) on black, RG 12 x 12.
    std::vector<int> s(144, 0);
    s[4 * 12 + 4] = 255;
    const Image im = Demosaic(7, 2, 12, 12, s);
    // Its green: V = H = 2 * 255², so Clamp(2 * 255, 0, 2) = 127; its blue from four black
    // diagonals with green 0: Clamp(0 + 4 * 127, 0, 2) = 127.
    EXPECT_EQ(im.At(4, 4), (Rgb{255, 127, 127}));
    // Green (5,4): red from (4,4), (6,4) and the stage-2 reds 32 of (5,3), (5,5)
    // [Clamp(255, 127, 2)], greens 127 + 0 + 0 + 0: (319 - 127) >> 2 = 48; blue 127 - 127 -> 0.
    EXPECT_EQ(im.At(5, 4), (Rgb{48, 0, 0}));

    // A vertical edge: 100 left of column 6, 20 from it on. Red (6,4) has V = 0 < H = 2 * 80²,
    // so green follows the column: Clamp(20 + 20 + 20, 20, 1) = 20 (the row would give 40).
    std::vector<int> e(144);
    for (int i = 0; i < 144; ++i) e[i] = i % 12 < 6 ? 100 : 20;
    const Image edge = Demosaic(7, 2, 12, 12, e);
    EXPECT_EQ(edge.At(6, 4), (Rgb{20, 20, 20}));
    EXPECT_EQ(edge.At(4, 4), (Rgb{100, 100, 100}));
}

TEST(Methods, FlatImageStaysFlat) {
    const int sizes[][2] = {{4, 4}, {5, 7}, {9, 6}, {41, 9}, {3, 3}};
    for (const auto& sz : sizes)
        for (uint32_t filter = 2; filter <= 5; ++filter)
            for (int maxv : {255, 4095})
                for (uint32_t method = 0; method < 8; ++method) {
                    const int v = maxv == 255 ? 77 : 3001, w = sz[0], h = sz[1];
                    const Image im = Demosaic(method, filter, w, h, std::vector<int>(w * h, v), maxv);
                    for (int y = 0; y < h; ++y)
                        for (int x = 0; x < w; ++x) {
                            Rgb want{v, v, v};
                            if (method == 0) { // Off: the site's own channel only
                                const int rx = (filter == 3 || filter == 5), ry = (filter == 4 || filter == 5);
                                const int site = x % 2 == rx ? (y % 2 == ry ? 0 : 1) : (y % 2 == ry ? 1 : 2);
                                want = {0, 0, 0};
                                want[site] = v;
                            }
                            ASSERT_EQ(im.At(x, y), want) << "method " << method << " filter " << filter << " "
                                                         << w << "x" << h << " at " << x << "," << y;
                        }
                }
}

// Cropping the first column turns RG into GR, the first row RG into GB, both BG; away from the
// borders every translation-invariant method must give the same pixels at the same places.
TEST(Methods, PhasesAgreeOnShiftedMosaic) {
    const int W = 44, H = 30, margin = 6;
    const std::vector<int> s = Random(W * H, 4095, 3);
    for (int maxv : {255, 4095})
        for (uint32_t method : {0u, 2u, 3u, 4u, 5u, 6u, 7u}) {
            std::vector<int> full(s);
            if (maxv == 255)
                for (int& v : full) v &= 255;
            const Image ref = Demosaic(method, 2, W, H, full, maxv);
            for (int d = 1; d <= 3; ++d) {
                const int dx = d & 1, dy = d >> 1, w = W - dx, h = H - dy;
                const uint32_t filter = d == 1 ? 3 : d == 2 ? 4 : 5;
                std::vector<int> crop;
                for (int y = dy; y < H; ++y)
                    for (int x = dx; x < W; ++x) crop.push_back(full[y * W + x]);
                const Image im = Demosaic(method, filter, w, h, crop, maxv);
                for (int y = margin; y < h - margin; ++y)
                    for (int x = margin; x < w - margin; ++x)
                        ASSERT_EQ(im.At(x, y), ref.At(x + dx, y + dy))
                            << "method " << method << " filter " << filter << " at " << x << "," << y;
            }
        }
}

TEST(SizeRules, TooSmallThrows) {
    uint8_t src[16] = {}, dst[64] = {};
    for (auto [w, h] : {std::pair{1u, 5u}, std::pair{5u, 1u}, std::pair{0u, 0u}}) {
        try {
            lxbayer::BayerToColor(3, 2, w, h, src, 8, dst, 24, 3, false, false);
            FAIL() << "no exception";
        } catch (const GenICam::RuntimeException& e) {
            char want[64];
            std::snprintf(want, sizeof want, "Not supported image size %u x %u", w, h);
            EXPECT_STREQ(e.GetDescription(), want);
        }
        EXPECT_THROW(lxbayer::Bayer8ToMono8(2, w, h, src, 8, dst, 8, false), GenICam::RuntimeException);
    }
}

TEST(SizeRules, SmallImagesFallBack) {
    const std::vector<int> s = Random(64, 255, 9);
    auto image = [&](int w, int h) { return std::vector<int>(s.begin(), s.begin() + w * h); };
    const Image nn3 = Demosaic(1, 2, 3, 3, image(3, 3));
    for (uint32_t m : {2u, 3u, 4u, 5u, 7u}) EXPECT_EQ(Demosaic(m, 2, 3, 3, image(3, 3)).px, nn3.px) << m;
    EXPECT_NE(Demosaic(0, 2, 3, 3, image(3, 3)).px, nn3.px);
    EXPECT_NE(Demosaic(6, 2, 3, 3, image(3, 3)).px, nn3.px);
    // Bicubic 7 x 3 is caught by the height below 4 first; 6 x 5 runs as Bilinear2; 7 x 4 runs.
    EXPECT_EQ(Demosaic(5, 3, 7, 3, image(7, 3)).px, Demosaic(1, 3, 7, 3, image(7, 3)).px);
    EXPECT_EQ(Demosaic(5, 4, 6, 5, image(6, 5)).px, Demosaic(4, 4, 6, 5, image(6, 5)).px);
    EXPECT_NE(Demosaic(5, 4, 7, 4, image(7, 4)).px, Demosaic(4, 4, 7, 4, image(7, 4)).px);
}

TEST(SizeRules, UnknownMethodZeroesAndUnknownFilterWritesNothing) {
    std::vector<uint8_t> src(64, 100), dst(64 * 3, 0xCD);
    lxbayer::BayerToColor(8, 2, 8, 8, src.data(), 8, dst.data(), 24, 3, false, false);
    EXPECT_EQ(dst, std::vector<uint8_t>(64 * 3, 0));
    dst.assign(64 * 3, 0xCD);
    for (uint32_t filter : {0u, 1u, 6u}) {
        errno = 0;
        lxbayer::BayerToColor(3, filter, 8, 8, src.data(), 8, dst.data(), 24, 3, false, false);
        EXPECT_EQ(errno, EINVAL);
        errno = 0;
        lxbayer::Bayer8ToMono8(filter, 8, 8, src.data(), 8, dst.data(), 8, false);
        EXPECT_EQ(errno, EINVAL);
        EXPECT_EQ(dst, std::vector<uint8_t>(64 * 3, 0xCD));
    }
}

TEST(SizeRules, BadArgumentsThrow) {
    std::vector<uint8_t> s8(64), d8(256);
    std::vector<uint16_t> s16(64), d16(256);
    using E = GenICam::InvalidArgumentException;
    EXPECT_THROW(lxbayer::BayerToColor(3, 2, 8, 8, nullptr, 8, d8.data(), 24, 3, false, false), E);
    EXPECT_THROW(lxbayer::BayerToColor(3, 2, 8, 8, s8.data(), 8, d8.data(), 24, 5, false, false), E);
    EXPECT_THROW(lxbayer::BayerToColor(3, 2, 8, 8, s8.data(), 8, d8.data(), 31, 4, false, false), E); // < 8 * 4
    EXPECT_THROW(lxbayer::BayerToColor(3, 2, 8, 8, s16.data(), 16, d16.data(), 48, 3, false, false, 65536), E);
    EXPECT_THROW(lxbayer::BayerToColor(3, 2, 4, 4, s16.data(), 7, d16.data(), 48, 3, false, false, 4095), E); // < 8
}

} // namespace
