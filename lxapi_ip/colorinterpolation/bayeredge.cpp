// Generic per-pixel evaluation of the demosaicing methods. The cell kernels cover the bulk of an
// image; these functions take the columns near the left and right edge (and whole rows where a
// kernel needs them), where every neighbour is checked against the image bounds. They state each
// method's border completion in one place.
#include "bayerframe.h"

#include <cstdint>

namespace lxbayer::detail {
namespace {

// Clamp(p, n, s): 0 if p is below n, else min((p - n) >> s, maxv).
inline int ClampShift(int p, int n, int s, int maxv) {
    if (p < n) return 0;
    const int v = (p - n) >> s;
    return v < maxv ? v : maxv;
}

// The (-1, 5, 5, -1) / 8 tap of Bicubic for the inner pair (a, b) and outer pair (c, d):
// m = (a + b) >> 1, m + (m >> 2) = 5(a + b) / 8, minus (c + d) / 8, kept within 0..maxv.
inline int Cubic(int a, int b, int c, int d, int maxv) {
    const int m = (a + b) >> 1;
    return ClampShift(m + (m >> 2), (c + d) >> 3, 0, maxv);
}

inline int64_t Sq(int d) { return int64_t(d) * d; }

// Values of one destination pixel: the colour of the pixel's own row, green, the other colour.
struct Px3 {
    int own, g, other;
};

template <class T>
class PixelEval {
public:
    explicit PixelEval(const Frame<T>& f) : f_(f), w_(f.w), h_(f.h) {}

    Px3 At(uint32_t method, int x, int y) const {
        const int q = f_.Parity(y);
        switch (method) {
        case 0: { // Off
            const int s = f_.S(x, y);
            return (x & 1) == q ? Px3{s, 0, 0} : Px3{0, s, 0};
        }
        case 1: return NearestNeighbor(x, y, q);
        case 2: return Window(x, y, q, false);
        case 3: return Bilinear(x, y, q);
        case 4: return Window(x, y, q, true);
        case 5: return Bicubic(x, y, q);
        default: { // Mono
            const int s = f_.S(x, y);
            return {s, s, s};
        }
        }
    }

    // Colour of the window rows that is not row y's own: the row below, or above on the last row.
    int Partner(int y) const { return y < h_ - 1 ? y + 1 : y - 1; }
    // The column of parity par among wx and wx + 1.
    static int ColIn(int wx, int par) { return (wx & 1) == par ? wx : wx + 1; }
    int WindowX(int x) const { return x < w_ - 1 ? x : w_ - 2; }

    // NearestNeighbor: tiles on even coordinates. An odd last column or row has no tile of its own
    // and takes the tile moved inwards by one, which holds its own samples.
    Px3 NearestNeighbor(int x, int y, int q) const {
        int x0 = x & ~1;
        if (x0 + 1 >= w_) x0 = w_ - 2;
        int y0 = y & ~1;
        if (y0 + 1 >= h_) y0 = h_ - 2;
        const int yp = y == y0 ? y0 + 1 : y0;
        return {f_.S(ColIn(x0, q), y), f_.S(ColIn(x0, q ^ 1), y), f_.S(ColIn(x0, q ^ 1), yp)};
    }

    // NearestNeighbor2 and Bilinear2: the window with the corners (x, y) and (x + 1, y + 1); the
    // last column and row take the window of the column or row before them.
    Px3 Window(int x, int y, int q, bool bilinear) const {
        const int wx = WindowX(x);
        const int yp = Partner(y);
        const int top = y < h_ - 1 ? y : y - 1;
        const int g = (f_.S(ColIn(wx, q ^ 1), y) + f_.S(ColIn(wx, q), yp)) >> 1;
        if (!bilinear) return {f_.S(ColIn(wx, q), y), g, f_.S(ColIn(wx, q ^ 1), yp)};
        return {Bilinear2(wx, top, q, y), g, Bilinear2(wx, top, q ^ 1, yp)};
    }

