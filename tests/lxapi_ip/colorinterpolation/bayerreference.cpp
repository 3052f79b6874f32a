#include "bayerreference.h"

#include <algorithm>

namespace bayerref {
namespace {

// Clamp(p, n, s): 0 if p is below n, else min((p - n) >> s, M).
int Clamp(long long p, long long n, int s, int M) {
    if (p < n) return 0;
    return int(std::min<long long>((p - n) >> s, M));
}

long long Sq(long long d) { return d * d; }

// The colour that row y carries besides green.
Colour RowColour(const Mosaic& m, int y) {
    for (int x = 0; x < 2; ++x)
        if (m.Site(x, y) != G) return m.Site(x, y);
    return G;
}

Colour OtherColour(Colour k) { return k == R ? B : R; }

Planes Empty(const Mosaic& m) {
    Planes p;
    for (auto& c : p.c) c.assign(size_t(m.w) * m.h, 0);
    return p;
}

int& Ref(Planes& p, Colour k, const Mosaic& m, int x, int y) { return p.c[k][size_t(y) * m.w + x]; }

Planes Off(const Mosaic& m, bool mono) {
    Planes p = Empty(m);
    for (int y = 0; y < m.h; ++y)
        for (int x = 0; x < m.w; ++x)
            for (Colour k : {R, G, B})
                if (mono || m.Site(x, y) == k) Ref(p, k, m, x, y) = m.At(x, y);
    return p;
}

Planes Nearest(const Mosaic& m) {
    Planes p = Empty(m);
    for (int y = 0; y < m.h; ++y)
        for (int x = 0; x < m.w; ++x) {
            // The tile on even coordinates; an odd last column or row uses the tile moved inwards.
            const int tx = std::min(x - x % 2, m.w - 2), ty = std::min(y - y % 2, m.h - 2);
            for (int j = ty; j < ty + 2; ++j)
                for (int i = tx; i < tx + 2; ++i) {
                    const Colour k = m.Site(i, j);
                    if (k != G) Ref(p, k, m, x, y) = m.At(i, j);
                    else if (j == y) Ref(p, G, m, x, y) = m.At(i, j);
                }
        }
    return p;
}

// The window of (x, y): corners (x, y) and (x + 1, y + 1), moved inwards on the last column/row.
struct Window {
    int x, y;
};
Window WindowOf(const Mosaic& m, int x, int y) { return {std::min(x, m.w - 2), std::min(y, m.h - 2)}; }

int WindowGreen(const Mosaic& m, Window wd) {
    int sum = 0;
    for (int j = wd.y; j < wd.y + 2; ++j)
        for (int i = wd.x; i < wd.x + 2; ++i)
            if (m.Site(i, j) == G) sum += m.At(i, j);
    return sum >> 1;
}

// Position of colour k in a window.
void FindIn(const Mosaic& m, Window wd, Colour k, int& ax, int& ay) {
    for (int j = wd.y; j < wd.y + 2; ++j)
        for (int i = wd.x; i < wd.x + 2; ++i)
            if (m.Site(i, j) == k) {
                ax = i;
                ay = j;
            }
}

Planes Nearest2(const Mosaic& m) {
    Planes p = Empty(m);
    for (int y = 0; y < m.h; ++y)
        for (int x = 0; x < m.w; ++x) {
            const Window wd = WindowOf(m, x, y);
            for (Colour k : {R, B}) {
                int ax = 0, ay = 0;
                FindIn(m, wd, k, ax, ay);
                Ref(p, k, m, x, y) = m.At(ax, ay);
            }
            Ref(p, G, m, x, y) = WindowGreen(m, wd);
        }
    return p;
}

Planes Bilinear2(const Mosaic& m) {
    Planes p = Empty(m);
    for (int y = 0; y < m.h; ++y)
        for (int x = 0; x < m.w; ++x) {
            const Window wd = WindowOf(m, x, y);
            for (Colour k : {R, B}) {
                int ax = 0, ay = 0;
                FindIn(m, wd, k, ax, ay);
                // One period further, away from the window centre.
                const int bx = ax == wd.x ? ax - 2 : ax + 2, cy = ay == wd.y ? ay - 2 : ay + 2;
                const bool hasB = bx >= 0 && bx < m.w, hasC = cy >= 0 && cy < m.h;
                const int a = m.At(ax, ay);
                int v;
                if (hasB && hasC) v = (9 * a + 3 * m.At(bx, ay) + 3 * m.At(ax, cy) + m.At(bx, cy)) >> 4;
                else if (hasC) v = (3 * a + m.At(ax, cy)) >> 2;
                else if (hasB) v = (3 * a + m.At(bx, ay)) >> 2;
                else v = a;
                Ref(p, k, m, x, y) = v;
            }
            Ref(p, G, m, x, y) = WindowGreen(m, wd);
        }
    return p;
}

Planes Bilinear(const Mosaic& m) {
    // Step 1: within each row, the row's colour and green everywhere.
    Planes row = Empty(m);
    for (int y = 0; y < m.h; ++y) {
        const Colour own = RowColour(m, y);
        for (int x = 0; x < m.w; ++x)
            for (Colour k : {own, G}) {
                int v;
                if (m.Site(x, y) == k) v = m.At(x, y);
                else if (x == 0) v = m.At(1, y);
                else if (x == m.w - 1) v = m.At(m.w - 2, y);
                else v = (m.At(x - 1, y) + m.At(x + 1, y)) >> 1;
                Ref(row, k, m, x, y) = v;
            }
    }
    // Step 2: the colour a row lacks, from the rows above and below.
    Planes p = Empty(m);
    for (int y = 0; y < m.h; ++y) {
        const Colour own = RowColour(m, y), other = OtherColour(own);
        for (int x = 0; x < m.w; ++x) {
            Ref(p, own, m, x, y) = row.At(own, x, y, m.w);
            Ref(p, G, m, x, y) = row.At(G, x, y, m.w);
            int v;
            if (y == 0) v = row.At(other, x, 1, m.w);
            else if (y == m.h - 1) v = row.At(other, x, m.h - 2, m.w);
            else v = (row.At(other, x, y - 1, m.w) + row.At(other, x, y + 1, m.w)) >> 1;
            Ref(p, other, m, x, y) = v;
        }
    }
    return p;
}

Planes Bicubic(const Mosaic& m, int M) {
    auto tap = [M](int a, int b, int c, int d) {
        const int mid = (a + b) >> 1, t = mid + (mid >> 2), o = (c + d) >> 3;
        return t > o ? std::min(t - o, M) : 0;
    };
    Planes p = Off(m, false);
    // Pass 1, horizontal.
    for (int y = 0; y < m.h; ++y) {
        const Colour own = RowColour(m, y);
        for (int x = 0; x < m.w; ++x) {
            const Colour missing = m.Site(x, y) == G ? own : G;
            int v;
            if (x == 0) v = m.At(1, y);
            else if (x == m.w - 1) v = m.At(m.w - 2, y);
            else if (x - 3 < 0 || x + 3 > m.w - 1) v = (m.At(x - 1, y) + m.At(x + 1, y)) >> 1;
            else v = tap(m.At(x - 1, y), m.At(x + 1, y), m.At(x - 3, y), m.At(x + 3, y));
            Ref(p, missing, m, x, y) = v;
        }
    }
    // Pass 2, vertical, on pass 1's values of the rows that carry the colour.
    for (int y = 0; y < m.h; ++y) {
        const Colour lack = OtherColour(RowColour(m, y));
        for (int x = 0; x < m.w; ++x) {
            auto at = [&](int yy) { return p.At(lack, x, yy, m.w); };
            int v;
            if (y == 0) v = at(1);
            else if (y == m.h - 1) v = at(m.h - 2);
            else if (y - 3 < 0 || y + 3 > m.h - 1) v = (at(y - 1) + at(y + 1)) >> 1;
            else v = tap(at(y - 1), at(y + 1), at(y - 3), at(y + 3));
            Ref(p, lack, m, x, y) = v;
        }
    }
    return p;
}

// One arm of a non-green site: green at distance 1 and the same colour at distance 2.
struct Arm {
    bool ok = false;
    int g = 0, c = 0;
};

int Bilinear3Green(const Mosaic& m, int x, int y, int M) {
    const int C = m.At(x, y);
    auto arm = [&](int dx, int dy) {
        Arm a;
        const int x2 = x + 2 * dx, y2 = y + 2 * dy;
        if (x2 >= 0 && x2 < m.w && y2 >= 0 && y2 < m.h) a = {true, m.At(x + dx, y + dy), m.At(x2, y2)};
        return a;
    };
    const Arm u = arm(0, -1), d = arm(0, 1), l = arm(-1, 0), r = arm(1, 0);
    if (u.ok && d.ok && l.ok && r.ok) {
        const long long V = Sq(u.g - d.g) + Sq(d.c - C) + Sq(u.c - C);
        const long long H = Sq(l.g - r.g) + Sq(r.c - C) + Sq(l.c - C);
        if (V < H) return Clamp(u.g + d.g + C, (u.c + d.c) >> 1, 1, M);
        if (H < V) return Clamp(l.g + r.g + C, (l.c + r.c) >> 1, 1, M);
        return Clamp(u.g + d.g + l.g + r.g + 2 * C, (u.c + d.c + l.c + r.c) >> 1, 2, M);
    }
    const Arm v = u.ok ? u : d, hz = l.ok ? l : r;
    if (l.ok && r.ok) { // top or bottom two rows
        if (2 * Sq(v.c - C) >= Sq(r.c - C) + Sq(l.c - C)) return Clamp(l.g + r.g + C, (l.c + r.c) >> 1, 1, M);
        return Clamp(v.g + (C >> 1), v.c >> 1, 0, M);
    }
    if (u.ok && d.ok) { // left or right two columns
        if (y % 2 == 1 && !l.ok) {
            if (2 * Sq(u.c - C) >= Sq(d.c - C) + Sq(r.c - C)) return Clamp(r.g + d.g + C, (r.c + d.c) >> 1, 1, M);
            return Clamp(u.g + (C >> 1), u.c >> 1, 0, M);
        }
        if (2 * Sq(hz.c - C) >= Sq(d.c - C) + Sq(u.c - C)) return Clamp(u.g + d.g + C, (u.c + d.c) >> 1, 1, M);
        return Clamp(hz.g + (C >> 1), hz.c >> 1, 0, M);
    }
    return Clamp(v.g + hz.g + C, (v.c + hz.c) >> 1, 1, M); // corner
}

// Clamp(sum X + nG, sum G, log2 n) over n = 1, 2 or 4 neighbours.
int Difference(int sumX, int sumG, int n, int G, int M) {
    return Clamp(sumX + n * G, sumG, n == 4 ? 2 : n == 2 ? 1 : 0, M);
}

Planes Bilinear3(const Mosaic& m, int M) {
    Planes p = Off(m, false);
    auto inside = [&](int x, int y) { return x >= 0 && x < m.w && y >= 0 && y < m.h; };
    // Stage 1.
    for (int y = 0; y < m.h; ++y)
        for (int x = 0; x < m.w; ++x)
            if (m.Site(x, y) != G) Ref(p, G, m, x, y) = Bilinear3Green(m, x, y, M);
    // Stage 2: the opposite colour at red and blue sites from the diagonal neighbours.
    for (int y = 0; y < m.h; ++y)
        for (int x = 0; x < m.w; ++x) {
            const Colour k = m.Site(x, y);
            if (k == G) continue;
            int sx = 0, sg = 0, n = 0;
            for (int dy : {-1, 1})
                for (int dx : {-1, 1})
                    if (inside(x + dx, y + dy)) {
                        sx += m.At(x + dx, y + dy);
                        sg += p.At(G, x + dx, y + dy, m.w);
                        ++n;
                    }
            Ref(p, OtherColour(k), m, x, y) = Difference(sx, sg, n, p.At(G, x, y, m.w), M);
        }
    // Stage 3: red and blue at green sites; all four neighbours inside the image, else only the
    // neighbours that carry the colour natively.
    Planes out = p;
    for (int y = 0; y < m.h; ++y)
        for (int x = 0; x < m.w; ++x) {
            if (m.Site(x, y) != G) continue;
            const int Gc = m.At(x, y);
            const bool full = x > 0 && x < m.w - 1 && y > 0 && y < m.h - 1;
            for (Colour k : {R, B}) {
                int sx = 0, sg = 0, n = 0;
                for (auto [dx, dy] : {std::pair{-1, 0}, std::pair{1, 0}, std::pair{0, -1}, std::pair{0, 1}}) {
                    if (!inside(x + dx, y + dy)) continue;
                    if (!full && m.Site(x + dx, y + dy) != k) continue;
                    sx += p.At(k, x + dx, y + dy, m.w);
                    sg += p.At(G, x + dx, y + dy, m.w);
                    ++n;
                }
                Ref(out, k, m, x, y) = Difference(sx, sg, n, Gc, M);
            }
        }
    return out;
}

} // namespace

Colour Mosaic::Site(int x, int y) const {
    // Position of red within the 2 x 2 period.
    const int rx = (filter == 3 || filter == 5) ? 1 : 0, ry = (filter == 4 || filter == 5) ? 1 : 0;
    const bool cx = x % 2 == rx, cy = y % 2 == ry;
    if (cx && cy) return R;
    if (!cx && !cy) return B;
    return G;
}

uint32_t MethodForSize(uint32_t method, int w, int h) {
    if ((w < 4 || h < 4) && method != 0 && method != 6) return 1;
    if (method == 5 && (w < 7 || h < 3)) return 4;
    return method;
}

Planes Demosaic(uint32_t method, const Mosaic& m, int maxv) {
    switch (method) {
    case 0: return Off(m, false);
    case 1: return Nearest(m);
    case 2: return Nearest2(m);
    case 3: return Bilinear(m);
    case 4: return Bilinear2(m);
    case 5: return Bicubic(m, maxv);
    case 6: return Off(m, true);
    default: return Bilinear3(m, maxv);
    }
}

std::vector<int> Luminance(const Mosaic& m) {
    std::vector<int> y(size_t(m.w) * m.h);
    for (int j = 0; j < m.h; ++j)
        for (int i = 0; i < m.w; ++i) {
            const Window wd = WindowOf(m, i, j);
            int rx = 0, ry = 0, bx = 0, by = 0;
            FindIn(m, wd, R, rx, ry);
            FindIn(m, wd, B, bx, by);
            y[size_t(j) * m.w + i] = (WindowGreen(m, wd) * 5 + 2 * m.At(rx, ry) + m.At(bx, by)) >> 3;
        }
    return y;
}

} // namespace bayerref
