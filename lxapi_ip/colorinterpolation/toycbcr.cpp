// YCbCr conversions: the tables, the format layouts, and the portable kernels with the choice of
// their vector rows.
#include "toycbcr.h"

#include "support/lxcolorfilter.h"
#include "toycbcrrows.h"

#include <GenICam/GCException.h>
#include <lxapi/lxpixelformat.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace lxycc {

namespace {

using detail::Bounds;

constexpr double kScale = 4194304.0; // 2^22
constexpr int32_t kOne = 1 << 22;

// Coefficients of the three sets, rounded to 5 places. Forward: Y, Cb, Cr rows of (R, G, B).
constexpr double kForward[3][9] = {
    {0.299, 0.587, 0.114, -0.16874, -0.33126, 0.5, 0.5, -0.41869, -0.08131},
    {0.25679, 0.50413, 0.09791, -0.14822, -0.29099, 0.43922, 0.43922, -0.36779, -0.07143},
    {0.18259, 0.61423, 0.06201, -0.10064, -0.33857, 0.43922, 0.43922, -0.39894, -0.04027},
};
// Backward: Y scale, R from Cr, G from Cb, G from Cr, B from Cb.
constexpr double kBackward[3][5] = {
    {1.0, 1.402, -0.34414, -0.71414, 1.772},
    {1.16438, 1.59603, -0.39176, -0.81297, 2.01723},
    {1.16438, 1.79274, -0.21325, -0.53291, 2.1124},
};

struct Multipliers {
    int32_t forward[3][9];
    int32_t backward[3][5];
    Multipliers() {
        for (int s = 0; s < 3; ++s) {
            for (int k = 0; k < 9; ++k) forward[s][k] = static_cast<int32_t>(std::trunc(kForward[s][k] * kScale));
            for (int k = 0; k < 5; ++k) backward[s][k] = static_cast<int32_t>(std::trunc(kBackward[s][k] * kScale));
        }
    }
};
const Multipliers& TheMultipliers() noexcept {
    static const Multipliers m;
    return m;
}

struct Tables {
    ForwardTables forward[3];
    BackwardTables backward[3];
    Tables() {
        const Multipliers& m = TheMultipliers();
        for (int s = 0; s < 3; ++s) {
            const int32_t yOffset = s == 0 ? 0 : 16 * kOne;
            for (int v = 0; v < 256; ++v) {
                for (int k = 0; k < 9; ++k) forward[s].t[k][v] = v * m.forward[s][k];
                forward[s].t[0][v] += yOffset;
                forward[s].t[3][v] += 128 * kOne;
                forward[s].t[6][v] += 128 * kOne;
                // 601 and 709 hold the legal ranges: values outside count as the nearest bound.
                const int y = s == 0 ? v : std::clamp(v, 16, 235) - 16;
                const int c = (s == 0 ? v : std::clamp(v, 16, 240)) - 128;
                backward[s].t[0][v] = y * m.backward[s][0];
                for (int k = 1; k < 5; ++k) backward[s].t[k][v] = c * m.backward[s][k];
            }
        }
    }
};
const Tables& TheTables() noexcept {
    static const Tables t;
    return t;
}

inline uint8_t Clamp(int32_t s, int32_t lo, int32_t hi) noexcept {
    if (s <= lo * kOne) return uint8_t(lo);
    if (s >= hi * kOne) return uint8_t(hi);
    return uint8_t(s >> 22);
}
inline uint8_t Clamp255(int32_t s) noexcept { return Clamp(s, 0, 255); }

struct Rgb {
    unsigned r, g, b;
};

// Y, Cb and Cr of one colour.
struct Forwarder {
    const ForwardTables& t;
    Bounds b;
    uint8_t Y(unsigned r, unsigned g, unsigned bl) const noexcept {
        return Clamp(t.t[0][r] + t.t[1][g] + t.t[2][bl], b.yLo, b.yHi);
    }
    uint8_t Cb(unsigned r, unsigned g, unsigned bl) const noexcept {
        return Clamp(t.t[3][r] + t.t[4][g] + t.t[5][bl], b.cLo, b.cHi);
    }
    uint8_t Cr(unsigned r, unsigned g, unsigned bl) const noexcept {
        return Clamp(t.t[6][r] + t.t[7][g] + t.t[8][bl], b.cLo, b.cHi);
    }
};

// The colour additions of one chroma pair, and the colour of a Y under them.
struct Backwarder {
    const BackwardTables& t;
    int32_t r = 0, g = 0, b = 0;
    void Chroma(uint8_t cb, uint8_t cr) noexcept {
        r = t.t[1][cr];
        g = t.t[2][cb] + t.t[3][cr];
        b = t.t[4][cb];
    }
    void Put(uint8_t y, uint8_t* p, unsigned ri, unsigned bi) const noexcept {
        const int32_t base = t.t[0][y];
        p[ri] = Clamp255(base + r);
        p[1] = Clamp255(base + g);
        p[bi] = Clamp255(base + b);
    }
};

// ---- rows ----

// Packed groups of N pixels from colour.
template <unsigned N>
void ForwardRow(const uint8_t* s, unsigned step, unsigned ri, unsigned bi, uint8_t* d, const Layout& l,
                size_t width, const Forwarder& f) {
    for (size_t x = 0; x < width; x += N, d += l.bytes) {
        const size_t count = std::min<size_t>(N, width - x);
        unsigned sr = 0, sg = 0, sb = 0;
        uint8_t y = 0;
        for (size_t k = 0; k < count; ++k) {
            const uint8_t* p = s + (x + k) * step;
            const unsigned r = p[ri], g = p[1], b = p[bi];
            y = f.Y(r, g, b);
            d[l.y[k]] = y;
            sr += r;
            sg += g;
            sb += b;
        }
        for (size_t k = count; k < N; ++k) d[l.y[k]] = y;
        if (count == N && N > 1) {
            constexpr unsigned shift = N == 2 ? 1 : N == 4 ? 2 : 0;
            sr >>= shift;
            sg >>= shift;
            sb >>= shift;
        } else if (count > 1) {
            sr /= unsigned(count);
            sg /= unsigned(count);
            sb /= unsigned(count);
        }
        d[l.cb] = f.Cb(sr, sg, sb);
        d[l.cr] = f.Cr(sr, sg, sb);
    }
}

void ForwardRow420(const uint8_t* s, unsigned step, unsigned ri, unsigned bi, uint8_t* y, uint8_t* cb, uint8_t* cr,
                   size_t width, const Forwarder& f) {
    for (size_t x = 0; x < width; ++x) {
        const uint8_t* p = s + x * step;
        y[x] = f.Y(p[ri], p[1], p[bi]);
    }
    if (!cb) return;
    for (size_t i = 0; i < width / 2; ++i) {
        const uint8_t* p = s + 2 * i * step;
        const uint8_t* q = p + step;
        const unsigned r = (p[ri] + q[ri]) >> 1, g = (p[1] + q[1]) >> 1, b = (p[bi] + q[bi]) >> 1;
        cb[i] = f.Cb(r, g, b);
        cr[i] = f.Cr(r, g, b);
    }
}

template <unsigned N>
void BackwardRow(const uint8_t* s, const Layout& l, uint8_t* d, unsigned step, unsigned ri, unsigned bi, size_t width,
                 Backwarder bw) {
    for (size_t x = 0; x < width; x += N, s += l.bytes) {
        const size_t count = std::min<size_t>(N, width - x);
        bw.Chroma(s[l.cb], s[l.cr]);
        for (size_t k = 0; k < count; ++k) bw.Put(s[l.y[k]], d + (x + k) * step, ri, bi);
    }
}

// ---- checks and geometry ----

void CheckPitch(size_t pitch, size_t line, const char* side) {
    if (pitch < line)
        throw INVALID_ARGUMENT_EXCEPTION("The %s line pitch %zu is smaller than the %zu bytes of a line.", side, pitch,
                                         line);
}
void CheckStep(unsigned step) {
    if (step != 3 && step != 4) throw INVALID_ARGUMENT_EXCEPTION("Colour step %u is not 3 or 4.", step);
}
size_t PackedLineBytes(const Layout& l, size_t width) { return (width + l.pixels - 1) / l.pixels * l.bytes; }

// The 4:2:0 planes: chroma from the start of plane 1, the Cr plane behind the Cb plane.
struct Planes420 {
    size_t cw, ch;
    void Check(size_t pitch, size_t planeSize, size_t width, size_t height, const char* side) const {
        CheckPitch(pitch, width, side);
        if (height && planeSize < height * pitch) CheckPitch(0, 1, side);
        if (planeSize < 2 * cw * ch) CheckPitch(0, 1, side);
    }
};
Planes420 PlanesOf(size_t width, size_t height) { return {width / 2, height / 2}; }

size_t Row(size_t y, size_t height, bool reverse) { return reverse ? height - 1 - y : y; }

constexpr detail::RowKernels kPortable = {detail::NoColor3To422, detail::NoColor3To420, detail::NoYcc422ToColor3};
#if defined(__x86_64__) || defined(__i386__)
constexpr detail::RowKernels kAvx2 = {detail::avx2::Color3To422, detail::avx2::Color3To420,
                                      detail::avx2::Ycc422ToColor3};
constexpr const detail::RowKernels* kAvx2Form = &kAvx2;
#else
constexpr const detail::RowKernels* kAvx2Form = nullptr;
#endif
constexpr lxcpu::KernelForms<detail::RowKernels> kForms(&kPortable, kAvx2Form);

} // namespace

