#include "lxbalanceratiofilter.h"

#include "frame/lxmoduleregistry.h"
#include "lookupkernels.h"
#include "lxdescriptions.h"
#include "whitebalance.h"

#include <lxapi/lxpixelformat.h>

using namespace lxbalance;

namespace {

namespace R = lxres::lxbalanceratiofilter;

enum Channel : int8_t { Red = 0, Green = 1, Blue = 2, Y = 3, Cb = 4, Cr = 5 };

constexpr double kRatioMin = 0.0, kRatioMax = 16.0;
constexpr int32_t kBeforeMin = -255, kBeforeMax = 255, kAfterMin = 0, kAfterMax = 255;

struct ImageFacts {
    uint8_t* base;
    size_t width;
    size_t height;
    size_t pitch;
    uint32_t format;
};

ImageFacts Facts(ILxImage* image) {
    return {static_cast<uint8_t*>(image->GetImageBuffer()), image->GetImageWidth(), image->GetImageHeight(),
            image->GetImageLinePitch(), image->GetImagePixelFormat()};
}

LaneChannels LanesOf(std::initializer_list<int8_t> channels) {
    LaneChannels lanes;
    lanes.period = static_cast<uint32_t>(channels.size());
    size_t i = 0;
    for (int8_t c : channels) lanes.channel[i++] = c;
    return lanes;
}

} // namespace

// ---------------------------------------------------------------------------------------------------
// Registers

struct CLxBalanceRatioFilter::Registers {
    using C = CLxBalanceRatioFilter;
    // The selector register is as wide as size_t; a write takes its first 4 bytes.
    static constexpr auto Selector = lxip::Bind<C>(R::BalanceRatioSelectorReg).Field(&C::m_selected).Takes(4);
    static constexpr auto Ratio = lxip::Bind<C>(R::BalanceRatioReg).Accessor(&C::SelectedRatio, &C::StoreSelectedRatio);
    static constexpr auto RatioMax = lxip::Bind<C>(R::MaxBalanceRatioValue).Constant(kRatioMax);
    static constexpr auto RatioMin = lxip::Bind<C>(R::MinBalanceRatioValue).Constant(kRatioMin);
    static constexpr auto Before =
        lxip::Bind<C>(R::OffsetLevelBeforeGainReg).Accessor(&C::SelectedBefore, &C::StoreSelectedBefore);
    static constexpr auto BeforeMax = lxip::Bind<C>(R::MaxOffsetLevelBeforeGainValue).Constant(kBeforeMax);
    static constexpr auto BeforeMin = lxip::Bind<C>(R::MinOffsetLevelBeforeGainValue).Constant(kBeforeMin);
    static constexpr auto After =
        lxip::Bind<C>(R::OffsetLevelAfterGainReg).Accessor(&C::SelectedAfter, &C::StoreSelectedAfter);
    static constexpr auto AfterMax = lxip::Bind<C>(R::MaxOffsetLevelAfterGainValue).Constant(kAfterMax);
    static constexpr auto AfterMin = lxip::Bind<C>(R::MinOffsetLevelAfterGainValue).Constant(kAfterMin);
    static constexpr auto Auto = lxip::Bind<C>(R::BalanceWhiteAutoReg).Field(&C::m_auto);
    static constexpr auto File = lxip::MakeRegisterFile(Selector, Ratio, RatioMax, RatioMin, Before, BeforeMax,
                                                        BeforeMin, After, AfterMax, AfterMin, Auto);
    static_assert(lxip::Covers(File, R::RegisterNodes), "the declarations must serve the description");
};

// ---------------------------------------------------------------------------------------------------
// Formats

