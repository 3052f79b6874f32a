#include "lxconversiontable.h"
#include "support/lxinside.h"

#include <includeinside/ilxpixelformatinfoinside.h>
#include <lxapi/lxapi_tl.h>
#include <lxapi/lxpixelformat.h>

#include <algorithm>
#include <functional>
#include <initializer_list>
#include <map>

namespace {

using M = ConversionMember;
using Formats = std::vector<uint32_t>;

#define PF(name) LxPixelFormat_##name

// ---------------------------------------------------------------------------------------------------
// Format families

const Formats Mono8{PF(Mono8)};
const Formats MonoN{PF(Mono10), PF(Mono12), PF(Mono14), PF(Mono16)};
const Formats MonoBitPacked{PF(Mono1p), PF(Mono2p), PF(Mono4p), PF(Mono10p), PF(Mono12p), PF(Mono14p)};
const Formats MonoPacked{PF(Mono1p), PF(Mono2p), PF(Mono4p), PF(Mono10p), PF(Mono12p), PF(Mono14p),
                         PF(Mono10Packed), PF(Mono12Packed)};
const Formats Bayer8{PF(BayerGR8), PF(BayerRG8), PF(BayerGB8), PF(BayerBG8)};
const Formats BayerN{PF(BayerGR10), PF(BayerGR12), PF(BayerGR14), PF(BayerGR16), PF(BayerRG10), PF(BayerRG12),
                     PF(BayerRG14), PF(BayerRG16), PF(BayerGB10), PF(BayerGB12), PF(BayerGB14), PF(BayerGB16),
                     PF(BayerBG10), PF(BayerBG12), PF(BayerBG14), PF(BayerBG16)};
const Formats Bayer4p{PF(BayerGR4p), PF(BayerRG4p), PF(BayerGB4p), PF(BayerBG4p)};
// 10p, 12p, 14p, 10Packed and 12Packed of the four phases.
const Formats BayerDeepPacked{
    PF(BayerGR10p), PF(BayerGR12p), PF(BayerGR14p), PF(BayerGR10Packed), PF(BayerGR12Packed),
    PF(BayerRG10p), PF(BayerRG12p), PF(BayerRG14p), PF(BayerRG10Packed), PF(BayerRG12Packed),
    PF(BayerGB10p), PF(BayerGB12p), PF(BayerGB14p), PF(BayerGB10Packed), PF(BayerGB12Packed),
    PF(BayerBG10p), PF(BayerBG12p), PF(BayerBG14p), PF(BayerBG10Packed), PF(BayerBG12Packed)};
const Formats Color8{PF(BGR8), PF(BGRa8), PF(RGB8), PF(RGBa8)};
const Formats ColorN{PF(BGR10), PF(BGRa10), PF(BGR12), PF(BGRa12), PF(BGR14),
                     PF(BGRa14), PF(BGR16), PF(BGRa16), PF(RGB16)};
const Formats ColorP{PF(BGR10p), PF(BGR12p), PF(RGB10p), PF(RGB12p)};
const Formats Color32{PF(CBGR10p32), PF(RGB10p32)};
const Formats Planar8{PF(RGB8_Planar)};
const Formats PlanarN{PF(RGB10_Planar), PF(RGB12_Planar), PF(RGB16_Planar)};
const Formats YUV{PF(YCbCr8), PF(YCbCr8_CbYCr), PF(YCbCr411_8), PF(YCbCr411_8_CbYYCrYY), PF(YCbCr422_8),
                  PF(YCbCr422_8_CbYCrY), PF(YCbCr601_8_CbYCr), PF(YCbCr601_411_8_CbYYCrYY), PF(YCbCr601_422_8),
                  PF(YCbCr601_422_8_CbYCrY), PF(YCbCr709_8_CbYCr), PF(YCbCr709_411_8_CbYYCrYY),
                  PF(YCbCr709_422_8), PF(YCbCr709_422_8_CbYCrY), PF(YUV8_UYV), PF(YUV411_8_UYYVYY),
                  PF(YUV422_8), PF(YUV422_8_UYVY)};
const Formats YCC420{PF(CYCbCr420_8_YY_Cb_Cr_Planar)};
// The polarized families come from the format facts: every polarized code of the converter's list.
const Formats Pol8{
    PF(Pol1Mono8), PF(Pol1MonoX8), PF(Pol1MonoY8), PF(Pol1MonoXY8), PF(Pol1MonoC8), PF(Pol1MonoXC8),
    PF(Pol1MonoYC8), PF(Pol1MonoXYC8), PF(Pol1BayerRG8), PF(Pol1BayerRGX8), PF(Pol1BayerRGY8),
    PF(Pol1BayerRGXY8), PF(Pol1BayerRGC8), PF(Pol1BayerRGXC8), PF(Pol1BayerRGYC8), PF(Pol1BayerRGXYC8)};
const Formats PolN{
    PF(Pol1Mono10), PF(Pol1MonoX10), PF(Pol1MonoY10), PF(Pol1MonoXY10), PF(Pol1Mono12), PF(Pol1MonoX12),
    PF(Pol1MonoY12), PF(Pol1MonoXY12), PF(Pol1MonoC10), PF(Pol1MonoXC10), PF(Pol1MonoYC10),
    PF(Pol1MonoXYC10), PF(Pol1MonoC12), PF(Pol1MonoXC12), PF(Pol1MonoYC12), PF(Pol1MonoXYC12),
    PF(Pol1BayerRG10), PF(Pol1BayerRGX10), PF(Pol1BayerRGY10), PF(Pol1BayerRGXY10), PF(Pol1BayerRG12),
    PF(Pol1BayerRGX12), PF(Pol1BayerRGY12), PF(Pol1BayerRGXY12), PF(Pol1BayerRGC10), PF(Pol1BayerRGXC10),
    PF(Pol1BayerRGYC10), PF(Pol1BayerRGXYC10), PF(Pol1BayerRGC12), PF(Pol1BayerRGXC12), PF(Pol1BayerRGYC12),
    PF(Pol1BayerRGXYC12)};
const Formats PolP{
    PF(Pol1Mono10p), PF(Pol1MonoX10p), PF(Pol1MonoY10p), PF(Pol1MonoXY10p), PF(Pol1Mono12p),
    PF(Pol1MonoX12p), PF(Pol1MonoY12p), PF(Pol1MonoXY12p), PF(Pol1MonoC10p), PF(Pol1MonoXC10p),
    PF(Pol1MonoYC10p), PF(Pol1MonoXYC10p), PF(Pol1MonoC12p), PF(Pol1MonoXC12p), PF(Pol1MonoYC12p),
    PF(Pol1MonoXYC12p), PF(Pol1BayerRG10p), PF(Pol1BayerRGX10p), PF(Pol1BayerRGY10p), PF(Pol1BayerRGXY10p),
    PF(Pol1BayerRG12p), PF(Pol1BayerRGX12p), PF(Pol1BayerRGY12p), PF(Pol1BayerRGXY12p), PF(Pol1BayerRGC10p),
    PF(Pol1BayerRGXC10p), PF(Pol1BayerRGYC10p), PF(Pol1BayerRGXYC10p), PF(Pol1BayerRGC12p),
    PF(Pol1BayerRGXC12p), PF(Pol1BayerRGYC12p), PF(Pol1BayerRGXYC12p)};

template <class... Parts>
Formats Join(const Parts&... parts) {
    Formats all;
    (all.insert(all.end(), parts.begin(), parts.end()), ...);
    return all;
}

// ---------------------------------------------------------------------------------------------------
// Facts of a format, from the format information

ILxPixelFormatInfoInside* Info(uint32_t format) { return lxip::FormatInside(format); }
size_t Depth(uint32_t f) { return GetILxPixelFormatInfo(f)->GetComponentBits(); }
uint32_t Filter(uint32_t f) { return Info(f)->GetColorFilter(); }
bool SameDepth(uint32_t a, uint32_t b) { return Depth(a) == Depth(b); }
bool SamePhase(uint32_t a, uint32_t b) { return Filter(a) == Filter(b); }
// Same polarized layout group and variant: the layout value and the Bayer test together tell both.
bool SameVariant(uint32_t a, uint32_t b) {
    return Info(a)->GetPolarizerLayout() == Info(b)->GetPolarizerLayout() &&
           GetILxPixelFormatInfo(a)->IsBayer() == GetILxPixelFormatInfo(b)->IsBayer();
}
bool IsPolMonoGroup(uint32_t f) { return !GetILxPixelFormatInfo(f)->IsBayer(); }

uint32_t MonoOfDepth(size_t depth) {
    switch (depth) {
    case 8: return PF(Mono8);
    case 10: return PF(Mono10);
    case 12: return PF(Mono12);
    case 14: return PF(Mono14);
    case 16: return PF(Mono16);
    default: return 0;
    }
}
uint32_t BGROfDepth(size_t depth, bool alpha) {
    switch (depth) {
    case 10: return alpha ? PF(BGRa10) : PF(BGR10);
    case 12: return alpha ? PF(BGRa12) : PF(BGR12);
    case 14: return alpha ? PF(BGRa14) : PF(BGR14);
    case 16: return alpha ? PF(BGRa16) : PF(BGR16);
    default: return alpha ? PF(BGRa8) : PF(BGR8);
    }
}
// The mono or Bayer format of a colour filter at a depth of 8, 10, 12, 14 or 16 bits; 0 if none.
uint32_t FilterFormat(uint32_t filter, size_t depth) {
    static const std::map<std::pair<uint32_t, size_t>, uint32_t> formats{
        {{LxColorFilter_Mono, 8}, PF(Mono8)},        {{LxColorFilter_Mono, 10}, PF(Mono10)},
        {{LxColorFilter_Mono, 12}, PF(Mono12)},      {{LxColorFilter_Mono, 14}, PF(Mono14)},
        {{LxColorFilter_Mono, 16}, PF(Mono16)},      {{LxColorFilter_Red, 8}, PF(BayerRG8)},
        {{LxColorFilter_Red, 10}, PF(BayerRG10)},    {{LxColorFilter_Red, 12}, PF(BayerRG12)},
        {{LxColorFilter_Red, 14}, PF(BayerRG14)},    {{LxColorFilter_Red, 16}, PF(BayerRG16)},
        {{LxColorFilter_GreenR, 8}, PF(BayerGR8)},   {{LxColorFilter_GreenR, 10}, PF(BayerGR10)},
        {{LxColorFilter_GreenR, 12}, PF(BayerGR12)}, {{LxColorFilter_GreenR, 14}, PF(BayerGR14)},
        {{LxColorFilter_GreenR, 16}, PF(BayerGR16)}, {{LxColorFilter_GreenB, 8}, PF(BayerGB8)},
        {{LxColorFilter_GreenB, 10}, PF(BayerGB10)}, {{LxColorFilter_GreenB, 12}, PF(BayerGB12)},
        {{LxColorFilter_GreenB, 14}, PF(BayerGB14)}, {{LxColorFilter_GreenB, 16}, PF(BayerGB16)},
        {{LxColorFilter_Blue, 8}, PF(BayerBG8)},     {{LxColorFilter_Blue, 10}, PF(BayerBG10)},
        {{LxColorFilter_Blue, 12}, PF(BayerBG12)},   {{LxColorFilter_Blue, 14}, PF(BayerBG14)},
        {{LxColorFilter_Blue, 16}, PF(BayerBG16)},
    };
    const auto it = formats.find({filter, depth});
    return it == formats.end() ? 0 : it->second;
}
// The unpacked twin of a packed format: same filter or polarized variant, the depth in bytes or words.
uint32_t UnpackedTwin(uint32_t f) {
    ILxPixelFormatInfoInside* info = Info(f);
    const size_t depth = Depth(f);
    if (info->IsPolarized()) {
        for (uint32_t candidate : PolN)
            if (Depth(candidate) == depth && SameVariant(candidate, f)) return candidate;
        return 0;
    }
    return FilterFormat(info->GetColorFilter(), depth < 8 ? 8 : depth);
}

// ---------------------------------------------------------------------------------------------------
// The registration list

class Registry {
public:
    using Predicate = std::function<bool(uint32_t, uint32_t)>;

