#include "chromakernels.h"

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
void Lines(const Image& im, const Params& p) {
    constexpr size_t S = sizeof(Sample);
    const size_t bo = im.blue * S, ro = im.red * S;
    for (size_t y = 0; y < im.height; ++y) {
        uint8_t* px = im.base + y * im.pitch;
        for (size_t x = 0; x < im.width; ++x, px += Step * S) {
            const uint32_t b = Load<Sample>(px + bo), g = Load<Sample>(px + S), r = Load<Sample>(px + ro);
            const uint32_t lum = ((b + 2 * r + 5 * g) >> 3) >> p.shift;
            if (lum >= p.low && p.high >= lum) continue;
            const uint32_t k = Strength(lum, p);
            Store<Sample>(px + bo, Pull(b, g, k));
            Store<Sample>(px + ro, Pull(r, g, k));
        }
    }
}

template <class Sample>
void Dispatch(const Image& im, const Params& p) {
    if (im.step == 4)
        Lines<Sample, 4>(im, p);
    else
        Lines<Sample, 3>(im, p);
}

} // namespace

void Suppress8(const Image& image, const Params& params) { Dispatch<uint8_t>(image, params); }
void Suppress16(const Image& image, const Params& params) { Dispatch<uint16_t>(image, params); }

} // namespace lxchroma