    // (9a + 3b + 3c + d) >> 4 for the colour at parity par of row r in the window at (wx, top):
    // b, c, d one period further away from the window centre along the row, the column and the
    // diagonal. A further sample outside the image is replaced by a (and d by b or c), which
    // gives exactly (3a + c) >> 2, (3a + b) >> 2, or a in a corner.
    int Bilinear2(int wx, int top, int par, int r) const {
        const int ax = ColIn(wx, par);
        int bx = ax == wx ? ax - 2 : ax + 2;
        if (bx < 0 || bx >= w_) bx = ax;
        int r2 = r == top ? r - 2 : r + 2;
        if (r2 < 0 || r2 >= h_) r2 = r;
        const int a = f_.S(ax, r), b = f_.S(bx, r), c = f_.S(ax, r2), d = f_.S(bx, r2);
        return (9 * a + 3 * b + 3 * c + d) >> 4;
    }

    // Bilinear, step 1: row r's value at x of the colour that lies on columns of parity par; the
    // first and last column take their single neighbour.
    int RowLinear(int r, int x, int par) const {
        if ((x & 1) == par) return f_.S(x, r);
        if (x == 0) return f_.S(1, r);
        if (x == w_ - 1) return f_.S(w_ - 2, r);
        return (f_.S(x - 1, r) + f_.S(x + 1, r)) >> 1;
    }

    Px3 Bilinear(int x, int y, int q) const {
        int other;
        if (y == 0) other = RowLinear(1, x, q ^ 1);
        else if (y == h_ - 1) other = RowLinear(h_ - 2, x, q ^ 1);
        else other = (RowLinear(y - 1, x, q ^ 1) + RowLinear(y + 1, x, q ^ 1)) >> 1;
        return {RowLinear(y, x, q), RowLinear(y, x, q ^ 1), other};
    }

    // Bicubic, horizontal pass: inner pair at distance 1, outer at distance 3. Without the outer
    // pair the inner average; the first and last column their single neighbour.
    int RowCubic(int r, int x, int par) const {
        if ((x & 1) == par) return f_.S(x, r);
        if (x == 0) return f_.S(1, r);
        if (x == w_ - 1) return f_.S(w_ - 2, r);
        const int a = f_.S(x - 1, r), b = f_.S(x + 1, r);
        if (x < 3 || x > w_ - 4) return (a + b) >> 1;
        return Cubic(a, b, f_.S(x - 3, r), f_.S(x + 3, r), f_.maxv);
    }

    Px3 Bicubic(int x, int y, int q) const {
        const int p = q ^ 1; // the other colour's columns in rows y +- 1 and y +- 3
        int other;
        if (y == 0) other = RowCubic(1, x, p);
        else if (y == h_ - 1) other = RowCubic(h_ - 2, x, p);
        else if (y < 3 || y > h_ - 4) other = (RowCubic(y - 1, x, p) + RowCubic(y + 1, x, p)) >> 1;
        else
            other = Cubic(RowCubic(y - 1, x, p), RowCubic(y + 1, x, p), RowCubic(y - 3, x, p),
                          RowCubic(y + 3, x, p), f_.maxv);
        return {RowCubic(y, x, q), RowCubic(y, x, q ^ 1), other};
    }