const CLxHandlerTable<CLxBalanceRatioFilter::Handler>& CLxBalanceRatioFilter::Handlers() {
    using F = CLxBalanceRatioFilter;
    static const CLxHandlerTable<Handler> table{
        {LxPixelFormat_Mono8, &F::FilterMono},         {LxPixelFormat_Mono10, &F::FilterMono},
        {LxPixelFormat_Mono12, &F::FilterMono},        {LxPixelFormat_Mono14, &F::FilterMono},
        {LxPixelFormat_Mono16, &F::FilterMono},

        {LxPixelFormat_BayerGR8, &F::FilterBayer},     {LxPixelFormat_BayerRG8, &F::FilterBayer},
        {LxPixelFormat_BayerGB8, &F::FilterBayer},     {LxPixelFormat_BayerBG8, &F::FilterBayer},
        {LxPixelFormat_BayerGR10, &F::FilterBayer},    {LxPixelFormat_BayerGR12, &F::FilterBayer},
        {LxPixelFormat_BayerGR14, &F::FilterBayer},    {LxPixelFormat_BayerGR16, &F::FilterBayer},
        {LxPixelFormat_BayerRG10, &F::FilterBayer},    {LxPixelFormat_BayerRG12, &F::FilterBayer},
        {LxPixelFormat_BayerRG14, &F::FilterBayer},    {LxPixelFormat_BayerRG16, &F::FilterBayer},
        {LxPixelFormat_BayerGB10, &F::FilterBayer},    {LxPixelFormat_BayerGB12, &F::FilterBayer},
        {LxPixelFormat_BayerGB14, &F::FilterBayer},    {LxPixelFormat_BayerGB16, &F::FilterBayer},
        {LxPixelFormat_BayerBG10, &F::FilterBayer},    {LxPixelFormat_BayerBG12, &F::FilterBayer},
        {LxPixelFormat_BayerBG14, &F::FilterBayer},    {LxPixelFormat_BayerBG16, &F::FilterBayer},

        {LxPixelFormat_BGR8, &F::FilterColor},         {LxPixelFormat_BGRa8, &F::FilterColor},
        {LxPixelFormat_RGB8, &F::FilterColor},         {LxPixelFormat_RGBa8, &F::FilterColor},
        {LxPixelFormat_BGR10, &F::FilterColor},        {LxPixelFormat_BGRa10, &F::FilterColor},
        {LxPixelFormat_BGR12, &F::FilterColor},        {LxPixelFormat_BGRa12, &F::FilterColor},
        {LxPixelFormat_BGR14, &F::FilterColor},        {LxPixelFormat_BGRa14, &F::FilterColor},
        {LxPixelFormat_BGR16, &F::FilterColor},        {LxPixelFormat_BGRa16, &F::FilterColor},

        {LxPixelFormat_YCbCr8, &F::FilterLuma},        {LxPixelFormat_YCbCr422_8, &F::FilterLuma},
        {LxPixelFormat_YCbCr411_8, &F::FilterLuma},    {LxPixelFormat_YCbCr709_422_8, &F::FilterLuma},
    };
    return table;
}

namespace {
// Filled at library load, as every handler table is.
const auto& g_balanceHandlers = CLxBalanceRatioFilter::Handlers();
} // namespace

// The samples one call maps: `count` a line, lanes repeating every period, the channel of each lane
// on even and odd lines, the table limits of each channel, and the kind of white balance it takes.
struct CLxBalanceRatioFilter::Plan {
    enum class Balance { None, Colour, Chroma };
    ImageFacts image;
    size_t count = 0;
    size_t bits = 8;
    LaneChannels rows[2];
    uint16_t lo[kChannels] = {};
    uint16_t hi[kChannels] = {};
    Balance balance = Balance::None;
};

// ---------------------------------------------------------------------------------------------------
// The module

CLxBalanceRatioFilter::CLxBalanceRatioFilter()
    : CLxIPModuleBase(lxip::RecordOf(FilterType).resourceId, Registers::File.View(), this) {
    (void)g_balanceHandlers;
}

