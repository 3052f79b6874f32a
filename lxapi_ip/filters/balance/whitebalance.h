// The arithmetic of the automatic white balance, from the channel sums of one image.
#pragma once

#include "balancestatistics.h"

namespace lxbalance {

// Red, green and blue: the channel of the highest average (the first of equal ones, red when all
// are 0) keeps ratio 1.0; each other channel gets min(16, target / d) with target that average plus
// its channel's before-offset and d the channel's own average plus its before-offset, or 16 when d
// is negative. A quotient that is not a number (0 / 0) is what the ratio becomes.
// `before` holds the before-offsets of red, green and blue; `ratio` receives the new ratios.
void ColourRatios(const ChannelSums& sums, const int32_t (&before)[3], double (&ratio)[3]);

// Cb and Cr: the before-offset that moves the channel's average to 0, the average negated and
// truncated (0 for a channel without samples). `before` receives Cb's and Cr's.
void ChromaOffsets(const ChannelSums& sums, int32_t (&before)[2]);

// How far the gains moved, below which a Once balance ends: summed squares of the ratio changes,
// and of the chroma before-offset changes.
constexpr double kColourSettled = 0.0025;
constexpr double kChromaSettled = 8.0;

} // namespace lxbalance
