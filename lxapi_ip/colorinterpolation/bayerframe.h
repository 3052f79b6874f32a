// Internal description of one demosaicing call, shared by the kernel families.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

// Code in this header is compiled into the AVX2 unit as well as into portable ones. Forced inlining
// keeps the linker from choosing an AVX2-compiled copy of a shared inline function for portable
// callers; for the same reason the AVX2 unit instantiates no standard-library templates.
#define LXB_SHARED inline __attribute__((always_inline))

namespace lxbayer::detail {

// Bilinear3 keeps its intermediate values in line buffers with one entry per cell: the value at
// the row's own-colour site x, at index x >> 1 (green sites never need one). The entries have the
// width of the kernels' lanes, so a vector kernel reads them without unpacking.
template <class T>
using Lane = std::conditional_t<sizeof(T) == 1, int16_t, int32_t>;

// The Bilinear3 scratch: kBl3Lines lines (green, own-colour and opposite differences, four rows
// each) of Bl3Stride lanes, starting on a 64-byte boundary; each line holds the w / 2 + 1 cells
// of a row (odd last column included), rounded up so that every line starts on a boundary too.
constexpr int kBl3Lines = 12;
template <class T>
LXB_SHARED size_t Bl3Stride(int w) {
    constexpr size_t perLine = 64 / sizeof(Lane<T>);
    return (size_t(w / 2 + 1) + perLine - 1) / perLine * perLine;
}

// Phase-normalised view of a mosaic. Row 0 holds one of the two non-green colours, called A here,
// on the columns of parity p0; row 1 holds the other one, B, on the columns of parity p0 ^ 1; green
// fills the rest. RG and BG (GR and GB) differ only in which of red and blue is A, so a kernel
// written for the column parity serves two phases, and the destination channels of A and B are
// plain offsets. Strides are in samples; the caller has checked sizes and buffers.
template <class T>
struct Frame {
    const T* src = nullptr;
    ptrdiff_t srcStride = 0;
    T* dst = nullptr;
    ptrdiff_t dstStride = 0;
    int w = 0, h = 0;
    int p0 = 0;
    int offA = 0, offB = 2; // channel of A and of B in a destination pixel (0 or 2)
    int step = 3;           // samples per destination pixel: 3 or 4 (colour), 1 (luminance)
    int maxv = 255;         // upper bound of the clamping methods
    bool reverse = false;   // destination filled from its last line upwards
    bool aIsRed = true;     // A is red (luminance weights)
    Lane<T>* scratch = nullptr; // Bilinear3 line buffers (see Bl3Stride)

    LXB_SHARED const T* Src(int y) const { return src + y * srcStride; }
    LXB_SHARED T* Dst(int y) const { return dst + (reverse ? h - 1 - y : y) * dstStride; }
    // Parity of the columns that hold row y's own non-green colour.
    LXB_SHARED int Parity(int y) const { return p0 ^ (y & 1); }
    // True when row y's own colour goes to the third channel of a pixel.
    LXB_SHARED bool OwnLast(int y) const { return ((y & 1) ? offB : offA) == 2; }
    LXB_SHARED int S(int x, int y) const { return src[y * srcStride + x]; }
    LXB_SHARED bool IsGreen(int x, int y) const { return (x & 1) != Parity(y); }
};

// Generic per-pixel evaluation, used on the few columns at the left and right where the cell
// kernels' neighbourhoods would leave the image (and for the rows the kernels do not cover). It
// computes pixels [x0, x1) of row y and writes them to the destination. Implemented once, in
// portable code, for every method but Bilinear3, whose stages have their own functions below.
template <class T>
void EdgePixels(uint32_t method, const Frame<T>& f, int y, int x0, int x1);
template <class T>
void EdgeLuminance(const Frame<T>& f, int y, int x0, int x1);

// The line buffers of one Bilinear3 row y at its own-colour sites:
//   g:  stage-1 green;
//   dc: own colour minus green (the sample minus g);
//   dx: opposite colour minus green (stage 2 minus g).
// Stages 2 and 3 form Clamp(sum X + nG, sum G, s) as max(sum (X - G) + nG, 0) >> s (at most
// maxv), an identity, so they read the differences of the neighbours rather than both terms.
// Rows outside the image are null.
template <class T>
struct Bl3Rows {
    const Lane<T>* g = nullptr;         // row y
    const Lane<T>* dc[3] = {};          // rows y-1, y, y+1
    const Lane<T>* dx[3] = {};
};

//  Stage 1: green and own-colour difference at the own-colour sites of row y.
//  Stage 2: opposite-colour difference at the own-colour sites of row y (reads g, dc).
//  Stage 3: the destination pixels of row y (reads g, dc, dx).
template <class T>
void EdgeGreen(const Frame<T>& f, int y, int x0, int x1, Lane<T>* g, Lane<T>* dc);
template <class T>
void EdgeOpposite(const Frame<T>& f, int y, int x0, int x1, const Bl3Rows<T>& in, Lane<T>* dx);
template <class T>
void EdgeOutput(const Frame<T>& f, int y, int x0, int x1, const Bl3Rows<T>& in);

// Frame drivers of each instruction set. method is one of 0..7, already adjusted to the size.
namespace portable {
template <class T> void Color(uint32_t method, const Frame<T>& f);
template <class T> void Luminance(const Frame<T>& f);
} // namespace portable
namespace avx2 {
template <class T> void Color(uint32_t method, const Frame<T>& f);
template <class T> void Luminance(const Frame<T>& f);
} // namespace avx2

} // namespace lxbayer::detail
