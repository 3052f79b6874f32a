// The colour maps: the two wheels checked as walks of one channel at a time with the named colours at
// their corners, phase and inversion against index arithmetic done here on the recovered wheels, and
// the cache's reuse, rebuild and lock.
#include "colormap/lxcolormap.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

namespace {

using lxip::BuildColorMap;
using lxip::ColorMapEntry;

struct Bgr {
    int b, g, r;
    bool operator==(const Bgr&) const = default;
};
Bgr Split(ColorMapEntry e) {
    EXPECT_EQ(e >> 24, 0u);
    return {int(e & 0xFF), int((e >> 8) & 0xFF), int((e >> 16) & 0xFF)};
}
std::ostream& operator<<(std::ostream& os, const Bgr& c) { return os << '(' << c.b << ',' << c.g << ',' << c.r << ')'; }

std::array<ColorMapEntry, 256> Map(int64_t type, bool inversion, int64_t phase) {
    std::array<ColorMapEntry, 256> m;
    m.fill(0xDEADBEEF);
    BuildColorMap(m.data(), type, inversion, phase);
    return m;
}

// The whole base palette, read back through the phase: a phase of 128 shows the wheel's entries
// 128 to 383.
std::vector<ColorMapEntry> Palette(int64_t type) {
    const auto low = Map(type, false, 0);
    std::vector<ColorMapEntry> p(low.begin(), low.end());
    if (type == 1) {
        const auto high = Map(type, false, 128);
        p.insert(p.end(), high.begin() + 128, high.end());
    }
    return p;
}

TEST(ColorMapPalettes, NormalIsTheGreyRamp) {
    const auto m = Map(0, false, 0);
    for (int i = 0; i < 256; ++i) EXPECT_EQ(m[i], uint32_t(i) * 0x010101u);
    EXPECT_TRUE(lxip::IsIdentityColorMap(0, false, 0));
    EXPECT_TRUE(lxip::IsIdentityColorMap(0, false, 256));
    EXPECT_FALSE(lxip::IsIdentityColorMap(0, false, 1));
    EXPECT_FALSE(lxip::IsIdentityColorMap(0, true, 0));
    EXPECT_FALSE(lxip::IsIdentityColorMap(1, false, 0));
}

// Both wheels change exactly one channel between neighbours, by the wheel's step or to or from 255,
// round the whole circle, and pass the six corners in order.
TEST(ColorMapPalettes, WheelsWalkOneChannelAtATimeThroughTheCorners) {
    struct Case {
        int64_t type;
        size_t length;
        int step;
        std::vector<std::pair<size_t, Bgr>> corners;
    };
    const Case cases[] = {
        {1, 384, 4,
         {{0, {255, 0, 0}}, {63, {255, 252, 0}}, {64, {255, 255, 0}}, {127, {3, 255, 0}}, {128, {0, 255, 0}},
          {191, {0, 255, 252}}, {192, {0, 255, 255}}, {255, {0, 3, 255}}, {256, {0, 0, 255}},
          {319, {252, 0, 255}}, {320, {255, 0, 255}}, {383, {255, 0, 3}}}},
        {2, 256, 6,
         {{0, {255, 0, 0}}, {41, {255, 246, 0}}, {42, {255, 255, 0}}, {84, {3, 255, 0}}, {85, {0, 255, 0}},
          {127, {0, 255, 252}}, {128, {0, 255, 255}}, {170, {0, 3, 255}}, {171, {0, 0, 255}},
          {212, {246, 0, 255}}, {213, {255, 0, 255}}, {254, {255, 0, 9}}, {255, {255, 0, 0}}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.type);
        const auto p = Palette(c.type);
        ASSERT_EQ(p.size(), c.length);
        for (const auto& [i, colour] : c.corners) EXPECT_EQ(Split(p[i]), colour) << "index " << i;
        for (size_t i = 0; i + 1 < p.size(); ++i) {
            const Bgr a = Split(p[i]), b = Split(p[i + 1]);
            const int da = std::abs(a.b - b.b), dg = std::abs(a.g - b.g), dr = std::abs(a.r - b.r);
            EXPECT_EQ((da != 0) + (dg != 0) + (dr != 0), 1) << "index " << i;
            const int d = da + dg + dr;
            EXPECT_TRUE(d == c.step || d == 3 || d == 9) << "index " << i << " step " << d;
        }
    }
}

// Phase and inversion select indices of the base palette: entry i is P[(p + i) mod n], inverted
// P[(255 - p - i) mod n], the modulo taken towards the palette's upper end.
TEST(ColorMapPhaseAndInversion, EveryTypePhaseAndDirectionPicksTheIndexOfItsRule) {
    for (int64_t type = 0; type <= 2; ++type) {
        const auto p = Palette(type);
        const int64_t n = int64_t(p.size());
        for (int64_t phase = -256; phase < 512; ++phase)
            for (bool inversion : {false, true}) {
                const auto m = Map(type, inversion, phase);
                const int64_t q = ((phase % 256) + 256) % 256;
                for (int64_t i = 0; i < 256; ++i) {
                    int64_t index = inversion ? 255 - q - i : q + i;
                    index = ((index % n) + n) % n;
                    ASSERT_EQ(m[i], p[index]) << "type " << type << " phase " << phase << " inv " << inversion
                                              << " value " << i;
                }
            }
    }
}

TEST(ColorMapPhaseAndInversion, NamedValues) {
    const auto bgr = Palette(1);
    auto negative = Map(0, true, 0);
    EXPECT_EQ(negative[0], 0xFFFFFFu);
    EXPECT_EQ(negative[200], 55u * 0x010101u);
    EXPECT_EQ(Map(0, false, 1)[255], 0u);

    auto m = Map(1, false, 0);
    EXPECT_EQ(Split(m[0]), (Bgr{255, 0, 0}));
    EXPECT_EQ(Split(m[128]), (Bgr{0, 255, 0}));
    EXPECT_EQ(Split(m[255]), (Bgr{0, 3, 255}));
    m = Map(1, false, 255);
    EXPECT_EQ(m[0], bgr[255]);
    EXPECT_EQ(m[128], bgr[383]);
    EXPECT_EQ(m[129], bgr[0]);
    m = Map(1, true, 0);
    EXPECT_EQ(m[0], bgr[255]);
    EXPECT_EQ(m[255], bgr[0]);
    m = Map(1, true, 1);
    EXPECT_EQ(m[0], bgr[254]);
    EXPECT_EQ(m[254], bgr[0]);
    EXPECT_EQ(m[255], bgr[383]);
    EXPECT_EQ(Split(Map(2, false, 0)[255]), (Bgr{255, 0, 0}));
}

TEST(ColorMapPhaseAndInversion, UnknownTypeGivesZeroEntries) {
    for (int64_t type : {-1, 3, 1000})
        for (auto e : Map(type, true, 17)) ASSERT_EQ(e, 0u);
}

TEST(ColorMapCache, ReusesAnEqualKeyRebuildsOnChangeAndHoldsItsLock) {
    lxip::ColorMapCache cache;
    const void* first;
    {
        auto ref = cache.Acquire(1, false, 5);
        ASSERT_EQ(ref->Size(), 256u);
        EXPECT_EQ(ref->Entries()[0], Map(1, false, 5)[0]);
        first = ref.get();
    }
    {
        auto again = cache.Acquire(1, false, 256 + 5); // the same map
        EXPECT_EQ(static_cast<const void*>(again.get()), first);
    }
    {
        auto other = cache.Acquire(1, true, 5);
        for (int i = 0; i < 256; ++i) ASSERT_EQ(other->Entries()[i], Map(1, true, 5)[i]);
        auto zero = std::move(other);
    }
    {
        auto unknown = cache.Acquire(7, true, 9);
        for (int i = 0; i < 256; ++i) ASSERT_EQ(unknown->Entries()[i], 0u);
    }

    // A second user waits until the first has released the map.
    std::atomic<bool> released{false}, entered{false};
    std::thread other;
    {
        auto held = cache.Acquire(2, false, 0);
        other = std::thread([&] {
            auto mine = cache.Acquire(0, true, 0);
            entered = true;
            EXPECT_TRUE(released.load());
            EXPECT_EQ(mine->Entries()[0], 0xFFFFFFu);
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        EXPECT_FALSE(entered.load());
        EXPECT_EQ(held->Entries()[255], 0x0000FFu);
        released = true;
    }
    other.join();
    EXPECT_TRUE(entered.load());
}

} // namespace