ILxFilterInfo* CLxBalanceRatioFilter::GetFilterInfo() { return &CFilterInfo<CLxBalanceRatioFilter>::Instance(); }

ILxImage* CLxBalanceRatioFilter::Filter(ILxImage* image) {
    if (!image) throw INVALID_ARGUMENT_EXCEPTION("ILxImage is NULL.");
    const Handler handler = Handlers().Require(image->GetImagePixelFormat());
    (this->*handler)(image);
    return image;
}

CLxBalanceChannel& CLxBalanceRatioFilter::Channel(long long eBRS) {
    lxip::CheckRangeInteger("eBRS", eBRS, 0, static_cast<long long>(kChannels));
    return m_channels[eBRS];
}

int32_t CLxBalanceRatioFilter::SelectedIndex() { return Registers::Selector.Get(*this); }

double CLxBalanceRatioFilter::GetBalanceRatio(ELxBalanceRatioSelector_t eBRS) { return Channel(eBRS).Ratio(); }

void CLxBalanceRatioFilter::SetBalanceRatio(ELxBalanceRatioSelector_t eBRS, double value) {
    CLxBalanceChannel& channel = Channel(eBRS);
    lxip::CheckRangeDouble("value", value, kRatioMin, kRatioMax);
    if (channel.SetRatio(value)) NotifyRegisterChanged(R::BalanceRatioReg.name);
}

int32_t CLxBalanceRatioFilter::GetOffsetLevelBeforeGain(ELxBalanceRatioSelector_t eBRS) {
    return Channel(eBRS).Before();
}

void CLxBalanceRatioFilter::SetOffsetLevelBeforeGain(ELxBalanceRatioSelector_t eBRS, int32_t value) {
    CLxBalanceChannel& channel = Channel(eBRS);
    lxip::IntegerBetween("value", kBeforeMin, kBeforeMax).Check(value);
    if (channel.SetBefore(value)) NotifyRegisterChanged(R::OffsetLevelBeforeGainReg.name);
}

int32_t CLxBalanceRatioFilter::GetOffsetLevelAfterGain(ELxBalanceRatioSelector_t eBRS) { return Channel(eBRS).After(); }

void CLxBalanceRatioFilter::SetOffsetLevelAfterGain(ELxBalanceRatioSelector_t eBRS, int32_t value) {
    CLxBalanceChannel& channel = Channel(eBRS);
    lxip::IntegerBetween("value", kAfterMin, kAfterMax).Check(value);
    if (channel.SetAfter(value)) NotifyRegisterChanged(R::OffsetLevelAfterGainReg.name);
}

ELxBalanceWhiteAuto_t CLxBalanceRatioFilter::GetBalanceWhiteAuto() {
    return static_cast<ELxBalanceWhiteAuto_t>(Registers::Auto.Get(*this));
}

void CLxBalanceRatioFilter::SetBalanceWhiteAuto(ELxBalanceWhiteAuto_t eBWA) {
    lxip::CheckRangeInteger("eBWA", eBWA, 0, 3);
    Registers::Auto.Store(*this, static_cast<uint32_t>(eBWA), true);
}

void CLxBalanceRatioFilter::StoreRatio(size_t channel, double value, bool notify) {
    if (m_channels[channel].SetRatio(value) && notify) NotifyRegisterChanged(R::BalanceRatioReg.name);
}
void CLxBalanceRatioFilter::StoreBefore(size_t channel, int32_t value, bool notify) {
    if (m_channels[channel].SetBefore(value) && notify) NotifyRegisterChanged(R::OffsetLevelBeforeGainReg.name);
}
void CLxBalanceRatioFilter::StoreAfter(size_t channel, int32_t value, bool notify) {
    if (m_channels[channel].SetAfter(value) && notify) NotifyRegisterChanged(R::OffsetLevelAfterGainReg.name);
}

// ---------------------------------------------------------------------------------------------------
// Filtering: statistics and balance first (on the unchanged image), then the tables, then the pixels.

