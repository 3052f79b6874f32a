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

// Side of the square tiles of the quarter turns: a tile's source lines and destination lines stay
// in the first-level cache together (64 x 64 bytes each for bytes, 32 pixels a side from 3 bytes up).
template <size_t N>
constexpr size_t TurnTile = N <= 2 ? 64 : 32;

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

// Source column x, lines y0 to y1, becomes a run of destination pixels; tile by tile, so that the
// reads down a column hit lines already in the cache.
template <size_t N, bool Down>
void TurnTiles(const Plane& p, const TurnPlan& plan) {
    constexpr size_t T = TurnTile<N>;
    constexpr ptrdiff_t stepY = Down ? ptrdiff_t(N) : -ptrdiff_t(N);
    for (size_t y0 = 0; y0 < p.height; y0 += T) {
        const size_t y1 = y0 + T < p.height ? y0 + T : p.height;
        for (size_t x0 = 0; x0 < p.width; x0 += T) {
            const size_t x1 = x0 + T < p.width ? x0 + T : p.width;
            for (size_t x = x0; x < x1; ++x) {
                uint8_t* d = plan.origin + static_cast<ptrdiff_t>(x) * plan.stepX + static_cast<ptrdiff_t>(y0) * stepY;
                const uint8_t* s = p.src + y0 * p.srcPitch + x * N;
                for (size_t y = y0; y < y1; ++y, d += stepY, s += p.srcPitch) CopyPixel<N>(d, s);
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
