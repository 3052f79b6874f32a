// The SN measurement statistics: over N stored frames and a ROI, per pixel component, the mean level,
// the mean over the pixels of their temporal standard deviation and the mean over the frames of the
// spatial standard deviation within each frame.
//
// The sums are exact integers: per sample position of one ROI row, the sum of the values and of their
// squares over all frames, and per frame and per phase of the row the same sums over the ROI. The frames
// are walked in blocks of up to 32 rows: each frame streams the block's rows in one run while the
// per-position sums of the block stay in the second-level cache.
#pragma once

#include "snformats.h"

#include <kernels/cpudispatch.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace lxsn {

// Samples of a row are summed in this many lanes; a multiple of every period (1 to 4), so that lane l
// always holds phase l % period.
constexpr size_t Lanes = 48;

// The same row of up to Group frames: for each frame k, sum[i] += v[i], squares[i] += v[i]^2, and into
// lane i % Lanes of frame k's lanes (lanes[k]: Lanes sums, then Lanes squares) the same. Taking
// several frames a call lets a kernel add their samples together before it touches the per-position
// sums. 8-bit rows are limited to MaxRow8 samples a call so that their lane sums fit 32 bits; squares
// of 8-bit samples fit 32 bits for up to 1024 frames.
constexpr size_t Group = 8;
constexpr size_t MaxRow8 = Lanes * 16384;
//
// row8single serves layouts of one phase (period 1), where every lane of a frame belongs to the same
// component: it adds the per-position sums as row8 does, and each frame's sums over the row to lane 0
// of its sums and of its squares only.
struct RowKernels {
    void (*row8)(const uint8_t* const* src, size_t frames, size_t n, uint32_t* sum, uint32_t* squares,
                 uint64_t* const* lanes);
    void (*row8single)(const uint8_t* const* src, size_t frames, size_t n, uint32_t* sum, uint32_t* squares,
                       uint64_t* const* lanes);
    void (*row16)(const uint16_t* const* src, size_t frames, size_t n, uint32_t* sum, uint64_t* squares,
                  uint64_t* const* lanes);
};
const lxcpu::KernelForms<RowKernels>& RowForms();

struct Frame {
    const uint8_t* pixels; // top left pixel of the image
    size_t pitch;          // bytes from a row to the next
};
struct Roi {
    uint64_t x = 0, y = 0, width = 0, height = 0;
};
struct Record {
    uint32_t component = 0;
    uint64_t pixelCount = 0;
    double average = 0;
    double temporalDeviation = 0;
    double frameDeviation = 0;
};

// At most this many frames: the squares of 8-bit samples are summed in 32 bits.
constexpr size_t MaxFrames = 1024;

// The records of `layout`'s components over `frames` (at most MaxFrames, all of the layout's working
// format and large enough for `roi`) into `records`. Returns false, with `records` undefined, when
// `cancel` became true meanwhile (it is looked at once per block of rows). Throws std::bad_alloc when the sums find
// no memory.
bool Compute(const Layout& layout, const std::vector<Frame>& frames, const Roi& roi, std::vector<Record>* records,
             const std::atomic<bool>* cancel = nullptr);

} // namespace lxsn
