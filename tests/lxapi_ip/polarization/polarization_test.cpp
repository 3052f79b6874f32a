// Polarization transforms through the converter against a per-pixel reference written here from the
// formulas in double precision: window and layouts, Stokes vector, interpolated angle, hue wheel.
// Integer-defined results must match exactly; the linear interpolation, which the reference computes
// from the weights directly rather than from 14-bit tables, within 1.
#include "convertertest.h"
#include "lxconversiontable.h"
#include "kernels/cpudispatch.h"
#include "polarization/polarkernels.h"
#include "polarization/polarrows.h"
#include "polarization/polartables.h"

#include <includeinside/ilximageinside.h>
#include <includeinside/ilxpixelformatinfoinside.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>
#include <functional>
#include <numbers>
#include <random>
#include <set>
#include <thread>
#include <vector>

using namespace lxtest;

namespace {

#define PF(name) LxPixelFormat_##name

const int kSlots[9][4] = {{0, 0, 0, 0}, {2, 1, 3, 0}, {1, 2, 0, 3}, {3, 0, 2, 1}, {0, 3, 1, 2},
                          {3, 2, 0, 1}, {0, 1, 3, 2}, {2, 3, 1, 0}, {1, 0, 2, 3}};

// The eight mono layouts at each depth.
const uint32_t kMono8[] = {PF(Pol1Mono8),  PF(Pol1MonoX8),  PF(Pol1MonoY8),  PF(Pol1MonoXY8),
                           PF(Pol1MonoC8), PF(Pol1MonoXC8), PF(Pol1MonoYC8), PF(Pol1MonoXYC8)};
const uint32_t kMono12[] = {PF(Pol1Mono12),  PF(Pol1MonoX12),  PF(Pol1MonoY12),  PF(Pol1MonoXY12),
                            PF(Pol1MonoC12), PF(Pol1MonoXC12), PF(Pol1MonoYC12), PF(Pol1MonoXYC12)};

ILxPixelFormatInfoInside* Info(uint32_t f) { return dynamic_cast<ILxPixelFormatInfoInside*>(GetILxPixelFormatInfo(f)); }

// Samples of an image as integers, row by row.
struct Samples {
    size_t w = 0, h = 0, step = 1;
    std::vector<uint32_t> v;
    uint32_t At(size_t x, size_t y, size_t k = 0) const { return v[(y * w + x) * step + k]; }
};

Samples Read(ILxImage* img) {
    ILxPixelFormatInfoInside* info = Info(img->GetImagePixelFormat());
    Samples s{img->GetImageWidth(), img->GetImageHeight(), info->GetComponentCount(), {}};
    const bool words = info->GetComponentBits() > 8;
    for (size_t y = 0; y < s.h; ++y) {
        const auto* row = static_cast<const uint8_t*>(img->GetImageBuffer()) + y * img->GetImageLinePitch();
        for (size_t i = 0; i < s.w * s.step; ++i)
            s.v.push_back(words ? uint32_t(row[2 * i] | row[2 * i + 1] << 8) : row[i]);
    }
    return s;
}

BufferPtr Random(size_t w, size_t h, uint32_t format, std::mt19937& rng) {
    BufferPtr b = MakeImage(w, h, format);
    const unsigned bits = unsigned(Info(format)->GetComponentBits());
    for (size_t y = 0; y < h; ++y)
        for (size_t x = 0; x < w; ++x) {
            const uint32_t v = rng() & ((1u << bits) - 1);
            if (bits > 8) SetWord(b, y, x, uint16_t(v));
            else Bytes(b)[y * Pitch(b) + x] = uint8_t(v);
        }
    return b;
}

// ---- the reference ----

struct Settings {
    int method = 3;
    double angle = 0.0;
    bool cosine = false;
    bool inversion = false, dark = false;
    int phase = 0;
};

double LagrangeValue(double theta, const double v[4]) {
    theta = std::fmod(theta, 180.0);
    if (theta == 0.0 || theta == 45.0 || theta == 90.0 || theta == 135.0) return v[int(theta / 45)];
    const int i = int(theta / 45);
    double sum = 0;
    for (int j = 0; j < 4; ++j) {
        const double aj = 45.0 * (i - 1 + j);
        double w = 1;
        for (int k = 0; k < 4; ++k)
            if (k != j) w *= (theta - 45.0 * (i - 1 + k)) / (aj - 45.0 * (i - 1 + k));
        sum += w * v[((i - 1 + j) % 4 + 4) % 4];
    }
    return sum;
}

uint32_t RefMagnitude(int x, int y, uint32_t m) { return uint32_t(std::sqrt(double(x) * x + double(y) * y) * 2 * m + 0.5); }
uint32_t RefAngle(int x, int y, uint32_t m) {
    if (!x && !y) return 0;
    double t = std::atan2(y, x);
    if (t < 0) t += 2 * std::numbers::pi;
    return uint32_t(t * (m / (2 * std::numbers::pi)) + 0.5);
}
uint32_t RefDegree(const uint32_t v[4], uint32_t m) {
    const uint32_t s = v[0] + v[1] + v[2] + v[3];
    if (!s) return 0;
    return std::min(m, RefMagnitude(int(v[0]) - int(v[2]), int(v[1]) - int(v[3]), m) / s);
}

// Red, green, blue of the hue wheel.
std::array<uint32_t, 3> RefColor(const uint32_t v[4], uint32_t m, const Settings& st) {
    const uint32_t d = RefDegree(v, m), a = RefAngle(int(v[0]) - int(v[2]), int(v[1]) - int(v[3]), m);
    uint32_t hue = (st.inversion ? m - a : a) + uint32_t(st.phase) * m / 255;
    if (hue > m) hue -= m;
    const uint32_t low = st.dark ? 0 : m - std::min(d, m), high = st.dark ? std::min(d, m) : m, span = high - low;
    const uint32_t h1 = m / 6, h2 = 2 * m / 6, h3 = 3 * m / 6, h4 = 4 * m / 6, h5 = 5 * m / 6;
    if (hue < h1) return {low, low + span * hue / h1, high};
    if (hue < h2) return {low, high, low + span * (h2 - hue) / (h2 - h1)};
    if (hue < h3) return {low + span * (hue - h2) / (h3 - h2), high, low};
    if (hue < h4) return {high, low + span * (h4 - hue) / (h4 - h3), low};
    if (hue < h5) return {high, low, low + span * (hue - h4) / (h5 - h4)};
    if (hue < m) return {low + span * (m - hue) / (m - h5), low, high};
    return {low, low, high};
}

// One value (or three for colour) of the window at (x, y) of an image with `layout`.
std::array<double, 3> RefPixel(const Samples& in, int layout, size_t x, size_t y, uint32_t m, const Settings& st) {
    uint32_t v[4] = {};
    for (size_t j = 0; j < 2; ++j)
        for (size_t i = 0; i < 2; ++i) {
            const size_t px = std::min(x + i, in.w - 1), py = std::min(y + j, in.h - 1);
            v[kSlots[layout][((y + j) & 1) * 2 + ((x + i) & 1)]] = in.At(px, py);
        }
    const uint32_t hi = std::max({v[0], v[1], v[2], v[3]}), lo = std::min({v[0], v[1], v[2], v[3]});
    switch (st.method) {
    case 2: {
        double r;
        if (st.cosine) {
            const double rad = std::fmod(st.angle, 180.0) * std::numbers::pi / 180.0, phi = rad + rad;
            r = (v[0] + v[1] + v[2] + v[3]) * 0.25 + (double(v[0]) - v[2]) * 0.5 * std::cos(phi) +
                (double(v[1]) - v[3]) * 0.5 * std::sin(phi);
        } else {
            const double dv[4] = {double(v[0]), double(v[1]), double(v[2]), double(v[3])};
            r = LagrangeValue(st.angle, dv);
        }
        return {std::clamp(std::floor(r), 0.0, double(m)), 0, 0};
    }
    case 3: return {double((v[0] + v[1] + v[2] + v[3] + 2) >> 2), 0, 0};
    case 4: return {double(RefDegree(v, m)), 0, 0};
    case 5: return {double(RefAngle(int(v[0]) - int(v[2]), int(v[1]) - int(v[3]), m)), 0, 0};
    case 6: {
        const auto c = RefColor(v, m, st);
        return {double(c[0]), double(c[1]), double(c[2])};
    }
    case 7: return {double(hi), 0, 0};
    case 8: return {double(lo), 0, 0};
    case 9: return {double(hi - lo), 0, 0};
    default: return {0, 0, 0};
    }
}

// The whole reference image of a window method: last column and row copy their neighbours.
Samples RefWindow(const Samples& in, int layout, uint32_t m, const Settings& st) {
    const size_t ch = st.method == 6 ? 3 : 1;
    Samples out{in.w, in.h, ch, std::vector<uint32_t>(in.w * in.h * ch)};
    for (size_t y = 0; y < in.h; ++y)
        for (size_t x = 0; x < in.w; ++x) {
            const size_t sx = in.w > 1 && x == in.w - 1 ? x - 1 : x, sy = in.h > 1 && y == in.h - 1 ? y - 1 : y;
            const auto p = RefPixel(in, layout, sx, sy, m, st);
            for (size_t k = 0; k < ch; ++k) out.v[(y * in.w + x) * ch + k] = uint32_t(p[k]);
        }
    return out;
}

void Apply(Converter& c, const Settings& st) {
    c.typed->SetPolarizationImageTransformationMethod(ELxPolarizationImageTransformationMethod_t(st.method));
    c.typed->SetPolarizationSpecifiedAngle(st.angle);
    c.typed->SetPolarizationSpecifiedAngleInterpolationMethod(
        st.cosine ? LxPolarizationSpecifiedAngleInterpolationMethod_Cosine
                  : LxPolarizationSpecifiedAngleInterpolationMethod_Linear);
    c.typed->SetADOLPColorInversion(st.inversion);
    c.typed->SetADOLPDarkMode(st.dark);
    c.typed->SetADOLPColorPhase(st.phase);
}

// Compares a converted image with the reference; colour destinations are RGB-ordered here.
void ExpectNear(const Samples& got, const Samples& want, uint32_t tolerance, bool blueFirst, const std::string& what) {
    ASSERT_EQ(got.w, want.w) << what;
    ASSERT_EQ(got.h, want.h) << what;
    size_t bad = 0;
    for (size_t y = 0; y < want.h; ++y)
        for (size_t x = 0; x < want.w; ++x)
            for (size_t k = 0; k < want.step; ++k) {
                const uint32_t g = got.At(x, y, want.step == 3 && blueFirst ? 2 - k : k), r = want.At(x, y, k);
                if ((g > r ? g - r : r - g) > tolerance && bad++ < 5)
                    ADD_FAILURE() << what << " at " << x << "," << y << "," << k << ": " << g << " != " << r;
            }
}

} // namespace

