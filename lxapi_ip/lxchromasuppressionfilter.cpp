#include "lxchromasuppressionfilter.h"

#include "chromakernels.h"
#include "frame/lxmoduleregistry.h"
#include "lxdescriptions.h"
#include "support/lxinside.h"

#include <lxapi/lxpixelformat.h>

namespace {
namespace R = lxres::lxchromasuppressionfilter;
constexpr uint32_t ValueMin = 0;
constexpr uint32_t ValueMax = 255;
} // namespace

const CLxHandlerTable<CLxChromaSuppressionFilter::Handler>& CLxChromaSuppressionFilter::Handlers() {
    using F = CLxChromaSuppressionFilter;
    static const CLxHandlerTable<Handler> table{
        {LxPixelFormat_RGB8, &F::FilterPixels<uint8_t>},    {LxPixelFormat_RGBa8, &F::FilterPixels<uint8_t>},
        {LxPixelFormat_BGR8, &F::FilterPixels<uint8_t>},    {LxPixelFormat_BGRa8, &F::FilterPixels<uint8_t>},
        {LxPixelFormat_BGR10, &F::FilterPixels<uint16_t>},  {LxPixelFormat_BGRa10, &F::FilterPixels<uint16_t>},
        {LxPixelFormat_BGR12, &F::FilterPixels<uint16_t>},  {LxPixelFormat_BGRa12, &F::FilterPixels<uint16_t>},
        {LxPixelFormat_BGR14, &F::FilterPixels<uint16_t>},  {LxPixelFormat_BGRa14, &F::FilterPixels<uint16_t>},
        {LxPixelFormat_BGR16, &F::FilterPixels<uint16_t>},  {LxPixelFormat_BGRa16, &F::FilterPixels<uint16_t>},
    };
    return table;
}

namespace {
// Filled at library load, as every handler table is.
const auto& g_chromaHandlers = CLxChromaSuppressionFilter::Handlers();
} // namespace

// The selector and the two values of the part it selects, with their read-only bounds. A register
// write of a part or value out of range is refused with the typed setter's text: a raw port write
// is the only way there, and the pixel loop relies on the bounds.
struct CLxChromaSuppressionFilter::Registers {
    using C = CLxChromaSuppressionFilter;
    static constexpr auto Selector = lxip::Bind<C>(R::ChromaSuppressionPartSelectorReg)
                                         .Field(&C::m_selectedPart)
                                         .Range(lxip::IntegerBelow("eCSPS", 0, PartCount))
                                         .Write(lxip::WriteRule::Checked);
    static constexpr auto Threshold = lxip::Bind<C>(R::ThresholdValueReg)
                                          .Accessor(&C::SelectedThreshold, &C::StoreSelectedThreshold)
                                          .Range(lxip::IntegerBetween("value", ValueMin, ValueMax))
                                          .Write(lxip::WriteRule::Checked);
    static constexpr auto ThresholdMin = lxip::Bind<C>(R::ThresholdValueMinReg).Constant(ValueMin);
    static constexpr auto ThresholdMax = lxip::Bind<C>(R::ThresholdValueMaxReg).Constant(ValueMax);
    static constexpr auto Suppression = lxip::Bind<C>(R::SuppressionValueReg)
                                            .Accessor(&C::SelectedSuppression, &C::StoreSelectedSuppression)
                                            .Range(lxip::IntegerBetween("value", ValueMin, ValueMax))
                                            .Write(lxip::WriteRule::Checked);
    static constexpr auto SuppressionMin = lxip::Bind<C>(R::SuppressionValueMinReg).Constant(ValueMin);
    static constexpr auto SuppressionMax = lxip::Bind<C>(R::SuppressionValueMaxReg).Constant(ValueMax);
    static constexpr auto File = lxip::MakeRegisterFile(Selector, Threshold, ThresholdMin, ThresholdMax, Suppression,
                                                        SuppressionMin, SuppressionMax);
    static_assert(lxip::Covers(File, R::RegisterNodes), "the declarations must serve the description");
};

CLxChromaSuppressionFilter::CLxChromaSuppressionFilter()
    : CLxIPModuleBase(lxip::RecordOf(FilterType).resourceId, Registers::File.View(), this) {
    (void)g_chromaHandlers;
}

ILxFilterInfo* CLxChromaSuppressionFilter::GetFilterInfo() {
    return &CFilterInfo<CLxChromaSuppressionFilter>::Instance();
}

