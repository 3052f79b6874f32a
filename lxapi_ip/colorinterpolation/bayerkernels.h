// Cell kernels of the demosaicing methods (the drivers that run them are in bayerdriver.h).
//
// A cell is a pair of columns (2k, 2k + 1). In every row one column of a cell holds the row's own
// non-green colour and the other holds green, so with the row's column parity Q fixed at compile
// time a kernel has no branch on the phase: it reads "the sample of parity P in cell k" and
// produces the even and odd pixel of each output channel. The kernels are written once against a
// small lane interface V:
//   V::T                  sample type
//   V::Vec, V::Mask       cell values (signed lanes) and comparison results
//   V::kCells             cells per call
//   V::E(p), V::O(p)      even and odd samples of the cells starting at p
//   V::LoadLane, StoreLane   line-buffer values (one per cell, Lane<T> wide)
//   V::Join(e, o)         the pixels of a cell run, in the order V's stores take (V::Px)
//   V::Store3, V::Store1  writing pixels of 3/4 samples, or one sample
//   V::Min, Max, Splat, Select, Sign3 (sign of a1 b1 + a2 b2 + a3 b3)
// Scalar<T> below processes one cell; the AVX2 unit provides 16 (bytes) or 8 (words) at a time.
// Both instantiate these templates, so the SIMD path is the portable path in wider lanes.
//
// Include this header (through bayerdriver.h) after defining LXB_ISA to the namespace of the
// instruction set; every instruction set gets its own copy of these templates.
#pragma once

#include "bayerframe.h"

#include <cstddef>
#include <cstdint>

#ifndef LXB_ISA
#error "LXB_ISA must name the instruction-set namespace"
#endif

// The kernels are small and called once per cell run; left out of line their vector arguments
// would travel through memory.
#ifndef LXB_INLINE
#define LXB_INLINE inline __attribute__((always_inline))
#endif

