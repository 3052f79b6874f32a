#include "lxgammacorrectionfilter.h"

#include "frame/lxmoduleregistry.h"
#include "lxdescriptions.h"
#include "lookupkernels.h"

#include <lxapi/lxpixelformat.h>

#include <cmath>
#include <cstdint>
#include <cstring>

// ---------------------------------------------------------------------------------------------------
// The table

double CLxGammaTable::GetGamma() {
    GenApi::AutoLock guard(m_lock);
    return m_gammaWanted;
}

void CLxGammaTable::SetGamma(double gamma) {
    GenApi::AutoLock guard(m_lock);
    m_gammaWanted = gamma;
}

CLxGammaTable::Ref CLxGammaTable::Acquire(size_t bits, uint16_t lo, uint16_t hi) {
    const double gamma = GetGamma();
    // Exactly 1.0 is the identity; any other value, even very close, makes a table.
    if (gamma == 1.0) return Ref();
    // On failure the cache keeps the new key with no table, so the next call tries again.
    return m_tables.Acquire(Key{bits, gamma}, [&] { return Build(bits, gamma, lo, hi); });
}

// Entries i = lo..hi: v = pow(k / range, gamma) * range + lo + 0.5 with k = i - lo, truncated, and hi
// where v reaches hi. The exponent is gamma itself: below 1 brightens, above 1 darkens.
// Samples of 16-bit storage index the table with the whole word, so such tables cover all 65536
// words: a word above the format's maximum then reads the entry of the maximum instead of running
// past the table. Entries below lo (limited-range luma) take lo.
CLxGammaTable::SharedTable* CLxGammaTable::Build(size_t bits, double gamma, uint16_t lo, uint16_t hi) {
    const uint32_t count = 1u << bits;
    if (hi == 0) hi = static_cast<uint16_t>(count - 1);
    const uint32_t allocated = bits > 8 ? uint32_t(lxlookup::kWordTableSize) : count;
    lxip::CLxSharedTableRef<SharedTable> table(SharedTable::Create(allocated));
    uint16_t* entries = table->Entries();
    const double range = static_cast<double>(static_cast<uint16_t>(hi - lo));
    if (lo <= hi) {
        for (uint32_t i = lo, k = 0; i <= hi; ++i, ++k) {
            const double v = std::pow(k / range, gamma) * range + lo + 0.5;
            entries[i] = hi > v ? static_cast<uint16_t>(v) : hi;
        }
        for (uint32_t i = 0; i < lo; ++i) entries[i] = lo;
        for (uint32_t i = hi + 1u; i < count; ++i) entries[i] = entries[hi];
    } else {
        for (uint32_t i = 0; i < count; ++i) entries[i] = static_cast<uint16_t>(i);
    }
    if (allocated > count) lxlookup::ExtendWordTable(entries, count);
    return table.Detach();
}

// ---------------------------------------------------------------------------------------------------
// Pixel loops: the shared lookup kernels, one table read and one store per mapped sample.

namespace {

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

// In every line, `count` samples whose lanes repeat every `period`; the first `mapped` lanes go
// through the table, the others stay.
template <class Sample>
void MapSamples(const ImageFacts& f, uint32_t period, uint32_t mapped, size_t count, const uint16_t* table) {
    if constexpr (sizeof(Sample) == 1) {
        uint8_t bytes[lxlookup::kByteTableSize];
        lxlookup::NarrowTable(table, bytes);
        lxlookup::ByteLanes lanes;
        lanes.period = period;
        for (uint32_t c = 0; c < mapped; ++c) lanes.table[c] = bytes;
        lxlookup::MapBytes(lxlookup::Uniform(f.base, f.height, f.pitch, count, lanes));
    } else {
        lxlookup::WordLanes lanes;
        lanes.period = period;
        for (uint32_t c = 0; c < mapped; ++c) lanes.table[c] = table;
        lxlookup::MapWords(lxlookup::Uniform(f.base, f.height, f.pitch, count, lanes));
    }
}

} // namespace

// ---------------------------------------------------------------------------------------------------
// The module

