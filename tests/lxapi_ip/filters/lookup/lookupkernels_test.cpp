// The lookup kernels against a plain loop written here, and every instruction-set form against the
// portable one: random tables and samples, every period with tables missing from some lanes, other
// lanes on odd rows, line lengths around the 64-byte blocks, and padding that must stay.
#include "lookupkernels.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

using namespace lxlookup;

namespace {

const size_t kCounts[] = {0, 1, 2, 5, 63, 64, 65, 127, 128, 191, 200, 1000};

struct Case {
    std::vector<std::vector<uint8_t>> byteTables;
    std::vector<std::vector<uint16_t>> wordTables;
    ByteLanes byteRows[2];
    WordLanes wordRows[2];
};

// Lanes of `period` with random tables out of `pool` distinct ones, some lanes without one.
Case MakeCase(std::mt19937& rng, uint32_t period, size_t pool) {
    Case c;
    for (size_t i = 0; i < pool; ++i) {
        std::vector<uint8_t> b(kByteTableSize);
        for (uint8_t& e : b) e = uint8_t(rng());
        std::vector<uint16_t> w(kWordTableSize);
        for (uint16_t& e : w) e = uint16_t(rng());
        c.byteTables.push_back(std::move(b));
        c.wordTables.push_back(std::move(w));
    }
    for (auto& rows : {0, 1}) {
        c.byteRows[rows].period = c.wordRows[rows].period = period;
        for (uint32_t l = 0; l < period; ++l) {
            const size_t pick = rng() % (pool + 1); // pool means "no table"
            c.byteRows[rows].table[l] = pick < pool ? c.byteTables[pick].data() : nullptr;
            c.wordRows[rows].table[l] = pick < pool ? c.wordTables[pick].data() : nullptr;
        }
    }
    return c;
}

// The rule itself: sample i of line y takes entry v of the table of lane i % period, or stays.
template <class Entry>
std::vector<uint8_t> Reference(std::vector<uint8_t> bytes, size_t height, size_t pitch, size_t count,
                               const Lanes<Entry> (&rows)[2]) {
    for (size_t y = 0; y < height; ++y)
        for (size_t i = 0; i < count; ++i) {
            const Entry* t = rows[y & 1].table[i % rows[y & 1].period];
            if (!t) continue;
            uint8_t* p = bytes.data() + y * pitch + i * sizeof(Entry);
            Entry v;
            std::memcpy(&v, p, sizeof v);
            v = t[v];
            std::memcpy(p, &v, sizeof v);
        }
    return bytes;
}

std::vector<lxcpu::Level> AllLevels() {
    std::vector<lxcpu::Level> levels{lxcpu::Level::Portable};
    for (lxcpu::Level l : lxcpu::FastLevels([](lxcpu::Level a) { return KernelLevelAt(a); })) levels.push_back(l);
    return levels;
}

} // namespace

TEST(LookupKernels, EveryFormMatchesTheRuleAtEveryPeriod) {
    std::mt19937 rng(19);
    for (lxcpu::Level level : AllLevels()) {
        lxcpu::ForcedLevel forced(level);
        ASSERT_EQ(KernelLevel(), level);
        for (uint32_t period = 1; period <= kMaxPeriod; ++period) {
            for (size_t pool : {1u, 2u, 3u, 5u}) {
                const Case c = MakeCase(rng, period, pool);
                for (size_t count : kCounts) {
                    SCOPED_TRACE(testing::Message() << lxcpu::LevelName(level) << " period " << period << " pool "
                                                    << pool << " count " << count);
                    const size_t height = 3;
                    // Bytes, with 1 to 7 bytes of padding that must not change.
                    const size_t bytePitch = count + 1 + rng() % 7;
                    std::vector<uint8_t> bytes(bytePitch * height);
                    for (uint8_t& b : bytes) b = uint8_t(rng());
                    const std::vector<uint8_t> expected = Reference(bytes, height, bytePitch, count, c.byteRows);
                    MapBytes({bytes.data(), height, bytePitch, count, {c.byteRows[0], c.byteRows[1]}});
                    ASSERT_EQ(bytes, expected);
                    // Words, at an odd address and an odd pitch.
                    const size_t wordPitch = 2 * count + 1 + rng() % 4;
                    std::vector<uint8_t> words(wordPitch * height + 1);
                    for (uint8_t& b : words) b = uint8_t(rng());
                    std::vector<uint8_t> wordsExpected(words.begin() + 1, words.end());
                    wordsExpected = Reference(wordsExpected, height, wordPitch, count, c.wordRows);
                    MapWords({words.data() + 1, height, wordPitch, count, {c.wordRows[0], c.wordRows[1]}});
                    ASSERT_TRUE(std::equal(wordsExpected.begin(), wordsExpected.end(), words.begin() + 1));
                }
            }
        }
    }
}

TEST(LookupKernels, EveryByteValueReachesItsEntryInBothTableHalves) {
    // A table whose entries differ from their index everywhere, on a line holding every value: the
    // choice between the lower and the upper 128 entries is seen for each byte.
    std::vector<uint8_t> table(kByteTableSize);
    for (size_t i = 0; i < table.size(); ++i) table[i] = uint8_t(255 - i);
    for (lxcpu::Level level : AllLevels()) {
        lxcpu::ForcedLevel forced(level);
        std::vector<uint8_t> line(512);
        for (size_t i = 0; i < line.size(); ++i) line[i] = uint8_t(i * 7);
        ByteLanes lanes;
        lanes.table[0] = table.data();
        MapBytes(Uniform(line.data(), 1, line.size(), line.size(), lanes));
        for (size_t i = 0; i < line.size(); ++i) ASSERT_EQ(line[i], uint8_t(255 - uint8_t(i * 7))) << i;
    }
}

TEST(LookupKernels, TableHelpers) {
    std::vector<uint16_t> words(kWordTableSize, 0);
    for (size_t i = 0; i < 1024; ++i) words[i] = uint16_t(i * 3);
    ExtendWordTable(words.data(), 1024);
    EXPECT_EQ(words[1023], 3069);
    EXPECT_EQ(words[1024], 3069);
    EXPECT_EQ(words[65535], 3069);
    uint8_t bytes[kByteTableSize];
    NarrowTable(words.data(), bytes);
    EXPECT_EQ(bytes[100], uint8_t(300));
    // A period outside 1..6 maps nothing.
    std::vector<uint8_t> line(16, 9);
    ByteLanes lanes;
    lanes.period = 7;
    for (auto& t : lanes.table) t = bytes;
    MapBytes(Uniform(line.data(), 1, 16, 16, lanes));
    EXPECT_EQ(line, std::vector<uint8_t>(16, 9));
}
