// The portable rows of the edge enhancement, the choice of their form, and the Mono8 driver.
#include "edgekernels.h"

namespace lxedge {
namespace {

void PortableLineSum8(const uint8_t* s, uint16_t* h, size_t width) {
    for (size_t x = 1; x + 1 < width; ++x) h[x] = uint16_t(s[x - 1] + s[x] + s[x + 1]);
}

// Without a branch on the sign: one of the two differences is 0, and so is the entry it reads, so the
// pixel takes the capped sum and then the floored difference, of which one changes nothing.
void PortableEnhance8(uint8_t* row, const uint16_t* up, const uint16_t* here, const uint16_t* down, size_t width,
                      const uint8_t* table) {
    for (size_t x = 1; x + 1 < width; ++x) {
        const int c = row[x];
        const int m = (up[x] + here[x] + down[x] - c + 4) >> 3;
        // max(c - m, 0) and max(m - c, 0) by masks: a compiler's branch here would be a coin toss on
        // noisy images.
        const int d = c - m;
        const int above = d & ~(d >> 31);
        const int below = -d & ~(-d >> 31);
        int v = c + table[above];
        v = v > 255 ? 255 : v;
        v -= table[below];
        row[x] = uint8_t(v < 0 ? 0 : v);
    }
}

constexpr RowKernels kPortable = {PortableLineSum8, PortableEnhance8};

const lxcpu::KernelForms<RowKernels>& Forms() noexcept {
    static const lxcpu::KernelForms<RowKernels> forms(&kPortable, Avx2Rows(), Avx512Rows());
    return forms;
}

} // namespace

const RowKernels& PortableRows() noexcept { return kPortable; }

lxcpu::Level KernelLevel() noexcept { return Forms().InUse(); }
lxcpu::Level KernelLevelAt(lxcpu::Level allowed) noexcept { return Forms().LevelAt(allowed); }

void EnhanceMono8(uint8_t* base, size_t pitch, size_t width, size_t height, uint16_t* work, const uint16_t* table) {
    if (width < 3 || height < 3) return;
    // The amounts as bytes: the vector form looks them up 64 at a time from four registers.
    uint8_t bytes[256];
    for (size_t i = 0; i < 256; ++i) bytes[i] = uint8_t(table[i]);
    const RowKernels& k = Forms().Get();
    uint16_t* h[3] = {work, work + width, work + 2 * width};
    k.lineSum8(base, h[0], width);
    k.lineSum8(base + pitch, h[1], width);
    for (size_t y = 1; y + 1 < height; ++y) {
        k.lineSum8(base + (y + 1) * pitch, h[2], width);
        k.enhance8(base + y * pitch, h[0], h[1], h[2], width, bytes);
        uint16_t* t = h[0];
        h[0] = h[1];
        h[1] = h[2];
        h[2] = t;
    }
}

} // namespace lxedge
