// The portable kernels of the polarization transforms. One template per traversal (window, group),
// instantiated per operation and sample size; the operation's per-image constants are prepared
// once in a Pixel object, so that the inner loop reads tables and does integer arithmetic only
// (Cosine excepted, which is double precision by definition).
#include "polarkernels.h"
#include "polarrows.h"
#include "polartables.h"
#include "support/lxalignedlines.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <type_traits>
#include <vector>

namespace lxpol {

const uint8_t LayoutSlots[9][4] = {
    {0, 0, 0, 0}, {2, 1, 3, 0}, {1, 2, 0, 3}, {3, 0, 2, 1}, {0, 3, 1, 2},
    {3, 2, 0, 1}, {0, 1, 3, 2}, {2, 3, 1, 0}, {1, 0, 2, 3},
};

uint32_t VerticalMirror(uint32_t layout) {
    if (layout < 1 || layout > 8) return layout;
    return ((layout - 1) ^ (layout <= 4 ? 2u : 1u)) + 1;
}

uint32_t HorizontalMirror(uint32_t layout) {
    if (layout < 1 || layout > 8) return layout;
    const uint8_t* s = LayoutSlots[layout];
    const uint8_t want[4] = {s[1], s[0], s[3], s[2]};
    for (uint32_t l = 1; l <= 8; ++l)
        if (std::memcmp(LayoutSlots[l], want, 4) == 0) return l;
    return layout;
}

namespace {

// A sample of the source, clamped to the depth's maximum.
template <class S>
inline uint32_t Load(const uint8_t* row, uint32_t x, uint32_t max) {
    const uint32_t v = reinterpret_cast<const S*>(row)[x];
    return v < max ? v : max;
}

// The operation on one window or group, writing its result into the destination row at x.
template <Op op, class D>
struct Pixel {
    const Context& c;
    uint32_t m;
    const uint16_t* table;
    // Color
    HueWheel wheel;
    unsigned red = 2, blue = 0;

    explicit Pixel(const Context& context)
        : c(context), m((1u << context.depth) - 1), table(context.depthTable) {
        if constexpr (op == Op::Color) {
            wheel = HueWheel(m, c.colorPhase, c.colorInversion, c.darkMode);
            red = c.blueFirst ? 2 : 0;
            blue = c.blueFirst ? 0 : 2;
        }
    }

    uint32_t Out(uint32_t v) const { return table ? table[v] : v; }

    uint32_t Value(uint32_t a, uint32_t b, uint32_t cc, uint32_t d) const {
        if constexpr (op == Op::Linear) {
            const int32_t sum = c.weights[0][a] + c.weights[1][b] + c.weights[2][cc] + c.weights[3][d];
            if (sum < 0) return 0;
            if (sum > int32_t(m << 14)) return m;
            return uint32_t(sum) >> 14;
        } else if constexpr (op == Op::Cosine) {
            const double v = double(a + b + cc + d) * 0.25 + (double(a) - double(cc)) * 0.5 * c.cosPhi +
                             (double(b) - double(d)) * 0.5 * c.sinPhi;
            if (v < 0.0) return 0;
            if (v >= double(m)) return m;
            return uint32_t(v);
        } else if constexpr (op == Op::Average) {
            return (a + b + cc + d + 2) >> 2;
        } else if constexpr (op == Op::Maximum) {
            return std::max(std::max(a, b), std::max(cc, d));
        } else if constexpr (op == Op::Minimum) {
            return std::min(std::min(a, b), std::min(cc, d));
        } else if constexpr (op == Op::Difference) {
            return std::max(std::max(a, b), std::max(cc, d)) - std::min(std::min(a, b), std::min(cc, d));
        } else if constexpr (op == Op::Degree) {
            return Degree(a, b, cc, d);
        } else {
            return c.stokes->Angle(int32_t(a) - int32_t(cc), int32_t(b) - int32_t(d));
        }
    }

    uint32_t Degree(uint32_t a, uint32_t b, uint32_t cc, uint32_t d) const {
        const uint32_t q = c.stokes->Divide(c.stokes->Magnitude(int32_t(a) - int32_t(cc), int32_t(b) - int32_t(d)),
                                            a + b + cc + d);
        return q < m ? q : m;
    }