    void Add(const Formats& sources, const Formats& destinations, M member, const Predicate& when = nullptr) {
        for (uint32_t s : sources)
            for (uint32_t d : destinations)
                if (s != d && (!when || when(s, d))) Add(s, d, member);
    }
    void Add(uint32_t s, uint32_t d, M member) { m_records.push_back({{s, d}, member}); }
    std::vector<ConversionRecord> Take() { return std::move(m_records); }

private:
    std::vector<ConversionRecord> m_records;
};

const Formats kBGR10to14{PF(BGR10), PF(BGRa10), PF(BGR12), PF(BGRa12), PF(BGR14), PF(BGRa14)};
const Formats kDeep16Colors{PF(BGR16), PF(BGRa16), PF(RGB16)};

void AddMonoRows(Registry& r) {
    r.Add(Mono8, MonoN, M::Unpacked8ToN);
    r.Add(Mono8, MonoBitPacked, M::Unpacked8ToBitPacked);
    r.Add(Mono8, {PF(Mono10Packed), PF(Mono12Packed)}, M::Mono8ToPacked);
    r.Add(Mono8, Color8, M::Mono8ToColor8);
    r.Add(Mono8, ColorN, M::Mono8ToColorN);
    r.Add(Mono8, Planar8, M::Mono8ToPlanar8);
    r.Add(Mono8, PlanarN, M::Mono8ToPlanarN);
    r.Add(Mono8, YCC420, M::ToYCbCr);

    r.Add(MonoN, Mono8, M::UnpackedNTo8);
    r.Add(MonoN, MonoN, M::UnpackedNToN);
    r.Add(MonoN, Color8, M::ViaSourceFilter);
    r.Add(MonoN, ColorN, M::MonoNToColorN, [](uint32_t s, uint32_t d) {
        return !(s == PF(Mono16) && std::count(kBGR10to14.begin(), kBGR10to14.end(), d));
    });
    r.Add(MonoN, Planar8, M::MonoNToPlanar8);
    r.Add(MonoN, PlanarN, M::MonoNToPlanarN);
    r.Add(MonoN, YCC420, M::ToYCbCr);

    r.Add(MonoBitPacked, Join(Mono8, MonoN), M::BitPackedToUnpacked);
    r.Add({PF(Mono10Packed), PF(Mono12Packed)}, Join(Mono8, MonoN), M::PackedToUnpacked);
    r.Add(MonoPacked, Join(Color8, kDeep16Colors), M::ViaSourceFilter);
    r.Add({PF(Mono10p), PF(Mono10Packed)}, {PF(BGR10), PF(BGRa10)}, M::ViaUnpacked);
    r.Add({PF(Mono12p), PF(Mono12Packed)}, {PF(BGR12), PF(BGRa12)}, M::ViaUnpacked);
    r.Add({PF(Mono14p)}, {PF(BGR14), PF(BGRa14)}, M::ViaUnpacked);
    r.Add(MonoPacked, Join(Planar8, PlanarN), M::ViaUnpacked);
    r.Add({PF(Mono10p), PF(Mono12p), PF(Mono10Packed), PF(Mono12Packed)}, YCC420, M::ViaUnpacked);
}

void AddBayerRows(Registry& r) {
    const Formats ycc8{PF(YCbCr422_8), PF(CYCbCr420_8_YY_Cb_Cr_Planar)};
    const Formats colorNStorage = Join(ColorN, Color32, Planar8, PlanarN);
    const Formats bayerBitPacked = [] {
        Formats f = Bayer4p;
        for (uint32_t p : BayerDeepPacked)
            if (!Info(p)->Is10or12Packed()) f.push_back(p);
        return f;
    }();
    const Formats bayerPacked = [] {
        Formats f;
        for (uint32_t p : BayerDeepPacked)
            if (Info(p)->Is10or12Packed()) f.push_back(p);
        return f;
    }();
    const Formats bayerAllPacked = Join(Bayer4p, BayerDeepPacked);

    r.Add(Bayer8, Mono8, M::Bayer8ToMono8);
    r.Add(Bayer8, {PF(Mono16)}, M::ViaSourceFilter);
    r.Add(Bayer8, BayerN, M::Unpacked8ToN, SamePhase);
    r.Add(Bayer8, bayerBitPacked, M::Unpacked8ToBitPacked, SamePhase);
    r.Add(Bayer8, bayerPacked, M::Mono8ToPacked, SamePhase);
    r.Add(Bayer8, Color8, M::BayerToColor);
    r.Add(Bayer8, colorNStorage, M::ViaBGRa);
    r.Add(Bayer8, ycc8, M::ToYCbCr);

    r.Add(BayerN, Mono8, M::ViaSourceFilter);
    r.Add(BayerN, MonoN, M::BayerNToMonoN, SameDepth);
    r.Add(BayerN, {PF(Mono16)}, M::ViaSourceFilter, [](uint32_t s, uint32_t) { return Depth(s) != 16; });
    r.Add(BayerN, Bayer8, M::UnpackedNTo8, SamePhase);
    r.Add(BayerN, BayerN, M::UnpackedNToN, SamePhase);
    r.Add(BayerN, Color8, M::ViaSourceFilter);
    r.Add(BayerN, ColorN, M::BayerToColor, SameDepth);
    r.Add(BayerN, ColorN, M::ViaBGRa, [](uint32_t s, uint32_t d) { return !SameDepth(s, d); });
    r.Add(BayerN, Join(Color32, Planar8, PlanarN), M::ViaBGRa);
    r.Add(BayerN, ycc8, M::ViaSourceFilter);

    r.Add(bayerAllPacked, Join(Mono8, Formats{PF(Mono16)}, Color8, ycc8), M::ViaSourceFilter);
    r.Add(BayerDeepPacked, MonoN, M::ViaUnpacked, SameDepth);
    r.Add(BayerDeepPacked, Formats{PF(BGR10), PF(BGRa10), PF(BGR12), PF(BGRa12), PF(BGR14), PF(BGRa14)},
          M::ViaUnpacked, SameDepth);
    r.Add(bayerBitPacked, Join(Bayer8, BayerN), M::BitPackedToUnpacked, SamePhase);
    r.Add(bayerPacked, Join(Bayer8, BayerN), M::PackedToUnpacked,
          [](uint32_t s, uint32_t d) { return SamePhase(s, d) && Depth(d) != 14; });
    r.Add(Bayer4p, Join(Formats{PF(BGR12), PF(BGRa12), PF(BGR14), PF(BGRa14)}, kDeep16Colors, Color32,
                         Planar8, PlanarN),
          M::ViaSourceFilter);
    // Where BayerGR12Packed to BGR10, BGRa10, CBGR10p32 and RGB10p32 would stand, the list holds
    // BayerBG12Packed a second time: those four conversions are absent while their sister phases convert.
    const Formats gr12PackedGap{PF(BGR10), PF(BGRa10), PF(CBGR10p32), PF(RGB10p32)};
    for (uint32_t s : BayerDeepPacked)
        for (uint32_t d : colorNStorage) {
            if (std::count(ColorN.begin(), ColorN.end(), d) && SameDepth(s, d)) continue;
            const bool gap = s == PF(BayerGR12Packed) && std::count(gr12PackedGap.begin(), gr12PackedGap.end(), d);
            r.Add(gap ? PF(BayerBG12Packed) : s, d, M::ViaBGRa);
        }
}

void AddColorRows(Registry& r) {
    r.Add(Color8, Mono8, M::Color8ToMono8);
    r.Add(Color8, Join(MonoN, MonoPacked, BayerN, Bayer4p, BayerDeepPacked), M::ViaDestinationFilter);
    r.Add(Color8, Bayer8, M::Color8ToBayer8);
    r.Add(Color8, Color8, M::Color8ToColor8);
    r.Add(Color8, ColorN, M::Color8ToColorN);
    r.Add(Color8, ColorP, M::Color8ToColorP);
    r.Add(Color8, Color32, M::Color8ToColor32);
    r.Add(Color8, Planar8, M::Color8ToPlanar8);
    r.Add(Color8, PlanarN, M::Color8ToPlanarN);
    r.Add(Color8, Join(YUV, YCC420), M::ToYCbCr);

    r.Add(ColorN, Mono8, M::ColorNToMono8);
    // Those colours become mono of their own depth first, and only then Mono16.
    for (uint32_t s : ColorN)
        for (uint32_t d : MonoN)
            r.Add(s, d,
                  d == PF(Mono16) && std::count(kBGR10to14.begin(), kBGR10to14.end(), s) ? M::ViaDestinationFilter
                                                                                          : M::ColorNToMonoN);
    r.Add(ColorN, BayerN, M::ColorNToBayerN, SameDepth);
    r.Add(ColorN, Color8, M::ColorNToColor8);
    r.Add(ColorN, ColorN, M::ColorNToColorN);
    r.Add(ColorN, Color32, M::ColorNToColor32);
    r.Add({PF(BGR10), PF(BGRa10)}, ColorP, M::ColorNToColorP);
    r.Add({PF(BGR12), PF(BGRa12)}, {PF(BGR12p), PF(RGB12p)}, M::ColorNToColorP);
    r.Add(ColorN, Planar8, M::ColorNToPlanar8);
    r.Add(ColorN, PlanarN, M::ColorNToPlanarN);
    r.Add(ColorN, YCC420, M::ViaBGRa8);

    r.Add(ColorP, Color8, M::ColorPToColor8);
    r.Add({PF(BGR10p), PF(RGB10p)}, {PF(BGR10), PF(BGRa10)}, M::ColorPToColorN);
    r.Add({PF(BGR12p), PF(RGB12p)}, {PF(BGR10), PF(BGRa10), PF(BGR12), PF(BGRa12)}, M::ColorPToColorN);
    for (uint32_t s : ColorP)
        r.Add({s}, Join(kDeep16Colors, Formats{PF(Mono8), MonoOfDepth(Depth(s)), PF(Mono16)}, Planar8, PlanarN),
              M::ViaBGRa);
    r.Add(ColorP, YCC420, M::ViaBGRa8);

    r.Add(Color32, Color8, M::Color32ToColor8);
    r.Add(Color32, ColorN, M::Color32ToColorN);
    r.Add(Color32, Join(Mono8, MonoN, Color32, Planar8, PlanarN), M::ViaBGRa);
    r.Add(Color32, YCC420, M::ViaBGRa8);

    const Formats viaBGRaFromPlanar{PF(Mono8), PF(Mono16), PF(CBGR10p32), PF(RGB10p32),
                                    PF(CYCbCr420_8_YY_Cb_Cr_Planar)};
    r.Add(Planar8, Color8, M::Planar8ToColor8);
    r.Add(Planar8, ColorN, M::Planar8ToColorN);
    r.Add(Planar8, PlanarN, M::Planar8ToPlanarN);
    r.Add(Planar8, viaBGRaFromPlanar, M::ViaBGRa);
    r.Add(PlanarN, Color8, M::PlanarNToColor8);
    r.Add(PlanarN, ColorN, M::PlanarNToColorN);
    r.Add(PlanarN, Planar8, M::PlanarNToPlanar8);
    r.Add(PlanarN, PlanarN, M::PlanarNToPlanarN);
    r.Add(PlanarN, viaBGRaFromPlanar, M::ViaBGRa);
}

void AddYCbCrRows(Registry& r) {
    const Formats yccAll = Join(YUV, YCC420);
    r.Add(yccAll, Join(Mono8, Color8), M::YCbCrToMono8OrColor8);
    r.Add(yccAll, {PF(Mono16)}, M::ViaDestinationFilter);
    r.Add(yccAll, Join(ColorN, Color32, Planar8, PlanarN), M::ViaBGRa);
    r.Add(YUV, YCC420, M::ViaBGRa8);
}

void AddPolarizedRows(Registry& r) {
    const Formats to16AndPlanar{PF(BGR16), PF(BGRa16), PF(RGB16), PF(RGB8_Planar), PF(RGB16_Planar)};
    for (uint32_t s : Pol8) {
        const bool mono = IsPolMonoGroup(s);
        r.Add(s, PF(Mono8), mono ? M::PolMono8ToMono8 : M::PolBayer8ToMono8);
        r.Add(s, PF(Mono16), mono ? M::PolMono8ToMono16 : M::PolBayer8ToMono16);
        r.Add({s}, Color8, mono ? M::PolMono8ToColor8 : M::PolBayer8ToColor8);
    }
    r.Add(Pol8, to16AndPlanar, M::ViaBGRa);
    r.Add(Pol8, PolN, M::Unpacked8ToN, SameVariant);
    r.Add(Pol8, PolP, M::Unpacked8ToBitPacked, SameVariant);

    for (uint32_t s : PolN) {
        const bool mono = IsPolMonoGroup(s);
        const size_t depth = Depth(s);
        r.Add(s, PF(Mono8), mono ? M::PolMonoNToMono8 : M::PolBayerNToMono8);
        r.Add({s}, {MonoOfDepth(depth), PF(Mono16)}, mono ? M::PolMonoNToMonoN : M::PolBayerNToMonoN);
        r.Add({s}, {BGROfDepth(depth, false), BGROfDepth(depth, true)},
              mono ? M::PolMonoNToColorN : M::PolBayerNToColorN);
    }
    r.Add(PolN, Join(Color8, to16AndPlanar), M::ViaBGRa);
    r.Add(PolN, Pol8, M::UnpackedNTo8, SameVariant);

    for (uint32_t s : PolP) {
        const size_t depth = Depth(s);
        r.Add({s},
              Join(Formats{PF(Mono8), MonoOfDepth(depth), PF(Mono16)}, Color8,
                    Formats{BGROfDepth(depth, false), BGROfDepth(depth, true)}, to16AndPlanar),
              M::ViaUnpacked);
    }
    r.Add(PolP, Pol8, M::BitPackedToUnpacked, SameVariant);
    r.Add(PolP, PolN, M::BitPackedToUnpacked, [](uint32_t s, uint32_t d) { return SameVariant(s, d) && SameDepth(s, d); });
}

// Keys that the list holds twice, with no effect beyond the first record.
void AddRepeatedRows(Registry& r) {
    r.Add(kBGR10to14, {PF(Mono16)}, M::ColorNToMonoN);
    r.Add(Join(YUV, YCC420), {PF(BGR16), PF(BGRa16)}, M::ViaBGRa);
    r.Add({PF(RGBa8)}, {PF(BGR16), PF(BGRa16)}, M::Color8ToColorN);
    r.Add(Bayer4p, {PF(Mono8)}, M::ViaSourceFilter);
}

#undef PF

} // namespace