// Every window method, every mono layout, 8 and 12 bits, odd sizes, with and without the flip.
TEST(Polarization, WindowMethodsMatchTheReference) {
    std::mt19937 rng(11);
    Converter c;
    std::vector<Settings> settings;
    for (int method : {3, 4, 5, 7, 8, 9}) settings.push_back({method});
    for (double angle : {0.0, 30.0, 45.0, 67.5, 90.0, 100.0, 135.0, 170.0, 180.0}) {
        settings.push_back({2, angle, false});
        settings.push_back({2, angle, true});
    }
    settings.push_back({6, 0, false, false, false, 0});
    settings.push_back({6, 0, false, true, true, 100});
    for (const uint32_t* formats : {kMono8, kMono12})
        for (int i = 0; i < 8; ++i) {
            const uint32_t format = formats[i];
            const int layout = int(Info(format)->GetPolarizerLayout());
            const uint32_t m = (1u << Info(format)->GetComponentBits()) - 1;
            BufferPtr src = Random(9, 7, format, rng);
            const Samples in = Read(src->GetILxImage());
            for (const Settings& st : settings) {
                Apply(c, st);
                const uint32_t dst = st.method == 6 ? uint32_t(m == 255 ? PF(RGB8) : PF(BGR12))
                                                    : uint32_t(m == 255 ? PF(Mono8) : PF(Mono12));
                const Samples want = RefWindow(in, layout, m, st);
                for (bool reverse : {false, true}) {
                    c.typed->SetReverseY(reverse);
                    Samples got = Read(c.Run(src, dst)->GetILxImage());
                    if (reverse) // back to top-down
                        for (size_t y = 0; y < got.h / 2; ++y)
                            std::swap_ranges(got.v.begin() + y * got.w * got.step, got.v.begin() + (y + 1) * got.w * got.step,
                                             got.v.begin() + (got.h - 1 - y) * got.w * got.step);
                    ExpectNear(got, want, st.method == 2 && !st.cosine ? 1 : 0, dst == PF(BGR12),
                               std::string(GetILxPixelFormatInfo(format)->GetName().c_str()) + " method " +
                                   std::to_string(st.method) + " angle " + std::to_string(st.angle));
                }
                c.typed->SetReverseY(false);
            }
        }
}

