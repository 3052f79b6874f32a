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

// Bytes eight at a time: one load, eight counters fed from its bytes.
template <>
void DenseHistogram<uint8_t>(const Lines& lines, const Series& s, uint32_t, uint32_t* scratch) {
    uint32_t* h[4] = {s.data, scratch, scratch + 256, scratch + 512};
    std::memset(scratch, 0, 3 * 256 * sizeof(uint32_t));
    const size_t octets = s.count / 8;
    for (size_t y = 0; y < lines.count; ++y) {
        const uint8_t* p = lines.first + y * lines.pitch + s.first;
        size_t i = 0;
        for (size_t o = 0; o < octets; ++o, i += 8) {
            uint64_t v;
            std::memcpy(&v, p + i, 8);
            ++h[0][v & 0xFF];
            ++h[1][(v >> 8) & 0xFF];
            ++h[2][(v >> 16) & 0xFF];
            ++h[3][(v >> 24) & 0xFF];
            ++h[0][(v >> 32) & 0xFF];
            ++h[1][(v >> 40) & 0xFF];
            ++h[2][(v >> 48) & 0xFF];
            ++h[3][v >> 56];
        }
        for (; i < s.count; ++i) ++h[0][p[i]];
    }
    for (size_t b = 0; b < 256; ++b) h[0][b] += h[1][b] + h[2][b] + h[3][b];
}

// The three colour samples of each pixel in one pass, every second pixel into a second set of bins.
template <class S, size_t Step>
void ColourHistogram(const Lines& lines, const Series* series, uint32_t mask, uint32_t* scratch) {
    const size_t bins = size_t(mask) + 1;
    uint32_t* a[3] = {series[0].data, series[1].data, series[2].data};
    uint32_t* b[3] = {scratch, scratch + bins, scratch + 2 * bins};
    std::memset(scratch, 0, 3 * bins * sizeof(uint32_t));
    const size_t count = series[0].count;
    for (size_t y = 0; y < lines.count; ++y) {
        const uint8_t* p = lines.first + y * lines.pitch + series[0].first * sizeof(S);
        size_t i = 0;
        for (; i + 2 <= count; i += 2) {
            const uint8_t* q = p + i * Step * sizeof(S);
            ++a[0][Sample<S>(q, 0) & mask];
            ++a[1][Sample<S>(q, 1) & mask];
            ++a[2][Sample<S>(q, 2) & mask];
            ++b[0][Sample<S>(q, Step) & mask];
            ++b[1][Sample<S>(q, Step + 1) & mask];
            ++b[2][Sample<S>(q, Step + 2) & mask];
        }
        if (i < count) {
            const uint8_t* q = p + i * Step * sizeof(S);
            for (size_t c = 0; c < 3; ++c) ++a[c][Sample<S>(q, c) & mask];
        }
    }
    for (size_t c = 0; c < 3; ++c)
        for (size_t k = 0; k < bins; ++k) a[c][k] += b[c][k];
}

template <class S, size_t Step>
void Histogram(const Lines& lines, const Series* series, size_t n, uint32_t mask, uint32_t* scratch) {
    if (Step == 1 && n == 1 && scratch && ScratchElements(mask)) {
        DenseHistogram<S>(lines, series[0], mask, scratch);
        return;
    }
    // The samples of a colour pixel: three series side by side, of one length.
    if ((Step == 3 || Step == 4) && n == 3 && scratch && ScratchElements(mask) &&
        series[1].first == series[0].first + 1 && series[2].first == series[0].first + 2 &&
        series[1].count == series[0].count && series[2].count == series[0].count) {
        ColourHistogram<S, Step>(lines, series, mask, scratch);
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