namespace detail {

Bounds BoundsOf(CoefficientSet set) noexcept {
    return set == CoefficientSet::Full ? Bounds{0, 255, 0, 255} : Bounds{16, 235, 16, 240};
}
size_t NoColor3To422(const uint8_t*, bool, uint8_t*, const Layout&, size_t) { return 0; }
size_t NoColor3To420(const uint8_t*, bool, uint8_t*, uint8_t*, uint8_t*, size_t) { return 0; }
size_t NoYcc422ToColor3(const uint8_t*, const Layout&, uint8_t*, bool, size_t) { return 0; }

} // namespace detail

const ForwardTables& Forward(CoefficientSet set) noexcept { return TheTables().forward[static_cast<int>(set)]; }
const BackwardTables& Backward(CoefficientSet set) noexcept { return TheTables().backward[static_cast<int>(set)]; }
const int32_t* ForwardMultipliers(CoefficientSet set) noexcept { return TheMultipliers().forward[int(set)]; }
const int32_t* BackwardMultipliers(CoefficientSet set) noexcept { return TheMultipliers().backward[int(set)]; }

bool LayoutOf(uint32_t f, Layout* l) noexcept {
    using S = Sampling;
    using C = CoefficientSet;
    // Orders: 4:4:4 Y Cb Cr or Cb Y Cr; 4:2:2 Y Cb Y Cr or Cb Y Cr Y; 4:1:1 Y Y Cb Y Y Cr or Cb Y Y Cr Y Y.
    const Layout yCbCr{S::S444, C::Full, 1, 3, {0, 0, 0, 0}, 1, 2};
    const Layout cbYCr{S::S444, C::Full, 1, 3, {1, 1, 1, 1}, 0, 2};
    const Layout yCbYCr{S::S422, C::Full, 2, 4, {0, 2, 2, 2}, 1, 3};
    const Layout cbYCrY{S::S422, C::Full, 2, 4, {1, 3, 3, 3}, 0, 2};
    const Layout yyCbYYCr{S::S411, C::Full, 4, 6, {0, 1, 3, 4}, 2, 5};
    const Layout cbYYCrYY{S::S411, C::Full, 4, 6, {1, 2, 4, 5}, 0, 3};
    const Layout planar{S::S420, C::Full, 2, 0, {0, 0, 0, 0}, 0, 0};
    Layout r;
    C set = C::Full;
    switch (f) {
    case LxPixelFormat_YCbCr8: r = yCbCr; break;
    case LxPixelFormat_YCbCr8_CbYCr:
    case LxPixelFormat_YUV8_UYV: r = cbYCr; break;
    case LxPixelFormat_YCbCr601_8_CbYCr: r = cbYCr, set = C::Bt601; break;
    case LxPixelFormat_YCbCr709_8_CbYCr: r = cbYCr, set = C::Bt709; break;
    case LxPixelFormat_YCbCr422_8:
    case LxPixelFormat_YUV422_8: r = yCbYCr; break;
    case LxPixelFormat_YCbCr422_8_CbYCrY:
    case LxPixelFormat_YUV422_8_UYVY: r = cbYCrY; break;
    case LxPixelFormat_YCbCr601_422_8: r = yCbYCr, set = C::Bt601; break;
    case LxPixelFormat_YCbCr601_422_8_CbYCrY: r = cbYCrY, set = C::Bt601; break;
    case LxPixelFormat_YCbCr709_422_8: r = yCbYCr, set = C::Bt709; break;
    case LxPixelFormat_YCbCr709_422_8_CbYCrY: r = cbYCrY, set = C::Bt709; break;
    case LxPixelFormat_YCbCr411_8: r = yyCbYYCr; break;
    case LxPixelFormat_YCbCr411_8_CbYYCrYY:
    case LxPixelFormat_YUV411_8_UYYVYY: r = cbYYCrYY; break;
    case LxPixelFormat_YCbCr601_411_8_CbYYCrYY: r = cbYYCrYY, set = C::Bt601; break;
    case LxPixelFormat_YCbCr709_411_8_CbYYCrYY: r = cbYYCrYY, set = C::Bt709; break;
    case LxPixelFormat_CYCbCr420_8_YY_Cb_Cr_Planar: r = planar; break;
    default: return false;
    }
    r.set = set;
    *l = r;
    return true;
}

