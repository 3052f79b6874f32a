// YCbCr and YUV through the converter: named values, every format against a double-precision
// reference of the equations written here (layouts from a table of this file), round trips, the
// flip, the mosaic path against the colour path, and the vector rows bit-exact with the portable ones.
#include "colorinterpolation/toycbcr.h"
#include "convertertest.h"
#include "kernels/cpudispatch.h"

#include <includeinside/ilxpixelformatinfoinside.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>

using namespace lxtest;

namespace {
#define PF(name) LxPixelFormat_##name

// ---- the reference ----

struct Matrix {
    double y[3], cb[3], cr[3], yOffset;
    double ys, rcr, gcb, gcr, bcb;
    int yLo, yHi, cLo, cHi;
};
const Matrix kFull{{0.299, 0.587, 0.114}, {-0.16874, -0.33126, 0.5}, {0.5, -0.41869, -0.08131}, 0, 1.0, 1.402,
                   -0.34414, -0.71414, 1.772, 0, 255, 0, 255};
const Matrix k601{{0.25679, 0.50413, 0.09791}, {-0.14822, -0.29099, 0.43922}, {0.43922, -0.36779, -0.07143}, 16,
                  1.16438, 1.59603, -0.39176, -0.81297, 2.01723, 16, 235, 16, 240};
const Matrix k709{{0.18259, 0.61423, 0.06201}, {-0.10064, -0.33857, 0.43922}, {0.43922, -0.39894, -0.04027}, 16,
                  1.16438, 1.79274, -0.21325, -0.53291, 2.1124, 16, 235, 16, 240};

int Cut(double v, int lo, int hi) { return std::clamp(int(std::floor(v)), lo, hi); }
int RefY(const Matrix& m, int r, int g, int b) {
    return Cut(m.y[0] * r + m.y[1] * g + m.y[2] * b + m.yOffset, m.yLo, m.yHi);
}
int RefCb(const Matrix& m, int r, int g, int b) { return Cut(m.cb[0] * r + m.cb[1] * g + m.cb[2] * b + 128, m.cLo, m.cHi); }
int RefCr(const Matrix& m, int r, int g, int b) { return Cut(m.cr[0] * r + m.cr[1] * g + m.cr[2] * b + 128, m.cLo, m.cHi); }
// R, G, B of (Y, Cb, Cr).
void RefRgb(const Matrix& m, int y, int cb, int cr, int out[3]) {
    if (m.yOffset) {
        y = std::clamp(y, 16, 235);
        cb = std::clamp(cb, 16, 240);
        cr = std::clamp(cr, 16, 240);
    }
    const double l = m.ys * (y - m.yOffset);
    out[0] = Cut(l + m.rcr * (cr - 128), 0, 255);
    out[1] = Cut(l + m.gcb * (cb - 128) + m.gcr * (cr - 128), 0, 255);
    out[2] = Cut(l + m.bcb * (cb - 128), 0, 255);
}

// The packed formats: pixels per group and the order of a group's samples ('0'..'3' the Y of the
// group's pixels, 'b' Cb, 'r' Cr).
struct Format {
    uint32_t code;
    const char* order;
    const Matrix* m;
};
const Format kPacked[] = {
    {PF(YCbCr8), "0br", &kFull},
    {PF(YCbCr8_CbYCr), "b0r", &kFull},
    {PF(YUV8_UYV), "b0r", &kFull},
    {PF(YCbCr601_8_CbYCr), "b0r", &k601},
    {PF(YCbCr709_8_CbYCr), "b0r", &k709},
    {PF(YCbCr422_8), "0b1r", &kFull},
    {PF(YUV422_8), "0b1r", &kFull},
    {PF(YCbCr422_8_CbYCrY), "b0r1", &kFull},
    {PF(YUV422_8_UYVY), "b0r1", &kFull},
    {PF(YCbCr601_422_8), "0b1r", &k601},
    {PF(YCbCr601_422_8_CbYCrY), "b0r1", &k601},
    {PF(YCbCr709_422_8), "0b1r", &k709},
    {PF(YCbCr709_422_8_CbYCrY), "b0r1", &k709},
    {PF(YCbCr411_8), "01b23r", &kFull},
    {PF(YCbCr411_8_CbYYCrYY), "b01r23", &kFull},
    {PF(YUV411_8_UYYVYY), "b01r23", &kFull},
    {PF(YCbCr601_411_8_CbYYCrYY), "b01r23", &k601},
    {PF(YCbCr709_411_8_CbYYCrYY), "b01r23", &k709},
};
size_t PixelsOf(const Format& f) { return std::string(f.order).size() == 3 ? 1 : std::string(f.order).size() == 4 ? 2 : 4; }
size_t Offset(const Format& f, char c) { return std::string(f.order).find(c); }

BufferPtr RandomImage(size_t w, size_t h, uint32_t format, std::mt19937& rng, size_t pitch = 0) {
    BufferPtr b = MakeImage(w, h, format, pitch);
    ILxImage* img = b->GetILxImage();
    const size_t planes = GetILxPixelFormatInfo(format)->GetPlaneCount();
    for (size_t i = 0; i < planes * img->GetImagePlaneSize(); ++i) Bytes(b)[i] = uint8_t(rng());
    return b;
}

// R, G, B of pixel x of line y of a colour image of `step` samples.
void PixelOf(const BufferPtr& b, size_t x, size_t y, size_t step, bool bgr, int rgb[3]) {
    const uint8_t* p = Bytes(b) + y * Pitch(b) + x * step;
    rgb[0] = p[bgr ? 2 : 0];
    rgb[1] = p[1];
    rgb[2] = p[bgr ? 0 : 2];
}

#define EXPECT_NEAR1(a, b) ASSERT_LE(std::abs(int(a) - int(b)), 1) << "x " << x << " y " << y

// ---- named values ----

TEST(YCbCrValues, WhiteBlackAndTheClamps) {
    Converter c;
    BufferPtr white = MakeImage(2, 1, PF(BGR8));
    FillBytes(white, 255);
    BufferPtr black = MakeImage(2, 1, PF(BGR8));
    FillBytes(black, 0);
    auto sample = [&](const BufferPtr& src, uint32_t format, size_t i) { return int(Bytes(c.Run(src, format))[i]); };
    EXPECT_EQ(sample(white, PF(YCbCr8), 0), 254);
    EXPECT_EQ(sample(white, PF(YCbCr8), 1), 128);
    EXPECT_EQ(sample(white, PF(YCbCr8), 2), 128);
    EXPECT_EQ(sample(white, PF(YCbCr601_8_CbYCr), 1), 235);
    EXPECT_EQ(sample(black, PF(YCbCr601_8_CbYCr), 0), 128);
    EXPECT_EQ(sample(black, PF(YCbCr601_8_CbYCr), 1), 16);
    EXPECT_EQ(sample(black, PF(YCbCr601_8_CbYCr), 2), 128);
    EXPECT_EQ(sample(black, PF(YCbCr8), 0), 0);

    // Y below the legal range counts as 16: black.
    BufferPtr low = MakeImage(1, 1, PF(YCbCr601_8_CbYCr));
    const uint8_t v[3] = {128, 10, 128};
    std::memcpy(Bytes(low), v, 3);
    for (size_t i = 0; i < 3; ++i) EXPECT_EQ(sample(low, PF(BGR8), i), 0);
}

TEST(YCbCrValues, MonoKeepsTheYSamplesAndMono12FillsTheChroma) {
    Converter c;
    std::mt19937 rng(11);
    BufferPtr y601 = RandomImage(9, 3, PF(YCbCr601_8_CbYCr), rng);
    for (size_t i = 0; i < 3 * Pitch(y601); ++i) Bytes(y601)[i] = uint8_t(16 + rng() % 220);
    BufferPtr mono = c.Run(y601, PF(Mono8));
    for (size_t y = 0; y < 3; ++y)
        for (size_t x = 0; x < 9; ++x) EXPECT_EQ(Bytes(mono)[y * Pitch(mono) + x], Bytes(y601)[y * Pitch(y601) + 3 * x + 1]);

    BufferPtr m12 = MakeImage(4, 2, PF(Mono12));
    for (size_t y = 0; y < 2; ++y)
        for (size_t x = 0; x < 4; ++x) SetWord(m12, y, x, 0xABC);
    BufferPtr planar = c.Run(m12, PF(CYCbCr420_8_YY_Cb_Cr_Planar));
    ILxImage* p = planar->GetILxImage();
    for (size_t y = 0; y < 2; ++y)
        for (size_t x = 0; x < 4; ++x) EXPECT_EQ(Bytes(planar)[y * Pitch(planar) + x], 0xAB);
    const uint8_t* chroma = Bytes(planar) + p->GetImagePlaneSize();
    for (size_t i = 0; i < 4; ++i) EXPECT_EQ(chroma[i], 128) << i;
}

TEST(YCbCrValues, AShortLastGroupAveragesWhatItHas) {
    Converter c;
    std::mt19937 rng(2);
    for (size_t w : {5u, 6u, 7u}) {
        BufferPtr src = RandomImage(w, 1, PF(RGB8), rng);
        BufferPtr out = c.Run(src, PF(YCbCr411_8));
        ASSERT_EQ(Pitch(out), 12u);
        const uint8_t* g = Bytes(out) + 6;
        int sum[3] = {0, 0, 0}, rgb[3];
        for (size_t x = 4; x < w; ++x) {
            PixelOf(src, x, 0, 3, false, rgb);
            for (int k = 0; k < 3; ++k) sum[k] += rgb[k];
            const int y = RefY(kFull, rgb[0], rgb[1], rgb[2]);
            EXPECT_LE(std::abs(g[std::string("01b23r").find(char('0' + x - 4))] - y), 1);
        }
        const int n = int(w - 4);
        EXPECT_LE(std::abs(g[2] - RefCb(kFull, sum[0] / n, sum[1] / n, sum[2] / n)), 1) << w;
        EXPECT_LE(std::abs(g[5] - RefCr(kFull, sum[0] / n, sum[1] / n, sum[2] / n)), 1) << w;
    }
}

// ---- against the reference ----

TEST(YCbCrReference, ColourToEveryPackedFormat) {
    Converter c;
    std::mt19937 rng(5);
    for (uint32_t source : {PF(BGR8), PF(RGBa8)}) {
        const size_t step = source == PF(BGR8) ? 3 : 4;
        const bool bgr = source == PF(BGR8);
        const BufferPtr src = RandomImage(37, 5, source, rng, 37 * step + 3);
        for (const Format& f : kPacked) {
            SCOPED_TRACE(GetILxPixelFormatInfo(f.code)->GetName().c_str());
            const BufferPtr out = c.Run(src, f.code);
            const size_t n = PixelsOf(f), groupBytes = std::string(f.order).size();
            for (size_t y = 0; y < 5; ++y)
                for (size_t g0 = 0; g0 < 37; g0 += n) {
                    const uint8_t* g = Bytes(out) + y * Pitch(out) + g0 / n * groupBytes;
                    int sum[3] = {0, 0, 0}, rgb[3];
                    const size_t count = std::min(n, 37 - g0);
                    for (size_t k = 0; k < count; ++k) {
                        const size_t x = g0 + k;
                        PixelOf(src, x, y, step, bgr, rgb);
                        for (int i = 0; i < 3; ++i) sum[i] += rgb[i];
                        EXPECT_NEAR1(g[Offset(f, char('0' + k))], RefY(*f.m, rgb[0], rgb[1], rgb[2]));
                    }
                    const int cnt = int(count);
                    const size_t x = g0;
                    EXPECT_NEAR1(g[Offset(f, 'b')], RefCb(*f.m, sum[0] / cnt, sum[1] / cnt, sum[2] / cnt));
                    EXPECT_NEAR1(g[Offset(f, 'r')], RefCr(*f.m, sum[0] / cnt, sum[1] / cnt, sum[2] / cnt));
                }
        }
    }
}

TEST(YCbCrReference, ColourToPlanar420) {
    Converter c;
    std::mt19937 rng(6);
    for (const auto& [w, h] : {std::pair<size_t, size_t>{38, 6}, {37, 7}}) {
        const BufferPtr src = RandomImage(w, h, PF(BGRa8), rng);
        const BufferPtr out = c.Run(src, PF(CYCbCr420_8_YY_Cb_Cr_Planar));
        const uint8_t* cbPlane = Bytes(out) + out->GetILxImage()->GetImagePlaneSize();
        const size_t cw = w / 2, ch = h / 2;
        const uint8_t* crPlane = cbPlane + cw * ch;
        int rgb[3], rgb2[3];
        for (size_t y = 0; y < h; ++y)
            for (size_t x = 0; x < w; ++x) {
                PixelOf(src, x, y, 4, true, rgb);
                EXPECT_NEAR1(Bytes(out)[y * Pitch(out) + x], RefY(kFull, rgb[0], rgb[1], rgb[2]));
                if (y % 2 || x % 2 || x / 2 >= cw || y / 2 >= ch) continue;
                PixelOf(src, x + 1, y, 4, true, rgb2);
                int m[3];
                for (int i = 0; i < 3; ++i) m[i] = (rgb[i] + rgb2[i]) >> 1;
                EXPECT_NEAR1(cbPlane[y / 2 * cw + x / 2], RefCb(kFull, m[0], m[1], m[2]));
                EXPECT_NEAR1(crPlane[y / 2 * cw + x / 2], RefCr(kFull, m[0], m[1], m[2]));
            }
    }
}

TEST(YCbCrReference, EveryFormatBackToColour) {
    Converter c;
    std::mt19937 rng(8);
    for (const Format& f : kPacked) {
        SCOPED_TRACE(GetILxPixelFormatInfo(f.code)->GetName().c_str());
        const BufferPtr src = RandomImage(29, 4, f.code, rng);
        for (uint32_t dest : {PF(RGB8), PF(BGRa8)}) {
            const size_t step = dest == PF(RGB8) ? 3 : 4;
            const BufferPtr out = c.Run(src, dest);
            const size_t n = PixelsOf(f), groupBytes = std::string(f.order).size();
            for (size_t y = 0; y < 4; ++y)
                for (size_t x = 0; x < 29; ++x) {
                    const uint8_t* g = Bytes(src) + y * Pitch(src) + x / n * groupBytes;
                    int want[3], got[3];
                    RefRgb(*f.m, g[Offset(f, char('0' + x % n))], g[Offset(f, 'b')], g[Offset(f, 'r')], want);
                    PixelOf(out, x, y, step, dest != PF(RGB8), got);
                    for (int i = 0; i < 3; ++i) EXPECT_NEAR1(got[i], want[i]);
                }
        }
    }
    // The planar format: two lines and two columns share a chroma entry.
    for (const auto& [w, h] : {std::pair<size_t, size_t>{30, 6}, {31, 7}}) {
        const BufferPtr src = RandomImage(w, h, PF(CYCbCr420_8_YY_Cb_Cr_Planar), rng);
        const BufferPtr out = c.Run(src, PF(BGR8));
        const uint8_t* cb = Bytes(src) + src->GetILxImage()->GetImagePlaneSize();
        const size_t cw = w / 2, ch = h / 2;
        for (size_t y = 0; y < h; ++y)
            for (size_t x = 0; x < w; ++x) {
                const size_t i = std::min(y / 2, ch - 1) * cw + std::min(x / 2, cw - 1);
                int want[3], got[3];
                RefRgb(kFull, Bytes(src)[y * Pitch(src) + x], cb[i], cb[cw * ch + i], want);
                PixelOf(out, x, y, 3, true, got);
                for (int k = 0; k < 3; ++k) EXPECT_NEAR1(got[k], want[k]);
            }
    }
}

// BGR8 to YCbCr8 and back loses no more than the reference's own round trip, plus one.
TEST(YCbCrReference, RoundTripWithinTheReferenceError) {
    Converter c;
    std::mt19937 rng(9);
    const BufferPtr src = RandomImage(64, 64, PF(BGR8), rng);
    const BufferPtr ycc = c.Run(src, PF(YCbCr8));
    const BufferPtr back = c.Run(ycc, PF(BGR8));
    int ours = 0, reference = 0;
    for (size_t y = 0; y < 64; ++y)
        for (size_t x = 0; x < 64; ++x) {
            int rgb[3], got[3], ref[3];
            PixelOf(src, x, y, 3, true, rgb);
            PixelOf(back, x, y, 3, true, got);
            RefRgb(kFull, RefY(kFull, rgb[0], rgb[1], rgb[2]), RefCb(kFull, rgb[0], rgb[1], rgb[2]),
                   RefCr(kFull, rgb[0], rgb[1], rgb[2]), ref);
            for (int i = 0; i < 3; ++i) {
                ours = std::max(ours, std::abs(got[i] - rgb[i]));
                reference = std::max(reference, std::abs(ref[i] - rgb[i]));
            }
        }
    EXPECT_LE(ours, reference + 1);
    EXPECT_LE(reference, 3);
}

// ---- flip and mosaic ----

TEST(YCbCrLayout, TheFlipReversesLinesAndEachPlane) {
    Converter c;
    std::mt19937 rng(12);
    const BufferPtr src = RandomImage(10, 6, PF(BGR8), rng);
    for (uint32_t f : {PF(YCbCr422_8), PF(YCbCr411_8), PF(CYCbCr420_8_YY_Cb_Cr_Planar)}) {
        c.typed->SetReverseY(false);
        const BufferPtr plain = c.Run(src, f);
        c.typed->SetReverseY(true);
        const BufferPtr flipped = c.Run(src, f);
        const size_t line = f == PF(CYCbCr420_8_YY_Cb_Cr_Planar) ? 10 : Pitch(plain);
        for (size_t y = 0; y < 6; ++y)
            EXPECT_EQ(0, std::memcmp(Bytes(plain) + y * Pitch(plain), Bytes(flipped) + (5 - y) * Pitch(flipped), line));
        if (f == PF(CYCbCr420_8_YY_Cb_Cr_Planar)) {
            const size_t plane = plain->GetILxImage()->GetImagePlaneSize();
            for (size_t p = 0; p < 2; ++p)
                for (size_t j = 0; j < 3; ++j)
                    EXPECT_EQ(0, std::memcmp(Bytes(plain) + plane + p * 15 + j * 5,
                                             Bytes(flipped) + plane + p * 15 + (2 - j) * 5, 5));
        }
        const BufferPtr back = c.Run(flipped, PF(BGR8));
        c.typed->SetReverseY(false);
        const BufferPtr straight = c.Run(plain, PF(BGR8));
        for (size_t y = 0; y < 6; ++y)
            EXPECT_EQ(0, std::memcmp(Bytes(straight) + y * Pitch(straight), Bytes(back) + y * Pitch(back), 30));
    }
}

// A mosaic of one flat colour gives the values of that colour through the colour path.
TEST(YCbCrLayout, AFlatMosaicMatchesTheColourPath) {
    Converter c;
    const int r = 200, g = 90, b = 30;
    BufferPtr colour = MakeImage(9, 5, PF(RGB8));
    for (size_t y = 0; y < 5; ++y)
        for (size_t x = 0; x < 9; ++x) {
            uint8_t* p = Bytes(colour) + y * Pitch(colour) + 3 * x;
            p[0] = r, p[1] = g, p[2] = b;
        }
    for (uint32_t mosaic : {PF(BayerRG8), PF(BayerGR8), PF(BayerGB8), PF(BayerBG8)}) {
        BufferPtr src = MakeImage(9, 5, mosaic);
        const uint32_t phase = dynamic_cast<ILxPixelFormatInfoInside*>(GetILxPixelFormatInfo(mosaic))->GetColorFilter();
        for (size_t y = 0; y < 5; ++y)
            for (size_t x = 0; x < 9; ++x) {
                const bool redLine = (y & 1) == ((phase == LxColorFilter_GreenB || phase == LxColorFilter_Blue) ? 1u : 0u);
                const bool redColumn = (x & 1) == ((phase == LxColorFilter_GreenR || phase == LxColorFilter_Blue) ? 1u : 0u);
                Bytes(src)[y * Pitch(src) + x] = uint8_t(redLine && redColumn ? r : !redLine && !redColumn ? b : g);
            }
        for (uint32_t f : {PF(YCbCr422_8), PF(CYCbCr420_8_YY_Cb_Cr_Planar)}) {
            const BufferPtr fromMosaic = c.Run(src, f);
            const BufferPtr fromColour = c.Run(colour, f);
            const size_t bytes = f == PF(YCbCr422_8) ? 5 * Pitch(fromColour)
                                                     : fromColour->GetILxImage()->GetImagePlaneSize() + 2 * 4 * 2;
            EXPECT_EQ(0, std::memcmp(Bytes(fromMosaic), Bytes(fromColour), bytes)) << mosaic << " " << f;
        }
    }
}

// ---- vector rows ----

TEST(YCbCrKernels, VectorRowsAreBitExact) {
    if (lxycc::KernelLevelAt(lxcpu::Detected()) == lxcpu::Level::Portable) GTEST_SKIP() << "no vector form here";
    std::mt19937 rng(13);
    for (size_t w : {1u, 2u, 31u, 32u, 33u, 63u, 64u, 65u, 100u, 257u}) {
        const size_t h = 3, srcPitch = 3 * w + 7;
        std::vector<uint8_t> bgr(srcPitch * h);
        for (auto& v : bgr) v = uint8_t(rng());
        for (uint32_t format : {PF(YCbCr422_8), PF(YCbCr422_8_CbYCrY), PF(YCbCr601_422_8), PF(YCbCr709_422_8_CbYCrY),
                                PF(CYCbCr420_8_YY_Cb_Cr_Planar)}) {
            lxycc::Layout l;
            ASSERT_TRUE(lxycc::LayoutOf(format, &l));
            const bool planar = l.sampling == lxycc::Sampling::S420;
            const size_t dstPitch = planar ? w + 5 : (w + 1) / 2 * 4 + 5, plane = dstPitch * h;
            for (bool blueFirst : {true, false}) {
                std::vector<uint8_t> a(3 * plane, 0xEE), b(3 * plane, 0xEE);
                {
                    lxcpu::ForcedLevel portable(lxcpu::Level::Portable);
                    lxycc::ColorToYcc(bgr.data(), srcPitch, 3, blueFirst, a.data(), dstPitch, plane, l, w, h, false);
                }
                lxycc::ColorToYcc(bgr.data(), srcPitch, 3, blueFirst, b.data(), dstPitch, plane, l, w, h, false);
                ASSERT_EQ(a, b) << "forward " << format << " width " << w;
                if (planar) continue;
                const size_t outPitch = 3 * w + 4;
                std::vector<uint8_t> c(outPitch * h, 0x11), d(outPitch * h, 0x11);
                {
                    lxcpu::ForcedLevel portable(lxcpu::Level::Portable);
                    lxycc::YccToColor(bgr.data(), srcPitch, 0, l, c.data(), outPitch, 3, blueFirst, w, h, true);
                }
                lxycc::YccToColor(bgr.data(), srcPitch, 0, l, d.data(), outPitch, 3, blueFirst, w, h, true);
                ASSERT_EQ(c, d) << "backward " << format << " width " << w;
            }
        }
    }
}

} // namespace