    // The pixel of a degree (at most m) and an angle, written at p.
    void Color(uint32_t degree, uint32_t angle, D* p) const {
        uint32_t r, g, b;
        HuePixel(wheel, degree, angle, r, g, b);
        p[red] = D(Out(r));
        p[1] = D(Out(g));
        p[blue] = D(Out(b));
    }

    void Put(uint8_t* row, uint32_t x, uint32_t a, uint32_t b, uint32_t cc, uint32_t d) const {
        D* out = reinterpret_cast<D*>(row);
        if constexpr (op == Op::Color) {
            Color(Degree(a, b, cc, d), c.stokes->Angle(int32_t(a) - int32_t(cc), int32_t(b) - int32_t(d)),
                  out + size_t(x) * c.dstStep);
        } else {
            out[x] = D(Out(Value(a, b, cc, d)));
        }
    }
};

// Positions (0: (x, y), 1: (x + 1, y), 2: (x, y + 1), 3: (x + 1, y + 1)) of the slots 0..3 for a
// window whose corner has the parities px, py.
struct Order {
    uint8_t position[4];
};
Order OrderOf(uint32_t layout, uint32_t px, uint32_t py) {
    Order o{};
    for (uint32_t j = 0; j < 2; ++j)
        for (uint32_t i = 0; i < 2; ++i) {
            const uint8_t slot = LayoutSlots[layout][((py + j) & 1) * 2 + ((px + i) & 1)];
            o.position[slot] = uint8_t(j * 2 + i);
        }
    return o;
}

// Average, maximum, minimum and difference do not depend on which pixel holds which angle: one
// line of results is a plain function of two source lines.
template <Op op>
constexpr bool Symmetric = op == Op::Average || op == Op::Maximum || op == Op::Minimum || op == Op::Difference;

template <Op op, class S>
void SymmetricLine(const S* r0, const S* r1, S* out, uint32_t cols, S m) {
    for (uint32_t x = 0; x < cols; ++x) {
        // In the sample's own type, so that a vector holds as many samples as it can.
        S p = r0[x], q = r0[x + 1], r = r1[x], s = r1[x + 1];
        if constexpr (sizeof(S) > 1) {
            p = std::min(p, m), q = std::min(q, m), r = std::min(r, m), s = std::min(s, m);
        }
        if constexpr (op == Op::Average) {
            // At most 4 * 4095 + 2: a 16-bit sum holds it.
            out[x] = S(uint16_t(uint16_t(p) + q + r + s + 2) >> 2);
        } else {
            const S hi = std::max(std::max(p, q), std::max(r, s)), lo = std::min(std::min(p, q), std::min(r, s));
            if constexpr (op == Op::Maximum) out[x] = hi;
            else if constexpr (op == Op::Minimum) out[x] = lo;
            else out[x] = S(hi - lo);
        }
    }
}

template <Op op>
void SymmetricLine8(const uint8_t* r0, const uint8_t* r1, uint8_t* out, uint32_t cols) {
    SymmetricLine<op, uint8_t>(r0, r1, out, cols, 255);
}
template <Op op>
void SymmetricLine16(const uint16_t* r0, const uint16_t* r1, uint16_t* out, uint32_t cols, uint16_t max) {
    SymmetricLine<op, uint16_t>(r0, r1, out, cols, max);
}

template <class S>
void LinearLineOf(const S* r0, const S* r1, S* out, uint32_t cols, const detail::LinearLine& l) {
    for (uint32_t x = 0; x < cols; ++x) out[x] = S(detail::LinearAt(l, r0, r1, x));
}

// Degree or angle of one line. The tables are read through locals: byte stores may alias anything.
template <bool degree, class S>
void StokesLineOf(const S* r0, const S* r1, S* out, uint32_t cols, const detail::StokesLine& l) {
    const uint32_t max = l.max, n = l.tables->N();
    const uint32_t* const magnitude = l.tables->magnitude;
    const uint64_t* const mul = l.tables->divisionMul;
    const uint8_t* const shift = l.tables->divisionShift;
    const uint16_t* const angle = l.tables->angle;
    const uint32_t pi = l.tables->angleOfPi;
    // The window's samples packed in 16-bit fields of one word, the sample of slot k taken by a shift
    // of 16 times its position: registers only (an array indexed by the positions went through memory).
    uint32_t shifts[2][4];
    for (uint32_t i = 0; i < 2; ++i)
        for (uint32_t k = 0; k < 4; ++k) shifts[i][k] = 16u * l.position[i][k];
    const uint32_t e0 = shifts[0][0], e1 = shifts[0][1], e2 = shifts[0][2], e3 = shifts[0][3];
    const uint32_t o0 = shifts[1][0], o1 = shifts[1][1], o2 = shifts[1][2], o3 = shifts[1][3];
    auto clamp = [max](uint64_t v) { return v < max ? v : uint64_t(max); };
    for (uint32_t x = 0; x < cols; ++x) {
        const uint64_t a = clamp(r0[x]), b = clamp(r0[x + 1]), c = clamp(r1[x]), d = clamp(r1[x + 1]);
        const uint64_t packed = a | b << 16 | c << 32 | d << 48;
        const bool odd = x & 1;
        auto slot = [&](uint32_t even, uint32_t oddShift) { return int32_t((packed >> (odd ? oddShift : even)) & 0xFFFF); };
        const int32_t sx = slot(e0, o0) - slot(e2, o2), sy = slot(e1, o1) - slot(e3, o3);
        const uint32_t sum = uint32_t(a + b + c + d);
        const uint32_t ax = uint32_t(sx < 0 ? -sx : sx), ay = uint32_t(sy < 0 ? -sy : sy);
        if constexpr (degree) {
            const uint32_t q = uint32_t((uint64_t(magnitude[StokesTables::MagnitudeIndexOf(ax, ay)]) * mul[sum]) >> shift[sum]);
            out[x] = S(q < max ? q : max);
        } else {
            out[x] = S(StokesTables::AngleOfEntry(angle[size_t(ay) * n + ax], sx, sy, max, pi));
        }
    }
}

constexpr detail::RowKernels kPortable = {
    {SymmetricLine8<Op::Average>, SymmetricLine8<Op::Maximum>, SymmetricLine8<Op::Minimum>,
     SymmetricLine8<Op::Difference>},
    {SymmetricLine16<Op::Average>, SymmetricLine16<Op::Maximum>, SymmetricLine16<Op::Minimum>,
     SymmetricLine16<Op::Difference>},
    LinearLineOf<uint8_t>,
    LinearLineOf<uint16_t>,
    StokesLineOf<true, uint8_t>,
    StokesLineOf<false, uint8_t>,
    StokesLineOf<true, uint16_t>,
    StokesLineOf<false, uint16_t>,
    HueLineOf<uint8_t>,
    HueLineOf<uint16_t>,
};

const lxcpu::KernelForms<detail::RowKernels>& Forms() noexcept {
    static const lxcpu::KernelForms<detail::RowKernels> forms(&kPortable, detail::Avx2Rows(), detail::Avx512Rows());
    return forms;
}

// The affine part of a slot's weight table and the least and greatest deviation from it, in units of
// 2^-15 (see LinearLine).
struct AffinePart {
    int32_t a = 0, f = 0;
    int64_t lo = 0, hi = 0;
};

AffinePart AffineOf(const int32_t* w, uint32_t n) {
    AffinePart p;
    const double step = double(w[n - 1]) / double(n - 1), a = std::floor(step);
    p.a = int32_t(std::clamp(a, -65536.0, 65536.0));
    p.f = int32_t(std::clamp(std::floor((step - a) * 32768.0), 0.0, 32767.0));
    const int64_t slope = int64_t(p.a) * 32768 + p.f;
    p.lo = INT64_MAX, p.hi = INT64_MIN;
    for (uint32_t v = 0; v < n; ++v) {
        const int64_t e = int64_t(w[v]) * 32768 - int64_t(v) * slope;
        p.lo = std::min(p.lo, e), p.hi = std::max(p.hi, e);
    }
    return p;
}

// The two line descriptions of the linear interpolation, for even and odd lines.
void PrepareLinear(const Context& c, uint32_t layout, detail::LinearLine lines[2]) {
    const uint32_t n = 1u << c.depth;
    AffinePart parts[4];
    int64_t lo = 0, hi = 0;
    bool affine = true;
    for (unsigned k = 0; k < 4; ++k) {
        parts[k] = AffineOf(c.weights[k], n);
        lo += parts[k].lo, hi += parts[k].hi;
        affine = affine && parts[k].a >= INT16_MIN && parts[k].a <= INT16_MAX;
    }
    // The vector forms add the bounds to sums below 2^29 in 32-bit lanes.
    affine = affine && lo >= -(int64_t(1) << 28) && hi <= (int64_t(1) << 28) && ((hi - lo) >> 15) < (1 << 14);
    for (uint32_t py = 0; py < 2; ++py) {
        detail::LinearLine& l = lines[py];
        l.max = n - 1;
        l.affine = affine;
        l.lo = affine ? int32_t(lo) : 0;
        l.hi = affine ? int32_t(hi) : 0;
        l.span = affine ? int32_t((hi - lo) >> 15) : 0;
        for (uint32_t px = 0; px < 2; ++px) {
            const Order o = OrderOf(layout, px, py);
            for (unsigned k = 0; k < 4; ++k) {
                const uint8_t at = o.position[k];
                l.weights[px][at] = c.weights[k];
                l.a[px][at] = int16_t(affine ? parts[k].a : 0);
                l.f[px][at] = int16_t(affine ? parts[k].f : 0);
            }
        }
    }
}

// The window by lines: `line(r0, r1, out, cols, y)` writes the first w - 1 results of line y; the last
// column copies the one before it, the last line the line before it. A result is `pixelBytes` wide.
template <class Line>
void ByLines(const Plane& src, const Plane& dst, size_t pixelBytes, Line&& line) {
    const uint32_t w = src.width, h = src.height;
    const uint32_t rows = h > 1 ? h - 1 : 1;
    for (uint32_t y = 0; y < rows; ++y) {
        uint8_t* out = dst.Row(y);
        line(src.Row(y), src.Row(h > 1 ? y + 1 : y), out, w - 1, y);
        std::memcpy(out + (w - 1) * pixelBytes, out + (w - 2) * pixelBytes, pixelBytes);
    }
    if (h > 1) std::memcpy(dst.Row(h - 1), dst.Row(h - 2), size_t(w) * pixelBytes);
}

// Three lines of samples into the pixels of a destination line, `step` samples apart, through the
// depth table when there is one. A fourth sample of the destination stays as it is.
template <class D>
void Interleave(const uint16_t* c0, const uint16_t* c1, const uint16_t* c2, D* out, uint32_t cols, size_t step,
                const uint16_t* table) {
    auto run = [&](auto stepOf, auto map) {
        const size_t k = stepOf;
        for (uint32_t x = 0; x < cols; ++x) {
            D* p = out + size_t(x) * k;
            p[0] = D(map(c0[x])), p[1] = D(map(c1[x])), p[2] = D(map(c2[x]));
        }
    };
    auto same = [](uint16_t v) { return v; };
    auto mapped = [table](uint16_t v) { return table[v]; };
    if (table) run(step, mapped);
    else if (step == 3) run(std::integral_constant<size_t, 3>(), same);
    else run(step, same);
}

// What the line kernels of one image need: the kernels of the dispatcher's level and the line
// descriptions for even and odd lines.
struct LineSetup {
    const detail::RowKernels& k = Forms().Get();
    detail::LinearLine linear[2];
    detail::StokesLine stokes[2];
    uint16_t max = 255;

