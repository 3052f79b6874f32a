// The formats the SN measurement takes: for each accepted source format its working format (the one
// the frames are kept in) and how the samples of a row fall into pixel components.
#pragma once

#include <cstddef>
#include <cstdint>

namespace lxsn {

// How the samples of a working format split into components. A ROI row of w pixels has w x stride
// samples; sample i of ROI row r belongs to record component[r & (rowClasses - 1)][i % period], or to
// none when that is -1 (an alpha sample). Rows and columns count from the ROI's top left corner.
struct Layout {
    uint32_t working = 0;        // the working pixel format
    uint32_t bytesPerSample = 1; // 1 or 2
    uint32_t stride = 1;         // samples per pixel
    uint32_t rowClasses = 1;     // 1, 2 or 4
    uint32_t period = 1;         // samples, 1 to 4
    int8_t component[4][4] = {};
    uint32_t count = 0;          // records
    uint32_t ids[16] = {};       // component id of each record
};

// The layout of `source`'s working format with a ROI starting at image column `roiX`, or false when
// `source` is not accepted. Only the 4:2:2 formats depend on roiX: the chroma of an even image column
// is reported as Cr, of an odd one as Cb.
bool LayoutOf(uint32_t source, uint64_t roiX, Layout* layout);
// The working format of `source`, or 0xFFFFFFFF.
uint32_t WorkingFormatOf(uint32_t source);
// Number of accepted source formats (for the tests).
size_t AcceptedFormatCount();

// (colour << 24) | (slot << 16) | polarization, with the depth slot of `bits`: 8 below 10, then 10,
// 12, 14, 16 by pairs.
uint32_t ComponentId(uint32_t colour, uint32_t bits, uint32_t polarization);

} // namespace lxsn
