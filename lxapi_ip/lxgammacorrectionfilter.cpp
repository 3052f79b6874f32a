#include "lxgammacorrectionfilter.h"

#include <lxapi/lxpixelformat.h>

#include <cmath>
#include <memory>

// ---------------------------------------------------------------------------------------------------
// The table

CLxGammaTable::~CLxGammaTable() { Release(m_table); }

double CLxGammaTable::GetGamma() {
    GenApi::AutoLock guard(m_lock);
    return m_gammaWanted;
}

void CLxGammaTable::SetGamma(double gamma) {
    GenApi::AutoLock guard(m_lock);
    m_gammaWanted = gamma;
}

void CLxGammaTable::Release(SharedTable* table) noexcept {
    if (table && table->references.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        delete[] table->entries;
        delete table;
    }
}

CLxGammaTable::SharedTable* CLxGammaTable::Acquire(size_t bits, uint16_t lo, uint16_t hi) {
    const double gamma = GetGamma();
    // Exactly 1.0 is the identity; any other value, even very close, makes a table.
    if (gamma == 1.0) return nullptr;
    // The limits are not part of the key: a table made for one format of these bits serves the next.
    if (m_table && m_bits == bits && m_gamma == gamma) {
        m_table->references.fetch_add(1, std::memory_order_relaxed);
        return m_table;
    }
    Release(m_table);
    m_table = nullptr;
    m_bits = bits;
    m_gamma = gamma;
    // On failure the holder keeps the new key with no table, so the next call tries again.
    m_table = lxip::TranslateBadAlloc([&] { return Build(bits, gamma, lo, hi); });
    m_table->references.store(2, std::memory_order_relaxed);
    return m_table;
}

// Entries i = lo..hi: v = pow(k / range, gamma) * range + lo + 0.5 with k = i - lo, truncated, and hi
// where v reaches hi. The exponent is gamma itself: below 1 brightens, above 1 darkens.
// Samples of 16-bit storage index the table with the whole word, so such tables cover all 65536
// words: a word above the format's maximum then reads the entry of the maximum instead of running
// past the table. Entries below lo (limited-range luma) take lo.
CLxGammaTable::SharedTable* CLxGammaTable::Build(size_t bits, double gamma, uint16_t lo, uint16_t hi) {
    const uint32_t count = 1u << bits;
    if (hi == 0) hi = static_cast<uint16_t>(count - 1);
    const uint32_t allocated = bits > 8 ? 65536u : count;
    std::unique_ptr<uint16_t[]> entries(new uint16_t[allocated]);
    const double range = static_cast<double>(static_cast<uint16_t>(hi - lo));
    if (lo <= hi) {
        for (uint32_t i = lo, k = 0; i <= hi; ++i, ++k) {
            const double v = std::pow(k / range, gamma) * range + lo + 0.5;
            entries[i] = hi > v ? static_cast<uint16_t>(v) : hi;
        }
        for (uint32_t i = 0; i < lo; ++i) entries[i] = lo;
        for (uint32_t i = hi + 1u; i < allocated; ++i) entries[i] = entries[hi];
    } else {
        for (uint32_t i = 0; i < allocated; ++i) entries[i] = static_cast<uint16_t>(i < count ? i : count - 1);
    }
    auto* table = new SharedTable{entries.get(), {0}};
    entries.release();
    return table;
}

// ---------------------------------------------------------------------------------------------------
// Pixel loops: in every line, `groups` groups of `Step` samples, of which the first `Mapped` go
// through the table. One table read and one store per sample.

namespace {

template <class Sample, size_t Step, size_t Mapped>
void MapSamples(uint8_t* base, size_t height, size_t pitch, size_t groups, const uint16_t* table) {
    for (size_t y = 0; y < height; ++y) {
        Sample* s = reinterpret_cast<Sample*>(base + y * pitch);
        for (size_t g = 0; g < groups; ++g, s += Step) {
            for (size_t c = 0; c < Mapped; ++c) s[c] = static_cast<Sample>(table[s[c]]);
        }
    }
}

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

// Holds a table reference for the duration of one Filter call.
struct TableReference {
    CLxGammaTable::SharedTable* table;
    ~TableReference() { CLxGammaTable::Release(table); }
};

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
} // namespace

CLxGammaCorrectionFilter::CLxGammaCorrectionFilter() : CLxIPModuleBase(ResourceId) { (void)g_gammaHandlers; }

ILxFilterInfo* CLxGammaCorrectionFilter::GetFilterInfo() { return &CFilterInfo<CLxGammaCorrectionFilter>::Instance(); }

