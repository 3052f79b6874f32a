// The defective pixel detection filter end to end.
#include "filters/defect/defectkernels.h"
#include "kernels/cpudispatch.h"
#include "lxmoduletest.h"

#include <GenApi/GenApi.h>
#include <lxapi/ilxdefectivepixeldetectionfilter.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <tuple>

using namespace lxtest;

namespace {

struct Detector {
    FilterPtr filter{CreateILxFilter(LxFilterType_DefectivePixelDetection)};
    ILxDefectivePixelDetectionFilter* typed = dynamic_cast<ILxDefectivePixelDetectionFilter*>(filter.Get());

    void AllRatios(double r) {
        for (int t = 0; t < 5; ++t) typed->SetThresholdRatio(ELxDefectivePixelDetectionThresholdTarget_t(t), r);
    }
    std::vector<LxDefectivePixelInformation_t> List(uint32_t* status = nullptr) {
        uint64_t n = 0;
        typed->GetDetectedPixels(nullptr, &n, nullptr);
        std::vector<LxDefectivePixelInformation_t> v(n);
        typed->GetDetectedPixels(status, &n, v.data());
        return v;
    }
};

size_t BytesOf(uint32_t format) { return GetILxPixelFormatInfo(format)->GetStorageBits() > 8 ? 2 : 1; }
uint32_t Sample(const BufferPtr& b, size_t x, size_t y) {
    return BytesOf(b->GetILxImage()->GetImagePixelFormat()) == 1 ? Bytes(b)[y * Pitch(b) + x] : Word(b, y, x);
}
void SetSample(const BufferPtr& b, size_t x, size_t y, uint32_t v) {
    if (BytesOf(b->GetILxImage()->GetImagePixelFormat()) == 1)
        Bytes(b)[y * Pitch(b) + x] = uint8_t(v);
    else
        SetWord(b, y, x, uint16_t(v));
}
BufferPtr Random(size_t w, size_t h, uint32_t format, uint32_t seed, uint32_t lo, uint32_t hi) {
    BufferPtr b = MakeImage(w, h, format);
    std::mt19937 rng(seed);
    for (size_t y = 0; y < h; ++y)
        for (size_t x = 0; x < w; ++x) SetSample(b, x, y, lo + rng() % (hi - lo + 1));
    return b;
}

// The neighbourhood average of (x, y) by brute force: every pixel of the same phase within R = n * s
// in both directions, the pixel itself left out. Returns false where it has no such neighbour.
bool BruteAverage(const BufferPtr& b, size_t s, size_t n, size_t x, size_t y, double* average) {
    ILxImage* img = b->GetILxImage();
    const long w = long(img->GetImageWidth()), h = long(img->GetImageHeight()), R = long(n * s);
    uint64_t sum = 0, count = 0;
    for (long yy = long(y) - R; yy <= long(y) + R; yy += long(s))
        for (long xx = long(x) - R; xx <= long(x) + R; xx += long(s))
            if (yy >= 0 && yy < h && xx >= 0 && xx < w) {
                sum += Sample(b, size_t(xx), size_t(yy));
                ++count;
            }
    if (count <= 1) return false;
    const uint32_t p = Sample(b, x, y);
    *average = double(sum - p) / double(count - 1);
    return true;
}

} // namespace