void CLxBalanceRatioFilter::Run(const Plan& plan) {
    if (plan.count == 0 || plan.image.height == 0) return;
    if (plan.balance != Plan::Balance::None && Registers::Auto.Get(*this) != LxBalanceWhiteAuto_Off)
        AutoBalance(plan);

    TableRef tables[kChannels];
    uint8_t narrow[kChannels][lxlookup::kByteTableSize];
    const bool words = plan.bits > 8;
    for (const LaneChannels& row : plan.rows)
        for (uint32_t c = 0; c < row.period; ++c) {
            const int8_t ch = row.channel[c];
            if (ch == kNoChannel || tables[ch]) continue;
            tables[ch] = m_channels[ch].Acquire(plan.bits, plan.lo[ch], plan.hi[ch]);
            if (!words) lxlookup::NarrowTable(tables[ch]->Entries(), narrow[ch]);
        }

    const ImageFacts& f = plan.image;
    if (words) {
        lxlookup::WordImage job{f.base, f.height, f.pitch, plan.count, {}};
        for (size_t r = 0; r < 2; ++r) {
            job.rows[r].period = plan.rows[r].period;
            for (uint32_t c = 0; c < plan.rows[r].period; ++c)
                if (plan.rows[r].channel[c] != kNoChannel) job.rows[r].table[c] = tables[plan.rows[r].channel[c]]->Entries();
        }
        lxlookup::MapWords(job);
    } else {
        lxlookup::ByteImage job{f.base, f.height, f.pitch, plan.count, {}};
        for (size_t r = 0; r < 2; ++r) {
            job.rows[r].period = plan.rows[r].period;
            for (uint32_t c = 0; c < plan.rows[r].period; ++c)
                if (plan.rows[r].channel[c] != kNoChannel) job.rows[r].table[c] = narrow[plan.rows[r].channel[c]];
        }
        lxlookup::MapBytes(job);
    }
}

void CLxBalanceRatioFilter::AutoBalance(const Plan& plan) {
    const ImageFacts& f = plan.image;
    const StatisticsImage image{f.base, f.height, f.pitch, plan.count, {plan.rows[0], plan.rows[1]}};
    ChannelSums sums;
    if (plan.bits > 8)
        AddWordSums(image, sums);
    else
        AddByteSums(image, sums);

    double moved = 0.0;
    double settled;
    if (plan.balance == Plan::Balance::Colour) {
        const int32_t before[3] = {m_channels[Red].Before(), m_channels[Green].Before(), m_channels[Blue].Before()};
        double ratio[3];
        ColourRatios(sums, before, ratio);
        for (size_t c = 0; c < 3; ++c) {
            const double old = m_channels[c].Ratio();
            StoreRatio(c, ratio[c], true);
            moved += (ratio[c] - old) * (ratio[c] - old);
        }
        settled = kColourSettled;
    } else {
        int32_t before[2];
        ChromaOffsets(sums, before);
        for (size_t i = 0; i < 2; ++i) {
            const size_t c = Cb + i;
            StoreRatio(c, 1.0, true);
            StoreAfter(c, 128, true);
            const double old = m_channels[c].Before();
            StoreBefore(c, before[i], true);
            moved += (before[i] - old) * (before[i] - old);
        }
        settled = kChromaSettled;
    }
    if (Registers::Auto.Get(*this) == LxBalanceWhiteAuto_Once && settled >= moved)
        Registers::Auto.Store(*this, LxBalanceWhiteAuto_Off, true);
}

// Mono: every sample through the table of Y; no white balance.
void CLxBalanceRatioFilter::FilterMono(ILxImage* image) {
    Plan plan;
    plan.image = Facts(image);
    plan.bits = GetILxPixelFormatInfo(plan.image.format)->GetComponentBits();
    plan.count = plan.image.width;
    plan.rows[0] = plan.rows[1] = LanesOf({Y});
    Run(plan);
}

