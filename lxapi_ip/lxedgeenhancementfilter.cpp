#include "lxedgeenhancementfilter.h"

#include "edgekernels.h"
#include "frame/lxmoduleregistry.h"
#include "lxdescriptions.h"
#include "lxpixelformatconverter.h"

#include <lxapi/lxpixelformat.h>

#include <cstdint>

// ---------------------------------------------------------------------------------------------------
// The table

// With T = Thresh << (bits - 8) and top = 2^bits - 1: entries 0..T are 0; from T + 1 on, entry T + k is
// k * Strength (summed by repeated addition) + 0.5, truncated, or top where the sum reaches top. A
// threshold at or above top leaves every entry 0. Tables for samples of 16-bit words have all 65536
// entries, those past top repeating the entry of top.
CLxEdgeEnhancementFilter::SharedTable* CLxEdgeEnhancementFilter::BuildTable(size_t bits, double strength,
                                                                            uint32_t thresh) {
    const uint32_t top = (1u << bits) - 1;
    const uint32_t size = bits > 8 ? 65536u : 256u;
    lxip::CLxSharedTableRef<SharedTable> table(SharedTable::Create(size));
    uint16_t* t = table->Entries();
    for (uint32_t i = 0; i < size; ++i) t[i] = 0;
    // 64 bits: a threshold written through the port may be any 32-bit value.
    const uint64_t threshold = uint64_t(thresh) << (bits - 8);
    if (threshold < top) {
        double sum = 0.0;
        for (uint32_t i = uint32_t(threshold) + 1; i <= top; ++i) {
            sum += strength;
            t[i] = sum >= top ? uint16_t(top) : uint16_t(sum + 0.5);
        }
    }
    for (uint32_t i = top + 1; i < size; ++i) t[i] = t[top];
    return table.Detach();
}

// ---------------------------------------------------------------------------------------------------
// The module

namespace {

// Luma of the 8-bit YCbCr and YUV forms: the byte step from one luma sample to the next, and where the
// first one lies.
struct LumaLayout {
    size_t step;
    size_t position;
};

LumaLayout LayoutOf(uint32_t format) {
    switch (format) {
    case LxPixelFormat_YUV8_UYV:
    case LxPixelFormat_YCbCr8_CbYCr:
    case LxPixelFormat_YCbCr601_8_CbYCr:
    case LxPixelFormat_YCbCr709_8_CbYCr: return {3, 1};
    case LxPixelFormat_YCbCr8: return {3, 0};
    case LxPixelFormat_YUV422_8_UYVY:
    case LxPixelFormat_YCbCr422_8_CbYCrY:
    case LxPixelFormat_YCbCr601_422_8_CbYCrY:
    case LxPixelFormat_YCbCr709_422_8_CbYCrY: return {2, 1};
    default: return {2, 0}; // YUV422_8, YCbCr422_8, YCbCr601_422_8, YCbCr709_422_8
    }
}

// The mono format the colour path converts to, by component bits.
uint32_t MonoFormatFor(size_t bits, uint32_t format) {
    if (bits <= 8) return LxPixelFormat_Mono8;
    if (bits <= 10) return LxPixelFormat_Mono10;
    if (bits <= 12) return LxPixelFormat_Mono12;
    if (bits <= 14) return LxPixelFormat_Mono14;
    if (bits <= 16) return LxPixelFormat_Mono16;
    throw RUNTIME_EXCEPTION("Not supported pixelformat %s", lxip::PixelFormatName(format).c_str());
}

// The line sums of three lines: a pooled image of 6 lines of Mono16 holds 3 lines of 32-bit sums.
template <class Sum>
Sum* WorkLines(ILxImageBufferReleasable* buffer, size_t width) {
    buffer->CreateBuffer(width, 6, LxPixelFormat_Mono16);
    return static_cast<Sum*>(buffer->GetILxImage()->GetImageBuffer());
}

} // namespace