// With ratio 0 every pixel that differs from its neighbourhood's average is listed with that average:
// the sliding neighbourhood sums agree with the brute-force average at every pixel, borders and corners
// included, for each step (mono 1, Bayer and polarized mono 2, polarized Bayer 4), sizes that are no
// multiple of the step, and neighbourhoods that pass beyond both opposite edges.
TEST(DefectDetection, NeighbourhoodAverageMatchesBruteForceEverywhere) {
    const std::tuple<uint32_t, size_t> formats[] = {{LxPixelFormat_Mono8, 1},      {LxPixelFormat_Mono12, 1},
                                                    {LxPixelFormat_BayerRG8, 2},   {LxPixelFormat_BayerGB12, 2},
                                                    {LxPixelFormat_Pol1Mono8, 2},  {LxPixelFormat_Pol1BayerRGX8, 4},
                                                    {LxPixelFormat_Pol1BayerRG12, 4}};
    const std::pair<size_t, size_t> sizes[] = {{37, 29}, {40, 32}, {5, 3}, {1, 9}};
    for (const auto& [format, s] : formats) {
        for (const auto& [w, h] : sizes) {
            for (size_t n : {1u, 2u, 3u, 9u, 255u}) {
                SCOPED_TRACE(::testing::Message() << std::hex << format << std::dec << " " << w << "x" << h << " n " << n);
                Detector d;
                d.AllRatios(0.0);
                d.typed->SetPeripheralAreaSize(n);
                d.typed->SetMaximumPixelCount(8191);
                BufferPtr img = Random(w, h, format, uint32_t(w * 7 + n), 0, BytesOf(format) == 1 ? 255 : 4095);
                d.filter->Filter(img->GetILxImage());
                std::vector<LxDefectivePixelInformation_t> expected;
                for (size_t y = 0; y < h; ++y)
                    for (size_t x = 0; x < w; ++x) {
                        double a;
                        const double p = Sample(img, x, y);
                        if (BruteAverage(img, s, n, x, y, &a) && (a > p || p > a)) expected.push_back({x, y, p, a, 0});
                    }
                const auto list = d.List();
                ASSERT_EQ(list.size(), expected.size());
                for (size_t i = 0; i < list.size(); ++i) {
                    ASSERT_EQ(list[i].x, expected[i].x);
                    ASSERT_EQ(list[i].y, expected[i].y);
                    ASSERT_EQ(list[i].value, expected[i].value);
                    ASSERT_EQ(list[i].average, expected[i].average) << list[i].x << "," << list[i].y;
                }
            }
        }
    }
}

// Hot, dead and stuck pixels planted in noisy images, Bayer colours at different levels: exactly
// those pixels are listed, rows then columns ascending, across several images; a pixel seen in
// several images stays one record with its greatest deviation.
TEST(DefectDetection, PlantedPixelsAcrossImages) {
    const uint32_t level[4] = {60, 120, 125, 90}; // R, Gr, Gb, B of BayerRG
    const auto frame = [&](uint32_t seed) {
        BufferPtr b = MakeImage(64, 48, LxPixelFormat_BayerRG8);
        std::mt19937 rng(seed);
        for (size_t y = 0; y < 48; ++y)
            for (size_t x = 0; x < 64; ++x) SetSample(b, x, y, level[(y % 2) * 2 + x % 2] + rng() % 7 - 3);
        return b;
    };
    Detector d;
    BufferPtr a = frame(1), b = frame(2), c = frame(3);
    SetSample(a, 10, 5, 255); // hot, first image only
    SetSample(b, 3, 40, 0);   // dead, second image only
    for (BufferPtr* img : {&a, &b, &c}) {
        SetSample(*img, 33, 20, 200); // stuck, in every image
        SetSample(*img, 0, 0, 255);   // hot at the corner
    }
    SetSample(c, 33, 20, 220); // the stuck pixel brighter in the last image
    for (BufferPtr* img : {&a, &b, &c}) d.filter->Filter((*img)->GetILxImage());
    uint32_t status = 9;
    const auto list = d.List(&status);
    EXPECT_EQ(status, 1u);
    ASSERT_EQ(list.size(), 4u);
    const uint64_t where[4][2] = {{0, 0}, {10, 5}, {33, 20}, {3, 40}};
    for (size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(list[i].x, where[i][0]);
        EXPECT_EQ(list[i].y, where[i][1]);
    }
    EXPECT_EQ(list[2].value, 220.0);
    EXPECT_NEAR(list[2].deviationRatio, (220.0 - list[2].average) / 255.0, 1e-12);
    EXPECT_EQ(list[3].value, 0.0);
}

