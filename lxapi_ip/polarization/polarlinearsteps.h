// The vector steps of a line of the linear interpolation, shared by the vector forms: included by
// each instruction-set level's unit, whose copy is its own (internal linkage), compiled with that
// level's flags.
//
// A step writes the windows x .. x + 2 lanes - 1 and returns a mask of those whose range of sums
// straddles a result (LinearLine): bit j is the window x + 2j, bit lanes + j the window x + 2j + 1.
// Those windows are looked up in the tables after a run of steps rather than in the step. At angles
// whose weights are simple fractions (30 degrees: multiples of 1/81) about one window in a hundred lands there and
// a third of the steps has one: a branch per step mispredicted that often and cost more than the
// steps. The steps are recorded without a branch, only those with windows to look up counted.
#pragma once

#include "polarrows.h"

#include <cstdint>

namespace lxpol::detail {
namespace {

constexpr uint32_t kUnsureSteps = 64;
struct UnsureSteps {
    uint32_t x[kUnsureSteps + 1];      // the step's first window
    uint32_t differ[kUnsureSteps + 1]; // its mask
};

// Records the step at x; returns the count of steps with windows to look up. The count stays in the
// caller's registers: kept in the object, it was stored and loaded again in every step, since a
// store to the output might change it.
inline uint32_t AddStep(UnsureSteps& u, uint32_t count, uint32_t x, uint32_t differ) {
    u.x[count] = x;
    u.differ[count] = differ;
    return count + (differ != 0);
}

// Looks up the windows of the first `count` steps, after the vector stores of all of them. Returns
// 0, the count of a new run.
template <uint32_t lanes, class S>
uint32_t RepairSteps(const UnsureSteps& u, uint32_t count, const S* l0, const S* l1, S* out, const LinearLine& l) {
    // The tables and bounds in locals: every store to `out` might otherwise change them, and they
    // were read again for each window.
    const int32_t* w[2][4];
    for (int p = 0; p < 2; ++p)
        for (int j = 0; j < 4; ++j) w[p][j] = l.weights[p][j];
    const uint32_t max = l.max;
    auto c = [max](uint32_t v) { return v < max ? v : max; };
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t x = u.x[i];
        uint32_t differ = u.differ[i];
        do {
            const uint32_t bit = uint32_t(__builtin_ctz(differ));
            const uint32_t a = x + 2 * (bit % lanes) + bit / lanes;
            const int32_t* const* t = w[a & 1];
            out[a] = S(LinearResult(t[0][c(l0[a])] + t[1][c(l0[a + 1])] + t[2][c(l1[a])] + t[3][c(l1[a + 1])], max));
            differ &= differ - 1;
        } while (differ);
    }
    return 0;
}

// The vector steps of a line: step(x) as above. The last windows take one more step that ends on the
// line's last window and overlaps the step before (it may start on an odd window), so that no window
// is left to the portable form unless the line is shorter than a step. Returns the first window not
// written.
template <uint32_t lanes, class S, class Step>
uint32_t LinearSteps(const S* l0, const S* l1, S* out, uint32_t cols, const LinearLine& l, Step&& step) {
    constexpr uint32_t width = 2 * lanes;
    UnsureSteps unsure;
    uint32_t count = 0, x = 0;
    for (; x + width <= cols; x += width) {
        count = AddStep(unsure, count, x, step(x));
        if (count == kUnsureSteps) count = RepairSteps<lanes>(unsure, count, l0, l1, out, l);
    }
    if (x < cols && cols >= width) {
        count = AddStep(unsure, count, cols - width, step(cols - width));
        x = cols;
    }
    RepairSteps<lanes>(unsure, count, l0, l1, out, l);
    return x;
}

} // namespace
} // namespace lxpol::detail