// Degree and angle on lines wide enough for the vector forms, at every level the processor runs,
// through the converter: every mono layout, 8 and 12 bits, flipped and not, against the reference.
TEST(Polarization, WideDegreeAndAngleMatchTheReference) {
    std::vector<lxcpu::Level> levels = lxcpu::FastLevels([](lxcpu::Level l) { return lxpol::detail::KernelLevelAt(l); });
    levels.insert(levels.begin(), lxcpu::Level::Portable);
    std::mt19937 rng(12);
    Converter c;
    for (const uint32_t* formats : {kMono8, kMono12})
        for (int i = 0; i < 8; ++i) {
            const uint32_t format = formats[i];
            const int layout = int(Info(format)->GetPolarizerLayout());
            const uint32_t m = (1u << Info(format)->GetComponentBits()) - 1;
            BufferPtr src = Random(101, 4, format, rng);
            const Samples in = Read(src->GetILxImage());
            for (int method : {4, 5}) {
                Apply(c, {method});
                const Samples want = RefWindow(in, layout, m, Settings{method});
                for (lxcpu::Level level : levels)
                    for (bool reverse : {false, true}) {
                        lxcpu::ForcedLevel forced(level);
                        c.typed->SetReverseY(reverse);
                        Samples got = Read(c.Run(src, m == 255 ? PF(Mono8) : PF(Mono12))->GetILxImage());
                        if (reverse)
                            for (size_t y = 0; y < got.h / 2; ++y)
                                std::swap_ranges(got.v.begin() + y * got.w, got.v.begin() + (y + 1) * got.w,
                                                 got.v.begin() + (got.h - 1 - y) * got.w);
                        ExpectNear(got, want, 0, false,
                                   std::string(lxcpu::LevelName(level)) + " layout " + std::to_string(layout) +
                                       " method " + std::to_string(method) + (reverse ? " flipped" : ""));
                    }
                c.typed->SetReverseY(false);
            }
        }
}

// The angle pixels themselves at 0, 45, 90, 135; 180 is 0 again. (The cosine form gives them only
// for consistent data, a + c = b + d; the reference test covers it.)
// A transform that changes the depth equals the transform at the source's depth followed by the
// converter's own depth change: the depth table applies to each result, for every method with line
// kernels and the colour image (with its hue wheel settings), on lines wide enough for the vector forms.
TEST(Polarization, DepthChangeFollowsTheTransform) {
    std::mt19937 rng(23);
    Converter c, plain;
    BufferPtr src = Random(83, 6, PF(Pol1MonoXC12), rng);
    std::vector<Settings> settings;
    for (int method : {3, 4, 5, 7, 8, 9}) settings.push_back({method});
    settings.push_back({2, 30.0, false});
    settings.push_back({6, 0, false, false, false, 0});
    settings.push_back({6, 0, false, true, true, 100});
    for (const Settings& st : settings) {
        Apply(c, st);
        const bool color = st.method == 6;
        const uint32_t wide = color ? PF(BGR12) : PF(Mono12), narrow = color ? PF(BGR8) : PF(Mono8);
        BufferPtr full = c.Run(src, wide);
        const Samples want = Read(plain.Run(full, narrow)->GetILxImage());
        EXPECT_EQ(Read(c.Run(src, narrow)->GetILxImage()).v, want.v) << "method " << st.method;
    }
}

