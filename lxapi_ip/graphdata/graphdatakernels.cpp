#include "graphdata/graphdatakernels.h"

#include <cstring>

namespace lxgraph {
namespace {

// Sample i of a line; 16-bit samples are read byte-wise, as a line may start at an odd address.
template <class S>
inline uint32_t Sample(const uint8_t* line, size_t i) {
    S v;
    std::memcpy(&v, line + i * sizeof(S), sizeof(S));
    return v;
}

// A dense series into four sets of bins at once, summed at the end: consecutive equal samples then
// increment different counters instead of waiting on one.
template <class S>
void DenseHistogram(const Lines& lines, const Series& s, uint32_t mask, uint32_t* scratch) {
    const size_t bins = size_t(mask) + 1;
    uint32_t* h0 = s.data;
    uint32_t* h1 = scratch;
    uint32_t* h2 = scratch + bins;
    uint32_t* h3 = scratch + 2 * bins;
    std::memset(scratch, 0, 3 * bins * sizeof(uint32_t));
    const size_t quads = s.count / 4;
    for (size_t y = 0; y < lines.count; ++y) {
        const uint8_t* p = lines.first + y * lines.pitch + s.first * sizeof(S);
        size_t i = 0;
        for (size_t q = 0; q < quads; ++q, i += 4) {
            ++h0[Sample<S>(p, i) & mask];
            ++h1[Sample<S>(p, i + 1) & mask];
            ++h2[Sample<S>(p, i + 2) & mask];
            ++h3[Sample<S>(p, i + 3) & mask];
        }
        for (; i < s.count; ++i) ++h0[Sample<S>(p, i) & mask];
    }
    for (size_t b = 0; b < bins; ++b) h0[b] += h1[b] + h2[b] + h3[b];
}

template <class S, size_t Step>
void Histogram(const Lines& lines, const Series* series, size_t n, uint32_t mask, uint32_t* scratch) {
    if (Step == 1 && n == 1 && scratch && ScratchElements(mask)) {
        DenseHistogram<S>(lines, series[0], mask, scratch);
        return;
    }
    for (size_t y = 0; y < lines.count; ++y) {
        const uint8_t* line = lines.first + y * lines.pitch;
        for (size_t k = 0; k < n; ++k) {
            const uint8_t* p = line + series[k].first * sizeof(S);
            uint32_t* h = series[k].data;
            const size_t count = series[k].count;
            for (size_t i = 0; i < count; ++i) ++h[Sample<S>(p, i * Step) & mask];
        }
    }
}

template <class S, size_t Step>
void Vertical(const Lines& lines, const Series* series, size_t n, uint32_t, uint32_t*) {
    for (size_t y = 0; y < lines.count; ++y) {
        const uint8_t* line = lines.first + y * lines.pitch;
        for (size_t k = 0; k < n; ++k) {
            const uint8_t* p = line + series[k].first * sizeof(S);
            uint32_t* __restrict acc = series[k].data;
            const size_t count = series[k].count;
            for (size_t i = 0; i < count; ++i) acc[i] += Sample<S>(p, i * Step);
        }
    }
}

template <class S, size_t Step>
void Horizontal(const Lines& lines, const Series* series, size_t n, uint32_t, uint32_t*) {
    for (size_t y = 0; y < lines.count; ++y) {
        const uint8_t* line = lines.first + y * lines.pitch;
        for (size_t k = 0; k < n; ++k) {
            const size_t count = series[k].count;
            if (count == 0) continue; // a series with no column has no elements either
            const uint8_t* p = line + series[k].first * sizeof(S);
            uint32_t sum = 0;
            for (size_t i = 0; i < count; ++i) sum += Sample<S>(p, i * Step);
            series[k].data[y] += sum;
        }
    }
}

using Kernel = void (*)(const Lines&, const Series*, size_t, uint32_t, uint32_t*);

template <class S>
struct Forms {
    static constexpr Kernel table[3][4] = {
        {&Histogram<S, 1>, &Histogram<S, 2>, &Histogram<S, 3>, &Histogram<S, 4>},
        {&Vertical<S, 1>, &Vertical<S, 2>, &Vertical<S, 3>, &Vertical<S, 4>},
        {&Horizontal<S, 1>, &Horizontal<S, 2>, &Horizontal<S, 3>, &Horizontal<S, 4>},
    };
};

} // namespace

void Count(Measure measure, unsigned sampleBytes, size_t step, const Lines& lines, const Series* series,
           size_t seriesCount, uint32_t mask, uint32_t* scratch) {
    if (step < 1 || step > 4 || lines.count == 0 || seriesCount == 0) return;
    const size_t m = static_cast<size_t>(measure);
    const Kernel k = sampleBytes == 1 ? Forms<uint8_t>::table[m][step - 1] : Forms<uint16_t>::table[m][step - 1];
    k(lines, series, seriesCount, mask, scratch);
}

} // namespace lxgraph
