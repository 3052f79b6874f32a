// YCbCr and YUV conversions of 8-bit images, both ways, in 22-bit fixed point.
//
// A value of a colour space is a sum of three entries of tables of products (value * coefficient *
// 2^22, the offsets 16 or 128 built into the first table of a row), cut to an integer and clamped.
// Three coefficient sets: full range (the JPEG matrix, values 0 to 255), ITU-R BT.601 and BT.709
// (Y 16 to 235, chroma 16 to 240). Each table entry is value * K with K = coefficient * 2^22 cut
// towards zero, so that the vector forms compute the same sums by multiplying.
//
// Packed formats hold groups of 1 (4:4:4), 2 (4:2:2) or 4 (4:1:1) pixels; a short last group
// of a line takes a whole group, its chroma averaged over the pixels it has and its missing Y
// samples repeating the last one. The 4:2:0 planar format holds the Y plane (pitch as given) and,
// from the start of plane 1, the Cb plane and then the Cr plane, each (W / 2) x (H / 2) bytes
// without gaps; chroma comes from the even lines, in pairs of columns.
//
// `reverse` writes the destination's lines bottom up (each plane on its own). Sides with pitches
// too small for their lines are refused with InvalidArgumentException before anything is written.
#pragma once

#include "kernels/cpudispatch.h"

#include <cstddef>
#include <cstdint>

namespace lxycc {

enum class CoefficientSet : uint8_t { Full = 0, Bt601 = 1, Bt709 = 2 };
enum class Sampling : uint8_t { S444, S422, S411, S420 };

// Where the samples of one group lie in a packed line, and the set the format's values use.
struct Layout {
    Sampling sampling = Sampling::S444;
    CoefficientSet set = CoefficientSet::Full;
    uint8_t pixels = 1; // pixels per group
    uint8_t bytes = 3;  // bytes per group (4:2:0: unused)
    uint8_t y[4] = {0, 0, 0, 0};
    uint8_t cb = 0, cr = 0;
};

// The layout of a YCbCr or YUV format; false for any other format.
bool LayoutOf(uint32_t pixelFormat, Layout* layout) noexcept;

// Rows: Y from R, G, B; Cb from R, G, B; Cr from R, G, B.
struct ForwardTables {
    int32_t t[9][256];
};
// Y term; R from Cr; G from Cb; G from Cr; B from Cb.
struct BackwardTables {
    int32_t t[5][256];
};
// The constant tables of a set, built once.
const ForwardTables& Forward(CoefficientSet set) noexcept;
const BackwardTables& Backward(CoefficientSet set) noexcept;
// The multipliers behind the tables (coefficient * 2^22, cut towards zero): forward in the rows' order,
// backward Y, R from Cr, G from Cb, G from Cr, B from Cb.
const int32_t* ForwardMultipliers(CoefficientSet set) noexcept;
const int32_t* BackwardMultipliers(CoefficientSet set) noexcept;

// 8-bit interleaved colour (`step` 3 or 4, blue first or red first) to a YCbCr format.
void ColorToYcc(const uint8_t* src, size_t srcPitch, unsigned srcStep, bool srcBlueFirst, uint8_t* dst,
                size_t dstPitch, size_t dstPlaneSize, const Layout& layout, size_t width, size_t height,
                bool reverse);

// Mono of srcBits (8 in bytes, 10 to 16 in 16-bit words) to 4:2:0 planar: Y is the sample's top 8 bits,
// and W * H / 2 bytes from the start of plane 1 take 128.
void MonoToYcc420(const void* src, unsigned srcBits, size_t srcPitch, uint8_t* dst, size_t dstPitch,
                  size_t dstPlaneSize, size_t width, size_t height, bool reverse);

// An 8-bit mosaic (`filter`, the ELxColorFilter_t code of pixel (0, 0)) to 4:2:2 or 4:2:0 in the full
// set, from the 2x2 cells of each line and the next (the last line takes the one before), with no
// colour image between.
void Bayer8ToYcc(uint32_t filter, const uint8_t* src, size_t srcPitch, uint8_t* dst, size_t dstPitch,
                 size_t dstPlaneSize, const Layout& layout, size_t width, size_t height, bool reverse);

// A YCbCr format to 8-bit interleaved colour; an alpha sample stays as the buffer holds it.
void YccToColor(const uint8_t* src, size_t srcPitch, size_t srcPlaneSize, const Layout& layout, uint8_t* dst,
                size_t dstPitch, unsigned dstStep, bool dstBlueFirst, size_t width, size_t height, bool reverse);

// The Y samples of a YCbCr format, as they are, to Mono8.
void YccToMono8(const uint8_t* src, size_t srcPitch, const Layout& layout, uint8_t* dst, size_t dstPitch,
                size_t width, size_t height, bool reverse);

// The level of the row kernels that run now, and of those that run when `allowed` is allowed.
lxcpu::Level KernelLevel() noexcept;
lxcpu::Level KernelLevelAt(lxcpu::Level allowed) noexcept;

} // namespace lxycc
