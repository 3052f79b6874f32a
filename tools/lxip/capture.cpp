#include "capture.h"

#include <lxapi/lxpixelformat.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace lxtool {
namespace {

struct Rgb {
    double r, g, b;
};

// Reflectances of the patch row, left to right.
constexpr Rgb Patches[] = {{0.9, 0.1, 0.1}, {0.1, 0.8, 0.1}, {0.1, 0.15, 0.9}, {0.1, 0.8, 0.8},
                           {0.8, 0.1, 0.8}, {0.9, 0.85, 0.1}, {0.76, 0.55, 0.44}, {0.95, 0.5, 0.05}};

// The chart at a point, in relative units from 0 to 1 per channel.
Rgb Scene(double x, double y, size_t w, size_t h, int frame) {
    const double band = h / 6.0;
    if (y < band) {
        const double v = x / (w - 1);
        return {v, v, v};
    }
    if (y < 2 * band) {
        const size_t n = sizeof Patches / sizeof Patches[0];
        const size_t i = std::min(n - 1, static_cast<size_t>(x * n / w));
        const double inX = x - static_cast<double>(i) * w / n;
        if (inX < 4) return {0.05, 0.05, 0.05};   // dark gaps between the patches
        return Patches[i];
    }
    if (x < w / 2.0) {
        // Zone plate: the spatial frequency grows with the distance from the centre, so every
        // demosaicing method shows where it starts to alias.
        const double cx = w / 4.0, cy = 2 * band + (h - 2 * band) / 2.0;
        const double dx = x - cx, dy = y - cy;
        const double v = 0.5 + 0.45 * std::cos(M_PI * (dx * dx + dy * dy) / (w / 2.0) + frame * 0.4);
        return {v, v, v};
    }
    // Fine lines: one-pixel, two-pixel and diagonal black-and-white lines in three blocks.
    const long xi = static_cast<long>(x) + frame, yi = static_cast<long>(y);
    const double block = (h - 2 * band) / 3.0;
    const int which = static_cast<int>((y - 2 * band) / block);
    bool white = false;
    if (which == 0) white = xi % 2 == 0;
    else if (which == 1) white = (xi / 2) % 2 == 0;
    else white = ((xi + yi) / 2) % 2 == 0;
    const double v = white ? 0.9 : 0.1;
    return {v, v, v};
}

} // namespace

void RenderCapture(ILxImageBuffer* buffer, int frame, size_t width, size_t height) {
    buffer->CreateBuffer(width, height, LxPixelFormat_BayerRG12);
    ILxImage* image = buffer->GetILxImage();
    auto* base = static_cast<uint8_t*>(image->GetImageBuffer());
    const size_t pitch = image->GetImageLinePitch();
    // Warm light: the sensor sees red stronger and blue weaker than a white light would give.
    constexpr double Gain[3] = {1.0, 0.8, 0.55};
    for (size_t y = 0; y < height; ++y) {
        uint8_t* line = base + y * pitch;
        for (size_t x = 0; x < width; ++x) {
            const Rgb c = Scene(static_cast<double>(x), static_cast<double>(y), width, height, frame);
            // RG phase: red at even lines and columns, blue at odd lines and columns.
            const int site = (y % 2 == 0) ? (x % 2 == 0 ? 0 : 1) : (x % 2 == 0 ? 1 : 2);
            const double v = site == 0 ? c.r : site == 1 ? c.g : c.b;
            const auto sample = static_cast<uint16_t>(std::lround(std::clamp(v * Gain[site], 0.0, 1.0) * 4095.0));
            std::memcpy(line + 2 * x, &sample, 2);
        }
    }
}

} // namespace lxtool
