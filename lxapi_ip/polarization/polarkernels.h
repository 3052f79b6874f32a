// Polarization transforms on raw memory: the layouts of the 2x2 polarizer groups, the sliding window
// and the per-group transforms, the split into four angle images, and the colour-plane
// demultiplexing of polarized mosaics. The kernels know nothing of image objects: the caller passes
// planes (pointer, signed pitch, size) and the per-image constants in a Context.
//
// Samples are 8 bits (bytes) or 10 and 12 bits in 16-bit words. A word above the source depth is
// clamped to the depth's maximum before any table is indexed.
#pragma once

#include <cstddef>
#include <cstdint>

namespace lxpol {

// Slot (angle / 45) of the pixels (0,0), (1,0), (0,1), (1,1) of a group, for layouts 1 to 8;
// row 0 is unused.
extern const uint8_t LayoutSlots[9][4];

// The layout seen by a window that starts on an odd row (vertical mirror): layouts 1..4 flip bit 1
// of layout - 1, layouts 5..8 bit 0. And on an odd column (the two columns exchanged).
uint32_t VerticalMirror(uint32_t layout);
uint32_t HorizontalMirror(uint32_t layout);

// The operation a kernel runs on the four values a, b, c, d (0, 45, 90, 135 degrees).
enum class Op : uint8_t {
    Linear,     // interpolated angle, 14-bit weight tables
    Cosine,     // interpolated angle, double precision
    Average,    // (a + b + c + d + 2) >> 2
    Maximum,
    Minimum,
    Difference, // largest minus smallest
    Degree,     // M times the degree of linear polarization
    Angle,      // the angle of polarization, 0 to M for a full turn of 2 theta
    Color,      // degree and angle through the hue wheel, three or four samples per pixel
};

struct StokesTables; // polartables.h

// Per-image constants of a transform.
struct Context {
    Op op = Op::Average;
    unsigned depth = 8;      // source depth: 8, 10 or 12
    const uint16_t* depthTable = nullptr; // source to destination depth, null for equal depths
    size_t depthTableSize = 0;
    // Linear: four arrays of 2^depth entries, array k for slot k.
    const int32_t* weights[4] = {nullptr, nullptr, nullptr, nullptr};
    // Cosine: cos and sin of twice the angle.
    double cosPhi = 1.0, sinPhi = 0.0;
    // Degree, Angle, Color.
    const StokesTables* stokes = nullptr;
    // Color: hue wheel settings and the destination's pixel.
    bool colorInversion = false;
    bool darkMode = false;
    int32_t colorPhase = 0;
    unsigned dstStep = 3; // 3, or 4 with alpha kept as the buffer holds it
    bool blueFirst = true;
};

// A plane of samples. Pitches are in bytes and may be negative (a destination filled from its last
// line upwards). `words` for 16-bit samples.
struct Plane {
    uint8_t* data = nullptr;
    ptrdiff_t pitch = 0;
    uint32_t width = 0, height = 0;
    bool words = false;
    uint8_t* Row(uint32_t y) const { return data + ptrdiff_t(y) * pitch; }
};

// Sliding window: every pixel (x, y) takes the window of (x, y) to (x + 1, y + 1), the angle of each
// pixel from `layout` at its position, and writes one result at (x, y). The last column copies the
// column before it, the last row the row before it. With a width or height of 1 the window takes the
// one column or row twice. The destination has the size of the source.
void RunWindow(const Context& c, uint32_t layout, const Plane& src, const Plane& dst);

// Per group, without a window: the group at (2x, 2y) writes one result at (x, y). The destination
// is (width / 2) x (height / 2).
void RunGroups(const Context& c, uint32_t layout, const Plane& src, const Plane& dst);

// Four quadrants of the angle images: source row y goes to the upper half if even, the lower half if
// odd, at row y / 2; even columns to the left half, odd ones to the right; the upper half has
// (height + 1) / 2 rows, the left half (width + 1) / 2 columns. Samples go through the depth table.
void SplitAngles(const Context& c, const Plane& src, const Plane& dst);

// Raw copy, through the depth table when there is one; equal depths copy the samples as they are.
void CopySamples(const Context& c, const Plane& src, const Plane& dst);

// Colour planes of a polarized mosaic: lines 0, 1 of every block of four go to the upper half,
// lines 2, 3 to the lower half; in a line, columns 0, 1 of every four to the left half, 2, 3 to the
// right half. Samples are copied as they are.
void Demultiplex(const Plane& src, const Plane& dst);
// Rows of the upper half and columns of the left half after Demultiplex.
inline uint32_t DemultiplexedFirstHalf(uint32_t n) { return (n / 4) * 2 + (n % 4 < 2 ? n % 4 : 2); }

// The linear weights of the four slots for an angle in degrees (brought into [0, 180); a value that
// is not finite counts as 0).
void AngleWeights(double theta, double weights[4]);
double ReducedAngle(double theta);

} // namespace lxpol
