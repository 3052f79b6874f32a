#include "ctkernels.h"

#include "kernels/cpudispatch.h"

#include <cstring>

namespace lxct {
namespace detail {

void Transform8Pixels(uint8_t* line, size_t from, size_t width, const Image& im, const Record* t) {
    const Record* tb = Block(t, 8, 0);
    const Record* tg = Block(t, 8, 1);
    const Record* tr = Block(t, 8, 2);
    uint8_t* px = line + from * im.step;
    for (size_t x = from; x < width; ++x, px += im.step) {
        const Record& b = tb[px[im.blue]];
        const Record& g = tg[px[1]];
        const Record& r = tr[px[im.red]];
        px[im.blue] = static_cast<uint8_t>(Clamp(b.word[0] + g.word[0] + r.word[0], 255));
        px[1] = static_cast<uint8_t>(Clamp(b.word[1] + g.word[1] + r.word[1], 255));
        px[im.red] = static_cast<uint8_t>(Clamp(b.word[2] + g.word[2] + r.word[2], 255));
    }
}

void Transform8Portable(const Image& im, const Record* t) {
    for (size_t y = 0; y < im.height; ++y) Transform8Pixels(im.base + y * im.pitch, 0, im.width, im, t);
}

} // namespace detail

void Transform8(const Image& image, const Record* table) { Active().transform8(image, table); }

void Transform16(const Image& im, const Record* t, unsigned bits) {
    const uint32_t max = (1u << bits) - 1;
    const Record* tb = Block(t, bits, 0);
    const Record* tg = Block(t, bits, 1);
    const Record* tr = Block(t, bits, 2);
    const size_t bo = 2 * im.blue, ro = 2 * im.red, stride = 2 * im.step;
    auto load = [max](const uint8_t* p) {
        uint16_t v;
        std::memcpy(&v, p, 2);
        return v < max ? uint32_t(v) : max;
    };
    auto store = [](uint8_t* p, uint32_t v) {
        const uint16_t s = static_cast<uint16_t>(v);
        std::memcpy(p, &s, 2);
    };
    for (size_t y = 0; y < im.height; ++y) {
        uint8_t* px = im.base + y * im.pitch;
        for (size_t x = 0; x < im.width; ++x, px += stride) {
            const Record& b = tb[load(px + bo)];
            const Record& g = tg[load(px + 2)];
            const Record& r = tr[load(px + ro)];
            store(px + bo, Clamp(b.word[0] + g.word[0] + r.word[0], max));
            store(px + 2, Clamp(b.word[1] + g.word[1] + r.word[1], max));
            store(px + ro, Clamp(b.word[2] + g.word[2] + r.word[2], max));
        }
    }
}

namespace {
constexpr Kernels Portable{&detail::Transform8Portable};
#if defined(__x86_64__)
constexpr Kernels Avx2{&detail::Transform8Avx2};
constexpr Kernels Avx512{&detail::Transform8Avx512};
constexpr lxcpu::KernelForms<Kernels> Forms(&Portable, &Avx2, &Avx512);
#else
constexpr lxcpu::KernelForms<Kernels> Forms(&Portable);
#endif
} // namespace

const Kernels& Active() { return Forms.Get(); }
unsigned LevelAt(unsigned allowed) { return static_cast<unsigned>(Forms.LevelAt(static_cast<lxcpu::Level>(allowed))); }

} // namespace lxct