const CLxHandlerTable<CLxEdgeEnhancementFilter::Handler>& CLxEdgeEnhancementFilter::Handlers() {
    using F = CLxEdgeEnhancementFilter;
    static const CLxHandlerTable<Handler> table{
        {LxPixelFormat_Mono8, &F::FilterMono8},
        {LxPixelFormat_Mono10, &F::FilterMono16},
        {LxPixelFormat_Mono12, &F::FilterMono16},
        {LxPixelFormat_Mono14, &F::FilterMono16},
        {LxPixelFormat_Mono16, &F::FilterMono16},

        {LxPixelFormat_RGB8, &F::FilterColor<uint8_t>},
        {LxPixelFormat_RGBa8, &F::FilterColor<uint8_t>},
        {LxPixelFormat_BGR8, &F::FilterColor<uint8_t>},
        {LxPixelFormat_BGRa8, &F::FilterColor<uint8_t>},
        {LxPixelFormat_BGR10, &F::FilterColor<uint16_t>},
        {LxPixelFormat_BGRa10, &F::FilterColor<uint16_t>},
        {LxPixelFormat_BGR12, &F::FilterColor<uint16_t>},
        {LxPixelFormat_BGRa12, &F::FilterColor<uint16_t>},
        {LxPixelFormat_BGR14, &F::FilterColor<uint16_t>},
        {LxPixelFormat_BGRa14, &F::FilterColor<uint16_t>},
        {LxPixelFormat_BGR16, &F::FilterColor<uint16_t>},
        {LxPixelFormat_BGRa16, &F::FilterColor<uint16_t>},

        {LxPixelFormat_YCbCr8, &F::FilterLuma},
        {LxPixelFormat_YCbCr8_CbYCr, &F::FilterLuma},
        {LxPixelFormat_YCbCr709_8_CbYCr, &F::FilterLuma},
        {LxPixelFormat_YCbCr601_8_CbYCr, &F::FilterLuma},
        {LxPixelFormat_YUV8_UYV, &F::FilterLuma},
        {LxPixelFormat_YCbCr422_8, &F::FilterLuma},
        {LxPixelFormat_YCbCr709_422_8, &F::FilterLuma},
        {LxPixelFormat_YCbCr601_422_8, &F::FilterLuma},
        {LxPixelFormat_YUV422_8, &F::FilterLuma},
        {LxPixelFormat_YCbCr422_8_CbYCrY, &F::FilterLuma},
        {LxPixelFormat_YCbCr709_422_8_CbYCrY, &F::FilterLuma},
        {LxPixelFormat_YCbCr601_422_8_CbYCrY, &F::FilterLuma},
        {LxPixelFormat_YUV422_8_UYVY, &F::FilterLuma},
    };
    return table;
}

namespace {
const auto& g_edgeHandlers = CLxEdgeEnhancementFilter::Handlers();
namespace R = lxres::lxedgeenhancementfilter;
} // namespace

// Strength and Thresh with their read-only bounds. A register write stores without a range check.
struct CLxEdgeEnhancementFilter::Registers {
    using C = CLxEdgeEnhancementFilter;
    static constexpr double StrengthMin = 0.0;
    static constexpr double StrengthMax = 32.0;
    static constexpr uint32_t ThreshMin = 0;
    static constexpr uint32_t ThreshMax = 255;
    static constexpr auto Strength =
        lxip::Bind<C>(R::StrengthReg).Field(&C::m_strength).Range(lxip::FloatBetween("value", StrengthMin, StrengthMax));
    static constexpr auto Thresh =
        lxip::Bind<C>(R::ThreshReg).Field(&C::m_thresh).Range(lxip::IntegerBetween("value", ThreshMin, ThreshMax));
    static constexpr auto StrengthMinimum = lxip::Bind<C>(R::StrengthMinReg).Constant(StrengthMin);
    static constexpr auto StrengthMaximum = lxip::Bind<C>(R::StrengthMaxReg).Constant(StrengthMax);
    static constexpr auto ThreshMinimum = lxip::Bind<C>(R::ThreshMinReg).Constant(ThreshMin);
    static constexpr auto ThreshMaximum = lxip::Bind<C>(R::ThreshMaxReg).Constant(ThreshMax);
    static constexpr auto File = lxip::MakeRegisterFile(Strength, Thresh, StrengthMinimum, StrengthMaximum,
                                                        ThreshMinimum, ThreshMaximum);
    static_assert(lxip::Covers(File, R::RegisterNodes), "the declarations must serve the description");
};

CLxEdgeEnhancementFilter::CLxEdgeEnhancementFilter()
    : CLxIPModuleBase(lxip::RecordOf(FilterType).resourceId, Registers::File.View(), this) {
    (void)g_edgeHandlers;
}

ILxFilterInfo* CLxEdgeEnhancementFilter::GetFilterInfo() { return &CFilterInfo<CLxEdgeEnhancementFilter>::Instance(); }

ILxImage* CLxEdgeEnhancementFilter::Filter(ILxImage* image) {
    if (!image) throw INVALID_ARGUMENT_EXCEPTION("ILxImage is NULL.");
    const Handler handler = Handlers().Require(image->GetImagePixelFormat());
    (this->*handler)(image);
    return image;
}

double CLxEdgeEnhancementFilter::GetStrength() { return Registers::Strength.Get(*this); }
void CLxEdgeEnhancementFilter::SetStrength(double value) { Registers::Strength.Set(*this, value); }
uint32_t CLxEdgeEnhancementFilter::GetThresh() { return Registers::Thresh.Get(*this); }
void CLxEdgeEnhancementFilter::SetThresh(uint32_t value) { Registers::Thresh.Set(*this, value); }

CLxEdgeEnhancementFilter::TableRef CLxEdgeEnhancementFilter::AcquireTable(size_t bits, uint32_t& thresh) {
    double strength;
    {
        GenApi::AutoLock guard(ParameterLock());
        strength = m_strength;
        thresh = m_thresh;
    }
    // Not above 0 (a NaN written through the port included): no table, the image passes.
    if (!(strength > 0.0)) return TableRef();
    return m_tables.Acquire(Key{bits, strength, thresh}, [&] { return BuildTable(bits, strength, thresh); });
}

