// Frame drivers of the demosaicing kernels: which rows each method reads, where the kernels' cell
// ranges end and the edge functions take over, and the Bilinear3 line-buffer pipeline.
// Include after defining LXB_ISA (see bayerkernels.h).
#pragma once

#include "bayerkernels.h"

#include <cstddef>
#include <cstdint>

namespace lxbayer::detail::LXB_ISA {

// Cells [k0, k1) of a row: whole vector runs, the first and the last overlapping their neighbours
// where the range does not fit the run grid (every cell's result depends only on inputs, so
// writing it twice is harmless); ranges shorter than a run go cell by cell.
template <class V, class K, int Q>
LXB_INLINE void CellRun(const RowArgs<typename V::T>& args, int k0, int k1) {
    using S = Scalar<typename V::T>;
    // A private copy: stores through sample pointers may alias the caller's arguments, and
    // would force their row pointers to be reloaded after every store.
    const RowArgs<typename V::T> a = args;
    int k = k0;
    if constexpr (V::kCells > 1) {
        if (k1 - k0 >= V::kCells) {
            // After the first run, runs start on multiples of the run length, which keeps the
            // line-buffer loads at their own cell aligned.
            K::template Run<V, Q>(a, k0);
            for (k = (k0 / V::kCells + 1) * V::kCells; k + V::kCells <= k1; k += V::kCells)
                K::template Run<V, Q>(a, k);
            if (k < k1) K::template Run<V, Q>(a, k1 - V::kCells);
            return;
        }
    }
    for (; k < k1; ++k) K::template Run<S, Q>(a, k);
}

// One row: generic pixels left of cell k0 and from cell k1 on, kernel cells in between.
template <class V, class K, class Edge>
LXB_INLINE void Row(const RowArgs<typename V::T>& a, int q, int k0, int k1, int w, const Edge& edge) {
    if (k1 <= k0) {
        edge(0, w);
        return;
    }
    if (k0 > 0) edge(0, 2 * k0);
    if (q) CellRun<V, K, 1>(a, k0, k1);
    else CellRun<V, K, 0>(a, k0, k1);
    if (2 * k1 < w) edge(2 * k1, w);
}

template <class V>
class Driver {
public:
    using T = typename V::T;

    explicit Driver(const Frame<T>& f) : f_(f), n_(f.w / 2) {}

    void Color(uint32_t method) {
        switch (method) {
        case 0: Simple<OffKernel>(method, 0, 0); break;
        case 1: Simple<NearestKernel>(method, 0, 0); break;
        case 2: Simple<Nearest2Kernel>(method, 0, 1); break;
        case 3: Simple<BilinearKernel>(method, 1, 1); break;
        case 4: Simple<Bilinear2Kernel>(method, 1, 2); break;
        case 5: Simple<BicubicKernel>(method, 2, 2); break;
        case 6: Simple<MonoKernel>(method, 0, 0); break;
        case 7: Bilinear3(); break;
        default: break;
        }
    }

    void Luminance() {
        for (int y = 0; y < f_.h; ++y) {
            RowArgs<T> a = Base(y, 1);
            a.rp = f_.Src(y < f_.h - 1 ? y + 1 : y - 1);
            a.ownRed = f_.aIsRed == ((y & 1) == 0);
            Row<V, LuminanceKernel>(a, f_.Parity(y), 0, n_ - 1, f_.w,
                                    [&](int x0, int x1) { EdgeLuminance(f_, y, x0, x1); });
        }
    }

private:
    RowArgs<T> Base(int y, int step) const {
        RowArgs<T> a;
        a.r = f_.Src(y);
        a.out = f_.Dst(y);
        a.step = step;
        a.ownLast = f_.OwnLast(y);
        a.maxv = f_.maxv;
        return a;
    }

    const T* SrcOr(int y, int fallback) const { return f_.Src(y >= 0 && y < f_.h ? y : fallback); }

    // Methods that read the source only. The kernel covers cells [left, n - right); the rows each
    // method reads are set up here, with the border substitutions that make the kernel's form
    // exact at the top and bottom.
    template <class K>
    void Simple(uint32_t method, int left, int right) {
        const int h = f_.h;
        for (int y = 0; y < h; ++y) {
            RowArgs<T> a = Base(y, f_.step);
            const bool last = y == h - 1;
            // NearestNeighbor's tile partner: the other row of the aligned pair (an odd last row
            // pairs with the row above it); the windows' partner: the row below, above on the last.
            const int partner = method == 1 ? ((y & 1) ? y - 1 : (last ? y - 1 : y + 1))
                                            : (last ? y - 1 : y + 1);
            a.rp = f_.Src(partner);
            // Bilinear2: the row one period further from the window centre, or the row itself.
            a.r2 = last ? a.r : SrcOr(y - 2, y);
            a.rp2 = last ? SrcOr(partner - 2, partner) : SrcOr(partner + 2, partner);
            // Bilinear and Bicubic: the neighbour rows; a missing one is replaced by the other.
            a.u1 = f_.Src(y > 0 ? y - 1 : 1);
            a.d1 = f_.Src(!last ? y + 1 : h - 2);
            a.outer = y < 3 || y > h - 4;
            if (!a.outer) {
                a.u3 = f_.Src(y - 3);
                a.d3 = f_.Src(y + 3);
            }
            Row<V, K>(a, f_.Parity(y), left, n_ - right, f_.w,
                      [&](int x0, int x1) { EdgePixels(method, f_, y, x0, x1); });
        }
    }