const CLxHandlerTable<CLxGammaCorrectionFilter::Handler>& CLxGammaCorrectionFilter::Handlers() {
    using F = CLxGammaCorrectionFilter;
    static const CLxHandlerTable<Handler> table{
        {LxPixelFormat_Mono8, &F::FilterMono<uint8_t>},        {LxPixelFormat_BayerGR8, &F::FilterMono<uint8_t>},
        {LxPixelFormat_BayerRG8, &F::FilterMono<uint8_t>},     {LxPixelFormat_BayerGB8, &F::FilterMono<uint8_t>},
        {LxPixelFormat_BayerBG8, &F::FilterMono<uint8_t>},

        {LxPixelFormat_Mono10, &F::FilterMono<uint16_t>},      {LxPixelFormat_Mono12, &F::FilterMono<uint16_t>},
        {LxPixelFormat_Mono14, &F::FilterMono<uint16_t>},      {LxPixelFormat_Mono16, &F::FilterMono<uint16_t>},
        {LxPixelFormat_BayerGR10, &F::FilterMono<uint16_t>},   {LxPixelFormat_BayerGR12, &F::FilterMono<uint16_t>},
        {LxPixelFormat_BayerGR14, &F::FilterMono<uint16_t>},   {LxPixelFormat_BayerGR16, &F::FilterMono<uint16_t>},
        {LxPixelFormat_BayerRG10, &F::FilterMono<uint16_t>},   {LxPixelFormat_BayerRG12, &F::FilterMono<uint16_t>},
        {LxPixelFormat_BayerRG14, &F::FilterMono<uint16_t>},   {LxPixelFormat_BayerRG16, &F::FilterMono<uint16_t>},
        {LxPixelFormat_BayerGB10, &F::FilterMono<uint16_t>},   {LxPixelFormat_BayerGB12, &F::FilterMono<uint16_t>},
        {LxPixelFormat_BayerGB14, &F::FilterMono<uint16_t>},   {LxPixelFormat_BayerGB16, &F::FilterMono<uint16_t>},
        {LxPixelFormat_BayerBG10, &F::FilterMono<uint16_t>},   {LxPixelFormat_BayerBG12, &F::FilterMono<uint16_t>},
        {LxPixelFormat_BayerBG14, &F::FilterMono<uint16_t>},   {LxPixelFormat_BayerBG16, &F::FilterMono<uint16_t>},

        {LxPixelFormat_RGB8, &F::FilterColor<uint8_t>},        {LxPixelFormat_RGBa8, &F::FilterColor<uint8_t>},
        {LxPixelFormat_BGR8, &F::FilterColor<uint8_t>},        {LxPixelFormat_BGRa8, &F::FilterColor<uint8_t>},

        // Of the colours above 8 bits only the BGR order has a handler; RGB16 is left out.
        {LxPixelFormat_BGR10, &F::FilterColor<uint16_t>},      {LxPixelFormat_BGRa10, &F::FilterColor<uint16_t>},
        {LxPixelFormat_BGR12, &F::FilterColor<uint16_t>},      {LxPixelFormat_BGRa12, &F::FilterColor<uint16_t>},
        {LxPixelFormat_BGR14, &F::FilterColor<uint16_t>},      {LxPixelFormat_BGRa14, &F::FilterColor<uint16_t>},
        {LxPixelFormat_BGR16, &F::FilterColor<uint16_t>},      {LxPixelFormat_BGRa16, &F::FilterColor<uint16_t>},

        {LxPixelFormat_YCbCr8, &F::FilterLuma},        {LxPixelFormat_YCbCr422_8, &F::FilterLuma},
        {LxPixelFormat_YCbCr411_8, &F::FilterLuma},    {LxPixelFormat_YCbCr709_422_8, &F::FilterLuma},
    };
    return table;
}

namespace {
// Filled at library load, as every handler table is.
const auto& g_gammaHandlers = CLxGammaCorrectionFilter::Handlers();
namespace R = lxres::lxgammacorrectionfilter;
} // namespace

