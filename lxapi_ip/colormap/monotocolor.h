// Kernels of the mono to colour conversions: one mono sample fills the three channels of an
// interleaved colour pixel, through a colour map at 8 bits or through a depth table above.
//
// Destinations have `step` samples per pixel (3, or 4 with an alpha sample that stays as the buffer
// holds it). `reverse` writes the destination's lines from the last one up. The buffers must hold
// `height` lines of their pitch; pitches are checked against the bytes a line needs
// (InvalidArgumentException before anything is written).
#pragma once

#include "kernels/cpudispatch.h"
#include "lxcolormap.h"

#include <cstddef>
#include <cstdint>

namespace lxcmap {

// 8-bit mono to 8-bit colour. Each value v takes map[v]: its blue byte to the blue channel, green to
// green, red to red, by the destination's order (blueFirst: B G R, else R G B). A null map is the
// identity: every channel takes v.
void Mono8ToColor8(const uint8_t* src, size_t srcPitch, uint8_t* dst, size_t dstPitch, size_t width,
                   size_t height, unsigned step, bool blueFirst, const lxip::ColorMapEntry* map, bool reverse);

// Mono of srcBits (1..8 in bytes, 9..16 in 16-bit words) to colour in 16-bit words: each sample
// goes through `table` (2^srcBits entries, a sample above the last index taking the last entry), or
// unchanged when `table` is null, into the three channels.
void MonoToColor16(const void* src, unsigned srcBits, size_t srcPitch, uint16_t* dst, size_t dstPitch,
                   size_t width, size_t height, unsigned step, const uint16_t* table, size_t tableSize,
                   bool reverse);

// The level of the row kernels that run now, and of those that run when `allowed` is allowed.
lxcpu::Level KernelLevel() noexcept;
lxcpu::Level KernelLevelAt(lxcpu::Level allowed) noexcept;

} // namespace lxcmap