    LineSetup(const Context& c, uint32_t layout) : max(uint16_t((1u << c.depth) - 1)) {
        if (c.op == Op::Linear) PrepareLinear(c, layout, linear);
        if (c.op == Op::Degree || c.op == Op::Angle || c.op == Op::Color) {
            for (uint32_t py = 0; py < 2; ++py) {
                stokes[py].tables = c.stokes;
                stokes[py].max = max;
                for (uint32_t px = 0; px < 2; ++px) std::memcpy(stokes[py].position[px], OrderOf(layout, px, py).position, 4);
            }
        }
    }

    // The first cols results of line y, in the source's sample type.
    template <Op op, class S>
    void Run(const S* r0, const S* r1, S* out, uint32_t cols, uint32_t y) const {
        if constexpr (Symmetric<op>) {
            constexpr size_t i = op == Op::Average ? 0 : op == Op::Maximum ? 1 : op == Op::Minimum ? 2 : 3;
            if constexpr (sizeof(S) == 1) k.symmetric8[i](r0, r1, out, cols);
            else k.symmetric16[i](r0, r1, out, cols, max);
        } else if constexpr (op == Op::Linear) {
            if constexpr (sizeof(S) == 1) k.linear8(r0, r1, out, cols, linear[y & 1]);
            else k.linear16(r0, r1, out, cols, linear[y & 1]);
        } else if constexpr (op == Op::Degree) {
            if constexpr (sizeof(S) == 1) k.degree8(r0, r1, out, cols, stokes[y & 1]);
            else k.degree16(r0, r1, out, cols, stokes[y & 1]);
        } else {
            static_assert(op == Op::Angle);
            if constexpr (sizeof(S) == 1) k.angle8(r0, r1, out, cols, stokes[y & 1]);
            else k.angle16(r0, r1, out, cols, stokes[y & 1]);
        }
    }
};

// The window by the line kernels. Equal sample sizes without a depth table write straight into the
// destination; otherwise a line of results in the source's samples goes through the depth table, or,
// for Color, lines of degree and angle through the hue wheel.
template <Op op, class S, class D>
void WindowByLines(const Context& c, uint32_t layout, const Plane& src, const Plane& dst) {
    const LineSetup setup(c, layout);
    auto S_ = [](const uint8_t* row) { return reinterpret_cast<const S*>(row); };
    if constexpr (op != Op::Color && std::is_same_v<S, D>) {
        if (!c.depthTable) {
            ByLines(src, dst, sizeof(D), [&](const uint8_t* r0, const uint8_t* r1, uint8_t* out, uint32_t cols, uint32_t y) {
                setup.Run<op>(S_(r0), S_(r1), reinterpret_cast<S*>(out), cols, y);
            });
            return;
        }
    }
    const Pixel<op, D> pixel(c);
    std::vector<S> first(src.width), second(op == Op::Color ? src.width : 0);
    std::vector<uint16_t> rgb(op == Op::Color ? 3 * size_t(src.width) : 0);
    const size_t pixelBytes = sizeof(D) * (op == Op::Color ? c.dstStep : 1);
    ByLines(src, dst, pixelBytes, [&](const uint8_t* r0, const uint8_t* r1, uint8_t* row, uint32_t cols, uint32_t y) {
        D* out = reinterpret_cast<D*>(row);
        if constexpr (op == Op::Color) {
            setup.Run<Op::Degree>(S_(r0), S_(r1), first.data(), cols, y);
            setup.Run<Op::Angle>(S_(r0), S_(r1), second.data(), cols, y);
            uint16_t *r = rgb.data(), *g = r + src.width, *b = g + src.width;
            if constexpr (sizeof(S) == 1) setup.k.hue8(first.data(), second.data(), r, g, b, cols, pixel.wheel);
            else setup.k.hue16(first.data(), second.data(), r, g, b, cols, pixel.wheel);
            Interleave(pixel.red == 0 ? r : b, g, pixel.red == 0 ? b : r, out, cols, c.dstStep, c.depthTable);
        } else {
            setup.Run<op>(S_(r0), S_(r1), first.data(), cols, y);
            for (uint32_t x = 0; x < cols; ++x) out[x] = D(pixel.Out(first[x]));
        }
    });
}

template <Op op, class S, class D>
void WindowLoop(const Context& c, uint32_t layout, const Plane& src, const Plane& dst) {
    // Every operation but Cosine has line kernels; Color is made from the degree and angle lines.
    if constexpr (op != Op::Cosine) {
        if (src.width > 1) {
            WindowByLines<op, S, D>(c, layout, src, dst);
            return;
        }
    }
    const Pixel<op, D> pixel(c);
    const uint32_t w = src.width, h = src.height, max = pixel.m;
    const uint32_t rows = h > 1 ? h - 1 : 1, cols = w > 1 ? w - 1 : 1;
    const size_t pixelBytes = sizeof(D) * (op == Op::Color ? c.dstStep : 1);
    for (uint32_t y = 0; y < rows; ++y) {
        const uint8_t* r0 = src.Row(y);
        const uint8_t* r1 = src.Row(h > 1 ? y + 1 : y);
        uint8_t* out = dst.Row(y);
        const Order even = OrderOf(layout, 0, y), odd = OrderOf(layout, 1, y);
        if (w > 1) {
            // Pairs of windows: the left one of each starts on an even column. The column x + 1 is
            // shared and read once.
            uint32_t p0 = Load<S>(r0, 0, max), q0 = Load<S>(r1, 0, max);
            uint32_t x = 0;
            for (; x + 1 < cols; x += 2) {
                const uint32_t p1 = Load<S>(r0, x + 1, max), q1 = Load<S>(r1, x + 1, max);
                const uint32_t p2 = Load<S>(r0, x + 2, max), q2 = Load<S>(r1, x + 2, max);
                const uint32_t v[4] = {p0, p1, q0, q1}, u[4] = {p1, p2, q1, q2};
                pixel.Put(out, x, v[even.position[0]], v[even.position[1]], v[even.position[2]], v[even.position[3]]);
                pixel.Put(out, x + 1, u[odd.position[0]], u[odd.position[1]], u[odd.position[2]], u[odd.position[3]]);
                p0 = p2, q0 = q2;
            }
            if (x < cols) {
                const uint32_t v[4] = {p0, Load<S>(r0, x + 1, max), q0, Load<S>(r1, x + 1, max)};
                pixel.Put(out, x, v[even.position[0]], v[even.position[1]], v[even.position[2]], v[even.position[3]]);
            }
        } else {
            const uint32_t v[4] = {Load<S>(r0, 0, max), Load<S>(r0, 0, max), Load<S>(r1, 0, max), Load<S>(r1, 0, max)};
            pixel.Put(out, 0, v[even.position[0]], v[even.position[1]], v[even.position[2]], v[even.position[3]]);
        }
        if (w > 1) std::memcpy(out + (w - 1) * pixelBytes, out + (w - 2) * pixelBytes, pixelBytes);
    }
    if (h > 1) std::memcpy(dst.Row(h - 1), dst.Row(h - 2), size_t(w) * pixelBytes);
}

template <Op op, class S, class D>
void GroupLoop(const Context& c, uint32_t layout, const Plane& src, const Plane& dst) {
    const Pixel<op, D> pixel(c);
    const uint32_t max = pixel.m;
    const Order o = OrderOf(layout, 0, 0);
    for (uint32_t y = 0; y < src.height / 2; ++y) {
        const uint8_t* r0 = src.Row(2 * y);
        const uint8_t* r1 = src.Row(2 * y + 1);
        uint8_t* out = dst.Row(y);
        for (uint32_t x = 0; x < src.width / 2; ++x) {
            const uint32_t v[4] = {Load<S>(r0, 2 * x, max), Load<S>(r0, 2 * x + 1, max), Load<S>(r1, 2 * x, max),
                                   Load<S>(r1, 2 * x + 1, max)};
            pixel.Put(out, x, v[o.position[0]], v[o.position[1]], v[o.position[2]], v[o.position[3]]);
        }
    }
}

template <template <Op, class, class> class Loop, Op op>
void BySize(const Context& c, uint32_t layout, const Plane& src, const Plane& dst) {
    if (!src.words && !dst.words) Loop<op, uint8_t, uint8_t>::Run(c, layout, src, dst);
    else if (!src.words) Loop<op, uint8_t, uint16_t>::Run(c, layout, src, dst);
    else if (!dst.words) Loop<op, uint16_t, uint8_t>::Run(c, layout, src, dst);
    else Loop<op, uint16_t, uint16_t>::Run(c, layout, src, dst);
}

template <template <Op, class, class> class Loop>
void ByOp(const Context& c, uint32_t layout, const Plane& src, const Plane& dst) {
    switch (c.op) {
    case Op::Linear: BySize<Loop, Op::Linear>(c, layout, src, dst); break;
    case Op::Cosine: BySize<Loop, Op::Cosine>(c, layout, src, dst); break;
    case Op::Average: BySize<Loop, Op::Average>(c, layout, src, dst); break;
    case Op::Maximum: BySize<Loop, Op::Maximum>(c, layout, src, dst); break;
    case Op::Minimum: BySize<Loop, Op::Minimum>(c, layout, src, dst); break;
    case Op::Difference: BySize<Loop, Op::Difference>(c, layout, src, dst); break;
    case Op::Degree: BySize<Loop, Op::Degree>(c, layout, src, dst); break;
    case Op::Angle: BySize<Loop, Op::Angle>(c, layout, src, dst); break;
    case Op::Color: BySize<Loop, Op::Color>(c, layout, src, dst); break;
    }
}

template <Op op, class S, class D>
struct Window {
    static void Run(const Context& c, uint32_t layout, const Plane& src, const Plane& dst) {
        WindowLoop<op, S, D>(c, layout, src, dst);
    }
};
template <Op op, class S, class D>
struct Groups {
    static void Run(const Context& c, uint32_t layout, const Plane& src, const Plane& dst) {
        GroupLoop<op, S, D>(c, layout, src, dst);
    }
};

// Source row y, column x to the destination position of SplitAngles.
template <class S, class D>
void SplitLoop(const Context& c, const Plane& src, const Plane& dst) {
    const uint32_t max = (1u << c.depth) - 1;
    const uint32_t top = (src.height + 1) / 2, left = (src.width + 1) / 2;
    for (uint32_t y = 0; y < src.height; ++y) {
        const uint8_t* in = src.Row(y);
        D* out = reinterpret_cast<D*>(dst.Row((y & 1) ? top + y / 2 : y / 2));
        if (!c.depthTable) {
            // Equal depths: a plain deinterleaving of even and odd columns.
            const S* __restrict s = reinterpret_cast<const S*>(in);
            D* __restrict l = out;
            D* __restrict right = out + left;
            const S m = S(max);
            const uint32_t half = src.width / 2;
            if constexpr (sizeof(S) == 1) {
                for (uint32_t x = 0; x < half; ++x) l[x] = D(s[2 * x]), right[x] = D(s[2 * x + 1]);
            } else {
                for (uint32_t x = 0; x < half; ++x) l[x] = D(std::min(s[2 * x], m)), right[x] = D(std::min(s[2 * x + 1], m));
            }
            if (src.width & 1) out[src.width / 2] = D(std::min(s[src.width - 1], m));
            continue;
        }
        for (uint32_t x = 0; x + 1 < src.width; x += 2) {
            const uint32_t v0 = Load<S>(in, x, max), v1 = Load<S>(in, x + 1, max);
            out[x / 2] = D(c.depthTable ? c.depthTable[v0] : v0);
            out[left + x / 2] = D(c.depthTable ? c.depthTable[v1] : v1);
        }
        if (src.width & 1) {
            const uint32_t v = Load<S>(in, src.width - 1, max);
            out[src.width / 2] = D(c.depthTable ? c.depthTable[v] : v);
        }
    }
}

template <class S, class D>
void CopyLoop(const Context& c, const Plane& src, const Plane& dst) {
    const uint32_t max = (1u << c.depth) - 1;
    for (uint32_t y = 0; y < src.height; ++y) {
        const uint8_t* in = src.Row(y);
        D* out = reinterpret_cast<D*>(dst.Row(y));
        if (!c.depthTable && sizeof(S) == sizeof(D)) { // equal depths: the samples as they are
            std::memcpy(out, in, size_t(src.width) * sizeof(S));
            continue;
        }
        for (uint32_t x = 0; x < src.width; ++x) {
            const uint32_t v = Load<S>(in, x, max);
            out[x] = D(c.depthTable ? c.depthTable[v] : v);
        }
    }
}

template <template <class, class> class F>
void BySamples(const Context& c, const Plane& src, const Plane& dst) {
    if (!src.words && !dst.words) F<uint8_t, uint8_t>::Run(c, src, dst);
    else if (!src.words) F<uint8_t, uint16_t>::Run(c, src, dst);
    else if (!dst.words) F<uint16_t, uint8_t>::Run(c, src, dst);
    else F<uint16_t, uint16_t>::Run(c, src, dst);
}
template <class S, class D>
struct Split {
    static void Run(const Context& c, const Plane& src, const Plane& dst) { SplitLoop<S, D>(c, src, dst); }
};
template <class S, class D>
struct Copy {
    static void Run(const Context& c, const Plane& src, const Plane& dst) { CopyLoop<S, D>(c, src, dst); }
};

// A 16-bit plane whose lines do not all start on an even address goes through an aligned copy.
class Aligned {
public:
    Aligned(const Plane& plane, size_t lineBytes, bool destination)
        : lines_(plane.data, plane.pitch, lineBytes, plane.height, plane.words ? 2 : 1, destination), plane_(plane) {
        plane_.data = lines_.Data();
        plane_.pitch = lines_.Pitch();
    }
    const Plane& operator*() const { return plane_; }

private:
    lxip::CAlignedLines lines_;
    Plane plane_;
};

size_t RowBytes(const Plane& p, unsigned samples = 1) { return size_t(p.width) * samples * (p.words ? 2 : 1); }
unsigned DestinationSamples(const Context& c) { return c.op == Op::Color ? c.dstStep : 1; }

} // namespace

namespace detail {
const RowKernels& PortableRows() noexcept { return kPortable; }
lxcpu::Level KernelLevelAt(lxcpu::Level allowed) noexcept { return Forms().LevelAt(allowed); }
} // namespace detail

void RunWindow(const Context& c, uint32_t layout, const Plane& src, const Plane& dst) {
    if (src.width == 0 || src.height == 0 || layout < 1 || layout > 8) return;
    const Aligned in(src, RowBytes(src), false), out(dst, RowBytes(dst, DestinationSamples(c)), true);
    ByOp<Window>(c, layout, *in, *out);
}

void RunGroups(const Context& c, uint32_t layout, const Plane& src, const Plane& dst) {
    if (src.width < 2 || src.height < 2 || layout < 1 || layout > 8) return;
    const Aligned in(src, RowBytes(src), false), out(dst, RowBytes(dst, DestinationSamples(c)), true);
    ByOp<Groups>(c, layout, *in, *out);
}

void SplitAngles(const Context& c, const Plane& src, const Plane& dst) {
    if (src.width == 0 || src.height == 0) return; // an empty image may have no buffer
    const Aligned in(src, RowBytes(src), false), out(dst, RowBytes(dst), true);
    BySamples<Split>(c, *in, *out);
}

void CopySamples(const Context& c, const Plane& src, const Plane& dst) {
    if (src.width == 0 || src.height == 0) return;
    const Aligned in(src, RowBytes(src), false), out(dst, RowBytes(dst), true);
    BySamples<Copy>(c, *in, *out);
}

void Demultiplex(const Plane& src, const Plane& dst) {
    const uint32_t top = DemultiplexedFirstHalf(src.height), left = DemultiplexedFirstHalf(src.width);
    const size_t bytes = src.words ? 2 : 1;
    for (uint32_t y = 0; y < src.height; ++y) {
        const uint32_t oy = (y % 4 < 2) ? (y / 4) * 2 + y % 4 : top + (y / 4) * 2 + (y % 4 - 2);
        const uint8_t* in = src.Row(y);
        uint8_t* out = dst.Row(oy);
        for (uint32_t x = 0; x < src.width; ++x) {
            const uint32_t ox = (x % 4 < 2) ? (x / 4) * 2 + x % 4 : left + (x / 4) * 2 + (x % 4 - 2);
            std::memcpy(out + ox * bytes, in + x * bytes, bytes);
        }
    }
}

} // namespace lxpol