TEST(Polarization, SpecifiedAngleOnTheGridPicksThatAngle) {
    std::mt19937 rng(3);
    Converter c;
    BufferPtr src = Random(8, 6, PF(Pol1Mono8), rng);
    const Samples in = Read(src->GetILxImage());
    for (bool cosine : {false})
        for (double angle : {0.0, 45.0, 90.0, 135.0, 180.0}) {
            Apply(c, {2, angle, cosine});
            const Samples got = Read(c.Run(src, PF(Mono8))->GetILxImage());
            const int slot = int(std::fmod(angle, 180.0) / 45);
            for (size_t y = 0; y + 1 < in.h; ++y)
                for (size_t x = 0; x + 1 < in.w; ++x)
                    for (size_t p = 0; p < 4; ++p)
                        if (kSlots[1][((y + p / 2) & 1) * 2 + ((x + p % 2) & 1)] == slot) {
                            EXPECT_EQ(got.At(x, y), in.At(x + p % 2, y + p / 2)) << angle << " " << cosine;
                        }
        }
}

TEST(Polarization, OffReturnsTheRawPatternAndEachAngleSplits) {
    std::mt19937 rng(5);
    Converter c;
    BufferPtr src = Random(7, 5, PF(Pol1Mono8), rng);
    const Samples in = Read(src->GetILxImage());
    Apply(c, {0});
    EXPECT_EQ(Read(c.Run(src, PF(Mono8))->GetILxImage()).v, in.v);
    Apply(c, {1});
    const Samples split = Read(c.Run(src, PF(Mono8))->GetILxImage());
    for (size_t y = 0; y < in.h; ++y)
        for (size_t x = 0; x < in.w; ++x)
            EXPECT_EQ(split.At((x & 1 ? 4 : 0) + x / 2, (y & 1 ? 3 : 0) + y / 2), in.At(x, y)) << x << "," << y;
    // Through the depth table when the depth changes: 8 to 16 bits at gamma 1 is v * 257.
    const Samples wide = Read(c.Run(src, PF(Mono16))->GetILxImage());
    EXPECT_EQ(wide.At(4, 3), in.At(1, 1) * 257);
}

TEST(Polarization, FlatAndZeroInputHaveNoPolarization) {
    Converter c;
    for (uint8_t level : {0, 77, 255}) {
        BufferPtr src = MakeImage(6, 4, PF(Pol1MonoC8));
        FillBytes(src, level);
        for (int method : {4, 5}) {
            Apply(c, {method});
            for (uint32_t v : Read(c.Run(src, PF(Mono8))->GetILxImage()).v) EXPECT_EQ(v, 0u);
        }
        for (bool dark : {false, true}) {
            Settings st{6};
            st.dark = dark;
            Apply(c, st);
            const Samples got = Read(c.Run(src, PF(BGR8))->GetILxImage());
            for (uint32_t v : got.v) EXPECT_EQ(v, dark ? 0u : 255u) << int(level);
        }
    }
}

// The phase offset of 255 adds M and the wrap takes M off again: the same hues as phase 0, but an
// angle of 0 then stands at M (the last arc) rather than at 0.
TEST(Polarization, ColorPhaseWraps) {
    std::mt19937 rng(9);
    Converter c;
    BufferPtr src = Random(10, 6, PF(Pol1Mono8), rng);
    const Samples in = Read(src->GetILxImage());
    Settings st{6};
    st.phase = 255;
    Apply(c, st);
    ExpectNear(Read(c.Run(src, PF(RGB8))->GetILxImage()), RefWindow(in, 1, 255, st), 0, false, "phase 255");
}

// The hue wheel reached directly (as a kernel's caller could) takes phases outside [0, 255] as the
// nearest end, so that every channel stays within the depth.
TEST(Polarization, HueWheelKeepsItsPhaseInRange) {
    for (uint32_t m : {255u, 1023u, 4095u})
        for (int32_t phase : {-7, 0, 255, 256, 100000}) {
            const lxpol::HueWheel w(m, phase, phase > 0, false), end(m, phase < 0 ? 0 : 255, phase > 0, false);
            if (phase < 0 || phase > 255) {
                EXPECT_EQ(w.phaseOffset, end.phaseOffset) << phase;
            }
            for (uint32_t a = 0; a <= m; a += m / 63)
                for (uint32_t d : {0u, m / 3, m}) {
                    uint32_t r, g, b;
                    lxpol::HuePixel(w, d, a, r, g, b);
                    ASSERT_LE(std::max({r, g, b}), m) << m << " phase " << phase << " angle " << a;
                }
        }
}

TEST(Polarization, WidthOrHeightOneTakesTheLineTwice) {
    std::mt19937 rng(4);
    Converter c;
    for (const auto& [w, h] : {std::pair<size_t, size_t>{1, 5}, {6, 1}, {1, 1}})
        for (int method : {3, 4, 5, 9}) {
            BufferPtr src = Random(w, h, PF(Pol1MonoX8), rng);
            Settings st{method};
            Apply(c, st);
            ExpectNear(Read(c.Run(src, PF(Mono8))->GetILxImage()), RefWindow(Read(src->GetILxImage()), 2, 255, st), 0,
                       false, "size " + std::to_string(w) + "x" + std::to_string(h));
        }
}