    // Bilinear3 stage 1: green at the non-green site (x, y). Arms are (G at distance 1, C at
    // distance 2); an arm whose C lies outside the image counts as missing.
    int Green(int x, int y) const {
        const int C = f_.S(x, y);
        const bool up = y >= 2, dn = y + 2 < h_, lf = x >= 2, rt = x + 2 < w_;
        const int M = f_.maxv;
        auto S = [&](int xx, int yy) { return f_.S(xx, yy); };
        if (up && dn && lf && rt) {
            const int Gu = S(x, y - 1), Gd = S(x, y + 1), Gl = S(x - 1, y), Gr = S(x + 1, y);
            const int Cu = S(x, y - 2), Cd = S(x, y + 2), Cl = S(x - 2, y), Cr = S(x + 2, y);
            const int64_t V = Sq(Gu - Gd) + Sq(Cd - C) + Sq(Cu - C);
            const int64_t H = Sq(Gl - Gr) + Sq(Cr - C) + Sq(Cl - C);
            if (V < H) return ClampShift(Gu + Gd + C, (Cu + Cd) >> 1, 1, M);
            if (H < V) return ClampShift(Gl + Gr + C, (Cl + Cr) >> 1, 1, M);
            return ClampShift(Gu + Gd + Gl + Gr + 2 * C, (Cu + Cd + Cl + Cr) >> 1, 2, M);
        }
        // The arm that exists in each direction (images are at least 4 x 4, so one always does).
        const int Cv = up ? S(x, y - 2) : S(x, y + 2), Gv = up ? S(x, y - 1) : S(x, y + 1);
        const int Ch = lf ? S(x - 2, y) : S(x + 2, y), Gh = lf ? S(x - 1, y) : S(x + 1, y);
        if (lf && rt) { // the two outer rows at each end
            const int Cl = S(x - 2, y), Cr = S(x + 2, y);
            if (2 * Sq(Cv - C) >= Sq(Cr - C) + Sq(Cl - C))
                return ClampShift(S(x - 1, y) + S(x + 1, y) + C, (Cl + Cr) >> 1, 1, M);
            return ClampShift(Gv + (C >> 1), Cv >> 1, 0, M);
        }
        if (up && dn) { // the two outer columns at each side
            const int Cu = S(x, y - 2), Cd = S(x, y + 2);
            if ((y & 1) && x < 2) {
                // Left columns on odd rows: the upper arm against the lower and the right one.
                const int Cr = S(x + 2, y);
                if (2 * Sq(Cu - C) >= Sq(Cd - C) + Sq(Cr - C))
                    return ClampShift(S(x + 1, y) + S(x, y + 1) + C, (Cr + Cd) >> 1, 1, M);
                return ClampShift(S(x, y - 1) + (C >> 1), Cu >> 1, 0, M);
            }
            // Even rows, and the last two columns on every row: rows and columns exchanged.
            if (2 * Sq(Ch - C) >= Sq(Cd - C) + Sq(Cu - C))
                return ClampShift(S(x, y - 1) + S(x, y + 1) + C, (Cu + Cd) >> 1, 1, M);
            return ClampShift(Gh + (C >> 1), Ch >> 1, 0, M);
        }
        return ClampShift(Gv + Gh + C, (Cv + Ch) >> 1, 1, M); // corner: the two arms that exist
    }