const std::vector<ConversionRecord>& ConversionRegistry() {
    static const std::vector<ConversionRecord> records = [] {
        Registry r;
        AddMonoRows(r);
        AddBayerRows(r);
        AddColorRows(r);
        AddYCbCrRows(r);
        AddPolarizedRows(r);
        AddRepeatedRows(r);
        return r.Take();
    }();
    return records;
}

uint32_t IntermediateFormat(ConversionMember chain, uint32_t source, uint32_t destination) {
    uint32_t intermediate = 0;
    switch (chain) {
    case M::ViaSourceFilter:
        intermediate = FilterFormat(Filter(source), Depth(destination) <= 8 ? 8 : 16);
        break;
    case M::ViaUnpacked: intermediate = UnpackedTwin(source); break;
    case M::ViaBGRa: {
        const size_t depth = Depth(source);
        if (depth == 8 || depth == 10 || depth == 12 || depth == 14 || depth == 16)
            intermediate = BGROfDepth(depth, true);
        break;
    }
    case M::ViaBGRa8: intermediate = LxPixelFormat_BGRa8; break;
    case M::ViaDestinationFilter: intermediate = FilterFormat(Filter(destination), Depth(source)); break;
    default: break;
    }
    return intermediate ? intermediate : destination;
}

// ---------------------------------------------------------------------------------------------------
// The map

