// The formats the graph data filter measures: each input format's working format (an unpacked one,
// into which other forms are converted first), and the pixel components of a working format with
// the grid on which they repeat.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>

namespace lxgraph {

// How the components lie: one per pixel (mono), several per pixel (colour), or one per site of a
// 2 x 2 or 4 x 4 tile (Bayer, polarized mono, polarized Bayer).
enum class Layout : uint8_t { Mono, Color, Bayer, PolarizedMono, PolarizedBayer };

struct FormatRow {
    uint32_t input;
    uint32_t working;
};

// Input format to its row, filled once at library load and only read afterwards.
class CFormatTable {
public:
    CFormatTable();
    // The row of `pixelFormat`, or null.
    const FormatRow* Find(uint32_t pixelFormat) const;
    bool Contains(uint32_t pixelFormat) const { return Find(pixelFormat) != nullptr; }
    // The row; "Not supported pixelformat %s" if there is none.
    const FormatRow& Require(uint32_t pixelFormat) const;
    size_t Size() const { return m_rows.size(); }
    const std::map<uint32_t, const FormatRow*>& Rows() const { return m_rows; }

private:
    std::map<uint32_t, const FormatRow*> m_rows;
};

// Formats whose conversion into the working format this build cannot do are left out, so that the
// filter's info and the filter itself agree.
const CFormatTable& FormatTable();

// The components of a working format, in the order of the list's series. For the tiled layouts
// series j belongs to the site (j % grid, j / grid) of the tile.
struct Shape {
    Layout layout = Layout::Mono;
    unsigned grid = 1;            // 1, 2 or 4
    unsigned samplesPerPixel = 1; // colour: 3 or 4 (alpha counts)
    unsigned sampleBytes = 1;     // 1 or 2
    unsigned bits = 8;            // valid bits of a sample
    size_t componentCount = 0;
    uint32_t components[16] = {};
};

// Throws InvalidArgumentException "PixelFormat is invalid." for a format that is no working format.
Shape ShapeOf(uint32_t workingFormat);

} // namespace lxgraph