    // Colour-difference forms of Bilinear3 stages 2 and 3 over the n neighbours taken, with sumD
    // the sum of their (X - G): n = 4: Clamp(sum X + 4G, sum G, 2); n = 2: shift 1; n = 1: shift 0.
    int Difference(int sumD, int n, int G) const {
        const int s = n == 4 ? 2 : n == 2 ? 1 : 0;
        return ClampShift(sumD + n * G, 0, s, f_.maxv);
    }

private:
    const Frame<T>& f_;
    int w_, h_;
};

template <class T>
inline void Put(const Frame<T>& f, int x, int y, const Px3& p) {
    T* d = f.Dst(y) + ptrdiff_t(x) * f.step;
    const int own = f.OwnLast(y) ? 2 : 0;
    d[own] = T(p.own);
    d[1] = T(p.g);
    d[2 - own] = T(p.other);
}

} // namespace

template <class T>
void EdgePixels(uint32_t method, const Frame<T>& f, int y, int x0, int x1) {
    const PixelEval<T> e(f);
    for (int x = x0; x < x1; ++x) Put(f, x, y, e.At(method, x, y));
}

template <class T>
void EdgeLuminance(const Frame<T>& f, int y, int x0, int x1) {
    const PixelEval<T> e(f);
    const bool ownRed = f.aIsRed == ((y & 1) == 0);
    T* d = f.Dst(y);
    for (int x = x0; x < x1; ++x) {
        const Px3 p = e.Window(x, y, f.Parity(y), false);
        const int r = ownRed ? p.own : p.other, b = ownRed ? p.other : p.own;
        d[x] = T((p.g * 5 + 2 * r + b) >> 3);
    }
}

template <class T>
void EdgeGreen(const Frame<T>& f, int y, int x0, int x1, Lane<T>* g, Lane<T>* dc) {
    const PixelEval<T> e(f);
    for (int x = x0; x < x1; ++x)
        if (!f.IsGreen(x, y)) {
            const int v = e.Green(x, y);
            g[x >> 1] = Lane<T>(v);
            dc[x >> 1] = Lane<T>(f.S(x, y) - v);
        }
}

// Stage 2: the four diagonal neighbours (own-colour sites of rows y-1 and y+1) carry the
// opposite colour; on the border the two or the one that exist are taken.
template <class T>
void EdgeOpposite(const Frame<T>& f, int y, int x0, int x1, const Bl3Rows<T>& in, Lane<T>* dx) {
    const PixelEval<T> e(f);
    for (int x = x0; x < x1; ++x) {
        if (f.IsGreen(x, y)) continue;
        int sumD = 0, n = 0;
        for (int dy = 0; dy <= 2; dy += 2) {
            if (!in.dc[dy]) continue;
            for (int d = -1; d <= 1; d += 2)
                if (x + d >= 0 && x + d < f.w) {
                    sumD += in.dc[dy][(x + d) >> 1];
                    ++n;
                }
        }
        const int G = in.g[x >> 1];
        dx[x >> 1] = Lane<T>(e.Difference(sumD, n, G) - G);
    }
}

// Stage 3. Own-colour sites: the sample, stage-1 green, the stage-2 opposite colour. Green sites
// inside the image use the four direct neighbours (own-colour sites of this row and of the rows
// above and below), whose both colours are known after stage 2; on the outermost rows and columns
// only the neighbours that carry a colour natively are taken (one or two per colour), since the
// four-neighbour form has no three-neighbour variant.
template <class T>
void EdgeOutput(const Frame<T>& f, int y, int x0, int x1, const Bl3Rows<T>& in) {
    const PixelEval<T> e(f);
    for (int x = x0; x < x1; ++x) {
        const int c = x >> 1;
        if (!f.IsGreen(x, y)) {
            Put(f, x, y, Px3{f.S(x, y), in.g[c], in.dx[1][c] + in.g[c]});
            continue;
        }
        const int G = f.S(x, y);
        const int l = (x - 1) >> 1, r = (x + 1) >> 1;
        if (x > 0 && x < f.w - 1 && in.dc[0] && in.dc[2]) {
            const int own = in.dc[1][l] + in.dc[1][r] + in.dx[0][c] + in.dx[2][c];
            const int other = in.dc[0][c] + in.dc[2][c] + in.dx[1][l] + in.dx[1][r];
            Put(f, x, y, Px3{e.Difference(own, 4, G), G, e.Difference(other, 4, G)});
            continue;
        }
        // Own colour: horizontal neighbours; other colour: vertical neighbours.
        int own = 0, nOwn = 0, other = 0, nOther = 0;
        if (x > 0) own += in.dc[1][l], ++nOwn;
        if (x < f.w - 1) own += in.dc[1][r], ++nOwn;
        if (in.dc[0]) other += in.dc[0][c], ++nOther;
        if (in.dc[2]) other += in.dc[2][c], ++nOther;
        Put(f, x, y, Px3{e.Difference(own, nOwn, G), G, e.Difference(other, nOther, G)});
    }
}

#define LXB_INSTANTIATE(T)                                                                          \
    template void EdgePixels<T>(uint32_t, const Frame<T>&, int, int, int);                          \
    template void EdgeLuminance<T>(const Frame<T>&, int, int, int);                                 \
    template void EdgeGreen<T>(const Frame<T>&, int, int, int, Lane<T>*, Lane<T>*);                 \
    template void EdgeOpposite<T>(const Frame<T>&, int, int, int, const Bl3Rows<T>&, Lane<T>*);     \
    template void EdgeOutput<T>(const Frame<T>&, int, int, int, const Bl3Rows<T>&);
LXB_INSTANTIATE(uint8_t)
LXB_INSTANTIATE(uint16_t)
#undef LXB_INSTANTIATE

} // namespace lxbayer::detail
