#include "balancestatistics.h"

#include <cstring>
#include <type_traits>

namespace lxbalance {
namespace {

template <class Sample>
inline uint32_t Load(const uint8_t* p) {
    Sample v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

// One line into per-lane sums. A lane sum of one line fits 64 bits at any width.
template <class Sample, size_t P>
void LineSums(const uint8_t* s, size_t count, uint64_t (&lane)[lxlookup::kMaxPeriod]) {
    uint64_t acc[P] = {};
    size_t i = 0;
    for (; i + P <= count; i += P, s += P * sizeof(Sample))
        for (size_t c = 0; c < P; ++c) acc[c] += Load<Sample>(s + c * sizeof(Sample));
    for (size_t c = 0; i < count; ++i, ++c) acc[c] += Load<Sample>(s + c * sizeof(Sample));
    for (size_t c = 0; c < P; ++c) lane[c] += acc[c];
}

template <class Sample>
void AddSums(const StatisticsImage& image, ChannelSums& sums) {
    for (size_t parity = 0; parity < 2; ++parity) {
        const LaneChannels& lanes = image.rows[parity];
        if (lanes.period < 1 || lanes.period > lxlookup::kMaxPeriod) return;
    }
    uint64_t lane[2][lxlookup::kMaxPeriod] = {};
    for (size_t y = 0; y < image.height; ++y) {
        const uint8_t* line = image.base + y * image.pitch;
        uint64_t(&l)[lxlookup::kMaxPeriod] = lane[y & 1];
        switch (image.rows[y & 1].period) {
        case 1: LineSums<Sample, 1>(line, image.count, l); break;
        case 2: LineSums<Sample, 2>(line, image.count, l); break;
        case 3: LineSums<Sample, 3>(line, image.count, l); break;
        case 4: LineSums<Sample, 4>(line, image.count, l); break;
        case 5: LineSums<Sample, 5>(line, image.count, l); break;
        default: LineSums<Sample, 6>(line, image.count, l); break;
        }
    }
    // Lines of each parity, and samples of each lane in a line.
    const size_t lines[2] = {(image.height + 1) / 2, image.height / 2};
    for (size_t parity = 0; parity < 2; ++parity) {
        const LaneChannels& lanes = image.rows[parity];
        for (uint32_t c = 0; c < lanes.period; ++c) {
            const int8_t ch = lanes.channel[c];
            if (ch < 0 || size_t(ch) >= kChannels) continue;
            const size_t perLine = image.count / lanes.period + (c < image.count % lanes.period ? 1 : 0);
            sums.sum[ch] += lane[parity][c];
            sums.count[ch] += uint64_t(perLine) * lines[parity];
        }
    }
}

} // namespace

void AddByteSums(const StatisticsImage& image, ChannelSums& sums) { AddSums<uint8_t>(image, sums); }
void AddWordSums(const StatisticsImage& image, ChannelSums& sums) { AddSums<uint16_t>(image, sums); }

} // namespace lxbalance
