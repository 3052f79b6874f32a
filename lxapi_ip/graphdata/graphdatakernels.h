// The counting kernel of the graph data filter: one template over the sample width, the step between
// the samples of one series in a line, and the measure. A caller cuts the region of interest into
// series (the samples of one pixel component in a line) and hands the kernel the lines that hold them.
#pragma once

#include <cstddef>
#include <cstdint>

namespace lxgraph {

enum class Measure : uint8_t { Histogram, Vertical, Horizontal };

// The samples of one component in each line: `count` samples from sample index `first`, every
// `step` samples (the same step for all series of one call).
struct Series {
    uint32_t* data; // the buffer's elements
    size_t first;
    size_t count;
};

struct Lines {
    const uint8_t* first; // the first line that holds the series
    size_t pitch;         // bytes from one such line to the next
    size_t count;
};

// Histogram: data[sample & mask] += 1. Vertical: data[i] += the i-th sample of the series in each
// line. Horizontal: data[line index] += the sum of the series' samples in that line. `sampleBytes`
// is 1 or 2 (16-bit little-endian samples, at any address); `step` is 1 to 4; at most 4 series.
// `scratch` holds at least ScratchElements(mask) elements for the histogram of a dense series.
void Count(Measure measure, unsigned sampleBytes, size_t step, const Lines& lines, const Series* series,
           size_t seriesCount, uint32_t mask, uint32_t* scratch);

// The scratch the histogram of a series of step 1 uses: three more copies of the bins, so that
// runs of equal samples do not wait on one counter.
constexpr size_t ScratchElements(uint32_t mask) { return mask < 4096 ? 3 * (size_t(mask) + 1) : 0; }

} // namespace lxgraph