namespace {

// Whether a registered member can convert (source, destination): a pixel member if this build has
// it, a chain if both of its steps can be converted. `first` holds the first record of every key.
class Availability {
public:
    explicit Availability(const std::map<ConversionKey, ConversionMember>& first) : m_first(first) {}

    bool Pair(uint32_t s, uint32_t d) {
        if (s == d) return true;
        const auto it = m_first.find({s, d});
        return it != m_first.end() && Record(it->first, it->second);
    }

    bool Record(const ConversionKey& key, ConversionMember member) {
        if (!IsChainMember(member)) return g_conversionMemberHandlers[static_cast<size_t>(member)] != nullptr;
        if (!g_conversionMemberHandlers[static_cast<size_t>(member)]) return false;
        const auto known = m_chains.find(key);
        if (known != m_chains.end()) return known->second;
        m_chains[key] = false; // a step that comes back to this pair cannot serve it
        const uint32_t via = IntermediateFormat(member, key.source, key.destination);
        const bool ok = via != key.destination && Pair(key.source, via) && Pair(via, key.destination);
        m_chains[key] = ok;
        return ok;
    }

private:
    const std::map<ConversionKey, ConversionMember>& m_first;
    std::map<ConversionKey, bool> m_chains;
};

} // namespace

ConversionMap::ConversionMap() {
    std::map<ConversionKey, ConversionMember> first;
    for (const ConversionRecord& r : ConversionRegistry()) first.emplace(r.key, r.member);
    Availability availability(first);
    m_entries.reserve(first.size());
    for (const auto& [key, member] : first)
        if (availability.Record(key, member))
            m_entries.push_back({key, member, g_conversionMemberHandlers[static_cast<size_t>(member)]});
}

const ConversionMap& ConversionMap::Instance() {
    static const ConversionMap map;
    return map;
}

const ConversionMap::Entry* ConversionMap::Lookup(uint32_t source, uint32_t destination) const {
    const ConversionKey key{source, destination};
    const auto it = std::lower_bound(m_entries.begin(), m_entries.end(), key,
                                     [](const Entry& e, const ConversionKey& k) { return e.key < k; });
    return it != m_entries.end() && it->key == key ? &*it : nullptr;
}

bool ConversionMap::FindMember(uint32_t source, uint32_t destination, ConversionMember* member) const {
    const Entry* e = Lookup(source, destination);
    if (e && member) *member = e->member;
    return e != nullptr;
}

ConversionHandler ConversionMap::Find(uint32_t source, uint32_t destination) const {
    if (source == destination) return g_convertCopyHandler;
    const Entry* e = Lookup(source, destination);
    return e ? e->handler : nullptr;
}

namespace {
// The map is filled when the library is loaded, before any module exists.
const ConversionMap& g_conversionMapAtLoad = ConversionMap::Instance();
} // namespace