// A full list keeps the most deviant pixels and says it was full; a known pixel that deviates more
// replaces its own record without that; the size is reported whatever the capacity passed.
TEST(DefectDetection, FullListKeepsTheMostDeviant) {
    Detector d;
    d.typed->SetMaximumPixelCount(2);
    BufferPtr img = MakeImage(20, 20, LxPixelFormat_Mono8);
    FillBytes(img, 100);
    SetSample(img, 2, 2, 200);  // deviation about 100
    SetSample(img, 15, 3, 180); // about 80
    d.filter->Filter(img->GetILxImage());
    uint32_t status = 0;
    EXPECT_EQ(d.List(&status).size(), 2u);
    EXPECT_EQ(status, 1u);
    SetSample(img, 2, 2, 230); // the same pixel, more deviant: no new key
    d.filter->Filter(img->GetILxImage());
    auto list = d.List(&status);
    EXPECT_EQ(status, 1u);
    EXPECT_EQ(list[0].value, 230.0);
    SetSample(img, 9, 12, 250); // new and most deviant: replaces (15, 3)
    SetSample(img, 17, 17, 40); // new, less deviant than both: status 2 only
    d.filter->Filter(img->GetILxImage());
    list = d.List(&status);
    EXPECT_EQ(status, 2u);
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(list[0].x, 2u);
    EXPECT_EQ(list[1].x, 9u);
    LxDefectivePixelInformation_t one[1];
    uint64_t n = 1;
    d.typed->GetDetectedPixels(nullptr, &n, one);
    EXPECT_EQ(n, 2u);
    EXPECT_EQ(one[0].y, 2u);
    d.typed->ClearDetectedPixels();
    EXPECT_TRUE(d.List(&status).empty());
    EXPECT_EQ(status, 0u);
}

// The whole image's average per phase, the pixel itself included; a uniform image lists nothing.
TEST(DefectDetection, WholeImageAndUniformImages) {
    Detector d;
    d.typed->SetAveragingArea(LxDefectivePixelDetectionAveragingArea_WholeImage);
    BufferPtr img = MakeImage(4, 4, LxPixelFormat_Mono8);
    FillBytes(img, 50);
    d.filter->Filter(img->GetILxImage());
    uint32_t status = 0;
    EXPECT_TRUE(d.List(&status).empty());
    EXPECT_EQ(status, 1u);
    d.AllRatios(0.0);
    SetSample(img, 1, 2, 66);
    d.filter->Filter(img->GetILxImage());
    const auto list = d.List();
    ASSERT_EQ(list.size(), 16u); // every pixel differs from 51
    EXPECT_EQ(list[0].average, 51.0);
    EXPECT_EQ(list[9].value, 66.0);
}

// At the corner with n = 1 the neighbourhood holds 4 pixels and the average 3; before any image the
// list is empty with status 0.
TEST(DefectDetection, CornerAndFirstCall) {
    Detector d;
    uint32_t status = 7;
    uint64_t n = 5;
    LxDefectivePixelInformation_t any[5];
    d.typed->GetDetectedPixels(&status, &n, any);
    EXPECT_EQ(status, 0u);
    EXPECT_EQ(n, 0u);
    d.typed->SetPeripheralAreaSize(1);
    BufferPtr img = MakeImage(8, 8, LxPixelFormat_Mono8);
    FillBytes(img, 10);
    SetSample(img, 0, 0, 250);
    SetSample(img, 1, 0, 40);
    d.filter->Filter(img->GetILxImage());
    const auto list = d.List();
    ASSERT_GE(list.size(), 1u);
    EXPECT_EQ(list[0].x, 0u);
    EXPECT_EQ(list[0].average, 20.0); // (40 + 10 + 10) / 3
}

// A packed image is unpacked first; the filter hands back the unpacked image, and the list persists.
TEST(DefectDetection, PackedFormatsAreUnpacked) {
    Detector d;
    BufferPtr img = MakeImage(16, 8, LxPixelFormat_Mono12);
    for (size_t y = 0; y < 8; ++y)
        for (size_t x = 0; x < 16; ++x) SetWord(img, y, x, 1000);
    SetWord(img, 5, 3, 4000); // line 5, column 3
    // Mono12p: one little-endian bit stream per line, 12 bits a pixel.
    BufferPtr packed = MakeImage(16, 8, LxPixelFormat_Mono12p);
    FillBytes(packed, 0);
    for (size_t y = 0; y < 8; ++y)
        for (size_t x = 0; x < 16; ++x)
            for (size_t bit = 0; bit < 12; ++bit)
                if (Word(img, y, x) >> bit & 1) Bytes(packed)[y * Pitch(packed) + (12 * x + bit) / 8] |= uint8_t(1u << ((12 * x + bit) % 8));
    ILxImage* out = d.filter->Filter(packed->GetILxImage());
    EXPECT_EQ(out->GetImagePixelFormat(), uint32_t(LxPixelFormat_Mono12));
    const auto list = d.List();
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(list[0].x, 3u);
    EXPECT_EQ(list[0].y, 5u);
    EXPECT_EQ(list[0].deviationRatio, 3000.0 / 4095.0);
}

