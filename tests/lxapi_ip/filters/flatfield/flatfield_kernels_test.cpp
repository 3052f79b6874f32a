// The flat field row kernels: every fast form gives the bytes of the portable form, on odd widths,
// lines at odd addresses, the whole range of samples and entries, and both laws.
#include "filters/flatfield/flatfieldkernels.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

namespace {

struct Case {
    size_t bytes; // per sample
    uint32_t maximum;
    int law; // 1 Multiplication, 2 Addition
};

std::vector<uint8_t> ApplyRow(const lxff::RowKernels& k, const Case& c, const std::vector<uint8_t>& src,
                              const std::vector<uint32_t>& table, size_t width, size_t offset,
                              const lxff::LawConstants& law) {
    std::vector<uint8_t> row(src);
    if (c.law == 1) {
        const std::vector<lxff::Gain> gains(table.begin(), table.end());
        k.multiply[c.bytes - 1](row.data() + offset, gains.data(), width, c.maximum, law);
    } else {
        k.add[c.bytes - 1](row.data() + offset, table.data(), width, c.maximum, law);
    }
    return row;
}

} // namespace

TEST(FlatFieldKernels, EveryLevelMatchesThePortableForm) {
    const auto& forms = lxff::Kernels();
    const std::vector<lxcpu::Level> levels = lxcpu::FastLevels([&](lxcpu::Level l) { return forms.LevelAt(l); });
    if (levels.empty()) GTEST_SKIP() << "no fast form on this processor";
    const lxff::RowKernels* portable;
    {
        lxcpu::ForcedLevel forced(lxcpu::Level::Portable);
        portable = &forms.Get();
    }
    std::mt19937 rng(7);
    const Case cases[] = {{1, 255, 1},   {1, 255, 2},  {2, 1023, 1}, {2, 4095, 1},
                          {2, 65535, 1}, {2, 4095, 2}, {2, 65535, 2}};
    // The constructor's constants, and input and output offsets that take part in the law.
    const lxff::LawConstants laws[] = {{}, {37, 5, 16}};
    for (const Case& c : cases) {
        for (const lxff::LawConstants& law : laws) {
            for (size_t width : {1u, 7u, 15u, 16u, 17u, 31u, 32u, 33u, 63u, 64u, 95u, 257u, 2447u}) {
                for (size_t offset : {0u, 1u}) {
                    std::vector<uint8_t> src(width * c.bytes + 2 + 16);
                    for (uint8_t& b : src) b = uint8_t(rng());
                    std::vector<uint32_t> table(width);
                    for (uint32_t& t : table) {
                        // Gains over the whole 16 bits (the ceiling 16.0 is 2048); differences of
                        // either sign over the whole range.
                        t = c.law == 1 ? rng() % 65536 : uint32_t(int32_t(rng() % 131071) - 65535);
                    }
                    const auto expected = ApplyRow(*portable, c, src, table, width, offset, law);
                    for (lxcpu::Level level : levels) {
                        lxcpu::ForcedLevel forced(level);
                        ASSERT_EQ(ApplyRow(forms.Get(), c, src, table, width, offset, law), expected)
                            << lxcpu::LevelName(level) << " law " << c.law << " bytes " << c.bytes << " width "
                            << width << " input offset " << law.inputOffset;
                    }
                }
            }
        }
    }
}
