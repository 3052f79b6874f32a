// The movers as templates by pixel size, compiled into the portable unit and, with the AVX2 flags,
// into the AVX2 unit. Everything here has internal linkage (an unnamed namespace), so that each unit
// keeps its own copy and the linker never hands a portable caller an AVX2-compiled function.
#pragma once

#include "reversekernels.h"

#include <cstring>

namespace lxreverse::detail {
namespace {

// One pixel of N bytes, moved by a plain copy of its bytes.
template <size_t N>
inline void CopyPixel(uint8_t* d, const uint8_t* s) {
    std::memcpy(d, s, N);
}

// A line of w pixels written backwards: pixel i goes to w - 1 - i.
template <size_t N>
inline void ReverseLine(const uint8_t* __restrict s, uint8_t* __restrict d, size_t w) {
    uint8_t* e = d + (w - 1) * N;
    for (size_t i = 0; i < w; ++i) CopyPixel<N>(e - i * N, s + i * N);
}

// Side of the square tiles of the quarter turns, in pixels: a tile's source lines and destination
// lines stay in the cache together. Pixels of 3 bytes take long runs (384 bytes of each destination
// line), which measured faster than short ones: destination lines a few kilobytes apart share cache
// sets, and a short run leaves each of them half written when the tile moves on.
template <size_t N>
constexpr size_t TurnTile = N <= 2 ? 64 : N == 3 ? 128 : 32;

// Where a turn puts the source's (0, 0), and the destination step of one source pixel to the right
// (`stepX`, a whole destination line) and one line down (`Down`: one pixel forwards, else backwards).
struct TurnPlan {
    uint8_t* origin;
    ptrdiff_t stepX;
    bool down;
};
template <size_t N>
inline TurnPlan PlanTurn(const Plane& p, Operation op) {
    const ptrdiff_t line = static_cast<ptrdiff_t>(p.dstPitch);
    switch (op) {
    case Operation::Clockwise: return {p.dst + (p.height - 1) * N, line, false};
    case Operation::Counterclockwise: return {p.dst + (p.width - 1) * p.dstPitch, -line, true};
    case Operation::Transpose: return {p.dst, line, true};
    default: return {p.dst + (p.width - 1) * p.dstPitch + (p.height - 1) * N, -line, false};
    }
}

// Pixels of 3 and 6 bytes move as 4 and 8: one load and one store instead of two each. The wider
// load reads the start of the next pixel of the same line and the wider store writes the start of
// the next pixel of the run, which the following store then puts right; so the last pixel of a
// line (nothing of the image behind it) and the last pixel of a run go by their exact bytes.
template <size_t N>
constexpr size_t WideBytes = N == 3 ? 4 : N == 6 ? 8 : N;

// One source column, `count` lines from `s` down, becomes a run of destination pixels from `d`:
// forwards, or (`Down` false) backwards, which is written as a forward run from the last line up
// so that the stores always ascend. `Wide`: the pixel is not the last of its line.
template <size_t N, bool Down, bool Wide>
inline void TurnRun(const uint8_t* __restrict s, size_t pitch, uint8_t* __restrict d, size_t count) {
    constexpr size_t M = Wide ? WideBytes<N> : N;
    const ptrdiff_t step = Down ? static_cast<ptrdiff_t>(pitch) : -static_cast<ptrdiff_t>(pitch);
    if constexpr (!Down) {
        d -= (count - 1) * N;
        s += (count - 1) * pitch;
    }
    for (size_t k = 0; k + 1 < count; ++k) CopyPixel<M>(d + k * N, s + static_cast<ptrdiff_t>(k) * step);
    CopyPixel<N>(d + (count - 1) * N, s + static_cast<ptrdiff_t>(count - 1) * step);
}

// Source column x, lines y0 to y1, becomes a run of destination pixels; tile by tile, so that the
// reads down a column hit lines already in the cache. Whole tiles have a run length the compiler
// knows, and unrolls.
template <size_t N, bool Down>
void TurnTiles(const Plane& p, const TurnPlan& plan) {
    constexpr size_t T = TurnTile<N>;
    constexpr ptrdiff_t stepY = Down ? ptrdiff_t(N) : -ptrdiff_t(N);
    for (size_t y0 = 0; y0 < p.height; y0 += T) {
        const size_t rows = p.height - y0 < T ? p.height - y0 : T;
        for (size_t x0 = 0; x0 < p.width; x0 += T) {
            const size_t x1 = x0 + T < p.width ? x0 + T : p.width;
            for (size_t x = x0; x < x1; ++x) {
                uint8_t* d = plan.origin + static_cast<ptrdiff_t>(x) * plan.stepX + static_cast<ptrdiff_t>(y0) * stepY;
                const uint8_t* s = p.src + y0 * p.srcPitch + x * N;
                if (x + 1 == p.width)
                    TurnRun<N, Down, false>(s, p.srcPitch, d, rows);
                else if (rows == T)
                    TurnRun<N, Down, true>(s, p.srcPitch, d, T);
                else
                    TurnRun<N, Down, true>(s, p.srcPitch, d, rows);
            }
        }
    }
}

// The mover of N-byte pixels. Flips go line by line (a flip in Y only picks the destination line);
// turns go through square tiles.
template <size_t N>
void MovePixels(const Plane& p, Operation op) {
    if (p.width == 0 || p.height == 0) return;
    const size_t bytes = p.width * N, h = p.height;
    switch (op) {
    case Operation::None:
        for (size_t y = 0; y < h; ++y) std::memcpy(p.dst + y * p.dstPitch, p.src + y * p.srcPitch, bytes);
        return;
    case Operation::FlipY:
        for (size_t y = 0; y < h; ++y) std::memcpy(p.dst + (h - 1 - y) * p.dstPitch, p.src + y * p.srcPitch, bytes);
        return;
    case Operation::FlipX:
        for (size_t y = 0; y < h; ++y) ReverseLine<N>(p.src + y * p.srcPitch, p.dst + y * p.dstPitch, p.width);
        return;
    case Operation::FlipXY:
        for (size_t y = 0; y < h; ++y)
            ReverseLine<N>(p.src + y * p.srcPitch, p.dst + (h - 1 - y) * p.dstPitch, p.width);
        return;
    case Operation::Clockwise:
    case Operation::Counterclockwise:
    case Operation::Transpose:
    case Operation::AntiTranspose: {
        const TurnPlan plan = PlanTurn<N>(p, op);
        if (plan.down)
            TurnTiles<N, true>(p, plan);
        else
            TurnTiles<N, false>(p, plan);
        return;
    }
    }
}

constexpr MoverTable kGenericMovers = {
    {&MovePixels<1>, &MovePixels<2>, &MovePixels<3>, &MovePixels<4>, &MovePixels<6>, &MovePixels<8>}};

} // namespace
} // namespace lxreverse::detail