// Every fast form of the kernels lists what the portable form lists, on a large noisy image.
TEST(DefectDetection, FastFormsListWhatThePortableFormLists) {
    BufferPtr img8 = Random(151, 103, LxPixelFormat_BayerGR8, 5, 0, 255);
    BufferPtr img16 = Random(151, 103, LxPixelFormat_Mono16, 6, 0, 65535);
    for (BufferPtr* img : {&img8, &img16}) {
        const auto run = [&](lxcpu::Level level) {
            lxcpu::ForcedLevel forced(level);
            Detector d;
            d.AllRatios(0.4);
            d.typed->SetMaximumPixelCount(8191);
            d.filter->Filter((*img)->GetILxImage());
            return d.List();
        };
        const auto expected = run(lxcpu::Level::Portable);
        EXPECT_FALSE(expected.empty());
        for (lxcpu::Level level : {lxcpu::Level::Avx2, lxcpu::Level::Avx512}) {
            const auto list = run(level);
            ASSERT_EQ(list.size(), expected.size());
            for (size_t i = 0; i < list.size(); ++i) {
                ASSERT_EQ(list[i].x, expected[i].x);
                ASSERT_EQ(list[i].y, expected[i].y);
                ASSERT_EQ(list[i].average, expected[i].average);
            }
        }
    }
}

namespace {

// One kernel form against sums and candidates found by brute force in a padded random image of samples
// below `spread` with a few bright ones (all 8 bits with 0); adds to `ties` the pixels that lay exactly
// on their bound.
template <class Sum>
void CheckKernelsAgainstBruteForce(const lxdpd::RowKernels& k, size_t bytes, size_t w, size_t h, size_t s, size_t n,
                                   uint32_t seed, uint32_t spread = 0, size_t* ties = nullptr) {
    SCOPED_TRACE(::testing::Message() << bytes << " bytes " << w << "x" << h << " step " << s << " n " << n);
    const size_t pitch = w * bytes + 13;
    std::vector<uint8_t> image(pitch * h);
    std::mt19937 rng(seed);
    for (auto& b : image) b = uint8_t(spread ? (rng() % 89 ? rng() % spread : 255u) : rng());
    const auto at = [&](size_t x, size_t y) -> uint64_t {
        if (bytes == 1) return image[y * pitch + x];
        uint16_t v;
        std::memcpy(&v, &image[y * pitch + 2 * x], 2);
        return v;
    };
    const auto [add, slide, judge] = lxdpd::RowsFor<Sum>(k, bytes);
    const long R = long(n * s), W = long(w), H = long(h), S = long(s);
    lxdpd::Geometry g{w, s, size_t(R), {}};
    for (size_t c = 0; c < s; ++c) g.lastCol[c] = c < w ? c + (w - 1 - c) / s * s : 0;
    // Bounds around the deviations of the image, the ones that send every pixel or none on, and whole
    // ones and their neighbours, whose bounds land on integers or just beside them for every count.
    const double choices[] = {std::numeric_limits<double>::quiet_NaN(), -1.0, 0.0, 0.5, 7.25, 40.0, 1e30, 1.0,
                              std::nextafter(1.0, 0.0), std::nextafter(1.0, 2.0), 2.0};
    constexpr size_t Choices = sizeof choices / sizeof choices[0];
    std::vector<Sum> columns(w), running(s * w);
    std::vector<lxdpd::Candidate> found(w);
    for (long y = 0; y < H; ++y) {
        long r0 = y % S;
        while (r0 < y - R) r0 += S;
        long r1 = r0;
        while (r1 + S < H && r1 + S <= y + R) r1 += S;
        // The first row of each phase adds its window's rows; each later one slides the sums of its
        // phase down by the row entering and the row leaving the window.
        Sum* prefix = &running[size_t(y % S) * w];
        const auto row = [&](long r) { return &image[size_t(r) * pitch]; };
        if (y < S) {
            std::fill(columns.begin(), columns.end(), Sum(0));
            for (long r = r0; r < r1; r += S) add(row(r), columns.data(), nullptr, w, s);
            add(row(r1), columns.data(), prefix, w, s);
        } else if (y + R < H || y - R - S >= 0) {
            slide(y + R < H ? row(y + R) : nullptr, y - R - S >= 0 ? row(y - R - S) : nullptr, prefix, w, s);
        }
        const uint64_t rows = uint64_t((r1 - r0) / S + 1);
        std::vector<uint64_t> column(w, 0);
        for (long x = 0; x < W; ++x) {
            for (long r = r0; r <= r1; r += S) column[size_t(x)] += at(size_t(x), size_t(r));
            uint64_t expected = 0;
            for (long xx = x % S; xx <= x; xx += S) expected += column[size_t(xx)];
            if (y < S) {
                ASSERT_EQ(uint64_t(columns[size_t(x)]), column[size_t(x)]) << x << "," << y;
            }
            ASSERT_EQ(uint64_t(prefix[size_t(x)]), expected) << x << "," << y;
        }
        double bound[4];
        for (size_t c = 0; c < s; ++c) bound[c] = choices[rng() % Choices];
        const size_t count = judge(row(y), prefix, rows, g, bound, found.data());
        size_t i = 0;
        for (long x = 0; x < W; ++x) {
            uint64_t sum = 0, pixels = 0;
            for (long xx = x % S; xx < W; xx += S)
                if (xx >= x - R && xx <= x + R) {
                    sum += column[size_t(xx)];
                    pixels += rows;
                }
            const uint64_t p = at(size_t(x), size_t(y));
            const double d = std::fabs(double(int64_t(sum - p * pixels)));
            if (ties && pixels > 1 && d == bound[size_t(x) % s] * double(pixels - 1)) ++*ties;
            if (pixels <= 1 || d < bound[size_t(x) % s] * double(pixels - 1)) continue;
            ASSERT_LT(i, count) << x << "," << y;
            ASSERT_EQ(found[i].x, uint32_t(x)) << y;
            ASSERT_EQ(found[i].value, p);
            ASSERT_EQ(found[i].sum, sum);
            ASSERT_EQ(found[i].count, pixels);
            ++i;
        }
        ASSERT_EQ(i, count) << y;
    }
}

} // namespace

