// Flat field correction: the correction table built from a reference image, and the row kernels that
// apply it. The table holds one entry per pixel, rows without gaps (its row stride is the image
// width). Multiplication: an unsigned gain with 7 fractional bits (128 is 1.0), at most the ceiling
// maximum gain << 7, kept in 16 bits: the streaming pass reads half the bytes, and the law widens
// each entry to the same 32-bit value. Addition: a signed 32-bit difference.
#pragma once

#include "kernels/cpudispatch.h"

#include <cstddef>
#include <cstdint>

namespace lxff {

enum class Law : int32_t { Off = 0, Multiplication = 1, Addition = 2 };

// The fixed parts of the law. No interface changes them; they are kept apart so that the arithmetic
// states where each one enters.
struct LawConstants {
    uint32_t inputOffset = 0;  // subtracted from a pixel before the gain
    uint32_t outputOffset = 0; // added after the gain
    uint32_t maximumGain = 16; // the gain's ceiling as a plain factor
};
// Every gain entry is at most the ceiling, so the ceiling must fit a gain entry.
using Gain = uint16_t;
static_assert((LawConstants{}.maximumGain << 7) <= 0xFFFF, "the ceiling gain must fit 16 bits");

// The geometry and samples of the reference image.
struct Reference {
    const uint8_t* base;
    size_t pitch;
    size_t width;
    size_t height;
    size_t bytesPerSample; // 1 or 2 (a little-endian word)
    bool bayer;            // per-colour targets
    uint32_t maximum;      // M = 2^bits - 1
};

// The largest target a table is built for: the node's maximum. A target written past it through the
// port is taken as this, so that no entry can leave 32 bits.
inline constexpr uint32_t TargetCeiling = 65535;

// The four phase targets T[(y & 1) * 2 + (x & 1)]: `target` where non-zero, otherwise the mean of the
// centre square (per colour for Bayer, one mean for mono), limited to M and truncated.
void PhaseTargets(const Reference& ref, uint32_t target, uint32_t (&T)[4]);

// Fill a table of width x height entries: gains for Multiplication (`k.maximumGain << 7` must fit a
// Gain), differences for Addition.
void BuildGains(const Reference& ref, const uint32_t (&T)[4], const LawConstants& k, Gain* table);
void BuildDifferences(const Reference& ref, const uint32_t (&T)[4], uint32_t* table);

// One row of samples corrected in place with the row of the table in step.
using GainRow = void (*)(uint8_t* row, const Gain* table, size_t width, uint32_t maximum, const LawConstants& k);
using DifferenceRow = void (*)(uint8_t* row, const uint32_t* table, size_t width, uint32_t maximum,
                               const LawConstants& k);

// Row kernels per law, by sample width: [0 for bytes, 1 for words].
struct RowKernels {
    GainRow multiply[2];
    DifferenceRow add[2];
};

const lxcpu::KernelForms<RowKernels>& Kernels();

} // namespace lxff
