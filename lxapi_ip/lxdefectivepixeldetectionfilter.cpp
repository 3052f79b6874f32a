#include "lxdefectivepixeldetectionfilter.h"

#include "frame/lxmoduleregistry.h"
#include "lxdescriptions.h"
#include "lxpixelformatconverter.h"

#include <lxapi/lxpixelformat.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <limits>

// ---------------------------------------------------------------------------------------------------
// Accepted formats

namespace {

using Entry = CLxDefectivePixelDetectionFilter::FormatEntry;
using Pattern = CLxDefectivePixelDetectionFilter::Pattern;

// Rows are static objects: the handler table holds pointers to them.
#define LXDPD_ROW(name, working, bytes, step, pattern)                                                       \
    const Entry k##name{LxPixelFormat_##working, bytes, step, Pattern::pattern};
#define LXDPD_SELF8(name, step, pattern) LXDPD_ROW(name, name, 1, step, pattern)
#define LXDPD_SELF16(name, step, pattern) LXDPD_ROW(name, name, 2, step, pattern)

LXDPD_SELF8(Mono8, 1, Mono)
LXDPD_SELF16(Mono10, 1, Mono) LXDPD_SELF16(Mono12, 1, Mono) LXDPD_SELF16(Mono14, 1, Mono) LXDPD_SELF16(Mono16, 1, Mono)
LXDPD_ROW(Mono10p, Mono10, 2, 1, Mono) LXDPD_ROW(Mono10Packed, Mono10, 2, 1, Mono)
LXDPD_ROW(Mono12p, Mono12, 2, 1, Mono) LXDPD_ROW(Mono12Packed, Mono12, 2, 1, Mono)
LXDPD_ROW(Mono14p, Mono14, 2, 1, Mono)

#define LXDPD_BAYER(o)                                                                                       \
    LXDPD_SELF8(Bayer##o##8, 2, Bayer)                                                                       \
    LXDPD_SELF16(Bayer##o##10, 2, Bayer) LXDPD_SELF16(Bayer##o##12, 2, Bayer)                                \
    LXDPD_SELF16(Bayer##o##14, 2, Bayer) LXDPD_SELF16(Bayer##o##16, 2, Bayer)                                \
    LXDPD_ROW(Bayer##o##10p, Bayer##o##10, 2, 2, Bayer) LXDPD_ROW(Bayer##o##10Packed, Bayer##o##10, 2, 2, Bayer) \
    LXDPD_ROW(Bayer##o##12p, Bayer##o##12, 2, 2, Bayer) LXDPD_ROW(Bayer##o##12Packed, Bayer##o##12, 2, 2, Bayer) \
    LXDPD_ROW(Bayer##o##14p, Bayer##o##14, 2, 2, Bayer)
LXDPD_BAYER(GR) LXDPD_BAYER(RG) LXDPD_BAYER(GB) LXDPD_BAYER(BG)

// One polarized family (a mirror variant, C or not): 8, 10, 12 bits and the packed 10p, 12p.
#define LXDPD_POL(family, step, pattern)                                                                     \
    LXDPD_SELF8(Pol1##family##8, step, pattern)                                                              \
    LXDPD_SELF16(Pol1##family##10, step, pattern) LXDPD_SELF16(Pol1##family##12, step, pattern)              \
    LXDPD_ROW(Pol1##family##10p, Pol1##family##10, 2, step, pattern)                                         \
    LXDPD_ROW(Pol1##family##12p, Pol1##family##12, 2, step, pattern)
LXDPD_POL(Mono, 2, Mono) LXDPD_POL(MonoX, 2, Mono) LXDPD_POL(MonoY, 2, Mono) LXDPD_POL(MonoXY, 2, Mono)
LXDPD_POL(MonoC, 2, Mono) LXDPD_POL(MonoXC, 2, Mono) LXDPD_POL(MonoYC, 2, Mono) LXDPD_POL(MonoXYC, 2, Mono)
// The colour blocks of each polarized Bayer family, as this filter lays its thresholds.
LXDPD_POL(BayerRG, 4, PolR) LXDPD_POL(BayerRGYC, 4, PolR)
LXDPD_POL(BayerRGX, 4, PolGr) LXDPD_POL(BayerRGC, 4, PolGr)
LXDPD_POL(BayerRGXY, 4, PolGb) LXDPD_POL(BayerRGXC, 4, PolGb)
LXDPD_POL(BayerRGY, 4, PolB) LXDPD_POL(BayerRGXYC, 4, PolB)

#undef LXDPD_POL
#undef LXDPD_BAYER
#undef LXDPD_SELF16
#undef LXDPD_SELF8
#undef LXDPD_ROW

} // namespace

const CLxHandlerTable<CLxDefectivePixelDetectionFilter::Handler>& CLxDefectivePixelDetectionFilter::Handlers() {
#define P(name) {LxPixelFormat_##name, &k##name}
#define BAYER(o)                                                                                             \
    P(Bayer##o##8), P(Bayer##o##10), P(Bayer##o##12), P(Bayer##o##14), P(Bayer##o##16), P(Bayer##o##10p),    \
        P(Bayer##o##10Packed), P(Bayer##o##12p), P(Bayer##o##12Packed), P(Bayer##o##14p)
#define POL(f) P(Pol1##f##8), P(Pol1##f##10), P(Pol1##f##12), P(Pol1##f##10p), P(Pol1##f##12p)
    static const CLxHandlerTable<Handler> table{
        P(Mono8),         P(Mono10),       P(Mono12),       P(Mono14),       P(Mono16),         P(Mono10p),
        P(Mono10Packed),  P(Mono12p),      P(Mono12Packed), P(Mono14p),      BAYER(GR),         BAYER(RG),
        BAYER(GB),        BAYER(BG),       POL(Mono),       POL(MonoX),      POL(MonoY),        POL(MonoXY),
        POL(MonoC),       POL(MonoXC),     POL(MonoYC),     POL(MonoXYC),    POL(BayerRG),      POL(BayerRGX),
        POL(BayerRGY),    POL(BayerRGXY),  POL(BayerRGC),   POL(BayerRGXC),  POL(BayerRGYC),    POL(BayerRGXYC),
    };
#undef POL
#undef BAYER
#undef P
    return table;
}

namespace {
// Filled at library load, as every handler table is.
const auto& g_defectHandlers = CLxDefectivePixelDetectionFilter::Handlers();
namespace R = lxres::lxdefectivepixeldetectionfilter;

// The threshold ratios: 0x100 + 0x10 x target, 8 bytes each, targets 0 to 4.
constexpr int64_t RatioBase = 0x100;
constexpr int64_t RatioStride = 0x10;
constexpr int64_t RatioEnd = 0x160;
constexpr size_t TargetCount = 5;
} // namespace

// ---------------------------------------------------------------------------------------------------
// Parameters and registers

struct CLxDefectivePixelDetectionFilter::Registers {
    using C = CLxDefectivePixelDetectionFilter;
    static constexpr uint64_t CountEnd = 8192;
    static constexpr auto Area =
        lxip::Bind<C>(R::AveragingAreaReg).Field(&C::m_averagingArea).Range(lxip::IntegerBelow("eDPDAA", 0, 2));
    // The typed setter stops below 256 although the feature reaches 256.
    static constexpr auto Size = lxip::Bind<C>(R::PeripheralAreaSizeReg)
                                     .Field(&C::m_peripheralAreaSize)
                                     .Range(lxip::IntegerBelow("nSize", 1, 256));
    // The typed setter announces a node of another name, which no description holds: the feature
    // keeps its cached value. Kept as the interface has always behaved.
    static constexpr auto Count = lxip::Bind<C>(R::MaximumPixelCountToDetectReg)
                                      .Field(&C::m_maximumPixelCount)
                                      .Range(lxip::IntegerBelow("nCount", 1, CountEnd))
                                      .Notifies("MuximumPixelCountReg");
    static constexpr auto CountMax = lxip::Bind<C>(R::MaximumPixelCountToDetectMaxReg).Constant(CountEnd);
    static constexpr auto File = lxip::MakeRegisterFile(Area, Size, Count, CountMax);
    static_assert(lxip::Covers(File, R::RegisterNodes), "the declarations must serve the description");
};

CLxDefectivePixelDetectionFilter::CLxDefectivePixelDetectionFilter()
    : CLxIPModuleBase(lxip::RecordOf(FilterType).resourceId, Registers::File.View(), this),
      m_smallestRatio(DBL_MAX) {
    (void)g_defectHandlers;
}

ILxFilterInfo* CLxDefectivePixelDetectionFilter::GetFilterInfo() {
    return &CFilterInfo<CLxDefectivePixelDetectionFilter>::Instance();
}

size_t CLxDefectivePixelDetectionFilter::TargetIndex(long long eDPDTT) {
    lxip::CheckRangeInteger("eDPDTT", eDPDTT, 0, static_cast<long long>(TargetCount));
    return static_cast<size_t>(eDPDTT);
}

double CLxDefectivePixelDetectionFilter::GetThresholdRatio(ELxDefectivePixelDetectionThresholdTarget_t eDPDTT) {
    const size_t i = TargetIndex(eDPDTT);
    GenApi::AutoLock guard(ParameterLock());
    return m_ratios[i];
}

void CLxDefectivePixelDetectionFilter::StoreRatio(size_t index, double ratio, bool notify) {
    {
        GenApi::AutoLock guard(ParameterLock());
        if (lxip::SameBits(m_ratios[index], ratio)) return;
        m_ratios[index] = ratio;
    }
    if (notify) NotifyRegisterChanged("ThresholdRatioReg");
}

void CLxDefectivePixelDetectionFilter::SetThresholdRatio(ELxDefectivePixelDetectionThresholdTarget_t eDPDTT,
                                                         double ratio) {
    StoreRatio(TargetIndex(eDPDTT), ratio, true);
}

ELxDefectivePixelDetectionAveragingArea_t CLxDefectivePixelDetectionFilter::GetAveragingArea() {
    return static_cast<ELxDefectivePixelDetectionAveragingArea_t>(Registers::Area.Get(*this));
}
void CLxDefectivePixelDetectionFilter::SetAveragingArea(ELxDefectivePixelDetectionAveragingArea_t eDPDAA) {
    Registers::Area.Set(*this, static_cast<int32_t>(eDPDAA));
}
uint64_t CLxDefectivePixelDetectionFilter::GetPeripheralAreaSize() { return Registers::Size.Get(*this); }
void CLxDefectivePixelDetectionFilter::SetPeripheralAreaSize(uint64_t nSize) { Registers::Size.Set(*this, nSize); }
uint64_t CLxDefectivePixelDetectionFilter::GetMaximumPixelCount() { return Registers::Count.Get(*this); }
void CLxDefectivePixelDetectionFilter::SetMaximumPixelCount(uint64_t nCount) { Registers::Count.Set(*this, nCount); }

bool CLxDefectivePixelDetectionFilter::ReadRegister(void* buffer, int64_t address, int64_t* length) {
    if (address >= RatioBase && address < RatioEnd && (address - RatioBase) % RatioStride == 0) {
        const double ratio = GetThresholdRatio(
            static_cast<ELxDefectivePixelDetectionThresholdTarget_t>((address - RatioBase) / RatioStride));
        if (*length < 8) lxip::ThrowShortLength(*length, 8);
        std::memcpy(buffer, &ratio, 8);
        *length = 8;
        return true;
    }
    return CLxIPModuleBase::ReadRegister(buffer, address, length);
}

bool CLxDefectivePixelDetectionFilter::WriteRegister(const void* buffer, int64_t address, int64_t* length) {
    if (address >= RatioBase && address < RatioEnd && (address - RatioBase) % RatioStride == 0) {
        const size_t index = TargetIndex((address - RatioBase) / RatioStride);
        if (*length < 8) lxip::ThrowShortLength(*length, 8);
        double ratio;
        std::memcpy(&ratio, buffer, 8);
        StoreRatio(index, ratio, false);
        *length = 8;
        return true;
    }
    return CLxIPModuleBase::WriteRegister(buffer, address, length);
}

CLxDefectivePixelDetectionFilter::Parameters CLxDefectivePixelDetectionFilter::Snapshot() {
    GenApi::AutoLock guard(ParameterLock());
    Parameters p{{}, m_averagingArea, m_peripheralAreaSize, m_maximumPixelCount};
    std::copy(std::begin(m_ratios), std::end(m_ratios), p.ratios);
    return p;
}

// ---------------------------------------------------------------------------------------------------
// The list

void CLxDefectivePixelDetectionFilter::GetDetectedPixels(uint32_t* pStatus, uint64_t* pnCount,
                                                         LxDefectivePixelInformation_t* pPixels) {
    GenApi::AutoLock guard(m_lock);
    if (!pnCount) throw INVALID_ARGUMENT_EXCEPTION("pnCount is NULL.");
    if (pStatus) *pStatus = m_status;
    if (pPixels && (m_status == 1 || m_status == 2)) {
        uint64_t i = 0;
        for (auto it = m_detected.begin(); it != m_detected.end() && i < *pnCount; ++it, ++i) pPixels[i] = it->second;
    }
    *pnCount = m_detected.size();
}

void CLxDefectivePixelDetectionFilter::ClearDetectedPixels() {
    GenApi::AutoLock guard(m_lock);
    m_detected.clear();
    m_status = 0;
    m_smallestRatio = DBL_MAX;
}

// The list keeps the `capacity` most deviant pixels seen since the last clear; a pixel seen again
// keeps its greatest deviation. The smallest ratio bound spares the scan for the least deviant record
// while the list is full.
void CLxDefectivePixelDetectionFilter::Record(uint64_t x, uint64_t y, double value, double average, double M,
                                              uint64_t capacity) {
    const LxDefectivePixelInformation_t info{x, y, value, average, std::fabs(value - average) / M};
    const std::pair<uint64_t, uint64_t> key(y, x);
    const auto found = m_detected.find(key);
    if (found != m_detected.end()) {
        if (info.deviationRatio > found->second.deviationRatio) found->second = info;
        return;
    }
    if (m_detected.size() < capacity) {
        m_smallestRatio = std::min(m_smallestRatio, info.deviationRatio);
        m_detected.emplace(key, info);
        return;
    }
    m_status = 2;
    if (!(info.deviationRatio > m_smallestRatio) || m_detected.empty()) return;
    auto least = m_detected.begin();
    for (auto it = std::next(least); it != m_detected.end(); ++it)
        if (it->second.deviationRatio < least->second.deviationRatio) least = it;
    if (info.deviationRatio > least->second.deviationRatio) {
        m_detected.erase(least);
        m_detected.emplace(key, info);
    } else {
        m_smallestRatio = least->second.deviationRatio;
    }
}

// ---------------------------------------------------------------------------------------------------
// Detection

ILxImage* CLxDefectivePixelDetectionFilter::Filter(ILxImage* image) {
    if (!image) throw INVALID_ARGUMENT_EXCEPTION("ILxImage is NULL.");
    const uint32_t format = image->GetImagePixelFormat();
    const FormatEntry& entry = *Handlers().Require(format);
    GenApi::AutoLock guard(m_lock);
    ILxImage* work = image;
    if (entry.working != format) {
        if (!m_converter) {
            lxip::TranslateBadAlloc([&] {
                auto* converter = new CLxPixelFormatConverter();
                m_converter.Reset(converter);
                m_pfc = converter;
                m_buffer.Reset(CreateILxImageBuffer(nullptr));
                return 0;
            });
        }
        m_pfc->SetDestinationPixelFormat(entry.working);
        m_converter->Convert(image, m_buffer.Get());
        work = m_buffer->GetILxImage();
    }
    m_status = 0;
    lxip::TranslateBadAlloc([&] {
        Detect(work, entry);
        return 0;
    });
    if (m_status == 0) m_status = 1;
    return work;
}

namespace {

// The threshold target (0 Mono, 1 R, 2 Gr, 3 Gb, 4 B) of the cell (cy, cx) of an s x s pattern.
size_t TargetOf(Pattern pattern, uint32_t siteAtOrigin, size_t cy, size_t cx) {
    uint32_t origin = siteAtOrigin;
    switch (pattern) {
    case Pattern::Mono: return 0;
    case Pattern::Bayer: break;
    case Pattern::PolR: origin = LxColorFilter_Red; cy >>= 1; cx >>= 1; break;
    case Pattern::PolGr: origin = LxColorFilter_GreenR; cy >>= 1; cx >>= 1; break;
    case Pattern::PolGb: origin = LxColorFilter_GreenB; cy >>= 1; cx >>= 1; break;
    case Pattern::PolB: origin = LxColorFilter_Blue; cy >>= 1; cx >>= 1; break;
    }
    // The RG tile shifted by the colour at the origin.
    const size_t dx = origin == LxColorFilter_GreenR || origin == LxColorFilter_Blue;
    const size_t dy = origin == LxColorFilter_GreenB || origin == LxColorFilter_Blue;
    static constexpr size_t rg[2][2] = {{1, 2}, {3, 4}};
    return rg[(cy + dy) & 1][(cx + dx) & 1];
}

// The fast bound a little inside M * t: far wider than any rounding of the exact test, so that every
// pixel the exact test could flag reaches it.
double FastBound(double mt, double M) { return mt - 1e-7 * (M + 1.0); }

} // namespace

void CLxDefectivePixelDetectionFilter::Detect(ILxImage* image, const FormatEntry& entry) {
    const Parameters p = Snapshot();
    ILxPixelFormatInfo* info = GetILxPixelFormatInfo(image->GetImagePixelFormat());
    const double M = static_cast<double>((uint64_t(1) << info->GetComponentBits()) - 1);
    const size_t s = entry.step;
    double t[16];
    const uint32_t origin = entry.pattern == Pattern::Bayer ? info->GetPixelComponent(0, 0) : 0;
    for (size_t cy = 0; cy < s; ++cy)
        for (size_t cx = 0; cx < s; ++cx) t[cy * s + cx] = p.ratios[TargetOf(entry.pattern, origin, cy, cx)];
    if (image->GetImageWidth() == 0 || image->GetImageHeight() == 0) return;
    if (p.area == LxDefectivePixelDetectionAveragingArea_WholeImage) {
        DetectWhole(image, entry, t, M, p.capacity);
        return;
    }
    // 8-bit sums of up to 16843009 pixels stay within 32 bits.
    const uint64_t pixels = uint64_t(image->GetImageWidth()) * image->GetImageHeight();
    if (entry.bytes == 1 && pixels <= std::numeric_limits<uint32_t>::max() / 255u)
        DetectAround(image, entry, p, t, M, m_sums32);
    else
        DetectAround(image, entry, p, t, M, m_sums64);
}

template <class Sum>
void CLxDefectivePixelDetectionFilter::DetectAround(ILxImage* image, const FormatEntry& entry, const Parameters& p,
                                                    const double* t, double M, std::vector<Sum>& sums) {
    const size_t w = image->GetImageWidth(), h = image->GetImageHeight(), pitch = image->GetImageLinePitch();
    const auto* base = static_cast<const uint8_t*>(image->GetImageBuffer());
    const size_t s = entry.step, mask = s - 1;
    // A radius past the larger side reaches as far as that side does; so is a size written through
    // the port without a range check taken.
    const size_t n = static_cast<size_t>(std::min<uint64_t>(p.size, std::max(w, h) / s + 1));
    lxdpd::Geometry g{w, s, n * s, {}};
    size_t lastRow[4] = {};
    for (size_t c = 0; c < s; ++c) {
        g.lastCol[c] = c < w ? c + (w - 1 - c) / s * s : 0;
        lastRow[c] = c < h ? c + (h - 1 - c) / s * s : 0;
    }
    // One row of running sums per row phase, then a scratch row of column sums.
    sums.assign((s + 1) * w, 0);
    Sum* const columns = sums.data() + s * w;
    m_candidates.resize(w);
    const lxdpd::RowKernels& k = lxdpd::Kernels().Get();
    const auto [add, slide, judge] = lxdpd::RowsFor<Sum>(k, entry.bytes);

    const size_t R = g.radius;
    for (size_t y = 0; y < h; ++y) {
        const size_t py = y & mask;
        Sum* const prefix = sums.data() + py * w;
        const size_t bottom = std::min(y + R, lastRow[py]);
        if (y < s) {
            // The first row of a phase: its window is the rows of the phase from y down to `bottom`.
            std::fill(columns, columns + w, Sum(0));
            for (size_t r = y; r < bottom; r += s) add(base + r * pitch, columns, nullptr, w, s);
            add(base + bottom * pitch, columns, prefix, w, s);
        } else if (y + R < h || y >= R + s) {
            // Each later row of the phase: y + R enters the window, y - R - s leaves it.
            slide(y + R < h ? base + (y + R) * pitch : nullptr, y >= R + s ? base + (y - R - s) * pitch : nullptr,
                  prefix, w, s);
        }
        const bool hasTop = y >= R + s;
        const uint64_t rows = hasTop ? (bottom - (y - R - s)) / s : (bottom - py) / s + 1;
        double mt[4], bound[4];
        for (size_t px = 0; px < s; ++px) {
            mt[px] = M * t[py * s + px];
            bound[px] = FastBound(mt[px], M);
        }
        const uint8_t* row = base + y * pitch;
        const size_t found = judge(row, prefix, rows, g, bound, m_candidates.data());
        for (size_t i = 0; i < found; ++i) {
            const lxdpd::Candidate& c = m_candidates[i];
            const double P = c.value;
            const double a = static_cast<double>(c.sum - c.value) / static_cast<double>(c.count - 1);
            const double bt = mt[c.x & mask];
            if (a - bt > P || P > bt + a) Record(c.x, y, P, a, M, p.capacity);
        }
    }
}

// Against the average of each phase over the whole image, the pixel itself included.
void CLxDefectivePixelDetectionFilter::DetectWhole(ILxImage* image, const FormatEntry& entry, const double* t,
                                                   double M, uint64_t capacity) {
    const size_t w = image->GetImageWidth(), h = image->GetImageHeight(), pitch = image->GetImageLinePitch();
    const auto* base = static_cast<const uint8_t*>(image->GetImageBuffer());
    const size_t s = entry.step, mask = s - 1;
    const auto sample = [&](const uint8_t* row, size_t x) -> uint32_t {
        if (entry.bytes == 1) return row[x];
        uint16_t v;
        std::memcpy(&v, row + 2 * x, 2);
        return v;
    };
    uint64_t sum[16] = {}, count[16] = {};
    for (size_t y = 0; y < h; ++y)
        for (size_t x = 0; x < w; ++x) {
            sum[(y & mask) * s + (x & mask)] += sample(base + y * pitch, x);
            ++count[(y & mask) * s + (x & mask)];
        }
    double average[16], lower[16], upper[16];
    for (size_t c = 0; c < s * s; ++c) {
        average[c] = count[c] ? static_cast<double>(sum[c]) / static_cast<double>(count[c]) : 0.0;
        lower[c] = average[c] - M * t[c];
        upper[c] = average[c] + M * t[c];
    }
    for (size_t y = 0; y < h; ++y) {
        const uint8_t* row = base + y * pitch;
        for (size_t x = 0; x < w; ++x) {
            const size_t c = (y & mask) * s + (x & mask);
            const double P = sample(row, x);
            if (lower[c] > P || P > upper[c]) Record(x, y, P, average[c], M, capacity);
        }
    }
}
