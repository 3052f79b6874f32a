#include "graphdata/graphdataworker.h"

#include "graphdata/graphdatakernels.h"

#include <GenICam/GCException.h>
#include <lxapi/lxapi_tl.h>

namespace lxgraph {
namespace {

// The element count of series j. On the 2 x 2 grid a phase with no line (no column) in the region
// has no column (row) sums at all; on the 4 x 4 grid the count follows the columns (rows) alone.
uint64_t ElementCount(const Shape& s, const Roi& r, uint32_t type, unsigned j) {
    if (type == LxGraphDataType_Histogram) return uint64_t(1) << s.bits;
    const bool vertical = type == LxGraphDataType_VerticalIntegration;
    if (s.grid == 1) return vertical ? r.w : r.h;
    const unsigned px = j % s.grid, py = j / s.grid;
    if (s.grid == 2) {
        if (vertical) return (py != (r.y0 & 1) && r.h < 2) ? 0 : PhaseCount(r.x0, r.w, 2, px);
        return (px != (r.x0 & 1) && r.w < 2) ? 0 : PhaseCount(r.y0, r.h, 2, py);
    }
    return vertical ? PhaseCount(r.x0, r.w, 4, px) : PhaseCount(r.y0, r.h, 4, py);
}

[[noreturn]] void NoGraphData() { throw RUNTIME_EXCEPTION("There is no available graph data."); }

// The element a series of `columns` samples in each of `lines` lines reaches last, plus one.
uint64_t ElementsReached(uint32_t type, unsigned bits, size_t columns, size_t lines) {
    if (type == LxGraphDataType_Histogram) return uint64_t(1) << bits;
    return type == LxGraphDataType_VerticalIntegration ? columns : lines;
}

} // namespace

void MeasureImage(const Shape& s, ILxImage* image, const Roi& r, uint32_t type, CLxGraphDataBufferList& list,
                  std::vector<uint32_t>& scratch) {
    // Shaping: one series per component.
    const size_t n = s.componentCount;
    list.Resize(n);
    for (unsigned j = 0; j < n; ++j) {
        CLxGraphDataBuffer& b = list.Buffer(j);
        b.Initialize(LxNumberDataType_uint32, ElementCount(s, r, type, j), type);
        b.StoreInformationUint(LxGraphDataInformationUint_PixelComponent, s.components[j]);
        // A Bayer series must hold elements; any series with elements must have got its block.
        if (!b.GetData() && (b.GetCount() != 0 || s.layout == Layout::Bayer)) NoGraphData();
    }

    // Counting: the lines of each row phase of the tile in turn, with one series per column phase
    // (or, for colour, per sample of the pixel).
    const Measure measure = type == LxGraphDataType_Histogram       ? Measure::Histogram
                            : type == LxGraphDataType_VerticalIntegration ? Measure::Vertical
                                                                        : Measure::Horizontal;
    const uint32_t mask = static_cast<uint32_t>((uint64_t(1) << s.bits) - 1);
    if (measure == Measure::Histogram && scratch.size() < ScratchElements(mask)) scratch.resize(ScratchElements(mask));
    const auto* base = static_cast<const uint8_t*>(image->GetImageBuffer());
    const size_t pitch = image->GetImageLinePitch();
    const unsigned g = s.grid;
    for (unsigned py = 0; py < g; ++py) {
        const size_t lineCount = PhaseCount(r.y0, r.h, g, py);
        if (lineCount == 0) continue;
        const size_t firstLine = r.y0 + ((py - r.y0) & (g - 1));
        const Lines lines{base + firstLine * pitch, pitch * g, lineCount};
        Series series[4];
        size_t count = 0;
        if (s.layout == Layout::Color) {
            for (unsigned c = 0; c < 3; ++c)
                series[count++] = Series{list.Buffer(c).GetData(), r.x0 * s.samplesPerPixel + c, r.w};
        } else {
            for (unsigned px = 0; px < g; ++px) {
                const size_t columns = PhaseCount(r.x0, r.w, g, px);
                series[count++] = Series{list.Buffer(py * g + px).GetData(), r.x0 + ((px - r.x0) & (g - 1)), columns};
            }
        }
        // Every series that is counted reaches only elements its buffer holds.
        for (size_t k = 0; k < count; ++k) {
            const CLxGraphDataBuffer& b = list.Buffer(s.layout == Layout::Color ? k : py * g + k);
            if (series[k].count == 0) continue;
            if (!series[k].data || b.GetCount() < ElementsReached(type, s.bits, series[k].count, lineCount))
                throw LOGICAL_ERROR_EXCEPTION("Graph data series of %zu elements is too short.",
                                              static_cast<size_t>(b.GetCount()));
        }
        Count(measure, s.sampleBytes, s.layout == Layout::Color ? s.samplesPerPixel : g, lines, series, count, mask,
              scratch.empty() ? nullptr : scratch.data());
    }

    // The numbers of each series that has elements.
    for (unsigned j = 0; j < n; ++j) {
        CLxGraphDataBuffer& b = list.Buffer(j);
        if (!b.GetData()) continue;
        const uint64_t nx = PhaseCount(r.x0, r.w, g, s.layout == Layout::Color ? 0 : j % g);
        const uint64_t ny = PhaseCount(r.y0, r.h, g, s.layout == Layout::Color ? 0 : j / g);
        const Peak peak = FindPeak(b.GetData(), b.GetCount());
        const uint64_t bits = GetILxPixelComponentInfo(s.components[j])->GetBits();
        const uint64_t top = (uint64_t(1) << bits) - 1;
        uint64_t total = nx * ny;
        if (type == LxGraphDataType_VerticalIntegration) total = top * ny;
        if (type == LxGraphDataType_HorizontalIntegration) total = top * nx;
        b.StoreInformationUint(LxGraphDataInformationUint_Total, static_cast<uint32_t>(total));
        b.StoreInformationUint(LxGraphDataInformationUint_PeakIndex, static_cast<uint32_t>(peak.index));
        b.StoreInformationUint(LxGraphDataInformationUint_PeakValue, peak.value);
        if (type != LxGraphDataType_Histogram)
            b.StoreInformationUint(LxGraphDataInformationUint_SummedPixelCount,
                                   static_cast<uint32_t>(type == LxGraphDataType_VerticalIntegration ? ny : nx));
    }
}

} // namespace lxgraph