// Gamma and its read-only bounds.
struct CLxGammaCorrectionFilter::Registers {
    using C = CLxGammaCorrectionFilter;
    static constexpr double GammaMin = 0.0;
    static constexpr double GammaMax = 4.0;
    static constexpr auto Gamma = lxip::Bind<C>(R::GammaReg)
                                      .Accessor(&C::GetGamma, &C::StoreGamma)
                                      .Range(lxip::FloatBetween("value", GammaMin, GammaMax));
    static constexpr auto GammaMinimum = lxip::Bind<C>(R::GammaMinReg).Constant(GammaMin);
    static constexpr auto GammaMaximum = lxip::Bind<C>(R::GammaMaxReg).Constant(GammaMax);
    static constexpr auto File = lxip::MakeRegisterFile(Gamma, GammaMinimum, GammaMaximum);
    static_assert(lxip::Covers(File, R::RegisterNodes), "the declarations must serve the description");
};

CLxGammaCorrectionFilter::CLxGammaCorrectionFilter()
    : CLxIPModuleBase(lxip::RecordOf(FilterType).resourceId, Registers::File.View(), this) {
    (void)g_gammaHandlers;
}

ILxFilterInfo* CLxGammaCorrectionFilter::GetFilterInfo() { return &CFilterInfo<CLxGammaCorrectionFilter>::Instance(); }

ILxImage* CLxGammaCorrectionFilter::Filter(ILxImage* image) {
    if (!image) throw INVALID_ARGUMENT_EXCEPTION("ILxImage is NULL.");
    const Handler handler = Handlers().Require(image->GetImagePixelFormat());
    (this->*handler)(image);
    return image;
}

double CLxGammaCorrectionFilter::GetGamma() { return m_gammaTable.GetGamma(); }

void CLxGammaCorrectionFilter::SetGamma(double value) { Registers::Gamma.Set(*this, value); }

CLxGammaTable::Ref CLxGammaCorrectionFilter::AcquireTable(size_t bits, uint16_t lo, uint16_t hi) {
    GenApi::AutoLock guard(m_workLock);
    return m_gammaTable.Acquire(bits, lo, hi);
}

// One component: bytes through an 8-bit table, words through a table of the format's depth.
template <class Sample>
void CLxGammaCorrectionFilter::FilterMono(ILxImage* image) {
    const ImageFacts f = Facts(image);
    const size_t bits = sizeof(Sample) == 1 ? 8 : GetILxPixelFormatInfo(f.format)->GetComponentBits();
    const CLxGammaTable::Ref table = AcquireTable(bits, 0, 0);
    if (!table) return;
    MapSamples<Sample>(f, 1, 1, f.width, table->Entries());
}

// Colour: the first three samples of each pixel; an alpha sample stays.
template <class Sample>
void CLxGammaCorrectionFilter::FilterColor(ILxImage* image) {
    const ImageFacts f = Facts(image);
    ILxPixelFormatInfo* info = GetILxPixelFormatInfo(f.format);
    const size_t bits = sizeof(Sample) == 1 ? 8 : info->GetComponentBits();
    const CLxGammaTable::Ref table = AcquireTable(bits, 0, 0);
    if (!table) return;
    const uint32_t step = info->GetComponentCount() == 4 ? 4 : 3;
    MapSamples<Sample>(f, step, 3, f.width * step, table->Entries());
}

// Only the luma bytes: YCbCr8 the first of every 3; the 4:2:2 forms the first of every 2; YCbCr411_8
// the first 2 of every group of 3 bytes, (width - 2) / 2 + 1 groups, none for a width of 1. The BT.709
// form has the limited range 16 to 255.
void CLxGammaCorrectionFilter::FilterLuma(ILxImage* image) {
    const ImageFacts f = Facts(image);
    const bool limited = f.format == LxPixelFormat_YCbCr709_422_8;
    const CLxGammaTable::Ref table = AcquireTable(8, limited ? 16 : 0, limited ? 255 : 0);
    if (!table) return;
    const uint16_t* t = table->Entries();
    switch (f.format) {
    case LxPixelFormat_YCbCr8: MapSamples<uint8_t>(f, 3, 1, 3 * f.width, t); break;
    case LxPixelFormat_YCbCr411_8: MapSamples<uint8_t>(f, 3, 2, f.width >= 2 ? 3 * ((f.width - 2) / 2 + 1) : 0, t); break;
    default: MapSamples<uint8_t>(f, 2, 1, 2 * f.width, t); break;
    }
}
