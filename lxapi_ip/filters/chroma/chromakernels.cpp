#include "chromakernels.h"

#include "kernels/cpudispatch.h"

#include <cstring>

namespace lxchroma {
namespace {

template <class Sample>
inline uint32_t Load(const uint8_t* p) {
    Sample v;
    std::memcpy(&v, p, sizeof v);
    return v;
}
template <class Sample>
inline void Store(uint8_t* p, uint32_t v) {
    const Sample s = static_cast<Sample>(v);
    std::memcpy(p, &s, sizeof s);
}

// Most pixels of a picture lie between the thresholds: the test of the luminance comes first and the
// pull is computed only for the rest.
template <class Sample, size_t Step>
void Pixels(uint8_t* line, size_t from, size_t width, const Image& im, const Params& p) {
    constexpr size_t S = sizeof(Sample);
    const size_t bo = im.blue * S, ro = im.red * S;
    uint8_t* px = line + from * Step * S;
    for (size_t x = from; x < width; ++x, px += Step * S) {
        const uint32_t b = Load<Sample>(px + bo), g = Load<Sample>(px + S), r = Load<Sample>(px + ro);
        const uint32_t lum = ((b + 2 * r + 5 * g) >> 3) >> p.shift;
        if (lum >= p.low && p.high >= lum) continue;
        const uint32_t k = Strength(lum, p);
        Store<Sample>(px + bo, Pull(b, g, k));
        Store<Sample>(px + ro, Pull(r, g, k));
    }
}

template <class Sample, size_t Step>
void Lines(const Image& im, const Params& p) {
    for (size_t y = 0; y < im.height; ++y) Pixels<Sample, Step>(im.base + y * im.pitch, 0, im.width, im, p);
}

template <class Sample>
void Dispatch(const Image& im, const Params& p) {
    if (im.step == 4)
        Lines<Sample, 4>(im, p);
    else
        Lines<Sample, 3>(im, p);
}

} // namespace

namespace detail {
void Suppress8Portable(const Image& image, const Params& params) { Dispatch<uint8_t>(image, params); }
void Suppress8Pixels(uint8_t* line, size_t from, size_t width, const Image& image, const Params& params) {
    if (image.step == 4)
        Pixels<uint8_t, 4>(line, from, width, image, params);
    else
        Pixels<uint8_t, 3>(line, from, width, image, params);
}
} // namespace detail

namespace {
constexpr Kernels Portable{&detail::Suppress8Portable};
#if defined(__x86_64__)
constexpr Kernels Avx2{&detail::Suppress8Avx2};
constexpr Kernels Avx512{&detail::Suppress8Avx512};
constexpr lxcpu::KernelForms<Kernels> Forms(&Portable, &Avx2, &Avx512);
#else
constexpr lxcpu::KernelForms<Kernels> Forms(&Portable);
#endif
} // namespace

void Suppress8(const Image& image, const Params& params) { Forms.Get().suppress8(image, params); }
void Suppress16(const Image& image, const Params& params) { Dispatch<uint16_t>(image, params); }

unsigned LevelAt(unsigned allowed) { return static_cast<unsigned>(Forms.LevelAt(static_cast<lxcpu::Level>(allowed))); }

} // namespace lxchroma
