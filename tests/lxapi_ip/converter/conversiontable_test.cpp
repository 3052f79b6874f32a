// The conversion table: the registration list generated from the family rules holds the records and
// keys the format families give, first record wins, and the map holds only what this build converts.
#include "lxconversiontable.h"

#include <includeinside/ilxpixelformatinfoinside.h>
#include <lxapi/lxapi_tl.h>
#include <lxapi/lxpixelformat.h>

#include <gtest/gtest.h>

#include <map>
#include <set>

namespace {
#define PF(name) LxPixelFormat_##name

bool Registered(uint32_t s, uint32_t d) { return ConversionMap::Instance().FindMember(s, d, nullptr); }
ConversionMember MemberOf(uint32_t s, uint32_t d) {
    ConversionMember m = ConversionMember::Count;
    ConversionMap::Instance().FindMember(s, d, &m);
    return m;
}
} // namespace

TEST(ConversionRegistry, RecordsKeysAndRepeatedRows) {
    const auto& records = ConversionRegistry();
    std::map<ConversionKey, std::vector<ConversionMember>> byKey;
    for (const auto& r : records) {
        EXPECT_NE(r.key.source, r.key.destination);
        byKey[r.key].push_back(r.member);
    }
    EXPECT_EQ(records.size(), 4065u);
    EXPECT_EQ(byKey.size(), 4011u);
    size_t twice = 0;
    for (const auto& [key, members] : byKey) {
        ASSERT_LE(members.size(), 2u);
        twice += members.size() == 2;
    }
    EXPECT_EQ(twice, 54u);
    // The chain stands in front of the direct member for the deep BGR colours to Mono16.
    const auto& bgr10 = byKey[{PF(BGR10), PF(Mono16)}];
    ASSERT_EQ(bgr10.size(), 2u);
    EXPECT_EQ(bgr10[0], ConversionMember::ViaDestinationFilter);
    EXPECT_EQ(bgr10[1], ConversionMember::ColorNToMonoN);
    // BayerBG12Packed stands twice where BayerGR12Packed would.
    EXPECT_EQ(byKey.count(ConversionKey{PF(BayerGR12Packed), PF(BGR10)}), 0u);
    EXPECT_EQ((byKey[{PF(BayerBG12Packed), PF(RGB10p32)}].size()), 2u);
    EXPECT_EQ(byKey.count(ConversionKey{PF(BayerGR12Packed), PF(BGR12)}), 1u);
}

TEST(ConversionRegistry, FamiliesThatNeverMeet) {
    const auto& records = ConversionRegistry();
    std::set<std::pair<uint32_t, uint32_t>> keys;
    for (const auto& r : records) keys.insert({r.key.source, r.key.destination});
    // A phase change is no conversion; nothing non-polarized converts into a polarized format.
    EXPECT_FALSE(keys.count({PF(BayerRG8), PF(BayerGR8)}));
    EXPECT_FALSE(keys.count({PF(Mono8), PF(BayerRG8)}));
    EXPECT_FALSE(keys.count({PF(Mono8), PF(Pol1Mono8)}));
    EXPECT_FALSE(keys.count({PF(Pol1Mono8), PF(Pol1MonoX10)}));
    EXPECT_TRUE(keys.count({PF(Pol1Mono8), PF(Pol1Mono10)}));
    EXPECT_FALSE(keys.count({PF(BGR10p), PF(BGR12p)}));
    EXPECT_FALSE(keys.count({PF(Mono10p), PF(Mono12p)}));
    EXPECT_FALSE(keys.count({PF(BGR16), PF(YCbCr422_8)}));
    EXPECT_FALSE(keys.count({PF(Mono8), PF(YCbCr422_8)}));
    EXPECT_TRUE(keys.count({PF(Mono8), PF(CYCbCr420_8_YY_Cb_Cr_Planar)}));
    EXPECT_TRUE(keys.count({PF(BGR16), PF(CYCbCr420_8_YY_Cb_Cr_Planar)}));
    EXPECT_FALSE(keys.count({PF(Mono16), PF(BGR12)}));
    EXPECT_TRUE(keys.count({PF(Mono12), PF(BGR16)}));
    auto polarized = [](uint32_t f) {
        return dynamic_cast<ILxPixelFormatInfoInside*>(GetILxPixelFormatInfo(f))->IsPolarized();
    };
    for (const auto& r : records) {
        if (polarized(r.key.destination)) {
            EXPECT_TRUE(polarized(r.key.source)) << std::hex << r.key.source;
        }
    }
}

