#include "snstatistics.h"

#include "snrowkernel.h"

#include <algorithm>
#include <cmath>

namespace lxsn {

namespace detail {
#if defined(__x86_64__)
extern const RowKernels RowKernelsAvx2;
extern const RowKernels RowKernelsAvx512;
#endif
const RowKernels RowKernelsPortable = {&Rows8, &Rows8Single, &Rows16};
} // namespace detail

const lxcpu::KernelForms<RowKernels>& RowForms() {
#if defined(__x86_64__)
    static const lxcpu::KernelForms<RowKernels> forms(&detail::RowKernelsPortable, &detail::RowKernelsAvx2,
                                                              &detail::RowKernelsAvx512);
#else
    static const lxcpu::KernelForms<RowKernels> forms(&detail::RowKernelsPortable);
#endif
    return forms;
}

namespace {

// A block of ROI rows is at most this many rows, and its per-position sums at most this many bytes
// unless a single row needs more.
constexpr size_t MaxBlockRows = 32;
constexpr size_t BlockBytes = 768 * 1024;

// The per-position sums of a block of ROI rows over all frames, row after row.
struct RowSums {
    std::vector<uint32_t> sum;
    std::vector<uint32_t> squares32; // 8-bit samples
    std::vector<uint64_t> squares64; // wider samples
};

// The mean and temporal deviation of each position of a row.
template <class Square>
void Figures(const uint32_t* sum, const Square* squares, size_t n, double invFrames, double* means,
             double* deviations) {
    for (size_t i = 0; i < n; ++i) {
        const double mean = static_cast<double>(sum[i]) * invFrames;
        means[i] = mean;
        deviations[i] = std::sqrt(static_cast<double>(squares[i]) * invFrames - mean * mean);
    }
}

// Adds a row's figures to the sums of their components, each component's in position order; one
// component at a time, so that its sums stay in registers.
void AddFigures(const int8_t* component, size_t period, const double* means, const double* deviations, size_t n,
                double* meanSum, double* deviationSum, uint64_t* samples) {
    for (size_t first = 0; first < period; ++first) {
        const int c = component[first];
        if (c < 0 || std::find(component, component + first, c) != component + first) continue;
        size_t phases[4], count = 0;
        for (size_t p = first; p < period; ++p)
            if (component[p] == c) phases[count++] = p;
        double m = meanSum[c], d = deviationSum[c];
        uint64_t taken = 0;
        for (size_t base = 0; base < n; base += period)
            for (size_t k = 0; k < count && base + phases[k] < n; ++k) {
                m += means[base + phases[k]];
                d += deviations[base + phases[k]];
                ++taken;
            }
        meanSum[c] = m;
        deviationSum[c] = d;
        samples[c] += taken;
    }
}

} // namespace

bool Compute(const Layout& layout, const std::vector<Frame>& frames, const Roi& roi, std::vector<Record>* out,
             const std::atomic<bool>* cancel) {
    const size_t count = layout.count;
    std::vector<Record>& records = *out;
    records.assign(count, Record{});
    for (size_t c = 0; c < count; ++c) records[c].component = layout.ids[c];
    const size_t n = static_cast<size_t>(roi.width) * layout.stride; // samples of a ROI row
    const size_t frameCount = frames.size();
    if (frameCount == 0 || n == 0 || roi.height == 0) return true;

    const RowKernels& kernels = RowForms().Get();
    const bool wide = layout.bytesPerSample == 2;
    // Rows are taken in blocks: each frame streams a block of consecutive rows at a time, while the
    // per-position sums of the block stay in the second-level cache.
    const size_t sumBytes = sizeof(uint32_t) + (wide ? sizeof(uint64_t) : sizeof(uint32_t));
    const size_t blockRows = static_cast<size_t>(
        std::min<uint64_t>(roi.height, std::clamp<size_t>(BlockBytes / (n * sumBytes), 1, MaxBlockRows)));
    RowSums row;
    row.sum.resize(blockRows * n);
    std::vector<double> means(n), deviations(n);
    (wide ? row.squares64.resize(blockRows * n) : row.squares32.resize(blockRows * n));
    const size_t classes = layout.rowClasses, period = layout.period;
    // Per frame and row class, the lane sums and lane squares: 2 x Lanes entries.
    std::vector<uint64_t> lanes(frameCount * classes * 2 * Lanes, 0);

    double meanSum[16] = {}, deviationSum[16] = {};
    uint64_t samples[16] = {};
    const double invFrames = 1.0 / static_cast<double>(frameCount);
    // A layout of one phase has every lane of a row in one component: its kernel keeps a frame's row
    // sums in one lane.
    const auto row8 = period == 1 ? kernels.row8single : kernels.row8;
    const size_t xOffset = static_cast<size_t>(roi.x) * layout.stride * layout.bytesPerSample;

    for (uint64_t top = 0; top < roi.height; top += blockRows) {
        if (cancel && cancel->load(std::memory_order_relaxed)) return false;
        const size_t rows = static_cast<size_t>(std::min<uint64_t>(blockRows, roi.height - top));
        std::fill(row.sum.begin(), row.sum.end(), 0u);
        if (wide)
            std::fill(row.squares64.begin(), row.squares64.end(), 0u);
        else
            std::fill(row.squares32.begin(), row.squares32.end(), 0u);
        for (size_t f0 = 0; f0 < frameCount; f0 += Group) {
            const size_t group = std::min(Group, frameCount - f0);
            for (size_t b = 0; b < rows; ++b) {
                const uint64_t r = top + b;
                const size_t cls = static_cast<size_t>(r) & (classes - 1);
                const uint8_t* line[Group];
                uint64_t* frameLanes[Group];
                for (size_t k = 0; k < group; ++k) {
                    const size_t f = f0 + k;
                    line[k] = frames[f].pixels + static_cast<size_t>(roi.y + r) * frames[f].pitch + xOffset;
                    frameLanes[k] = lanes.data() + (f * classes + cls) * 2 * Lanes;
                }
                uint32_t* sum = row.sum.data() + b * n;
                if (wide) {
                    const uint16_t* words[Group];
                    for (size_t k = 0; k < group; ++k) words[k] = reinterpret_cast<const uint16_t*>(line[k]);
                    kernels.row16(words, group, n, sum, row.squares64.data() + b * n, frameLanes);
                } else {
                    uint32_t* squares = row.squares32.data() + b * n;
                    for (size_t j = 0; j < n; j += MaxRow8) {
                        const uint8_t* part[Group];
                        for (size_t k = 0; k < group; ++k) part[k] = line[k] + j;
                        row8(part, group, std::min(MaxRow8, n - j), sum + j, squares + j, frameLanes);
                    }
                }
            }
        }
        // mean(p) = sum / N, t(p) = sqrt(squares / N - mean^2), population deviation over the frames.
        // A row's figures first, in a loop without a dependence from one position to the next (the
        // square roots run several at a time), then their sums in position order, as always.
        for (size_t b = 0; b < rows; ++b) {
            const uint32_t* sum = row.sum.data() + b * n;
            if (wide)
                Figures(sum, row.squares64.data() + b * n, n, invFrames, means.data(), deviations.data());
            else
                Figures(sum, row.squares32.data() + b * n, n, invFrames, means.data(), deviations.data());
            const int8_t* component = layout.component[static_cast<size_t>(top + b) & (classes - 1)];
            AddFigures(component, period, means.data(), deviations.data(), n, meanSum, deviationSum, samples);
        }
    }

    // Per frame: d(f, c) = sqrt(e - m^2) over the component's samples of the ROI.
    double frameDeviationSum[16] = {};
    for (size_t f = 0; f < frameCount; ++f) {
        uint64_t fs[16] = {}, fq[16] = {};
        for (size_t cls = 0; cls < classes; ++cls) {
            const uint64_t* laneSums = lanes.data() + (f * classes + cls) * 2 * Lanes;
            for (size_t l = 0; l < Lanes; ++l) {
                const int c = layout.component[cls][l % period];
                if (c < 0) continue;
                fs[c] += laneSums[l];
                fq[c] += laneSums[Lanes + l];
            }
        }
        for (size_t c = 0; c < count; ++c) {
            if (samples[c] == 0) continue;
            const double inv = 1.0 / static_cast<double>(samples[c]);
            const double m = static_cast<double>(fs[c]) * inv, e = static_cast<double>(fq[c]) * inv;
            frameDeviationSum[c] += std::sqrt(e - m * m);
        }
    }

    for (size_t c = 0; c < count; ++c) {
        Record& rec = records[c];
        rec.pixelCount = samples[c];
        if (samples[c] == 0) continue;
        const double inv = 1.0 / static_cast<double>(samples[c]);
        rec.average = meanSum[c] * inv;
        rec.temporalDeviation = deviationSum[c] * inv;
        rec.frameDeviation = frameDeviationSum[c] * invFrames;
    }
    return true;
}

} // namespace lxsn