// A view that starts on an odd row or column: the converter reads the view's own lines; the kernel,
// given the mirrored layout, agrees with the whole image's windows at the same places.
TEST(Polarization, ViewsOnOddRowsAndColumns) {
    std::mt19937 rng(21);
    Converter c;
    for (int i = 0; i < 8; ++i) {
        BufferPtr whole = Random(12, 9, kMono8[i], rng);
        const int layout = int(Info(kMono8[i])->GetPolarizerLayout());
        const Samples all = Read(whole->GetILxImage());
        for (const auto& [ox, oy] : {std::pair<size_t, size_t>{1, 0}, {0, 1}, {1, 1}, {3, 2}}) {
            BufferPtr view(CreateILxImageView(whole->GetILxImage(), ox, oy, 7, 5));
            const Samples part = Read(view->GetILxImage());
            for (int method : {2, 3, 4, 5, 7, 8, 9}) {
                Settings st{method, 30.0};
                Apply(c, st);
                ExpectNear(Read(c.Run(view->GetILxImage(), PF(Mono8))->GetILxImage()), RefWindow(part, layout, 255, st),
                           method == 2 ? 1 : 0, false, "view");
                if (method != 3 && method < 7) continue;
                // Kernel level: the view's true layout is the mirror by its offset's parity.
                uint32_t mirrored = uint32_t(layout);
                if (ox & 1) mirrored = lxpol::HorizontalMirror(mirrored);
                if (oy & 1) mirrored = lxpol::VerticalMirror(mirrored);
                lxpol::Context ctx;
                ctx.op = method == 3 ? lxpol::Op::Average : method == 7 ? lxpol::Op::Maximum
                       : method == 8 ? lxpol::Op::Minimum : lxpol::Op::Difference;
                std::vector<uint8_t> out(7 * 5);
                lxpol::Plane in{static_cast<uint8_t*>(view->GetILxImage()->GetImageBuffer()),
                                ptrdiff_t(view->GetILxImage()->GetImageLinePitch()), 7, 5, false};
                lxpol::RunWindow(ctx, mirrored, in, {out.data(), 7, 7, 5, false});
                for (size_t y = 0; y + 1 < 5; ++y)
                    for (size_t x = 0; x + 1 < 7; ++x)
                        EXPECT_EQ(out[y * 7 + x], RefPixel(all, layout, x + ox, y + oy, 255, st)[0]);
            }
        }
    }
}

// A caller's 16-bit image may have an odd line pitch, so that every other line starts on an odd
// address: every method gives what the same samples give in an aligned image.
TEST(Polarization, OddLinePitchesGiveTheAlignedResult) {
    std::mt19937 rng(5);
    Converter c;
    for (uint32_t format : {PF(Pol1MonoXC12), PF(Pol1BayerRG12)}) {
        BufferPtr aligned = Random(10, 9, format, rng);
        BufferPtr odd(CreateILxImageBuffer(nullptr));
        dynamic_cast<ILxImageBufferInside&>(*odd.Get()).CreateBuffer(10, 9, format, 10 * 2 + 3);
        for (size_t y = 0; y < 9; ++y)
            std::memcpy(Bytes(odd) + y * Pitch(odd), Bytes(aligned) + y * Pitch(aligned), 10 * 2);
        for (int method = 0; method <= 9; ++method)
            for (uint32_t to : {PF(Mono16), PF(BGR16), PF(BGRa16), PF(Mono8)})
                for (bool reverse : {false, true}) {
                    Apply(c, {method, 30.0});
                    c.typed->SetReverseY(reverse);
                    // Alpha holds what the destination held before, and is left out.
                    auto colour = [&](Samples s) {
                        if (s.step == 4)
                            for (size_t i = 3; i < s.v.size(); i += 4) s.v[i] = 0;
                        return s.v;
                    };
                    const std::vector<uint32_t> want = colour(Read(c.Run(aligned, to)->GetILxImage()));
                    EXPECT_EQ(colour(Read(c.Run(odd, to)->GetILxImage())), want)
                        << GetILxPixelFormatInfo(format)->GetName().c_str() << " method " << method << " to "
                        << GetILxPixelFormatInfo(to)->GetName().c_str() << (reverse ? " flipped" : "");
                }
    }
}

// A polarized mosaic: Average to colour halves the size; Degree to mono works per colour plane.
TEST(Polarization, MosaicPaths) {
    std::mt19937 rng(8);
    Converter c;
    BufferPtr src = Random(16, 12, PF(Pol1BayerRG8), rng);
    Apply(c, {3});
    BufferPtr half = c.Run(src, PF(BGR8));
    EXPECT_EQ(half->GetILxImage()->GetImageWidth(), 8u);
    EXPECT_EQ(half->GetILxImage()->GetImageHeight(), 6u);

    // Degree per colour plane equals the mono method on the demultiplexed planes.
    const Samples in = Read(src->GetILxImage());
    Apply(c, {4});
    const Samples got = Read(c.Run(src, PF(Mono8))->GetILxImage());
    for (int plane = 0; plane < 4; ++plane) {
        Samples q{8, 6, 1, {}};
        for (size_t y = 0; y < 6; ++y)
            for (size_t x = 0; x < 8; ++x)
                q.v.push_back(in.At((x / 2) * 4 + (plane & 1) * 2 + x % 2, (y / 2) * 4 + (plane >> 1) * 2 + y % 2));
        const Samples want = RefWindow(q, 1, 255, Settings{4});
        for (size_t y = 0; y < 6; ++y)
            for (size_t x = 0; x < 8; ++x)
                EXPECT_EQ(got.At((plane & 1) * 8 + x, (plane >> 1) * 6 + y), want.At(x, y)) << plane;
    }
}

