// Pixel format facts checked against an independent list of names and codes and hand-derived facts.
#include <ilxpixelformatinfoinside.h>
#include <lxapi/lxapi_tl.h>
#include <lxapi/lxpixelformat.h>

#include <gtest/gtest.h>

#include <cctype>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <map>
#include <string>
#include <vector>

namespace {

struct NamedCode {
    const char* name;
    uint32_t code;
};

// The names and codes of the converter's destination list, typed in from the SDK's documentation.
const NamedCode kConverterFormats[] = {
    {"Mono1p", 0x01010037u}, {"Mono2p", 0x01020038u}, {"Mono4p", 0x01040039u}, {"Mono8", 0x01080001u},
    {"Mono10", 0x01100003u}, {"Mono10p", 0x010A0046u}, {"Mono10Packed", 0x010C0004u}, {"Mono12", 0x01100005u},
    {"Mono12p", 0x010C0047u}, {"Mono12Packed", 0x010C0006u}, {"Mono14", 0x01100025u}, {"Mono14p", 0x010E0104u},
    {"Mono16", 0x01100007u}, {"BayerGR4p", 0x0104010Du}, {"BayerRG4p", 0x0104010Eu}, {"BayerGB4p", 0x0104010Fu},
    {"BayerBG4p", 0x01040110u}, {"BayerGR8", 0x01080008u}, {"BayerRG8", 0x01080009u}, {"BayerGB8", 0x0108000Au},
    {"BayerBG8", 0x0108000Bu}, {"BayerGR10", 0x0110000Cu}, {"BayerRG10", 0x0110000Du}, {"BayerGB10", 0x0110000Eu},
    {"BayerBG10", 0x0110000Fu}, {"BayerGR10p", 0x010A0056u}, {"BayerRG10p", 0x010A0058u},
    {"BayerGB10p", 0x010A0054u}, {"BayerBG10p", 0x010A0052u}, {"BayerGR10Packed", 0x010C0026u},
    {"BayerRG10Packed", 0x010C0027u}, {"BayerGB10Packed", 0x010C0028u}, {"BayerBG10Packed", 0x010C0029u},
    {"BayerGR12", 0x01100010u}, {"BayerRG12", 0x01100011u}, {"BayerGB12", 0x01100012u}, {"BayerBG12", 0x01100013u},
    {"BayerGR12p", 0x010C0057u}, {"BayerRG12p", 0x010C0059u}, {"BayerGB12p", 0x010C0055u},
    {"BayerBG12p", 0x010C0053u}, {"BayerGR12Packed", 0x010C002Au}, {"BayerRG12Packed", 0x010C002Bu},
    {"BayerGB12Packed", 0x010C002Cu}, {"BayerBG12Packed", 0x010C002Du}, {"BayerGR14", 0x01100109u},
    {"BayerRG14", 0x0110010Au}, {"BayerGB14", 0x0110010Bu}, {"BayerBG14", 0x0110010Cu}, {"BayerGR14p", 0x010E0105u},
    {"BayerRG14p", 0x010E0106u}, {"BayerGB14p", 0x010E0107u}, {"BayerBG14p", 0x010E0108u},
    {"BayerGR16", 0x0110002Eu}, {"BayerRG16", 0x0110002Fu}, {"BayerGB16", 0x01100030u}, {"BayerBG16", 0x01100031u},
    {"BGR8", 0x02180015u}, {"RGB8", 0x02180014u}, {"BGRa8", 0x02200017u}, {"RGBa8", 0x02200016u},
    {"RGB8_Planar", 0x02180021u}, {"BGR10", 0x02300019u}, {"BGRa10", 0x0240004Cu}, {"RGB10_Planar", 0x02300022u},
    {"CBGR10p32", 0x82200001u}, {"RGB10p32", 0x0220001Du}, {"BGR10p", 0x021E0048u}, {"RGB10p", 0x021E005Cu},
    {"BGR12", 0x0230001Bu}, {"BGRa12", 0x0240004Eu}, {"RGB12_Planar", 0x02300023u}, {"BGR12p", 0x02240049u},
    {"RGB12p", 0x0224005Du}, {"BGR14", 0x0230004Au}, {"BGRa14", 0x02400050u}, {"BGR16", 0x0230004Bu},
    {"RGB16", 0x02300033u}, {"BGRa16", 0x02400051u}, {"RGB16_Planar", 0x02300024u}, {"YCbCr411_8", 0x020C005Au},
    {"YCbCr411_8_CbYYCrYY", 0x020C003Cu}, {"YCbCr422_8", 0x0210003Bu}, {"YCbCr422_8_CbYCrY", 0x02100043u},
    {"YCbCr8", 0x0218005Bu}, {"YCbCr8_CbYCr", 0x0218003Au}, {"YCbCr601_411_8_CbYYCrYY", 0x020C003Fu},
    {"YCbCr601_422_8", 0x0210003Eu}, {"YCbCr601_422_8_CbYCrY", 0x02100044u}, {"YCbCr601_8_CbYCr", 0x0218003Du},
    {"YCbCr709_411_8_CbYYCrYY", 0x020C0042u}, {"YCbCr709_422_8", 0x02100041u},
    {"YCbCr709_422_8_CbYCrY", 0x02100045u}, {"YCbCr709_8_CbYCr", 0x02180040u}, {"YUV411_8_UYYVYY", 0x020C001Eu},
    {"YUV422_8", 0x02100032u}, {"YUV422_8_UYVY", 0x0210001Fu}, {"YUV8_UYV", 0x02180020u},
    {"CYCbCr420_8_YY_Cb_Cr_Planar", 0x820C0152u}, {"Pol1Mono8", 0x81080002u}, {"Pol1MonoX8", 0x81080003u},
    {"Pol1MonoY8", 0x81080004u}, {"Pol1MonoXY8", 0x81080005u}, {"Pol1Mono10", 0x81100006u},
    {"Pol1MonoX10", 0x81100007u}, {"Pol1MonoY10", 0x81100008u}, {"Pol1MonoXY10", 0x81100009u},
    {"Pol1Mono12", 0x8110000Au}, {"Pol1MonoX12", 0x8110000Bu}, {"Pol1MonoY12", 0x8110000Cu},
    {"Pol1MonoXY12", 0x8110000Du}, {"Pol1BayerRG8", 0x8108000Eu}, {"Pol1BayerRGX8", 0x8108000Fu},
    {"Pol1BayerRGY8", 0x81080010u}, {"Pol1BayerRGXY8", 0x81080011u}, {"Pol1BayerRG10", 0x81100012u},
    {"Pol1BayerRGX10", 0x81100013u}, {"Pol1BayerRGY10", 0x81100014u}, {"Pol1BayerRGXY10", 0x81100015u},
    {"Pol1BayerRG12", 0x81100016u}, {"Pol1BayerRGX12", 0x81100017u}, {"Pol1BayerRGY12", 0x81100018u},
    {"Pol1BayerRGXY12", 0x81100019u}, {"Pol1Mono10p", 0x810A001Au}, {"Pol1MonoX10p", 0x810A001Bu},
    {"Pol1MonoY10p", 0x810A001Cu}, {"Pol1MonoXY10p", 0x810A001Du}, {"Pol1Mono12p", 0x810C001Eu},
    {"Pol1MonoX12p", 0x810C001Fu}, {"Pol1MonoY12p", 0x810C0020u}, {"Pol1MonoXY12p", 0x810C0021u},
    {"Pol1BayerRG10p", 0x810A0022u}, {"Pol1BayerRGX10p", 0x810A0023u}, {"Pol1BayerRGY10p", 0x810A0024u},
    {"Pol1BayerRGXY10p", 0x810A0025u}, {"Pol1BayerRG12p", 0x810C0026u}, {"Pol1BayerRGX12p", 0x810C0027u},
    {"Pol1BayerRGY12p", 0x810C0028u}, {"Pol1BayerRGXY12p", 0x810C0029u}, {"Pol1MonoC8", 0x8108002Au},
    {"Pol1MonoXC8", 0x8108002Bu}, {"Pol1MonoYC8", 0x8108002Cu}, {"Pol1MonoXYC8", 0x8108002Du},
    {"Pol1MonoC10", 0x8110002Eu}, {"Pol1MonoXC10", 0x8110002Fu}, {"Pol1MonoYC10", 0x81100030u},
    {"Pol1MonoXYC10", 0x81100031u}, {"Pol1MonoC12", 0x81100032u}, {"Pol1MonoXC12", 0x81100033u},
    {"Pol1MonoYC12", 0x81100034u}, {"Pol1MonoXYC12", 0x81100035u}, {"Pol1BayerRGC8", 0x81080036u},
    {"Pol1BayerRGXC8", 0x81080037u}, {"Pol1BayerRGYC8", 0x81080038u}, {"Pol1BayerRGXYC8", 0x81080039u},
    {"Pol1BayerRGC10", 0x8110003Au}, {"Pol1BayerRGXC10", 0x8110003Bu}, {"Pol1BayerRGYC10", 0x8110003Cu},
    {"Pol1BayerRGXYC10", 0x8110003Du}, {"Pol1BayerRGC12", 0x8110003Eu}, {"Pol1BayerRGXC12", 0x8110003Fu},
    {"Pol1BayerRGYC12", 0x81100040u}, {"Pol1BayerRGXYC12", 0x81100041u}, {"Pol1MonoC10p", 0x810A0042u},
    {"Pol1MonoXC10p", 0x810A0043u}, {"Pol1MonoYC10p", 0x810A0044u}, {"Pol1MonoXYC10p", 0x810A0045u},
    {"Pol1MonoC12p", 0x810C0046u}, {"Pol1MonoXC12p", 0x810C0047u}, {"Pol1MonoYC12p", 0x810C0048u},
    {"Pol1MonoXYC12p", 0x810C0049u}, {"Pol1BayerRGC10p", 0x810A004Au}, {"Pol1BayerRGXC10p", 0x810A004Bu},
    {"Pol1BayerRGYC10p", 0x810A004Cu}, {"Pol1BayerRGXYC10p", 0x810A004Du}, {"Pol1BayerRGC12p", 0x810C004Eu},
    {"Pol1BayerRGXC12p", 0x810C004Fu}, {"Pol1BayerRGYC12p", 0x810C0050u}, {"Pol1BayerRGXYC12p", 0x810C0051u},
};

ILxPixelFormatInfoInside* Info(uint32_t code) {
    auto* inside = dynamic_cast<ILxPixelFormatInfoInside*>(GetILxPixelFormatInfo(code));
    EXPECT_NE(inside, nullptr) << std::hex << code;
    return inside;
}

TEST(PixelFormatInfo, EveryListedFormatIsKnownByNameAndCode) {
    ASSERT_EQ(std::size(kConverterFormats), 179u);
    std::map<uint32_t, std::string> seen;
    for (const NamedCode& f : kConverterFormats) {
        ASSERT_TRUE(seen.emplace(f.code, f.name).second) << "code listed twice: " << f.name;
        ILxPixelFormatInfoInside* info = Info(f.code);
        ASSERT_NE(info, nullptr);
        EXPECT_EQ(info->GetPixelFormat(), f.code) << f.name;
        EXPECT_STREQ(info->GetName().c_str(), f.name);
        EXPECT_EQ(GetILxPixelFormatInfo(f.code), info) << "not the same object on a second lookup: " << f.name;
        // PFNC: the second byte of the code is the number of bits of one pixel.
        EXPECT_EQ(info->GetPixelBits(), (f.code >> 16) & 0xFF) << f.name;
        EXPECT_EQ(info->GetDepth(), info->GetComponentBits()) << f.name;
    }
    ILxPixelFormatInfoInside* mono32 = Info(LxPixelFormat_Mono32);
    EXPECT_STREQ(mono32->GetName().c_str(), "Mono32");
    EXPECT_EQ(mono32->GetStorageBits(), 32u);
    EXPECT_EQ(mono32->GetComponentBits(), 32u);
}

TEST(PixelFormatInfo, UnknownCodeThrowsNamingTheCodeInHex) {
    for (uint32_t code : {0u, 0x01080002u, 0xFFFFFFFFu, 0x82200002u}) {
        char hex[16];
        std::snprintf(hex, sizeof hex, "%08X", code);
        try {
            GetILxPixelFormatInfo(code);
            ADD_FAILURE() << "no exception for " << hex;
        } catch (const GenICam::InvalidArgumentException& e) {
            EXPECT_NE(std::string(e.GetDescription()).find(hex), std::string::npos) << e.GetDescription();
        }
    }
}

// Facts that follow from the name alone, checked on every format: family flags, packing, the
// polarizer layout letters and the depth written in the name.
TEST(PixelFormatInfo, FactsFollowFromTheName) {
    const std::map<std::string, uint32_t> layoutOfLetters = {{"", 1}, {"X", 2}, {"Y", 3}, {"XY", 4},
                                                             {"C", 5}, {"XC", 6}, {"YC", 7}, {"XYC", 8}};
    for (const NamedCode& f : kConverterFormats) {
        const std::string n = f.name;
        ILxPixelFormatInfoInside* info = Info(f.code);
        ASSERT_NE(info, nullptr);
        const bool pol = n.rfind("Pol1", 0) == 0;
        const bool bayer = n.find("Bayer") != std::string::npos;
        const bool mono = n.find("Mono") != std::string::npos;
        const bool ycc = n.find("YCbCr") != std::string::npos || n.find("YUV") != std::string::npos;
        EXPECT_EQ(info->IsPolarized(), pol) << n;
        EXPECT_EQ(info->IsBayer(), bayer) << n;
        EXPECT_EQ(info->IsMono(), mono) << n;
        EXPECT_EQ(info->IsColor(), !mono) << n;
        EXPECT_EQ(info->IsYCbCr(), ycc) << n;
        EXPECT_EQ(info->GetPlaneCount(), n.find("Planar") != std::string::npos ? 3u : 1u) << n;
        EXPECT_EQ(info->IsPlanar(), n.find("Planar") != std::string::npos) << n;
        const bool alpha = n.find("BGRa") != std::string::npos || n.find("RGBa") != std::string::npos;
        EXPECT_EQ(info->HasAlpha(), alpha) << n;
        EXPECT_EQ(info->GetComponentCount(), mono || bayer ? 1u : alpha ? 4u : 3u) << n;
        EXPECT_EQ(info->IsBlueFirst(), n.find("BGR") != std::string::npos) << n;

        ELxPackingKind_t packing = LxPacking_None;
        if (n.size() > 6 && n.compare(n.size() - 6, 6, "Packed") == 0) packing = LxPacking_Packed;
        else if (n.back() == 'p') packing = LxPacking_BitPacked;
        else if (n.find("p32") != std::string::npos) packing = LxPacking_Word32;
        EXPECT_EQ(info->GetPackingKind(), packing) << n;
        EXPECT_EQ(info->IsPacked(), packing != LxPacking_None) << n;

        if (!ycc) { // the first number in the name is the depth
            const size_t at = n.find_first_of("0123456789", pol ? 4 : 0);
            const size_t depth = std::stoul(n.substr(at));
            EXPECT_EQ(info->GetComponentBits(), depth) << n;
            const size_t storage = packing != LxPacking_None ? depth : depth <= 8 ? 8 : 16;
            EXPECT_EQ(info->GetStorageBits(), storage) << n;
            if (pol) {
                const size_t start = bayer ? 11 : 8; // after "Pol1BayerRG" or "Pol1Mono"
                const std::string letters = n.substr(start, at - start);
                ASSERT_TRUE(layoutOfLetters.count(letters)) << n;
                EXPECT_EQ(info->GetPolarizerLayout(), layoutOfLetters.at(letters)) << n;
            }
        } else {
            EXPECT_EQ(info->GetComponentBits(), 8u) << n;
        }
        if (!pol) {
            EXPECT_EQ(info->GetPolarizerLayout(), 0u) << n;
        }
    }
}

TEST(PixelFormatInfo, LineBytes) {
    struct Case {
        uint32_t code;
        size_t width, bytes;
    };
    const Case cases[] = {
        {LxPixelFormat_Mono8, 7, 7},          {LxPixelFormat_Mono16, 3, 6},       {LxPixelFormat_Mono32, 2, 8},
        {LxPixelFormat_Mono1p, 9, 2},         {LxPixelFormat_Mono2p, 5, 2},       {LxPixelFormat_Mono4p, 3, 2},
        {LxPixelFormat_Mono10p, 3, 4},        {LxPixelFormat_Mono10p, 4, 5},      {LxPixelFormat_Mono12p, 3, 5},
        {LxPixelFormat_Mono14p, 4, 7},        {LxPixelFormat_BayerGB14p, 1, 2},   {LxPixelFormat_Pol1MonoXC12p, 3, 5},
        {LxPixelFormat_Mono12Packed, 3, 5},   {LxPixelFormat_Mono10Packed, 4, 6}, {LxPixelFormat_BayerRG10Packed, 1, 2},
        // 16-bit units: 30 bits -> 2 units, 60 -> 4, 108 -> 7.
        {LxPixelFormat_BGR10p, 1, 4},         {LxPixelFormat_RGB10p, 2, 8},       {LxPixelFormat_RGB12p, 3, 14},
        {LxPixelFormat_RGB10p32, 3, 12},      {LxPixelFormat_CBGR10p32, 1, 4},    {LxPixelFormat_BGRa16, 3, 24},
        {LxPixelFormat_BGR8, 5, 15},          {LxPixelFormat_BGR12, 5, 30},       {LxPixelFormat_RGBa8, 2, 8},
        {LxPixelFormat_RGB8_Planar, 3, 3},    {LxPixelFormat_RGB16_Planar, 3, 6}, {LxPixelFormat_YCbCr8_CbYCr, 3, 9},
        {LxPixelFormat_YCbCr422_8, 4, 8},     {LxPixelFormat_YUV422_8_UYVY, 5, 12},
        {LxPixelFormat_YCbCr411_8, 8, 12},    {LxPixelFormat_YUV411_8_UYYVYY, 5, 12},
        {LxPixelFormat_CYCbCr420_8_YY_Cb_Cr_Planar, 6, 6},
        {LxPixelFormat_Mono8, 0, 0},          {LxPixelFormat_Mono12Packed, 0, 0}, {LxPixelFormat_BGR10p, 0, 0},
    };
    for (const Case& c : cases)
        EXPECT_EQ(Info(c.code)->GetLineBytes(c.width), c.bytes)
            << Info(c.code)->GetName().c_str() << " width " << c.width;
    EXPECT_THROW(Info(LxPixelFormat_BGRa16)->GetLineBytes(std::numeric_limits<size_t>::max() / 8),
                 GenICam::OutOfRangeException);
}

TEST(PixelFormatInfo, PatternSites) {
    using Row = std::vector<uint32_t>;
    auto pattern = [](uint32_t code, size_t n) {
        std::vector<Row> rows(n, Row(n));
        ILxPixelFormatInfo* info = GetILxPixelFormatInfo(code);
        for (size_t y = 0; y < n; ++y)
            for (size_t x = 0; x < n; ++x) rows[y][x] = info->GetPixelComponent(x, y);
        return rows;
    };
    const uint32_t R = LxColorFilter_Red, Gr = LxColorFilter_GreenR, Gb = LxColorFilter_GreenB,
                   B = LxColorFilter_Blue, M = LxColorFilter_Mono, N = LxColorFilter_None;
    EXPECT_EQ(pattern(LxPixelFormat_BayerRG8, 3), (std::vector<Row>{{R, Gr, R}, {Gb, B, Gb}, {R, Gr, R}}));
    EXPECT_EQ(pattern(LxPixelFormat_BayerGR12p, 2), (std::vector<Row>{{Gr, R}, {B, Gb}}));
    // Polarized Bayer: each colour covers a 2x2 polarizer group.
    EXPECT_EQ(pattern(LxPixelFormat_Pol1BayerRG8, 4),
              (std::vector<Row>{{R, R, Gr, Gr}, {R, R, Gr, Gr}, {Gb, Gb, B, B}, {Gb, Gb, B, B}}));
    EXPECT_EQ(pattern(LxPixelFormat_Pol1BayerRGXY12p, 4),
              (std::vector<Row>{{B, B, Gb, Gb}, {B, B, Gb, Gb}, {Gr, Gr, R, R}, {Gr, Gr, R, R}}));
    EXPECT_EQ(pattern(LxPixelFormat_Pol1MonoYC10, 2), (std::vector<Row>{{M, M}, {M, M}}));

    // The phase at (0, 0) follows the mirrors of each polarized Bayer variant.
    const std::pair<uint32_t, uint32_t> phases[] = {
        {LxPixelFormat_Pol1BayerRG10, R},    {LxPixelFormat_Pol1BayerRGX8, Gr},   {LxPixelFormat_Pol1BayerRGY12, Gb},
        {LxPixelFormat_Pol1BayerRGXY10p, B}, {LxPixelFormat_Pol1BayerRGC8, Gr},   {LxPixelFormat_Pol1BayerRGXC12, B},
        {LxPixelFormat_Pol1BayerRGYC10, R},  {LxPixelFormat_Pol1BayerRGXYC12p, Gb}, {LxPixelFormat_BayerGB4p, Gb},
        {LxPixelFormat_BayerBG16, B},
        {LxPixelFormat_Pol1MonoX8, M},       {LxPixelFormat_Mono1p, M},           {LxPixelFormat_YCbCr8, N},
    };
    for (const auto& [code, filter] : phases) {
        EXPECT_EQ(Info(code)->GetColorFilter(), filter) << Info(code)->GetName().c_str();
        EXPECT_EQ(Info(code)->GetPixelComponent(0, 0), filter) << Info(code)->GetName().c_str();
    }
}

TEST(PixelComponentInfo, NamesBitsAndUnknownIds) {
    const std::pair<uint32_t, const char*> known[] = {
        {0x01080000u, "Mono8"},         {0x01200000u, "Mono32"}, {0x020A0002u, "R10_POL_045"},
        {0x060C0004u, "Gb12_POL_135"},  {0x03100000u, "G16"},    {0x08080000u, "Cb8"},
        {0x0B080000u, "V8"},            {0x01080001u, "Mono8_POL_000"},
    };
    for (const auto& [id, name] : known) {
        ILxPixelComponentInfo* info = GetILxPixelComponentInfo(id);
        EXPECT_EQ(info->GetPixelComponent(), id);
        EXPECT_STREQ(info->GetName().c_str(), name);
        EXPECT_EQ(info->GetBits(), (id >> 16) & 0xFF);
        EXPECT_EQ(GetILxPixelComponentInfo(id), info);
    }
    for (uint32_t bad : {0u, 0x00080000u, 0x0C080000u, 0x01000000u, 0x01210000u, 0x01080005u, 0x01080100u})
        EXPECT_THROW(GetILxPixelComponentInfo(bad), GenICam::InvalidArgumentException) << std::hex << bad;
}

} // namespace