namespace lxbayer::detail::LXB_ISA {

template <class TT>
struct Scalar {
    using T = TT;
    using Vec = int;
    using Mask = bool;
    using L = Lane<TT>;
    struct Px {
        int e, o;
    };
    static constexpr int kCells = 1;
    static Vec E(const T* p) { return p[0]; }
    static Vec O(const T* p) { return p[1]; }
    static Vec LoadLane(const L* p) { return *p; }
    static void StoreLane(L* p, Vec v) { *p = L(v); }
    static Vec Splat(int v) { return v; }
    static Vec Min(Vec a, Vec b) { return a < b ? a : b; }
    static Vec Max(Vec a, Vec b) { return a < b ? b : a; }
    static Vec Select(Mask m, Vec a, Vec b) { return m ? a : b; }
    static Px Join(Vec e, Vec o) { return {e, o}; }
    static void Store3(T* d, int step, Px c0, Px c1, Px c2) {
        d[0] = T(c0.e);
        d[1] = T(c1.e);
        d[2] = T(c2.e);
        d[step] = T(c0.o);
        d[step + 1] = T(c1.o);
        d[step + 2] = T(c2.o);
    }
    static void Store1(T* d, Px p) {
        d[0] = T(p.e);
        d[1] = T(p.o);
    }
    // Sign of a1 b1 + a2 b2 + a3 b3 as two masks (negative, positive); factors are differences or
    // sums of up to four samples, so the products need 64 bits for words.
    static void Sign3(Vec a1, Vec b1, Vec a2, Vec b2, Vec a3, Vec b3, Mask& neg, Mask& pos) {
        const int64_t d = int64_t(a1) * b1 + int64_t(a2) * b2 + int64_t(a3) * b3;
        neg = d < 0;
        pos = d > 0;
    }
};

// ---- cell access and arithmetic helpers -----------------------------------------------------

// The sample of parity P in cell k of a row.
template <class V, int P>
LXB_INLINE typename V::Vec At(const typename V::T* row, int k) {
    if constexpr (P == 0) return V::E(row + 2 * k);
    else return V::O(row + 2 * k);
}

// Values for the even and the odd pixel of a cell.
template <class V>
struct Two {
    typename V::Vec e, o;
};

template <class V>
LXB_INLINE Two<V> Avg(const Two<V>& a, const Two<V>& b) {
    return {(a.e + b.e) >> 1, (a.o + b.o) >> 1};
}

template <class V>
LXB_INLINE typename V::Px Join(const Two<V>& t) {
    return V::Join(t.e, t.o);
}

// Clamp(p, n, s) = 0 if p < n, else min((p - n) >> s, maxv).
template <class V, int S>
LXB_INLINE typename V::Vec Clamp(typename V::Vec p, typename V::Vec n, typename V::Vec maxv) {
    return V::Min(V::Max(p - n, V::Splat(0)) >> S, maxv);
}

// Bicubic tap: m = (a + b) >> 1, then m + (m >> 2) - ((c + d) >> 3) kept within 0..maxv.
template <class V>
LXB_INLINE typename V::Vec Cubic(typename V::Vec a, typename V::Vec b, typename V::Vec c, typename V::Vec d,
                             typename V::Vec maxv) {
    const typename V::Vec m = (a + b) >> 1;
    return Clamp<V, 0>(m + (m >> 2), (c + d) >> 3, maxv);
}

// Sample of parity P at the window of each pixel: the window of pixel x spans columns x, x + 1.
// P = 0: even pixel 2k -> column 2k, odd pixel 2k+1 -> column 2k+2. P = 1: column 2k+1 for both.
template <class V, int P>
LXB_INLINE Two<V> Win(const typename V::T* row, int k) {
    if constexpr (P == 0) return {At<V, 0>(row, k), At<V, 0>(row, k + 1)};
    else return {At<V, 1>(row, k), At<V, 1>(row, k)};
}

// Same colour one period further from the window centre: P = 0: columns 2k-2, 2k+4;
// P = 1: columns 2k+3, 2k-1.
template <class V, int P>
LXB_INLINE Two<V> Far(const typename V::T* row, int k) {
    if constexpr (P == 0) return {At<V, 0>(row, k - 1), At<V, 0>(row, k + 2)};
    else return {At<V, 1>(row, k + 1), At<V, 1>(row, k - 1)};
}

// Row-linear plane of the colour at parity P: the sample, or the mean of the two neighbours.
template <class V, int P>
LXB_INLINE Two<V> RowLinear(const typename V::T* row, int k) {
    if constexpr (P == 0) {
        const auto a = At<V, 0>(row, k);
        return {a, (a + At<V, 0>(row, k + 1)) >> 1};
    } else {
        const auto b = At<V, 1>(row, k);
        return {(At<V, 1>(row, k - 1) + b) >> 1, b};
    }
}

// Row-cubic plane of the colour at parity P: the sample, or the tap over distances 1 and 3.
template <class V, int P>
LXB_INLINE Two<V> RowCubic(const typename V::T* row, int k, typename V::Vec maxv) {
    if constexpr (P == 0) {
        const auto a = At<V, 0>(row, k), b = At<V, 0>(row, k + 1);
        return {a, Cubic<V>(a, b, At<V, 0>(row, k - 1), At<V, 0>(row, k + 2), maxv)};
    } else {
        const auto a = At<V, 1>(row, k - 1), b = At<V, 1>(row, k);
        return {Cubic<V>(a, b, At<V, 1>(row, k - 2), At<V, 1>(row, k + 1), maxv), b};
    }
}

// ---- per-row arguments and output ---------------------------------------------------------------

template <class T>
struct RowArgs {
    const T* r = nullptr;  // the row itself
    const T* r2 = nullptr; // a second row of the own colour (Bilinear2: one period further)
    const T* rp = nullptr; // partner row holding the other colour (window methods)
    const T* rp2 = nullptr;
    const T* u1 = nullptr; // rows above and below (distance 1 and 3)
    const T* d1 = nullptr;
    const T* u3 = nullptr;
    const T* d3 = nullptr;
    Bl3Rows<T> b3;             // Bilinear3 line buffers
    Lane<T>* out1 = nullptr;   // Bilinear3 line buffers written
    Lane<T>* out2 = nullptr;
    const T* s[5] = {};    // source rows y-2 .. y+2
    T* out = nullptr;      // destination row
    int step = 3;
    bool ownLast = false;  // the row's own colour goes to the third channel
    bool outer = false;    // Bicubic: rows at distance 3 missing
    bool ownRed = false;   // luminance: the row's own colour is red
    int maxv = 255;
};

template <class V>
LXB_INLINE void Emit(const RowArgs<typename V::T>& a, int k, typename V::Px own, typename V::Px g,
                 typename V::Px other) {
    typename V::T* d = a.out + ptrdiff_t(2 * k) * a.step;
    if (a.ownLast) V::Store3(d, a.step, other, g, own);
    else V::Store3(d, a.step, own, g, other);
}

// ---- the methods ------------------------------------------------------------------------------

struct OffKernel {
    template <class V, int Q>
    LXB_INLINE static void Run(const RowArgs<typename V::T>& a, int k) {
        const auto s = At<V, Q>(a.r, k), g = At<V, Q ^ 1>(a.r, k), z = V::Splat(0);
        if constexpr (Q == 0) Emit<V>(a, k, V::Join(s, z), V::Join(z, g), V::Join(z, z));
        else Emit<V>(a, k, V::Join(z, s), V::Join(g, z), V::Join(z, z));
    }
};

struct MonoKernel {
    template <class V, int Q>
    LXB_INLINE static void Run(const RowArgs<typename V::T>& a, int k) {
        const auto p = V::Join(V::E(a.r + 2 * k), V::O(a.r + 2 * k));
        Emit<V>(a, k, p, p, p);
    }
};

// Tile k = cell k of the row and its partner row: every pixel takes the tile's samples, green
// from its own row.
struct NearestKernel {
    template <class V, int Q>
    LXB_INLINE static void Run(const RowArgs<typename V::T>& a, int k) {
        const auto own = At<V, Q>(a.r, k), g = At<V, Q ^ 1>(a.r, k), other = At<V, Q ^ 1>(a.rp, k);
        Emit<V>(a, k, V::Join(own, own), V::Join(g, g), V::Join(other, other));
    }
};

// The window of pixel x spans columns x, x + 1 of the row and its partner row.
template <class V, int Q>
LXB_INLINE Two<V> WindowGreen(const RowArgs<typename V::T>& a, int k) {
    return Avg<V>(Win<V, Q ^ 1>(a.r, k), Win<V, Q>(a.rp, k));
}

struct Nearest2Kernel {
    template <class V, int Q>
    LXB_INLINE static void Run(const RowArgs<typename V::T>& a, int k) {
        Emit<V>(a, k, Join<V>(Win<V, Q>(a.r, k)), Join<V>(WindowGreen<V, Q>(a, k)),
                Join<V>(Win<V, Q ^ 1>(a.rp, k)));
    }
};

// (9a + 3b + 3c + d) >> 4 = (3(3a + b) + (3c + d)) >> 4: a row-wise 3a + b on the colour's row
// r and on its further row r2 (r itself where that row is missing, which reduces the form exactly
// to (3a + b) >> 2).
template <class V, int P>
LXB_INLINE Two<V> Bilinear2Colour(const typename V::T* r, const typename V::T* r2, int k) {
    const Two<V> a = Win<V, P>(r, k), b = Far<V, P>(r, k), c = Win<V, P>(r2, k), d = Far<V, P>(r2, k);
    const auto h1e = a.e + a.e + a.e + b.e, h1o = a.o + a.o + a.o + b.o;
    const auto h2e = c.e + c.e + c.e + d.e, h2o = c.o + c.o + c.o + d.o;
    return {(h1e + h1e + h1e + h2e) >> 4, (h1o + h1o + h1o + h2o) >> 4};
}

struct Bilinear2Kernel {
    template <class V, int Q>
    LXB_INLINE static void Run(const RowArgs<typename V::T>& a, int k) {
        Emit<V>(a, k, Join<V>(Bilinear2Colour<V, Q>(a.r, a.r2, k)), Join<V>(WindowGreen<V, Q>(a, k)),
                Join<V>(Bilinear2Colour<V, Q ^ 1>(a.rp, a.rp2, k)));
    }
};

struct BilinearKernel {
    template <class V, int Q>
    LXB_INLINE static void Run(const RowArgs<typename V::T>& a, int k) {
        const Two<V> other = Avg<V>(RowLinear<V, Q ^ 1>(a.u1, k), RowLinear<V, Q ^ 1>(a.d1, k));
        Emit<V>(a, k, Join<V>(RowLinear<V, Q>(a.r, k)), Join<V>(RowLinear<V, Q ^ 1>(a.r, k)),
                Join<V>(other));
    }
};

struct BicubicKernel {
    template <class V, int Q>
    LXB_INLINE static void Run(const RowArgs<typename V::T>& a, int k) {
        const auto M = V::Splat(a.maxv);
        const Two<V> up = RowCubic<V, Q ^ 1>(a.u1, k, M), dn = RowCubic<V, Q ^ 1>(a.d1, k, M);
        Two<V> other;
        if (a.outer) {
            other = Avg<V>(up, dn);
        } else {
            const Two<V> up3 = RowCubic<V, Q ^ 1>(a.u3, k, M), dn3 = RowCubic<V, Q ^ 1>(a.d3, k, M);
            other = {Cubic<V>(up.e, dn.e, up3.e, dn3.e, M), Cubic<V>(up.o, dn.o, up3.o, dn3.o, M)};
        }
        Emit<V>(a, k, Join<V>(RowCubic<V, Q>(a.r, k, M)), Join<V>(RowCubic<V, Q ^ 1>(a.r, k, M)),
                Join<V>(other));
    }
};

// Y = (((G1 + G2) >> 1) * 5 + 2R + B) >> 3 over the pixel's window.
struct LuminanceKernel {
    template <class V, int Q>
    LXB_INLINE static void Run(const RowArgs<typename V::T>& a, int k) {
        const Two<V> own = Win<V, Q>(a.r, k), other = Win<V, Q ^ 1>(a.rp, k), g = WindowGreen<V, Q>(a, k);
        const Two<V> r = a.ownRed ? own : other, b = a.ownRed ? other : own;
        auto y = [](auto G, auto R, auto B) { return ((G << 2) + G + R + R + B) >> 3; };
        V::Store1(a.out + 2 * k, V::Join(y(g.e, r.e, b.e), y(g.o, r.o, b.o)));
    }
};

// Bilinear3 stage 1 on an inner row: green at the row's own-colour sites, steered by the smaller
// of the vertical and horizontal gradient energies; also the own colour minus that green.
// s[0..4] are the rows y-2 .. y+2. The three candidates Clamp(p, n, 1) (vertical, horizontal) and
// Clamp(p, n, 2) (both) are formed as one: max(2(p - n), 0) >> 2 equals max(p - n, 0) >> 1
// exactly, so the chosen difference is clamped once with shift 2.
struct GreenKernel {
    template <class V, int Q>
    LXB_INLINE static void Run(const RowArgs<typename V::T>& a, int k) {
        constexpr int kl = Q == 0 ? -1 : 0, kr = Q == 0 ? 0 : 1; // green left/right of the site
        const auto C = At<V, Q>(a.s[2], k), Cl = At<V, Q>(a.s[2], k - 1), Cr = At<V, Q>(a.s[2], k + 1);
        const auto Gl = At<V, Q ^ 1>(a.s[2], k + kl), Gr = At<V, Q ^ 1>(a.s[2], k + kr);
        const auto Gu = At<V, Q>(a.s[1], k), Gd = At<V, Q>(a.s[3], k);
        const auto Cu = At<V, Q>(a.s[0], k), Cd = At<V, Q>(a.s[4], k);
        // V - H = (Gu-Gd)² - (Gl-Gr)² + (Cd-C)² - (Cr-C)² + (Cu-C)² - (Cl-C)², each pair as
        // (x - y)(x + y).
        const auto gud = Gu - Gd, glr = Gl - Gr, C2 = C + C;
        typename V::Mask lt, gt;
        V::Sign3(gud - glr, gud + glr, Cd - Cr, Cd + Cr - C2, Cu - Cl, Cu + Cl - C2, lt, gt);
        // both = gv + gh + 2C - ((cv + ch) >> 1) = dv + dh - (cv & ch & 1): the two halvings lose
        // one more than the joint one exactly when cv and ch are both odd.
        const auto cv = Cu + Cd, ch = Cl + Cr;
        const auto dv = Gu + Gd + C - (cv >> 1), dh = Gl + Gr + C - (ch >> 1);
        const auto both = dv + dh - (cv & ch & V::Splat(1));
        const auto d = V::Select(lt, dv + dv, V::Select(gt, dh + dh, both));
        const auto g = V::Min(V::Max(d, V::Splat(0)) >> 2, V::Splat(a.maxv));
        V::StoreLane(a.out1 + k, g);
        V::StoreLane(a.out2 + k, C - g);
    }
};

// Bilinear3 stage 2 on an inner row: the opposite colour at the own-colour sites from the four
// diagonal neighbours (own-colour sites of rows y-1 and y+1), kept as its difference to green.
struct OppositeKernel {
    template <class V, int Q>
    LXB_INLINE static void Run(const RowArgs<typename V::T>& a, int k) {
        constexpr int kl = Q == 0 ? -1 : 0, kr = Q == 0 ? 0 : 1;
        const auto* up = a.b3.dc[0] + k;
        const auto* dn = a.b3.dc[2] + k;
        const auto sumD = V::LoadLane(up + kl) + V::LoadLane(up + kr) + V::LoadLane(dn + kl) + V::LoadLane(dn + kr);
        const auto G = V::LoadLane(a.b3.g + k);
        const auto x = V::Min(V::Max(sumD + (G << 2), V::Splat(0)) >> 2, V::Splat(a.maxv));
        V::StoreLane(a.out1 + k, x - G);
    }
};

// Bilinear3 stage 1 on the two outer rows at each end (vertical arm Gv = s[1], Cv = s[0]): the
// horizontal form if 2(Cv - C)² >= (Cr - C)² + (Cl - C)², else the one-sided
// Clamp(Gv + (C >> 1), Cv >> 1, 0). Both are brought to the shift-2 clamp (x2 and x4).
struct OuterGreenKernel {
    template <class V, int Q>
    LXB_INLINE static void Run(const RowArgs<typename V::T>& a, int k) {
        constexpr int kl = Q == 0 ? -1 : 0, kr = Q == 0 ? 0 : 1;
        const auto C = At<V, Q>(a.s[2], k), Cl = At<V, Q>(a.s[2], k - 1), Cr = At<V, Q>(a.s[2], k + 1);
        const auto Gl = At<V, Q ^ 1>(a.s[2], k + kl), Gr = At<V, Q ^ 1>(a.s[2], k + kr);
        const auto Gv = At<V, Q>(a.s[1], k), Cv = At<V, Q>(a.s[0], k);
        // 2(Cv-C)² - (Cr-C)² - (Cl-C)² = (Cv - Cr)(Cv + Cr - 2C) + (Cv - Cl)(Cv + Cl - 2C).
        const auto z = V::Splat(0), C2 = C + C;
        typename V::Mask lt, gt;
        V::Sign3(Cv - Cr, Cv + Cr - C2, Cv - Cl, Cv + Cl - C2, z, z, lt, gt);
        const auto horz = Gl + Gr + C - ((Cl + Cr) >> 1), side = Gv + (C >> 1) - (Cv >> 1);
        const auto d = V::Select(lt, side << 2, horz + horz);
        const auto g = V::Min(V::Max(d, z) >> 2, V::Splat(a.maxv));
        V::StoreLane(a.out1 + k, g);
        V::StoreLane(a.out2 + k, C - g);
    }
};

// Bilinear3 stage 3: own-colour sites take stages 1 and 2; green sites take both colours from the
// four direct neighbours. The neighbours left and right are own-colour sites of this row, those
// above and below own-colour sites of their rows. On the first and last row (Outer) only the
// native neighbours count: the two horizontal ones for the own colour, the one vertical one
// (dc[0]) for the other; (Dl + Dr + 2G) >> 1 and (Dv + G) are brought to the shift-2 form.
template <bool Outer>
struct OutputKernel {
    template <class V, int Q>
    LXB_INLINE static void Run(const RowArgs<typename V::T>& a, int k) {
        constexpr int kl = Q == 0 ? 0 : -1, kr = Q == 0 ? 1 : 0; // own-colour left/right of green
        const Bl3Rows<typename V::T>& b = a.b3;
        const auto C = At<V, Q>(a.s[2], k), G = At<V, Q ^ 1>(a.s[2], k);
        const auto Gc = V::LoadLane(b.g + k), Oc = V::LoadLane(b.dx[1] + k) + Gc;
        const auto dl = V::LoadLane(b.dc[1] + k + kl), dr = V::LoadLane(b.dc[1] + k + kr);
        typename V::Vec own, other;
        if constexpr (Outer) {
            own = (dl + dr) << 1;
            other = V::LoadLane(b.dc[0] + k) << 2;
        } else {
            own = dl + dr + V::LoadLane(b.dx[0] + k) + V::LoadLane(b.dx[2] + k);
            other = V::LoadLane(b.dx[1] + k + kl) + V::LoadLane(b.dx[1] + k + kr) + V::LoadLane(b.dc[0] + k) +
                    V::LoadLane(b.dc[2] + k);
        }
        const auto M = V::Splat(a.maxv), z = V::Splat(0), G4 = G << 2;
        const auto Cg = V::Min(V::Max(own + G4, z) >> 2, M), Og = V::Min(V::Max(other + G4, z) >> 2, M);
        if constexpr (Q == 0) Emit<V>(a, k, V::Join(C, Cg), V::Join(Gc, G), V::Join(Oc, Og));
        else Emit<V>(a, k, V::Join(Cg, C), V::Join(G, Gc), V::Join(Og, Oc));
    }
};

} // namespace lxbayer::detail::LXB_ISA