void ColorToYcc(const uint8_t* src, size_t srcPitch, unsigned srcStep, bool srcBlueFirst, uint8_t* dst,
                size_t dstPitch, size_t dstPlaneSize, const Layout& l, size_t width, size_t height, bool reverse) {
    CheckStep(srcStep);
    CheckPitch(srcPitch, width * srcStep, "source");
    const unsigned ri = srcBlueFirst ? 2 : 0, bi = 2 - ri;
    const detail::RowKernels& rows = kForms.Get();
    if (l.sampling == Sampling::S420) {
        const Planes420 p = PlanesOf(width, height);
        p.Check(dstPitch, dstPlaneSize, width, height, "destination");
        const Forwarder f{Forward(CoefficientSet::Full), detail::BoundsOf(CoefficientSet::Full)};
        uint8_t* cbPlane = dst + dstPlaneSize;
        uint8_t* crPlane = cbPlane + p.cw * p.ch;
        for (size_t y = 0; y < height; ++y) {
            const uint8_t* s = src + y * srcPitch;
            uint8_t* yl = dst + Row(y, height, reverse) * dstPitch;
            // Chroma from the even lines that have a chroma line of their own.
            const bool chroma = y % 2 == 0 && y / 2 < p.ch;
            const size_t j = chroma ? Row(y / 2, p.ch, reverse) : 0;
            uint8_t* cb = chroma ? cbPlane + j * p.cw : nullptr;
            uint8_t* cr = chroma ? crPlane + j * p.cw : nullptr;
            size_t done = 0;
            if (srcStep == 3) done = rows.color3To420(s, srcBlueFirst, yl, cb, cr, width);
            ForwardRow420(s + done * srcStep, srcStep, ri, bi, yl + done, cb ? cb + done / 2 : nullptr,
                          cr ? cr + done / 2 : nullptr, width - done, f);
        }
        return;
    }
    CheckPitch(dstPitch, PackedLineBytes(l, width), "destination");
    const Forwarder f{Forward(l.set), detail::BoundsOf(l.set)};
    for (size_t y = 0; y < height; ++y) {
        const uint8_t* s = src + y * srcPitch;
        uint8_t* d = dst + Row(y, height, reverse) * dstPitch;
        switch (l.sampling) {
        case Sampling::S444: ForwardRow<1>(s, srcStep, ri, bi, d, l, width, f); break;
        case Sampling::S422: {
            const size_t done = srcStep == 3 ? rows.color3To422(s, srcBlueFirst, d, l, width) : 0;
            ForwardRow<2>(s + done * srcStep, srcStep, ri, bi, d + done / 2 * l.bytes, l, width - done, f);
            break;
        }
        default: ForwardRow<4>(s, srcStep, ri, bi, d, l, width, f); break;
        }
    }
}