ILxImage* CLxChromaSuppressionFilter::Filter(ILxImage* image) {
    if (!image) throw INVALID_ARGUMENT_EXCEPTION("ILxImage is NULL.");
    const Handler handler = Handlers().Require(image->GetImagePixelFormat());
    (this->*handler)(image);
    return image;
}

// ---------------------------------------------------------------------------------------------------
// Parameters

uint32_t CLxChromaSuppressionFilter::GetPartValue(const uint32_t (&values)[PartCount], long long part) {
    lxip::CheckRangeInteger("eCSPS", part, 0, PartCount);
    GenApi::AutoLock guard(m_parameterLock);
    return values[part];
}

void CLxChromaSuppressionFilter::SetPartValue(uint32_t (&values)[PartCount], long long part, uint32_t value,
                                              const char* node) {
    lxip::CheckRangeInteger("eCSPS", part, 0, PartCount);
    Registers::Threshold.Check(value); // the same bounds and texts for both values
    {
        GenApi::AutoLock guard(m_parameterLock);
        if (values[part] == value) return;
        values[part] = value;
    }
    NotifyRegisterChanged(node);
}

uint32_t CLxChromaSuppressionFilter::GetThresholdValue(ELxChromaSuppressionPartSelector_t eCSPS) {
    return GetPartValue(m_threshold, eCSPS);
}
void CLxChromaSuppressionFilter::SetThresholdValue(ELxChromaSuppressionPartSelector_t eCSPS, uint32_t value) {
    SetPartValue(m_threshold, eCSPS, value, R::ThresholdValueReg.name);
}
uint32_t CLxChromaSuppressionFilter::GetSuppressionValue(ELxChromaSuppressionPartSelector_t eCSPS) {
    return GetPartValue(m_suppression, eCSPS);
}
void CLxChromaSuppressionFilter::SetSuppressionValue(ELxChromaSuppressionPartSelector_t eCSPS, uint32_t value) {
    SetPartValue(m_suppression, eCSPS, value, R::SuppressionValueReg.name);
}

// The selector is kept below PartCount by its register's check.
uint32_t CLxChromaSuppressionFilter::SelectedThreshold() {
    GenApi::AutoLock guard(m_parameterLock);
    return m_threshold[m_selectedPart];
}
void CLxChromaSuppressionFilter::StoreSelectedThreshold(uint32_t value) {
    GenApi::AutoLock guard(m_parameterLock);
    m_threshold[m_selectedPart] = value;
}
uint32_t CLxChromaSuppressionFilter::SelectedSuppression() {
    GenApi::AutoLock guard(m_parameterLock);
    return m_suppression[m_selectedPart];
}
void CLxChromaSuppressionFilter::StoreSelectedSuppression(uint32_t value) {
    GenApi::AutoLock guard(m_parameterLock);
    m_suppression[m_selectedPart] = value;
}

// ---------------------------------------------------------------------------------------------------
// Pixels

// The parameters are taken once at the start of the image: a change meanwhile applies to the next.
// A part whose suppression is 0 takes the threshold's bound instead of its threshold, so that it
// leaves every pixel.
template <class Sample>
void CLxChromaSuppressionFilter::FilterPixels(ILxImage* image) {
    const uint32_t format = image->GetImagePixelFormat();
    ILxPixelFormatInfoInside* info = lxip::FormatInside(format);
    const size_t bits = info->GetComponentBits();
    lxchroma::Params p{};
    {
        GenApi::AutoLock guard(m_parameterLock);
        p.suppressLow = m_suppression[0];
        p.suppressHigh = m_suppression[1];
        p.low = p.suppressLow ? m_threshold[0] : ValueMin;
        p.high = p.suppressHigh ? m_threshold[1] : ValueMax;
    }
    p.shift = bits > 8 ? static_cast<unsigned>(bits - 8) : 0;
    const uint32_t maxLuminance = (sizeof(Sample) == 1 ? 0xFFu : 0xFFFFu) >> p.shift;
    if (lxchroma::LeavesEveryPixel(p, maxLuminance)) return;

    const bool blueFirst = info->IsBlueFirst();
    const lxchroma::Image im{static_cast<uint8_t*>(image->GetImageBuffer()),
                             image->GetImageWidth(),
                             image->GetImageHeight(),
                             image->GetImageLinePitch(),
                             info->GetComponentCount(),
                             blueFirst ? size_t(0) : size_t(2),
                             blueFirst ? size_t(2) : size_t(0)};
    if constexpr (sizeof(Sample) == 1)
        lxchroma::Suppress8(im, p);
    else
        lxchroma::Suppress16(im, p);
}
