#include "whitebalance.h"

namespace lxbalance {
namespace {

double Average(const ChannelSums& sums, size_t channel) {
    return sums.count[channel] ? double(sums.sum[channel]) / double(sums.count[channel]) : 0.0;
}

} // namespace

void ColourRatios(const ChannelSums& sums, const int32_t (&before)[3], double (&ratio)[3]) {
    double average[3];
    size_t winner = 0;
    double highest = 0.0;
    for (size_t c = 0; c < 3; ++c) {
        average[c] = Average(sums, c);
        if (average[c] > highest) {
            highest = average[c];
            winner = c;
        }
    }
    const double target = highest + before[winner];
    for (size_t c = 0; c < 3; ++c) {
        if (c == winner) {
            ratio[c] = 1.0;
            continue;
        }
        const double d = before[c] + average[c];
        const double q = target / d;
        // Written so that a quotient that is not a number passes through.
        ratio[c] = d >= 0.0 ? (16.0 < q ? 16.0 : q) : 16.0;
    }
}

void ChromaOffsets(const ChannelSums& sums, int32_t (&before)[2]) {
    for (size_t c = 0; c < 2; ++c) before[c] = static_cast<int32_t>(-Average(sums, 4 + c));
}

} // namespace lxbalance