void MonoToYcc420(const void* src, unsigned srcBits, size_t srcPitch, uint8_t* dst, size_t dstPitch,
                  size_t dstPlaneSize, size_t width, size_t height, bool reverse) {
    if (srcBits != 8 && (srcBits < 9 || srcBits > 16))
        throw INVALID_ARGUMENT_EXCEPTION("Mono depth %u is not 8 or 9 to 16.", srcBits);
    CheckPitch(srcPitch, width * (srcBits == 8 ? 1 : 2), "source");
    const Planes420 p = PlanesOf(width, height);
    p.Check(dstPitch, dstPlaneSize, width, height, "destination");
    const unsigned shift = srcBits - 8;
    for (size_t y = 0; y < height; ++y) {
        const uint8_t* s = static_cast<const uint8_t*>(src) + y * srcPitch;
        uint8_t* d = dst + Row(y, height, reverse) * dstPitch;
        if (srcBits == 8) {
            std::memcpy(d, s, width);
            continue;
        }
        for (size_t x = 0; x < width; ++x) {
            uint16_t w;
            std::memcpy(&w, s + 2 * x, 2);
            const unsigned v = w >> shift; // a word with stray high bits gives its top bits, at most 255
            d[x] = uint8_t(v > 255 ? 255 : v);
        }
    }
    // W * H / 2 bytes of neutral chroma: both chroma planes, and for odd sizes the bytes up to that
    // length, all inside plane 1 (plane size >= W * H).
    std::memset(dst + dstPlaneSize, 128, width * height / 2);
}

