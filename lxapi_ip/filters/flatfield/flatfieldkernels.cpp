#include "flatfieldkernels.h"

#include <algorithm>
#include <cstring>

namespace lxff {

namespace {
#include "flatfieldrows.h"

const RowKernels kPortableRows = MakeRowKernels();

// Sample (x, y) of the reference.
uint32_t At(const Reference& r, size_t x, size_t y) {
    const uint8_t* p = r.base + y * r.pitch + x * r.bytesPerSample;
    if (r.bytesPerSample == 1) return *p;
    uint16_t v;
    std::memcpy(&v, p, 2);
    return v;
}

size_t Phase(size_t x, size_t y) { return (y & 1) * 2 + (x & 1); }

} // namespace

#if defined(__x86_64__) || defined(_M_X64)
extern const RowKernels kAvx2Rows;
extern const RowKernels kAvx512Rows;
#define LXFF_AVX2 &kAvx2Rows
#define LXFF_AVX512 &kAvx512Rows
#else
#define LXFF_AVX2 nullptr
#define LXFF_AVX512 nullptr
#endif

const lxcpu::KernelForms<RowKernels>& Kernels() {
    static const lxcpu::KernelForms<RowKernels> forms(&kPortableRows, LXFF_AVX2, LXFF_AVX512);
    return forms;
}

// The measuring square: side s = min(w, h), a quarter of it from 4 on, centred (integer halves).
void PhaseTargets(const Reference& ref, uint32_t target, uint32_t (&T)[4]) {
    if (target != 0) {
        std::fill(std::begin(T), std::end(T), std::min(target, TargetCeiling));
        return;
    }
    size_t s = std::min(ref.width, ref.height);
    if (s >= 4) s /= 4;
    const size_t left = (ref.width - s) / 2, top = (ref.height - s) / 2;
    double sum[4] = {};
    uint64_t count[4] = {};
    for (size_t y = top; y < top + s; ++y)
        for (size_t x = left; x < left + s; ++x) {
            sum[Phase(x, y)] += At(ref, x, y);
            ++count[Phase(x, y)];
        }
    const auto limited = [&](double mean) { return static_cast<uint32_t>(std::min(mean, double(ref.maximum))); };
    if (ref.bayer) {
        for (size_t c = 0; c < 4; ++c) T[c] = limited(count[c] ? sum[c] / double(count[c]) : 128.0);
    } else {
        const double all = sum[0] + sum[1] + sum[2] + sum[3];
        const uint64_t n = count[0] + count[1] + count[2] + count[3];
        std::fill(std::begin(T), std::end(T), limited(n ? all / double(n) : 128.0));
    }
}

// Addition: entry = T[phase] - pixel.
void BuildDifferences(const Reference& ref, const uint32_t (&T)[4], uint32_t* table) {
    const size_t w = ref.width;
    for (size_t y = 0; y < ref.height; ++y)
        for (size_t x = 0; x < w; ++x)
            table[y * w + x] =
                static_cast<uint32_t>(static_cast<int32_t>(T[Phase(x, y)]) - static_cast<int32_t>(At(ref, x, y)));
}

// Multiplication: per phase N = (T - input offset) << 7 and the floor L = T / maximum gain (0 and 0
// where the offset reaches T); then entry = N / d for a pixel d = pixel - input offset above L, and
// the ceiling gain otherwise. Every entry of the first kind is N / d with d > T / g, so below g << 7:
// no entry exceeds the ceiling, and every entry fits a Gain.
void BuildGains(const Reference& ref, const uint32_t (&T)[4], const LawConstants& k, Gain* table) {
    const size_t w = ref.width;
    uint64_t N[4], L[4];
    for (size_t c = 0; c < 4; ++c) {
        if (k.inputOffset >= T[c]) {
            N[c] = L[c] = 0;
        } else {
            N[c] = uint64_t(T[c] - k.inputOffset) << 7;
            L[c] = k.maximumGain ? T[c] / k.maximumGain : 0;
        }
    }
    const uint32_t ceiling = k.maximumGain << 7;
    for (size_t y = 0; y < ref.height; ++y)
        for (size_t x = 0; x < w; ++x) {
            const uint32_t p = At(ref, x, y);
            const uint64_t d = p > k.inputOffset ? p - k.inputOffset : 0;
            const size_t c = Phase(x, y);
            table[y * w + x] = static_cast<Gain>(d != 0 && d > L[c] ? N[c] / d : ceiling);
        }
}

} // namespace lxff