// Every polarized pair converts with every method, flipped and not, at two awkward sizes.
TEST(Polarization, EveryPairConvertsWithEveryMethod) {
    Converter c;
    std::mt19937 rng(2);
    size_t pairs = 0;
    std::set<std::pair<uint32_t, uint32_t>> done;
    for (const ConversionRecord& r : ConversionRegistry()) {
        if (!Info(r.key.source)->IsPolarized() || !FindConversion(r.key.source, r.key.destination)) continue;
        if (!done.insert({r.key.source, r.key.destination}).second) continue;
        ++pairs;
        for (const auto& [w, h] : {std::pair<size_t, size_t>{9, 7}, {8, 8}}) {
            BufferPtr src = MakeImage(w, h, r.key.source);
            for (size_t i = 0; i < Pitch(src) * h; ++i) Bytes(src)[i] = uint8_t(rng() & 0x0F);
            for (int method = 0; method <= 9; ++method)
                for (bool reverse : {false, true}) {
                    Apply(c, {method, 50.0});
                    c.typed->SetReverseY(reverse);
                    ASSERT_NO_THROW(c.Run(src, r.key.destination))
                        << GetILxPixelFormatInfo(r.key.source)->GetName().c_str() << " -> "
                        << GetILxPixelFormatInfo(r.key.destination)->GetName().c_str() << " method " << method;
                }
        }
    }
    EXPECT_GT(pairs, 1072u);
}

// The magnitude kept for |x|, |y| only, the angle kept for the first quadrant, and the division by a
// multiplication, equal the formulas over the whole domain.
TEST(Polarization, StokesTablesEqualTheFormulas) {
    for (unsigned depth : {8u, 10u, 12u}) {
        const lxpol::StokesTables& t = lxpol::AcquireStokesTables(depth, true, true);
        const int n = 1 << depth;
        const uint32_t m = uint32_t(n - 1);
        size_t bad = 0;
        for (int y = -n; y < n; ++y)
            for (int x = -n; x < n; ++x) {
                if (t.Magnitude(x, y) != RefMagnitude(x, y, m) && bad++ < 3) ADD_FAILURE() << x << "," << y;
                if (x > -n && y > -n && t.Angle(x, y) != RefAngle(x, y, m) && bad++ < 3)
                    ADD_FAILURE() << depth << " angle " << x << "," << y << ": " << t.Angle(x, y);
            }
        // Division: around every multiple that a magnitude can reach, for every sum.
        const uint32_t top = t.Magnitude(-n, -n);
        for (uint32_t s = 1; s <= 4 * m; ++s)
            for (uint32_t q : {0u, 1u, m / 2, m, top / s}) {
                for (uint32_t v : {q * s, q * s + s - 1, q * s > 0 ? q * s - 1 : 0u})
                    if (v <= top && t.Divide(v, s) != v / s && bad++ < 3) ADD_FAILURE() << v << "/" << s;
            }
        EXPECT_EQ(t.Divide(top, 0), 0u);
    }
}

// Converters on several threads ask for the Stokes tables of a depth for the first time at once,
// degree and angle and the colour image together (each builds or takes a different choice of parts).
// Runs in a process of its own, where no earlier test has built the tables; every thread's result
// equals the reference, and the object of one part holds no pointer of the other (a holder of one
// part never reads what a later build of the other writes).
TEST(Polarization, StokesTablesFirstUseOnSeveralThreads) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    auto run = [] {
        std::mt19937 rng(5);
        BufferPtr src = Random(67, 9, PF(Pol1Mono8), rng);
        const Samples in = Read(src->GetILxImage());
        const int layout = int(Info(PF(Pol1Mono8))->GetPolarizerLayout());
        const Settings settings[] = {{4}, {5}, {6}, {4}, {5}, {6}};
        std::vector<Samples> got(std::size(settings));
        std::atomic<int> waiting{int(std::size(settings))};
        std::vector<std::thread> threads;
        for (size_t i = 0; i < std::size(settings); ++i)
            threads.emplace_back([&, i] {
                Converter c;
                Apply(c, settings[i]);
                const uint32_t dst = settings[i].method == 6 ? PF(RGB8) : PF(Mono8);
                for (--waiting; waiting.load() > 0;) std::this_thread::yield();
                got[i] = Read(c.Run(src, dst)->GetILxImage());
            });
        for (auto& t : threads) t.join();
        for (size_t i = 0; i < std::size(settings); ++i) {
            const Samples want = RefWindow(in, layout, 255, settings[i]);
            if (got[i].v != want.v) std::exit(2); // RGB8 holds red first, as the reference does
        }
        const lxpol::StokesTables& degree = lxpol::AcquireStokesTables(8, true, false);
        const lxpol::StokesTables& angle = lxpol::AcquireStokesTables(8, false, true);
        if (!degree.magnitude || degree.angle || !angle.angle || angle.magnitude) std::exit(4);
        std::exit(0);
    };
    EXPECT_EXIT(run(), ::testing::ExitedWithCode(0), "");
}

// A table in use stays alive while the cache builds the next one.
TEST(Polarization, WeightCacheKeepsATableInUse) {
    lxpol::PolarizerWeightCache cache;
    auto first = cache.Acquire(8, 30.0);
    EXPECT_EQ(cache.Acquire(8, 30.0).get(), first.get());
    auto second = cache.Acquire(8, 60.0);
    EXPECT_NE(second.get(), first.get());
    EXPECT_EQ(first->RefCount(), 1u);
    // Entries are the truncated running sums of 16384 w: for w = 1 at 45 degrees, v * 16384.
    auto grid = cache.Acquire(10, 45.0);
    EXPECT_EQ(grid->Slot(1)[1023], 1023 * 16384);
    EXPECT_EQ(grid->Slot(0)[1023], 0);
}