// Bayer: red, green and blue by the site, the phase told by the format's component at (0, 0).
void CLxBalanceRatioFilter::FilterBayer(ILxImage* image) {
    Plan plan;
    plan.image = Facts(image);
    ILxPixelFormatInfo* info = GetILxPixelFormatInfo(plan.image.format);
    plan.bits = info->GetComponentBits();
    plan.count = plan.image.width;
    switch (info->GetPixelComponent(0, 0)) {
    case LxColorFilter_Red: plan.rows[0] = LanesOf({Red, Green}), plan.rows[1] = LanesOf({Green, Blue}); break;
    case LxColorFilter_GreenR: plan.rows[0] = LanesOf({Green, Red}), plan.rows[1] = LanesOf({Blue, Green}); break;
    case LxColorFilter_GreenB: plan.rows[0] = LanesOf({Green, Blue}), plan.rows[1] = LanesOf({Red, Green}); break;
    case LxColorFilter_Blue: plan.rows[0] = LanesOf({Blue, Green}), plan.rows[1] = LanesOf({Green, Red}); break;
    default: return; // no pattern known: the image stays
    }
    plan.balance = Plan::Balance::Colour;
    Run(plan);
}

// Interleaved colour by the format's component order; an alpha sample stays. Above 8 bits only the
// BGR order has a handler.
void CLxBalanceRatioFilter::FilterColor(ILxImage* image) {
    Plan plan;
    plan.image = Facts(image);
    ILxPixelFormatInfo* info = GetILxPixelFormatInfo(plan.image.format);
    plan.bits = info->GetComponentBits();
    const bool alpha = info->GetComponentCount() == 4;
    const bool rgb = plan.image.format == LxPixelFormat_RGB8 || plan.image.format == LxPixelFormat_RGBa8;
    const int8_t first = rgb ? Red : Blue, last = rgb ? Blue : Red;
    plan.rows[0] = plan.rows[1] = alpha ? LanesOf({first, Green, last, kNoChannel}) : LanesOf({first, Green, last});
    plan.count = plan.image.width * plan.rows[0].period;
    plan.balance = Plan::Balance::Colour;
    Run(plan);
}

// Luma and chroma: YCbCr8 three bytes a pixel; 4:2:2 groups of 4 bytes for 2 pixels (Y Cb Y Cr), from a
// width of 2; 4:1:1 groups of 6 bytes for 4 pixels (Y Y Cb Y Y Cr), from a width of 4. A remainder of
// pixels that makes no whole group stays. The BT.709 form has the limited ranges 16..235 and 16..240.
void CLxBalanceRatioFilter::FilterLuma(ILxImage* image) {
    Plan plan;
    plan.image = Facts(image);
    const size_t w = plan.image.width;
    switch (plan.image.format) {
    case LxPixelFormat_YCbCr8:
        plan.rows[0] = LanesOf({Y, Cb, Cr});
        plan.count = 3 * w;
        break;
    case LxPixelFormat_YCbCr411_8:
        plan.rows[0] = LanesOf({Y, Y, Cb, Y, Y, Cr});
        plan.count = w > 3 ? (w & ~size_t(3)) / 4 * 6 : 0;
        break;
    default:
        plan.rows[0] = LanesOf({Y, Cb, Y, Cr});
        plan.count = w > 1 ? w / 2 * 4 : 0;
        break;
    }
    plan.rows[1] = plan.rows[0];
    const bool limited = plan.image.format == LxPixelFormat_YCbCr709_422_8;
    plan.lo[Y] = plan.lo[Cb] = plan.lo[Cr] = limited ? 16 : 0;
    plan.hi[Y] = limited ? 235 : 255;
    plan.hi[Cb] = plan.hi[Cr] = limited ? 240 : 255;
    plan.balance = Plan::Balance::Chroma;
    Run(plan);
}
