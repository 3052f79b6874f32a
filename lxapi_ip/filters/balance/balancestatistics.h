// The statistics pass of the automatic white balance: per channel, the number of samples and their
// sum, over the same lanes the tables are applied to.
#pragma once

#include "lookupkernels.h"

#include <cstddef>
#include <cstdint>

namespace lxbalance {

constexpr size_t kChannels = 6; // Red, Green, Blue, Y, Cb, Cr
constexpr int8_t kNoChannel = -1;

// The channel of each lane of a period of samples (kNoChannel: not counted).
struct LaneChannels {
    uint32_t period = 1;
    int8_t channel[lxlookup::kMaxPeriod] = {kNoChannel, kNoChannel, kNoChannel, kNoChannel, kNoChannel, kNoChannel};
};

struct ChannelSums {
    uint64_t sum[kChannels] = {};
    uint64_t count[kChannels] = {};
};

// An image as the lookups see it: `count` samples of each line, lane of sample i being i % period,
// rows[0] on even lines, rows[1] on odd ones. Word samples may lie at any address.
struct StatisticsImage {
    const uint8_t* base = nullptr;
    size_t height = 0;
    size_t pitch = 0;
    size_t count = 0;
    LaneChannels rows[2];
};

// Adds the samples of the image to `sums`. A period outside 1..kMaxPeriod adds nothing.
void AddByteSums(const StatisticsImage& image, ChannelSums& sums);
void AddWordSums(const StatisticsImage& image, ChannelSums& sums);

} // namespace lxbalance