// Each form of the kernels, one level at a time: the column sums, the running sums as they slide down
// the image, and the pixels handed to the exact test equal those found by brute force, for each step, odd sizes, padded
// lines, neighbourhoods from the pixel alone to past the image, and bounds that pass some pixels,
// all or none.
TEST(DefectDetection, EveryKernelFormMatchesBruteForce) {
    std::vector<lxcpu::Level> levels = lxcpu::FastLevels([](lxcpu::Level l) { return lxdpd::Kernels().LevelAt(l); });
    levels.insert(levels.begin(), lxcpu::Level::Portable);
    const std::pair<size_t, size_t> sizes[] = {{1, 1}, {5, 3}, {37, 29}, {67, 19}, {150, 6}};
    uint32_t seed = 1;
    for (lxcpu::Level level : levels) {
        SCOPED_TRACE(lxcpu::LevelName(level));
        lxcpu::ForcedLevel forced(level);
        const lxdpd::RowKernels& k = lxdpd::Kernels().Get();
        for (const auto& [w, h] : sizes)
            for (size_t s : {1u, 2u, 4u})
                for (size_t n : {0u, 1u, 2u, 3u, 9u, 200u}) {
                    CheckKernelsAgainstBruteForce<uint32_t>(k, 1, w, h, s, n, ++seed);
                    CheckKernelsAgainstBruteForce<uint64_t>(k, 1, w, h, s, n, ++seed);
                    CheckKernelsAgainstBruteForce<uint64_t>(k, 2, w, h, s, n, ++seed);
                }
    }
}

// Near the edges the neighbourhood's count changes from column to column. On images of a few grey
// levels many pixels deviate by exactly a whole bound times their count less one: each level's judge
// must hand on those pixels and clear the ones just inside, for each step and neighbourhoods that
// leave edge columns on one side, on both or everywhere. The rare bright pixels are lone candidates
// among groups the integer test clears.
TEST(DefectDetection, EdgeColumnsOnTheBoundMatchBruteForce) {
    std::vector<lxcpu::Level> levels = lxcpu::FastLevels([](lxcpu::Level l) { return lxdpd::Kernels().LevelAt(l); });
    levels.insert(levels.begin(), lxcpu::Level::Portable);
    uint32_t seed = 7;
    for (lxcpu::Level level : levels) {
        SCOPED_TRACE(lxcpu::LevelName(level));
        lxcpu::ForcedLevel forced(level);
        const lxdpd::RowKernels& k = lxdpd::Kernels().Get();
        size_t ties = 0;
        for (const auto& [w, h] : {std::pair<size_t, size_t>{150, 9}, {93, 14}, {300, 7}})
            for (size_t s : {1u, 2u, 4u})
                for (size_t n : {1u, 5u, 17u, 40u})
                    for (uint32_t spread : {0u, 2u, 3u, 5u, 16u})
                        CheckKernelsAgainstBruteForce<uint32_t>(k, 1, w, h, s, n, ++seed, spread, &ties);
        EXPECT_GT(ties, 200u);
    }
}