void Bayer8ToYcc(uint32_t filter, const uint8_t* src, size_t srcPitch, uint8_t* dst, size_t dstPitch,
                 size_t dstPlaneSize, const Layout& l, size_t width, size_t height, bool reverse) {
    if (!lxip::IsBayerPhase(filter)) throw INVALID_ARGUMENT_EXCEPTION("Colour filter %u is no Bayer phase.", filter);
    if (l.sampling != Sampling::S422 && l.sampling != Sampling::S420)
        throw INVALID_ARGUMENT_EXCEPTION("A mosaic converts to 4:2:2 or 4:2:0 only.");
    CheckPitch(srcPitch, width, "source");
    const bool planar = l.sampling == Sampling::S420;
    const Planes420 p = PlanesOf(width, height);
    if (planar)
        p.Check(dstPitch, dstPlaneSize, width, height, "destination");
    else
        CheckPitch(dstPitch, PackedLineBytes(l, width), "destination");
    if (width == 0 || height == 0) return;
    const Forwarder f{Forward(CoefficientSet::Full), detail::BoundsOf(CoefficientSet::Full)};
    const size_t pairs = (width + 1) / 2;
    for (size_t y = 0; y < height; ++y) {
        // The line and the next, or the one before for the last line; one line counts twice.
        const size_t ra = height == 1 ? 0 : y + 1 < height ? y : y - 1;
        const size_t rb = height == 1 ? 0 : ra + 1;
        const uint8_t* rows[2] = {src + ra * srcPitch, src + rb * srcPitch};
        // Red, green pair sum and blue of cell i; each cell has one site of every colour by the
        // parities of its first line and column, whatever lines and columns it was clamped to.
        auto cell = [&](size_t i, unsigned* r, unsigned* g0, unsigned* b) {
            size_t ca = 2 * i, cb = ca + 1;
            if (cb >= width) {
                cb = width - 1;
                ca = width >= 2 ? width - 2 : 0;
            }
            unsigned red = 0, blue = 0, green = 0;
            for (unsigned dy = 0; dy < 2; ++dy)
                for (unsigned dx = 0; dx < 2; ++dx) {
                    const unsigned v = rows[dy][dx ? cb : ca];
                    switch (lxip::BayerChannel(filter, (ca & 1) ^ dx, (ra & 1) ^ dy)) {
                    case 0: red = v; break;
                    case 2: blue = v; break;
                    default: green += v; break;
                    }
                }
            *r = red;
            *b = blue;
            *g0 = green >> 1;
        };
        uint8_t* yl = dst + Row(y, height, reverse) * dstPitch;
        const bool chroma = planar && y % 2 == 0 && y / 2 < p.ch;
        uint8_t* cbl = chroma ? dst + dstPlaneSize + Row(y / 2, p.ch, reverse) * p.cw : nullptr;
        uint8_t* crl = chroma ? cbl + p.cw * p.ch : nullptr;
        unsigned r, g0, b, nr = 0, ng = 0, nb = 0;
        cell(0, &r, &g0, &b);
        for (size_t i = 0; i < pairs; ++i) {
            unsigned g1 = g0;
            if (i + 1 < pairs) {
                cell(i + 1, &nr, &ng, &nb);
                g1 = ng;
            }
            const uint8_t y0 = f.Y(r, g0, b), y1 = f.Y(r, g1, b);
            const unsigned g = (g0 + g1) >> 1;
            if (planar) {
                yl[2 * i] = y0;
                if (2 * i + 1 < width) yl[2 * i + 1] = y1;
                if (chroma && i < p.cw) {
                    cbl[i] = f.Cb(r, g, b);
                    crl[i] = f.Cr(r, g, b);
                }
            } else {
                uint8_t* d = yl + i * l.bytes;
                d[l.y[0]] = y0;
                d[l.y[1]] = y1;
                d[l.cb] = f.Cb(r, g, b);
                d[l.cr] = f.Cr(r, g, b);
            }
            r = nr, g0 = ng, b = nb;
        }
    }
}

