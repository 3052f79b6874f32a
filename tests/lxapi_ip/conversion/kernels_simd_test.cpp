// The instruction-set specific row functions give the same bytes as the portable ones: random data,
// odd widths, padded lines, reverse on and off, and destination buffers with random contents (so
// kept alpha samples and padding are compared too). Every level at which the row functions have a
// form of their own and the processor runs it is compared, each chosen through the one dispatcher.
#include "testimage.h"

#include <gtest/gtest.h>

#include <functional>

using namespace lxconv;
using namespace convtest;

namespace {

const size_t kWidths[] = {1, 2, 5, 9, 15, 16, 17, 31, 33, 47, 64, 101, 255, 1031, 2500};

class SimdMatchesPortable : public ::testing::Test {
protected:
    void SetUp() override {
        levels = FastLevels();
        if (levels.empty()) GTEST_SKIP() << "no instruction-set form of the row functions runs here";
    }

    // Runs `convert` into copies of one random destination, once per level, and compares every fast
    // level's bytes with the portable ones.
    void Check(const Image& dstTemplate, const std::function<void(Image&)>& convert, const char* what) {
        Image portable = dstTemplate;
        {
            lxcpu::ForcedLevel forced(lxcpu::Level::Portable);
            ASSERT_EQ(KernelLevel(), lxcpu::Level::Portable);
            convert(portable);
        }
        for (lxcpu::Level level : levels) {
            Image fast = dstTemplate;
            {
                lxcpu::ForcedLevel forced(level);
                ASSERT_EQ(KernelLevel(), level);
                convert(fast);
            }
            ASSERT_EQ(portable.bytes, fast.bytes) << what << ", " << lxcpu::LevelName(level);
        }
    }

    // A random image of `lineBytes` bytes per line and up to 5 bytes of padding.
    Image RandomImage(size_t lineBytes, size_t height) {
        Image img(lineBytes + rng() % 6, height);
        img.Randomize(rng);
        return img;
    }