// The pairs this build converts, counted per source family by a separate implementation of the
// family rules (not the generator).
TEST(ConversionMap, PairsOfThisBuild) {
    // Each key counts once even where two records name it.
    std::set<std::pair<uint32_t, uint32_t>> seen;
    for (const auto& r : ConversionRegistry())
        if (Registered(r.key.source, r.key.destination)) seen.insert({r.key.source, r.key.destination});
    const size_t total = seen.size();
    EXPECT_EQ(total, 4011u);
    EXPECT_EQ(ConversionMap::Instance().Size(), 4011u);

    auto familyCount = [&](std::initializer_list<uint32_t> sources) {
        size_t n = 0;
        for (const auto& [s, d] : seen)
            for (uint32_t f : sources) n += s == f;
        return n;
    };
    // Mono8: 4 MonoN, 6 bit-packed, 2 Packed, 4 Color8, 9 ColorN, 1 + 3 planar, the 4:2:0 planar.
    EXPECT_EQ(familyCount({PF(Mono8)}), 30u);
    // Each MonoN: Mono8, 3 MonoN, 4 Color8 (through Mono8), 9 ColorN, 1 + 3 planar, 4:2:0; Mono16 not
    // to the six 10 to 14-bit colours.
    EXPECT_EQ(familyCount({PF(Mono10), PF(Mono12), PF(Mono14), PF(Mono16)}), 4 * 22u - 6u);
    // Each Bayer8: 31 without YCbCr, and YCbCr422_8 and the 4:2:0 planar.
    EXPECT_EQ(familyCount({PF(BayerGR8), PF(BayerRG8), PF(BayerGB8), PF(BayerBG8)}), 4 * 33u);
    // Each Color8: 79 without YCbCr, and the 18 packed YCbCr and YUV formats and the 4:2:0 planar.
    EXPECT_EQ(familyCount({PF(BGR8), PF(BGRa8), PF(RGB8), PF(RGBa8)}), 4 * 98u);
    EXPECT_EQ(familyCount({PF(BGR10p), PF(BGR12p), PF(RGB10p), PF(RGB12p)}), 68u + 4u);
    EXPECT_EQ(familyCount({PF(CBGR10p32), PF(RGB10p32)}), 46u + 2u);
    // Mono8, Mono16, 4 Color8, 9 ColorN, 2 Color32, 1 + 3 planar, the 4:2:0 planar.
    EXPECT_EQ(familyCount({PF(YCbCr422_8)}), 22u);
    EXPECT_EQ(familyCount({PF(CYCbCr420_8_YY_Cb_Cr_Planar)}), 21u);
    // Each polarized 8-bit format: Mono8, Mono16, 4 Color8, BGR16, BGRa16, RGB16, 1 + 1 planar, and the
    // 10 and 12-bit forms of its variant, unpacked and packed.
    EXPECT_EQ(familyCount({PF(Pol1Mono8), PF(Pol1MonoXC8), PF(Pol1BayerRG8), PF(Pol1BayerRGXYC8)}), 4 * 15u);
    // Each polarized 10 or 12-bit format: Mono8, its mono, Mono16, its BGR and BGRa, 4 Color8, the
    // five above, and its 8-bit form.
    EXPECT_EQ(familyCount({PF(Pol1MonoY10), PF(Pol1BayerRGC12)}), 2 * 15u);
    // Each bit-packed one: the same fourteen through its unpacked form, its 8-bit form and its unpacked form.
    EXPECT_EQ(familyCount({PF(Pol1MonoXY10p), PF(Pol1BayerRGYC12p)}), 2 * 16u);
}

TEST(ConversionMap, FindConversionRules) {
    // Equal formats copy, registered or not.
    EXPECT_NE(FindConversion(PF(Mono8), PF(Mono8)), nullptr);
    EXPECT_EQ(FindConversion(PF(Mono8), PF(Mono8)), g_convertCopyHandler);
    EXPECT_EQ(FindConversion(PF(BayerRG8), PF(BayerGR8)), nullptr);
    EXPECT_EQ(FindConversion(PF(BayerGR12Packed), PF(BGR10)), nullptr);
    EXPECT_NE(FindConversion(PF(BayerRG12Packed), PF(BGR10)), nullptr);
    EXPECT_EQ(MemberOf(PF(BGR10), PF(Mono16)), ConversionMember::ViaDestinationFilter);
    EXPECT_EQ(MemberOf(PF(BGR10), PF(Mono12)), ConversionMember::ColorNToMonoN);
    EXPECT_EQ(MemberOf(PF(Mono8), PF(BGR8)), ConversionMember::Mono8ToColor8);
    EXPECT_EQ(MemberOf(PF(Mono12), PF(BGR8)), ConversionMember::ViaSourceFilter);
    EXPECT_EQ(FindConversion(PF(Mono16), PF(BGR12)), nullptr);
    EXPECT_EQ(FindConversion(0x12345678u, PF(Mono8)), nullptr);
    EXPECT_EQ(MemberOf(PF(BayerRG8), PF(YCbCr422_8)), ConversionMember::ToYCbCr);
    EXPECT_EQ(MemberOf(PF(YUV422_8), PF(CYCbCr420_8_YY_Cb_Cr_Planar)), ConversionMember::ViaBGRa8);
    EXPECT_EQ(MemberOf(PF(YCbCr411_8), PF(Mono16)), ConversionMember::ViaDestinationFilter);
}

// Every key of the list is in the map: no member, nor any step of a chain, is missing.
TEST(ConversionMap, EveryKeyIsInTheMap) {
    std::set<std::pair<uint32_t, uint32_t>> keys, missing;
    for (const auto& r : ConversionRegistry()) {
        keys.insert({r.key.source, r.key.destination});
        if (!Registered(r.key.source, r.key.destination)) missing.insert({r.key.source, r.key.destination});
    }
    EXPECT_EQ(keys.size(), 4011u);
    for (const auto& [s, d] : missing) ADD_FAILURE() << std::hex << s << " -> " << d;
}