// Every fast form of the window kernels gives the portable results bit for bit: random images of odd
// sizes with padded lines and odd pitches (word lines on odd addresses), word samples above the
// depth's maximum, every layout, the linear interpolation at angles on and off the grid, degree and
// angle of polarization and their colour image under every hue wheel setting, and a destination
// filled from its last line up. The padding of the destination stays as it was.
TEST(Polarization, FastWindowFormsEqualThePortableForm) {
    const auto levels = lxcpu::FastLevels([](lxcpu::Level l) { return lxpol::detail::KernelLevelAt(l); });
    if (levels.empty()) GTEST_SKIP() << "no fast form runs on this processor";
    std::mt19937 rng(31);
    lxpol::PolarizerWeightCache cache;
    struct Shape {
        uint32_t w, h;
        size_t pad;
    };
    const Shape shapes[] = {{517, 9, 3}, {70, 5, 0}, {2, 3, 1}, {129, 4, 5}, {33, 1, 1}, {66, 2, 7}};
    const lxpol::Op ops[] = {lxpol::Op::Average, lxpol::Op::Maximum, lxpol::Op::Minimum, lxpol::Op::Difference,
                             lxpol::Op::Linear,  lxpol::Op::Degree,  lxpol::Op::Angle,   lxpol::Op::Color};
    size_t checked = 0;
    for (unsigned depth : {8u, 10u, 12u}) {
        const size_t bytes = depth > 8 ? 2 : 1, shift = bytes - 1; // word planes start on an odd address
        const uint32_t max = (1u << depth) - 1;
        for (const Shape& s : shapes) {
            const size_t pitch = s.w * bytes + s.pad;
            std::vector<uint8_t> in(pitch * s.h + 1);
            for (uint32_t y = 0; y < s.h; ++y)
                for (uint32_t x = 0; x < s.w; ++x) {
                    const uint32_t v = rng() % (max + 1 + max / 8);
                    std::memcpy(in.data() + shift + y * pitch + x * bytes, &v, bytes);
                }
            const lxpol::Plane src{in.data() + shift, ptrdiff_t(pitch), s.w, s.h, depth > 8};
            for (lxpol::Op op : ops)
                for (double angle : op == lxpol::Op::Linear ? std::vector<double>{0, 30, 67.5, 100, 135, 171.3}
                                                           : std::vector<double>{0})
                    for (uint32_t layout = 1; layout <= 8; ++layout) {
                        const auto table = cache.Acquire(depth, angle);
                        lxpol::Context c;
                        c.op = op;
                        c.depth = depth;
                        for (unsigned k = 0; k < 4; ++k) c.weights[k] = table->Slot(k);
                        c.stokes = &lxpol::AcquireStokesTables(depth, true, true);
                        // The colour image: every hue wheel setting in turn, with and without a fourth sample.
                        c.colorPhase = int32_t(layout * 37 % 256);
                        c.colorInversion = layout & 2;
                        c.darkMode = layout & 4;
                        c.blueFirst = layout & 1;
                        c.dstStep = layout > 4 ? 4 : 3;
                        const size_t dpitch = op == lxpol::Op::Color ? s.w * bytes * c.dstStep + s.pad : pitch;
                        const bool flip = layout & 1;
                        auto run = [&](lxcpu::Level level) {
                            lxcpu::ForcedLevel forced(level);
                            std::vector<uint8_t> out(dpitch * s.h + 1, 0xA5);
                            lxpol::Plane dst{out.data() + shift, ptrdiff_t(dpitch), s.w, s.h, depth > 8};
                            if (flip) dst.data += (s.h - 1) * dpitch, dst.pitch = -dst.pitch;
                            lxpol::RunWindow(c, layout, src, dst);
                            return out;
                        };
                        const std::vector<uint8_t> want = run(lxcpu::Level::Portable);
                        for (lxcpu::Level level : levels) {
                            ASSERT_EQ(run(level), want) << lxcpu::LevelName(level) << " op " << int(op) << " depth "
                                                        << depth << " " << s.w << "x" << s.h << " layout " << layout
                                                        << " angle " << angle;
                            ++checked;
                        }
                    }
        }
    }
    EXPECT_GT(checked, 0u);
}

// The linear interpolation of an image at `angle` gives the portable form's bytes at every level.
void ExpectLinearLevelsAgree(const std::vector<lxcpu::Level>& levels, const std::vector<uint8_t>& in, uint32_t w,
                             uint32_t h, unsigned depth, double angle, uint32_t layout, const std::string& what) {
    const size_t bytes = depth > 8 ? 2 : 1;
    const lxpol::Plane src{const_cast<uint8_t*>(in.data()), ptrdiff_t(w * bytes), w, h, depth > 8};
    lxpol::PolarizerWeightCache cache;
    const auto table = cache.Acquire(depth, angle);
    lxpol::Context c;
    c.op = lxpol::Op::Linear;
    c.depth = depth;
    for (unsigned k = 0; k < 4; ++k) c.weights[k] = table->Slot(k);
    auto run = [&](lxcpu::Level level) {
        lxcpu::ForcedLevel forced(level);
        std::vector<uint8_t> out(in.size(), 0xA5);
        lxpol::RunWindow(c, layout, src, {out.data(), ptrdiff_t(w * bytes), w, h, depth > 8});
        return out;
    };
    const std::vector<uint8_t> want = run(lxcpu::Level::Portable);
    for (lxcpu::Level level : levels)
        ASSERT_EQ(run(level), want) << lxcpu::LevelName(level) << " depth " << depth << " angle " << angle << what;
}