    // Three stages over line buffers: stage 1 of rows up to y+2, stage 2 of rows up to y+1, then
    // the output of row y. Four rows of each buffer are kept in the frame's scratch, whose lines
    // start on cache-line boundaries (the loads at a run's own cell then never straddle one).
    void Bilinear3() {
        using L = Lane<T>;
        const int h = f_.h;
        const size_t stride = Bl3Stride<T>(f_.w);
        L* const base = f_.scratch;
        auto line = [&](int plane, int r) -> L* {
            return r >= 0 && r < h ? base + (size_t(plane) * 4 + size_t(r & 3)) * stride : nullptr;
        };
        auto rows = [&](int y) {
            Bl3Rows<T> b;
            b.g = line(0, y);
            for (int i = 0; i < 3; ++i) {
                b.dc[i] = line(1, y - 1 + i);
                b.dx[i] = line(2, y - 1 + i);
            }
            return b;
        };
        for (int t = 0; t < h + 2; ++t) {
            if (t < h) GreenRow(t, line(0, t), line(1, t));
            if (t >= 1 && t <= h) OppositeRow(t - 1, rows(t - 1), line(2, t - 1));
            if (t >= 2) OutputRow(t - 2, rows(t - 2));
        }
    }

    // Cell ranges of the Bilinear3 kernels by the parity q of the row's own colour; the pixels
    // outside them (one or two at each side) go through the edge functions.
    //  Stage 1: own site x = 2k + q with 2 <= x <= w - 3 and cells k - 1 .. k + 1 complete.
    //  Stage 2: own site with 1 <= x <= w - 2.
    //  Stage 3: green site x = 2k + (q ^ 1) with 1 <= x <= w - 2.
    template <class K, class Edge>
    void Bl3Row(const RowArgs<T>& a, int y, int stage, const Edge& edge) {
        const int q = f_.Parity(y), n = n_, odd = f_.w & 1;
        int k0 = 1, k1 = n - 1;
        if (stage == 2) {
            k0 = 1 - q;
            k1 = q && !odd ? n - 1 : n;
        } else if (stage == 3) {
            k0 = q;
            k1 = !q && !odd ? n - 1 : n;
        }
        Row<V, K>(a, q, k0, k1, f_.w, edge);
    }

    void GreenRow(int y, Lane<T>* g, Lane<T>* dc) {
        RowArgs<T> a = Base(y, 1);
        a.out1 = g;
        a.out2 = dc;
        auto edge = [&](int x0, int x1) { EdgeGreen(f_, y, x0, x1, g, dc); };
        if (y >= 2 && y <= f_.h - 3) {
            for (int i = 0; i < 5; ++i) a.s[i] = f_.Src(y - 2 + i);
            Bl3Row<GreenKernel>(a, y, 1, edge);
        } else { // the vertical arm that exists
            const int dir = y < 2 ? 1 : -1;
            a.s[0] = f_.Src(y + 2 * dir);
            a.s[1] = f_.Src(y + dir);
            a.s[2] = f_.Src(y);
            Bl3Row<OuterGreenKernel>(a, y, 1, edge);
        }
    }

    // On the first and last row only two diagonal neighbours exist: passing their row twice
    // gives (2(D1 + D2) + 4G) >> 2 = (D1 + D2 + 2G) >> 1, the two-neighbour form.
    void OppositeRow(int y, const Bl3Rows<T>& b, Lane<T>* dx) {
        RowArgs<T> a = Base(y, 1);
        a.b3 = b;
        if (!b.dc[0]) a.b3.dc[0] = b.dc[2];
        if (!b.dc[2]) a.b3.dc[2] = b.dc[0];
        a.out1 = dx;
        Bl3Row<OppositeKernel>(a, y, 2, [&](int x0, int x1) { EdgeOpposite(f_, y, x0, x1, b, dx); });
    }

    void OutputRow(int y, const Bl3Rows<T>& b) {
        RowArgs<T> a = Base(y, f_.step);
        a.s[2] = f_.Src(y);
        a.b3 = b;
        auto edge = [&](int x0, int x1) { EdgeOutput(f_, y, x0, x1, b); };
        if (y >= 1 && y <= f_.h - 2) {
            Bl3Row<OutputKernel<false>>(a, y, 3, edge);
        } else {
            if (!a.b3.dc[0]) a.b3.dc[0] = b.dc[2]; // the one vertical neighbour row
            Bl3Row<OutputKernel<true>>(a, y, 3, edge);
        }
    }

    const Frame<T>& f_;
    int n_; // complete cells per row
};

} // namespace lxbayer::detail::LXB_ISA