    std::mt19937 rng{2024};
    std::vector<lxcpu::Level> levels;
};

TEST_F(SimdMatchesPortable, EightBitColourOrderAndAlpha) {
    for (size_t w : kWidths)
        for (unsigned ss : {3u, 4u})
            for (unsigned ds : {3u, 4u})
                for (bool swap : {false, true})
                    for (bool reverse : {false, true}) {
                        const size_t h = 3;
                        Image src = RandomImage(ss * w, h), dst = RandomImage(ds * w, h);
                        Check(dst, [&](Image& d) {
                            ConvertColorToColor(src.Src(8, ss, true), d.Dst(8, ds, !swap), w, h, reverse, nullptr);
                        }, "colour");
                    }
}

TEST_F(SimdMatchesPortable, EightBitLuminance) {
    for (size_t w : kWidths)
        for (unsigned ss : {3u, 4u})
            for (bool blueFirst : {false, true})
                for (bool reverse : {false, true}) {
                    const size_t h = 3;
                    Image src = RandomImage(ss * w, h), dst = RandomImage(w, h);
                    Check(dst, [&](Image& d) {
                        ConvertColorToMono(src.Src(8, ss, blueFirst), d.Dst(8), w, h, reverse, nullptr);
                    }, "luminance");
                }
}

TEST_F(SimdMatchesPortable, OneComponentMappings) {
    // Random words exceed the source depth, so the clamping is compared as well.
    std::vector<uint16_t> random16(65536), random8(256), random12(4096);
    for (auto& v : random16) v = uint16_t(rng() & 0xFF);
    for (auto& v : random8) v = uint16_t(rng());
    for (auto& v : random12) v = uint16_t(rng() & 0x3FFF);
    struct Case {
        unsigned s, d;
        BitConversionTableRef table;
    };
    std::vector<Case> cases;
    cases.push_back({16, 8, Table(16, 8)});                         // shift
    cases.push_back({16, 8, Table(16, 8, 0.45)});                   // curve
    cases.push_back({16, 8, TableOf(16, 8, random16)});             // arbitrary
    cases.push_back({12, 8, Table(12, 8)});
    cases.push_back({8, 16, Table(8, 16)});                         // i * 257
    cases.push_back({8, 16, Table(8, 16, 1.0, BitExpansion_LeftShiftBy1)});
    cases.push_back({8, 16, TableOf(8, 16, random8)});
    cases.push_back({8, 10, Table(8, 10, 1.7)});
    cases.push_back({12, 16, Table(12, 16)});                       // rounded scale
    cases.push_back({10, 16, Table(10, 16)});
    cases.push_back({14, 15, Table(14, 15)});
    cases.push_back({8, 12, Table(8, 12)});
    cases.push_back({6, 16, Table(6, 16)});                         // bytes above 63 clamp
    cases.push_back({12, 16, Table(12, 16, 1.0, BitExpansion_LeftShiftBy0)});
    cases.push_back({12, 14, TableOf(12, 14, random12)});
    cases.push_back({16, 10, Table(16, 10, 2.0)});
    cases.push_back({12, 12, BitConversionTableRef()});             // copy
    cases.push_back({8, 8, BitConversionTableRef()});
    cases.push_back({8, 6, Table(8, 6, 0.8)});
    for (const Case& c : cases)
        for (size_t w : kWidths)
            for (bool reverse : {false, true}) {
                const size_t h = 2, sb = c.s > 8 ? 2 : 1, db = c.d > 8 ? 2 : 1;
                Image src = RandomImage(sb * w, h), dst = RandomImage(db * w, h);
                Check(dst, [&](Image& d) {
                    ConvertUnpacked(src.Src(c.s), d.Dst(c.d), w, h, reverse, c.table.get());
                }, "one component");
            }
}

TEST_F(SimdMatchesPortable, ComputedTableFormsOverEverySampleValue) {
    // A table of computed form must give its entry for every sample, so every value is tried once.
    for (unsigned s = 1; s <= 16; ++s)
        for (unsigned d = 1; d <= 16; ++d)
            for (uint32_t mode : {0u, 1u, 2u, 3u}) {
                if (s == d || (d < s && mode != 0)) continue; // the mode only matters when depth grows
                auto t = Table(s, d, 1.0, mode);
                if (t->GetForm() == BitConversionTable::Form::Lookup) continue;
                const size_t w = size_t(1) << s, sb = s > 8 ? 2 : 1, db = d > 8 ? 2 : 1;
                Image src(sb * w, 1);
                for (size_t x = 0; x < w; ++x) sb == 2 ? src.Set16(x, 0, uint32_t(x)) : src.Set8(x, 0, uint32_t(x));
                for (lxcpu::Level level : levels) {
                    Image dst(db * w, 1);
                    {
                        lxcpu::ForcedLevel forced(level);
                        ConvertUnpacked(src.Src(s), dst.Dst(d), w, 1, false, t.get());
                    }
                    for (size_t x = 0; x < w; ++x) {
                        const uint32_t got = db == 2 ? dst.U16(x, 0) : dst.U8(x, 0);
                        ASSERT_EQ(got, uint32_t(db == 2 ? t->Entries()[x] : t->Entries()[x] & 0xFF))
                            << s << "->" << d << " mode " << mode << " sample " << x << ", "
                            << lxcpu::LevelName(level);
                    }
                }
            }
}

TEST_F(SimdMatchesPortable, UnpackingBitPackedAndPacked) {
    // Destinations of 8 and 16 bits and the source's own depth; tables of every form: the default
    // (computed), LeftShiftBy1 (linear) and gamma 0.7 (looked up).
    for (unsigned bits : {10u, 12u, 14u})
        for (unsigned dbits : {8u, 16u, bits})
            for (int variant = 0; variant < (dbits == bits ? 1 : 3); ++variant)
                for (size_t w : kWidths)
                    for (bool reverse : {false, true}) {
                        const size_t h = 2;
                        BitConversionTableRef t;
                        if (dbits != bits)
                            t = variant == 0   ? Table(bits, dbits)
                                : variant == 1 ? Table(bits, dbits, 1.0, BitExpansion_LeftShiftBy1)
                                               : Table(bits, dbits, 0.7);
                        Image src = RandomImage((w * bits + 7) / 8, h);
                        Image dst = RandomImage((dbits > 8 ? 2 : 1) * w, h);
                        Check(dst, [&](Image& d) {
                            ConvertBitPackedToUnpacked(src.Src(bits), d.Dst(dbits), w, h, reverse, t.get());
                        }, "bit-packed");
                        if (bits == 14) continue;
                        Image packed = RandomImage(w / 2 * 3 + (w & 1) * 2, h);
                        Check(dst, [&](Image& d) {
                            ConvertPackedToUnpacked(packed.Src(bits), d.Dst(dbits), w, h, reverse, t.get());
                        }, "packed");
                    }
}

} // namespace