// The fast linear forms rest on bounds measured from each weight table: over a sweep of angles (tiny,
// negative and unit weights among them) and images of extreme and random samples, every level gives
// the portable result.
TEST(Polarization, FastLinearFormsHoldOverAllAngles) {
    const auto levels = lxcpu::FastLevels([](lxcpu::Level l) { return lxpol::detail::KernelLevelAt(l); });
    if (levels.empty()) GTEST_SKIP() << "no fast form runs on this processor";
    std::mt19937 rng(77);
    for (unsigned depth : {8u, 12u}) {
        const uint32_t max = (1u << depth) - 1, w = 97, h = 3;
        const size_t bytes = depth > 8 ? 2 : 1;
        std::vector<uint8_t> in(w * h * bytes);
        for (size_t i = 0; i < w * h; ++i) {
            // Runs of 0 and of the maximum push sums past both ends; the rest is random.
            const uint32_t v = i % 7 < 2 ? 0 : i % 7 < 4 ? max : rng() & max;
            std::memcpy(in.data() + i * bytes, &v, bytes);
        }
        for (double angle = 0.0; angle < 180.0; angle += 0.37)
            ExpectLinearLevelsAgree(levels, in, w, h, depth, angle, 3, "");
    }
}

// At 30 degrees the weights are multiples of 1/81, so about one window in a hundred has a sum on a
// multiple of the result step, less what the tables truncated: the fast forms cannot decide it from
// their estimate and look it up. Long random lines give over a thousand such windows a line, more
// than the vector forms collect before they look them up. The other widths end the line part-way
// into a vector step, on an even or an odd window, or are shorter than a step. The results are the
// portable form's.
TEST(Polarization, FastLinearFormsHoldOnLongAndShortLines) {
    const auto levels = lxcpu::FastLevels([](lxcpu::Level l) { return lxpol::detail::KernelLevelAt(l); });
    if (levels.empty()) GTEST_SKIP() << "no fast form runs on this processor";
    std::mt19937 rng(19);
    for (unsigned depth : {8u, 12u})
        for (uint32_t w : {200000u, 200001u, 50u, 51u, 33u, 32u}) {
            const uint32_t h = 2, max = (1u << depth) - 1;
            const size_t bytes = depth > 8 ? 2 : 1;
            std::vector<uint8_t> in(w * h * bytes);
            for (size_t i = 0; i < w * h; ++i) {
                const uint32_t v = rng() & max;
                std::memcpy(in.data() + i * bytes, &v, bytes);
            }
            for (double angle : {30.0, 150.0})
                ExpectLinearLevelsAgree(levels, in, w, h, depth, angle, 1, " width " + std::to_string(w));
        }
}

// Degree and angle at every level against the reference formulas, on lines that reach the corners of
// the Stokes tables: windows of zeros (sum 0), of the maximum, a single maximum among zeros, both
// components at their extremes, and samples above the depth's maximum.
TEST(Polarization, FastStokesFormsHoldAtTheExtremes) {
    std::vector<lxcpu::Level> levels = lxcpu::FastLevels([](lxcpu::Level l) { return lxpol::detail::KernelLevelAt(l); });
    levels.insert(levels.begin(), lxcpu::Level::Portable);
    std::mt19937 rng(41);
    for (unsigned depth : {8u, 10u, 12u}) {
        const uint32_t max = (1u << depth) - 1, w = 131, h = 4;
        const size_t bytes = depth > 8 ? 2 : 1;
        const uint32_t above = depth > 8 ? 0xFFFF : max;
        std::vector<uint8_t> in(w * h * bytes);
        for (uint32_t y = 0; y < h; ++y)
            for (uint32_t x = 0; x < w; ++x) {
                // Runs of a few columns of one pattern, the patterns changing between lines.
                const uint32_t pattern = (x / 3 + y * 5) % 7;
                const uint32_t v = pattern == 0   ? 0
                                 : pattern == 1   ? max
                                 : pattern == 2   ? ((x + y) % 3 == 0 ? max : 0)
                                 : pattern == 3   ? ((x + y) & 1 ? max : 0)
                                 : pattern == 4   ? above
                                 : pattern == 5   ? (x & 1 ? 1 : 0)
                                                  : rng() & max;
                std::memcpy(in.data() + (size_t(y) * w + x) * bytes, &v, bytes);
            }
        const lxpol::Plane src{in.data(), ptrdiff_t(w * bytes), w, h, depth > 8};
        Samples clamped{w, h, 1, {}};
        for (size_t i = 0; i < size_t(w) * h; ++i) {
            uint32_t v = 0;
            std::memcpy(&v, in.data() + i * bytes, bytes);
            clamped.v.push_back(std::min(v, max));
        }
        for (int method : {4, 5})
            for (int layout = 1; layout <= 8; ++layout) {
                const Samples want = RefWindow(clamped, layout, max, Settings{method});
                lxpol::Context c;
                c.op = method == 4 ? lxpol::Op::Degree : lxpol::Op::Angle;
                c.depth = depth;
                c.stokes = &lxpol::AcquireStokesTables(depth, true, true);
                for (lxcpu::Level level : levels) {
                    lxcpu::ForcedLevel forced(level);
                    std::vector<uint8_t> out(in.size());
                    lxpol::RunWindow(c, uint32_t(layout), src, {out.data(), ptrdiff_t(w * bytes), w, h, depth > 8});
                    Samples got{w, h, 1, {}};
                    for (size_t i = 0; i < size_t(w) * h; ++i) {
                        uint32_t v = 0;
                        std::memcpy(&v, out.data() + i * bytes, bytes);
                        got.v.push_back(v);
                    }
                    ExpectNear(got, want, 0, false,
                               std::string(lxcpu::LevelName(level)) + " method " + std::to_string(method) + " depth " +
                                   std::to_string(depth) + " layout " + std::to_string(layout));
                }
            }
    }
}