namespace {

lxedge::Amounts AmountsOf(const CLxEdgeEnhancementFilter::SharedTable& table, size_t bits, uint32_t thresh) {
    return {table.Entries(), int64_t(uint64_t(thresh) << (bits - 8)), (int64_t(1) << bits) - 1};
}

template <class Sample>
lxedge::Plane<Sample> PlaneOf(ILxImage* image, size_t offset, size_t step) {
    return {static_cast<uint8_t*>(image->GetImageBuffer()) + offset, image->GetImageLinePitch(), step,
            image->GetImageWidth(), image->GetImageHeight()};
}

} // namespace

void CLxEdgeEnhancementFilter::FilterMono8(ILxImage* image) {
    uint32_t thresh;
    const TableRef table = AcquireTable(8, thresh);
    if (!table || image->GetImageWidth() < 3 || image->GetImageHeight() < 3) return;
    TemporaryBuffer work(*this);
    lxedge::EnhanceMono8(static_cast<uint8_t*>(image->GetImageBuffer()), image->GetImageLinePitch(),
                         image->GetImageWidth(), image->GetImageHeight(),
                         WorkLines<uint16_t>(work.Get(), image->GetImageWidth()), table->Entries());
}

void CLxEdgeEnhancementFilter::FilterMono16(ILxImage* image) {
    const size_t bits = GetILxPixelFormatInfo(image->GetImagePixelFormat())->GetComponentBits();
    uint32_t thresh;
    const TableRef table = AcquireTable(bits, thresh);
    if (!table || image->GetImageWidth() < 3 || image->GetImageHeight() < 3) return;
    TemporaryBuffer work(*this);
    lxedge::EnhanceInPlace(PlaneOf<uint16_t>(image, 0, 1), WorkLines<uint32_t>(work.Get(), image->GetImageWidth()),
                           AmountsOf(*table, bits, thresh));
}

void CLxEdgeEnhancementFilter::FilterLuma(ILxImage* image) {
    uint32_t thresh;
    const TableRef table = AcquireTable(8, thresh);
    if (!table || image->GetImageWidth() < 3 || image->GetImageHeight() < 3) return;
    const LumaLayout layout = LayoutOf(image->GetImagePixelFormat());
    TemporaryBuffer work(*this);
    lxedge::EnhanceInPlace(PlaneOf<uint8_t>(image, layout.position, layout.step),
                           WorkLines<uint16_t>(work.Get(), image->GetImageWidth()), AmountsOf(*table, 8, thresh));
}

// Colour: the decision comes from the image's luminance, made by the filter's own converter into its
// own mono image; the same amount then moves each of the first three samples of the pixel by itself.
// Alpha stays, the mono image is not written.
template <class Sample>
void CLxEdgeEnhancementFilter::FilterColor(ILxImage* image) {
    const uint32_t format = image->GetImagePixelFormat();
    ILxPixelFormatInfo* info = GetILxPixelFormatInfo(format);
    const size_t bits = info->GetComponentBits();
    const uint32_t monoFormat = MonoFormatFor(bits, format);
    uint32_t thresh;
    const TableRef table = AcquireTable(bits, thresh);
    if (!table || image->GetImageWidth() < 3 || image->GetImageHeight() < 3) return;

    GenApi::AutoLock colorGuard(m_colorLock);
    if (!m_monoImage) {
        lxip::TranslateBadAlloc([&] {
            m_converter.Reset(new CLxPixelFormatConverter());
            m_monoImage.Reset(CreateILxImageBuffer(nullptr));
            return 0;
        });
    }
    dynamic_cast<ILxPixelFormatConverter&>(*m_converter.Get()).SetDestinationPixelFormat(monoFormat);
    m_converter->Convert(image, m_monoImage.Get());
    ILxImage* mono = m_monoImage->GetILxImage();

    const size_t step = info->GetComponentCount();
    const lxedge::Plane<Sample> channels[3] = {PlaneOf<Sample>(image, 0, step),
                                               PlaneOf<Sample>(image, sizeof(Sample), step),
                                               PlaneOf<Sample>(image, 2 * sizeof(Sample), step)};
    const lxedge::Amounts amounts = AmountsOf(*table, bits, thresh);
    TemporaryBuffer work(*this);
    lxedge::EnhancePlane(PlaneOf<Sample>(mono, 0, 1), WorkLines<lxedge::LineSum<Sample>>(work.Get(), mono->GetImageWidth()),
                         [&](size_t y, size_t x, uint32_t c, uint32_t m) {
                             for (const lxedge::Plane<Sample>& p : channels) {
                                 const int64_t v = p.At(y, x);
                                 const int64_t w = lxedge::Apply(amounts, c, m, v);
                                 if (w != v) p.Put(y, x, Sample(w));
                             }
                         });
}