TEST(DefectDetection, ParametersPortAndTexts) {
    Detector d;
    using T = ELxDefectivePixelDetectionThresholdTarget_t;
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { d.typed->SetThresholdRatio(T(5), 0.1); }),
              "eDPDTT = 5 must be smaller than Max = 5");
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { d.typed->GetThresholdRatio(T(-1)); }),
              "eDPDTT = -1 must be equal or greater than Min = 0");
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>(
                  [&] { d.typed->SetAveragingArea(ELxDefectivePixelDetectionAveragingArea_t(2)); }),
              "eDPDAA = 2 must be smaller than Max = 2");
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { d.typed->SetPeripheralAreaSize(256); }),
              "nSize = 256 must be smaller than Max = 256");
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { d.typed->SetPeripheralAreaSize(0); }),
              "nSize = 0 must be equal or greater than Min = 1");
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { d.typed->SetMaximumPixelCount(8192); }),
              "nCount = 8192 must be smaller than Max = 8192");
    EXPECT_EQ(TextOf<GenICam::InvalidArgumentException>([&] { d.typed->GetDetectedPixels(nullptr, nullptr, nullptr); }),
              "pnCount is NULL.");
    BufferPtr rgb = MakeImage(4, 4, LxPixelFormat_RGB8);
    EXPECT_EQ(TextOf<GenICam::RuntimeException>([&] { d.filter->Filter(rgb->GetILxImage()); }),
              "Not supported pixelformat RGB8");
    auto* port = dynamic_cast<GenApi::IPort*>(d.filter.Get());
    double r = 0;
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { port->Read(&r, 0x150, 8); }),
              "eDPDTT = 5 must be smaller than Max = 5");
    r = 0.42;
    port->Write(&r, 0x120, 8);
    EXPECT_EQ(d.typed->GetThresholdRatio(LxDefectivePixelDetectionThresholdTarget_BayerGr), 0.42);

    // The two faces of one register: 51 of 255 is 20 %.
    GenApi::INodeMap* map = d.filter->GetINodeMap();
    GenApi::CEnumerationPtr(map->GetNode("ExpectedPixelFormat"))->FromString("Mono8");
    GenApi::CFloatPtr(map->GetNode("ThresholdValue"))->SetValue(51.0);
    EXPECT_NEAR(GenApi::CFloatPtr(map->GetNode("ThresholdRatio"))->GetValue(), 20.0, 1e-9);
    EXPECT_NEAR(d.typed->GetThresholdRatio(LxDefectivePixelDetectionThresholdTarget_Mono), 0.2, 1e-12);
    // A Bayer format offers the colours and moves the selector off Mono.
    GenApi::CEnumerationPtr(map->GetNode("ExpectedPixelFormat"))->FromString("BayerRG12");
    GenApi::CEnumerationPtr selector(map->GetNode("ThresholdTargetSelector"));
    EXPECT_EQ(std::string(selector->GetCurrentEntry()->GetSymbolic().c_str()), "BayerR");
    GenApi::CFloatPtr(map->GetNode("ThresholdValue"))->SetValue(409.5);
    EXPECT_NEAR(d.typed->GetThresholdRatio(LxDefectivePixelDetectionThresholdTarget_BayerR), 0.1, 1e-12);
    // The count's typed setter announces a node no description has: the feature stays stale.
    GenApi::CIntegerPtr count(map->GetNode("MaximumPixelCountToDetect"));
    EXPECT_EQ(count->GetValue(), 4095);
    EXPECT_EQ(count->GetMax(), 8192);
    d.typed->SetPeripheralAreaSize(7);
    EXPECT_EQ(GenApi::CIntegerPtr(map->GetNode("PeripheralAreaSize"))->GetValue(), 7);
}
