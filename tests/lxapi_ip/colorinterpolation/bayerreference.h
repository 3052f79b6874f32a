// A plain, per-pixel reference of the demosaicing methods for the tests: every value is computed
// from the definitions directly, with red, green and blue named by site and full-image planes for
// the multi-pass methods. Slow and obvious on purpose.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace bayerref {

enum Colour { R = 0, G = 1, B = 2 };

struct Mosaic {
    int w = 0, h = 0;
    uint32_t filter = 2; // 2 RG, 3 GR, 4 GB, 5 BG: colour of pixel (0, 0)
    std::vector<int> s;  // w * h samples, row-major

    int At(int x, int y) const { return s[size_t(y) * w + x]; }
    Colour Site(int x, int y) const;
};

// Interleaved-free result: one plane per colour, w * h values each.
struct Planes {
    std::vector<int> c[3];
    int At(Colour k, int x, int y, int w) const { return c[k][size_t(y) * w + x]; }
};

// The method after the size rules (NearestNeighbor below 4, Bilinear2 for a small Bicubic).
uint32_t MethodForSize(uint32_t method, int w, int h);
// Demosaics with the method as given (the size rules must already have been applied).
Planes Demosaic(uint32_t method, const Mosaic& m, int maxv);
// Y = (((G1 + G2) >> 1) * 5 + 2R + B) >> 3 over each pixel's window.
std::vector<int> Luminance(const Mosaic& m);

} // namespace bayerref