ILxImage* CLxGammaCorrectionFilter::Filter(ILxImage* image) {
    if (!image) throw INVALID_ARGUMENT_EXCEPTION("ILxImage is NULL.");
    const Handler handler = Handlers().Require(image->GetImagePixelFormat());
    (this->*handler)(image);
    return image;
}

double CLxGammaCorrectionFilter::GetGamma() { return m_gammaTable.GetGamma(); }

void CLxGammaCorrectionFilter::SetGamma(double value) {
    lxip::CheckRangeDouble("value", value, m_gammaMin, m_gammaMax);
    SetGammaInternal(value, true);
}

void CLxGammaCorrectionFilter::SetGammaInternal(double value, bool notify) {
    if (m_gammaTable.GetGamma() == value) return;
    m_gammaTable.SetGamma(value);
    if (notify) NotifyRegisterChanged("GammaReg");
}

bool CLxGammaCorrectionFilter::ReadRegister(void* buffer, int64_t address, int64_t* length) {
    switch (address) {
    case GammaReg: return LxReadRegisterValue(buffer, length, m_gammaTable.GetGamma());
    case GammaMinReg: return LxReadRegisterValue(buffer, length, m_gammaMin);
    case GammaMaxReg: return LxReadRegisterValue(buffer, length, m_gammaMax);
    default: return CLxIPModuleBase::ReadRegister(buffer, address, length);
    }
}

bool CLxGammaCorrectionFilter::WriteRegister(const void* buffer, int64_t address, int64_t* length) {
    if (address != GammaReg) return CLxIPModuleBase::WriteRegister(buffer, address, length);
    // No range check here: the Gamma node has checked against its bounds and is the writer.
    SetGammaInternal(LxWrittenRegisterValue<double>(buffer, length), false);
    return true;
}

CLxGammaTable::SharedTable* CLxGammaCorrectionFilter::AcquireTable(size_t bits, uint16_t lo, uint16_t hi) {
    GenApi::AutoLock guard(m_workLock);
    return m_gammaTable.Acquire(bits, lo, hi);
}

// One component: bytes through an 8-bit table, words through a table of the format's depth.
template <class Sample>
void CLxGammaCorrectionFilter::FilterMono(ILxImage* image) {
    const ImageFacts f = Facts(image);
    const size_t bits = sizeof(Sample) == 1 ? 8 : GetILxPixelFormatInfo(f.format)->GetComponentBits();
    const TableReference ref{AcquireTable(bits, 0, 0)};
    if (!ref.table) return;
    MapSamples<Sample, 1, 1>(f.base, f.height, f.pitch, f.width, ref.table->entries);
}

// Colour: the first three samples of each pixel; an alpha sample stays.
template <class Sample>
void CLxGammaCorrectionFilter::FilterColor(ILxImage* image) {
    const ImageFacts f = Facts(image);
    ILxPixelFormatInfo* info = GetILxPixelFormatInfo(f.format);
    const size_t bits = sizeof(Sample) == 1 ? 8 : info->GetComponentBits();
    const TableReference ref{AcquireTable(bits, 0, 0)};
    if (!ref.table) return;
    if (info->GetComponentCount() == 4)
        MapSamples<Sample, 4, 3>(f.base, f.height, f.pitch, f.width, ref.table->entries);
    else
        MapSamples<Sample, 3, 3>(f.base, f.height, f.pitch, f.width, ref.table->entries);
}

// Only the luma bytes: YCbCr8 the first of every 3; the 4:2:2 forms the first of every 2; YCbCr411_8
// the first 2 of every group of 3 bytes, (width - 2) / 2 + 1 groups, none for a width of 1. The BT.709
// form has the limited range 16 to 255.
void CLxGammaCorrectionFilter::FilterLuma(ILxImage* image) {
    const ImageFacts f = Facts(image);
    const bool limited = f.format == LxPixelFormat_YCbCr709_422_8;
    const TableReference ref{AcquireTable(8, limited ? 16 : 0, limited ? 255 : 0)};
    if (!ref.table) return;
    const uint16_t* t = ref.table->entries;
    switch (f.format) {
    case LxPixelFormat_YCbCr8: MapSamples<uint8_t, 3, 1>(f.base, f.height, f.pitch, f.width, t); break;
    case LxPixelFormat_YCbCr411_8:
        MapSamples<uint8_t, 3, 2>(f.base, f.height, f.pitch, f.width >= 2 ? (f.width - 2) / 2 + 1 : 0, t);
        break;
    default: MapSamples<uint8_t, 2, 1>(f.base, f.height, f.pitch, f.width, t); break;
    }
}
