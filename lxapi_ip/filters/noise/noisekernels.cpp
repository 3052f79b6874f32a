// The noise reduction over whole images: borders by the general rule, inner mono rows through the
// rows of the dispatcher's level, Bayer windows, subtraction and repair.
#define LXN_ISA portable
#include "noiserows.h"

#include "noisekernels.h"

namespace lxnoise {
namespace {

constexpr RowKernels kPortable = {portable::RowX<uint8_t>, portable::RowX<uint16_t>};

const lxcpu::KernelForms<RowKernels>& Forms() noexcept {
    static const lxcpu::KernelForms<RowKernels> forms(&kPortable, Avx2Rows(), Avx512Rows());
    return forms;
}

struct Offset {
    int dx, dy;
};
constexpr Offset kDiagonals[4] = {{-1, -1}, {1, -1}, {-1, 1}, {1, 1}};
constexpr Offset kCross[4] = {{-1, 0}, {1, 0}, {0, -1}, {0, 1}};
constexpr Offset kCross2[4] = {{-2, 0}, {2, 0}, {0, -2}, {0, 2}};

// The rank of the pixel and those of its neighbours at `offsets` that lie inside the image, plus
// `extra` where given and inside.
template <class T>
uint32_t RankInside(const Plane<T>& src, size_t x, size_t y, const Offset (&offsets)[4], const Offset* extra) {
    uint32_t v[5];
    size_t n = 0;
    v[n++] = src.At(y, x);
    auto take = [&](Offset o) {
        const int64_t nx = int64_t(x) + o.dx, ny = int64_t(y) + o.dy;
        if (nx >= 0 && ny >= 0 && nx < int64_t(src.width) && ny < int64_t(src.height) && n < 5)
            v[n++] = src.At(size_t(ny), size_t(nx));
    };
    for (const Offset& o : offsets) take(o);
    if (extra) take(*extra);
    return Rank(v, n);
}

// The third largest of a pixel and its four diagonal neighbours (`diagonal`), or the four at distance 2
// left, right, up and down; all of them inside the image.
template <class T>
T InnerRank(const Plane<T>& src, size_t x, size_t y, bool diagonal) {
    using portable::Median5;
    if (diagonal)
        return Median5(src.At(y - 1, x - 1), src.At(y - 1, x + 1), src.At(y + 1, x - 1), src.At(y + 1, x + 1),
                       src.At(y, x));
    return Median5(src.At(y, x - 2), src.At(y, x + 2), src.At(y - 2, x), src.At(y + 2, x), src.At(y, x));
}

bool IsGreen(Mosaic mosaic, size_t x, size_t y) { return ((x + y) & 1) == (mosaic == Mosaic::GreenFirst ? 0u : 1u); }

uint32_t Limit(unsigned bits) { return (1u << bits) - (1u << (bits - 7)) - 1; }

} // namespace

const RowKernels& PortableRows() noexcept { return kPortable; }
lxcpu::Level KernelLevel() noexcept { return Forms().InUse(); }
lxcpu::Level KernelLevelAt(lxcpu::Level allowed) noexcept { return Forms().LevelAt(allowed); }

Mosaic MosaicOf(uint32_t colourFilterAtOrigin) noexcept {
    switch (colourFilterAtOrigin) {
    case 2:
    case 5: return Mosaic::ColourFirst;
    case 3:
    case 4: return Mosaic::GreenFirst;
    default: return Mosaic::None;
    }
}

template <class T>
void RankMono(const Plane<T>& copy, const Plane<T>& image) {
    const size_t w = image.width, h = image.height;
    if (w < 2 || h < 2) return;
    auto border = [&](size_t x, size_t y) { image.Put(y, x, T(RankInside(copy, x, y, kCross, nullptr))); };
    for (size_t x = 0; x < w; ++x) {
        border(x, 0);
        border(x, h - 1);
    }
    const RowKernels& k = Forms().Get();
    const auto row = sizeof(T) == 1 ? k.x8 : k.x16;
    for (size_t y = 1; y + 1 < h; ++y) {
        border(0, y);
        border(w - 1, y);
        row(copy.base + (y - 1) * copy.pitch, copy.base + y * copy.pitch, copy.base + (y + 1) * copy.pitch,
            image.base + y * image.pitch, w);
    }
}

template <class T>
void RankBayer(const Plane<T>& copy, const Plane<T>& image, Mosaic mosaic) {
    if (mosaic == Mosaic::None) return;
    const size_t w = image.width, h = image.height;
    constexpr Offset right2{2, 0};
    for (size_t y = 0; y < h; ++y) {
        const bool innerRow = y >= 2 && y + 2 < h;
        for (size_t x = 0; x < w; ++x) {
            const bool green = IsGreen(mosaic, x, y);
            if (innerRow && x >= 2 && x + 2 < w) {
                image.Put(y, x, InnerRank(copy, x, y, green));
                continue;
            }
            // The green at the origin of a green-first mosaic also takes the green 2 to its right.
            const Offset* extra = green && x == 0 && y == 0 ? &right2 : nullptr;
            image.Put(y, x, T(RankInside(copy, x, y, green ? kDiagonals : kCross2, extra)));
        }
    }
}

template <class T>
void Subtract(const Plane<T>& image, const Plane<T>& dark) {
    for (size_t y = 0; y < image.height; ++y) {
        uint8_t* line = image.base + y * image.pitch;
        const uint8_t* darkLine = dark.base + y * dark.pitch;
        for (size_t x = 0; x < image.width; ++x) {
            T a, b;
            std::memcpy(&a, line + x * sizeof(T), sizeof(T));
            std::memcpy(&b, darkLine + x * sizeof(T), sizeof(T));
            const T d = a > b ? T(a - b) : T(0);
            std::memcpy(line + x * sizeof(T), &d, sizeof(T));
        }
    }
}

template <class T>
void RepairMono(const Plane<T>& before, const Plane<T>& after, unsigned bits) {
    const uint32_t limit = Limit(bits);
    for (size_t y = 1; y + 1 < after.height; ++y)
        for (size_t x = 1; x + 1 < after.width; ++x) {
            const T v = after.At(y, x);
            if (before.At(y, x) < limit || v >= limit) continue;
            const T r = InnerRank(after, x, y, true);
            if (r > v) after.Put(y, x, r);
        }
}

template <class T>
void RepairBayer(const Plane<T>& before, const Plane<T>& after, unsigned bits, Mosaic mosaic) {
    if (mosaic == Mosaic::None) return;
    const uint32_t limit = Limit(bits);
    for (size_t y0 = 2; y0 + 3 < after.height; y0 += 2)
        for (size_t x0 = 2; x0 + 3 < after.width; x0 += 2)
            for (size_t y = y0; y < y0 + 2; ++y)
                for (size_t x = x0; x < x0 + 2; ++x) {
                    const T v = after.At(y, x);
                    if (before.At(y, x) < limit || v >= limit) continue;
                    const T r = InnerRank(after, x, y, IsGreen(mosaic, x, y));
                    if (r > v) after.Put(y, x, r);
                }
}

template void RankMono<uint8_t>(const Plane<uint8_t>&, const Plane<uint8_t>&);
template void RankMono<uint16_t>(const Plane<uint16_t>&, const Plane<uint16_t>&);
template void RankBayer<uint8_t>(const Plane<uint8_t>&, const Plane<uint8_t>&, Mosaic);
template void RankBayer<uint16_t>(const Plane<uint16_t>&, const Plane<uint16_t>&, Mosaic);
template void Subtract<uint8_t>(const Plane<uint8_t>&, const Plane<uint8_t>&);
template void Subtract<uint16_t>(const Plane<uint16_t>&, const Plane<uint16_t>&);
template void RepairMono<uint8_t>(const Plane<uint8_t>&, const Plane<uint8_t>&, unsigned);
template void RepairMono<uint16_t>(const Plane<uint16_t>&, const Plane<uint16_t>&, unsigned);
template void RepairBayer<uint8_t>(const Plane<uint8_t>&, const Plane<uint8_t>&, unsigned, Mosaic);
template void RepairBayer<uint16_t>(const Plane<uint16_t>&, const Plane<uint16_t>&, unsigned, Mosaic);

} // namespace lxnoise