void YccToColor(const uint8_t* src, size_t srcPitch, size_t srcPlaneSize, const Layout& l, uint8_t* dst,
                size_t dstPitch, unsigned dstStep, bool dstBlueFirst, size_t width, size_t height, bool reverse) {
    CheckStep(dstStep);
    CheckPitch(dstPitch, width * dstStep, "destination");
    const unsigned ri = dstBlueFirst ? 2 : 0, bi = 2 - ri;
    const detail::RowKernels& rows = kForms.Get();
    if (l.sampling == Sampling::S420) {
        const Planes420 p = PlanesOf(width, height);
        p.Check(srcPitch, srcPlaneSize, width, height, "source");
        Backwarder bw{Backward(CoefficientSet::Full)};
        const uint8_t* cbPlane = src + srcPlaneSize;
        const uint8_t* crPlane = cbPlane + p.cw * p.ch;
        for (size_t y = 0; y < height; ++y) {
            const uint8_t* s = src + y * srcPitch;
            uint8_t* d = dst + Row(y, height, reverse) * dstPitch;
            // A last odd line or column has no chroma of its own: it takes the nearest; an image
            // without chroma (one line or one column) is grey.
            const size_t j = std::min(y / 2, p.ch ? p.ch - 1 : 0);
            for (size_t x = 0; x < width; ++x) {
                if (x % 2 == 0) {
                    if (p.cw && p.ch) {
                        const size_t i = std::min(x / 2, p.cw - 1);
                        bw.Chroma(cbPlane[j * p.cw + i], crPlane[j * p.cw + i]);
                    } else {
                        bw.Chroma(128, 128);
                    }
                }
                bw.Put(s[x], d + x * dstStep, ri, bi);
            }
        }
        return;
    }
    CheckPitch(srcPitch, PackedLineBytes(l, width), "source");
    const Backwarder bw{Backward(l.set)};
    for (size_t y = 0; y < height; ++y) {
        const uint8_t* s = src + y * srcPitch;
        uint8_t* d = dst + Row(y, height, reverse) * dstPitch;
        switch (l.sampling) {
        case Sampling::S444: BackwardRow<1>(s, l, d, dstStep, ri, bi, width, bw); break;
        case Sampling::S422: {
            const size_t done = dstStep == 3 ? rows.ycc422ToColor3(s, l, d, dstBlueFirst, width) : 0;
            BackwardRow<2>(s + done / 2 * l.bytes, l, d + done * dstStep, dstStep, ri, bi, width - done, bw);
            break;
        }
        default: BackwardRow<4>(s, l, d, dstStep, ri, bi, width, bw); break;
        }
    }
}

void YccToMono8(const uint8_t* src, size_t srcPitch, const Layout& l, uint8_t* dst, size_t dstPitch, size_t width,
                size_t height, bool reverse) {
    CheckPitch(dstPitch, width, "destination");
    CheckPitch(srcPitch, l.sampling == Sampling::S420 ? width : PackedLineBytes(l, width), "source");
    for (size_t y = 0; y < height; ++y) {
        const uint8_t* s = src + y * srcPitch;
        uint8_t* d = dst + Row(y, height, reverse) * dstPitch;
        if (l.sampling == Sampling::S420) {
            std::memcpy(d, s, width);
            continue;
        }
        for (size_t x = 0; x < width; ++x) d[x] = s[(x / l.pixels) * l.bytes + l.y[x % l.pixels]];
    }
}

lxcpu::Level KernelLevel() noexcept { return kForms.InUse(); }
lxcpu::Level KernelLevelAt(lxcpu::Level allowed) noexcept { return kForms.LevelAt(allowed); }

} // namespace lxycc
