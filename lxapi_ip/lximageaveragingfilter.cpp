#include "lximageaveragingfilter.h"

#include "accumulate.h"
#include "frame/lxmoduleregistry.h"
#include "lxdescriptions.h"
#include "lxpixelformatconverter.h"
#include "support/lxcolorfilter.h"
#include "support/lxinside.h"

#include <lxapi/lxpixelformat.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace {
namespace R = lxres::lximageaveragingfilter;

// The polarized formats by pattern (mono or Bayer, the four X/Y variants, with or without C), each
// at 8, 10 and 12 bits unpacked, then 10p and 12p.
struct PolarizedFamily {
    uint32_t unpacked[3]; // 8, 10, 12
    uint32_t packed[2];   // 10p, 12p
};
#define LX_POL(name)                                                                                            \
    {{LxPixelFormat_Pol1##name##8, LxPixelFormat_Pol1##name##10, LxPixelFormat_Pol1##name##12},                \
     {LxPixelFormat_Pol1##name##10p, LxPixelFormat_Pol1##name##12p}}
constexpr PolarizedFamily Polarized[] = {
    LX_POL(Mono),     LX_POL(MonoX),     LX_POL(MonoY),     LX_POL(MonoXY),     LX_POL(BayerRG),
    LX_POL(BayerRGX), LX_POL(BayerRGY),  LX_POL(BayerRGXY), LX_POL(MonoC),      LX_POL(MonoXC),
    LX_POL(MonoYC),   LX_POL(MonoXYC),   LX_POL(BayerRGC),  LX_POL(BayerRGXC),  LX_POL(BayerRGYC),
    LX_POL(BayerRGXYC),
};
#undef LX_POL

// The Bayer formats by the colour at (0, 0), at 8, 10, 12, 14 and 16 bits, with the packed forms
// that are summed at each depth.
struct BayerOrder {
    uint32_t phase; // ELxColorFilter_t of pixel (0, 0)
    uint32_t depth[5];
    uint32_t p4, p10, packed10, p12, packed12, p14;
};
#define LX_BAYER(o, phase)                                                                                      \
    {phase,                                                                                                     \
     {LxPixelFormat_Bayer##o##8, LxPixelFormat_Bayer##o##10, LxPixelFormat_Bayer##o##12,                        \
      LxPixelFormat_Bayer##o##14, LxPixelFormat_Bayer##o##16},                                                  \
     LxPixelFormat_Bayer##o##4p, LxPixelFormat_Bayer##o##10p, LxPixelFormat_Bayer##o##10Packed,                \
     LxPixelFormat_Bayer##o##12p, LxPixelFormat_Bayer##o##12Packed, LxPixelFormat_Bayer##o##14p}
constexpr BayerOrder Bayer[] = {
    LX_BAYER(BG, LxColorFilter_Blue),
    LX_BAYER(GB, LxColorFilter_GreenB),
    LX_BAYER(GR, LxColorFilter_GreenR),
    LX_BAYER(RG, LxColorFilter_Red),
};
#undef LX_BAYER

// The depth index of 8, 10, 12, 14, 16 bits, or -1.
int DepthIndex(uint32_t bits) {
    switch (bits) {
    case 8: return 0;
    case 10: return 1;
    case 12: return 2;
    case 14: return 3;
    case 16: return 4;
    default: return -1;
    }
}

constexpr uint32_t MonoDepth[5] = {LxPixelFormat_Mono8, LxPixelFormat_Mono10, LxPixelFormat_Mono12,
                                   LxPixelFormat_Mono14, LxPixelFormat_Mono16};

// width x height x components, or 0 when the product does not fit a size_t.
size_t SampleCount(uint64_t width, uint64_t height, uint64_t components) {
    const uint64_t limit = std::numeric_limits<size_t>::max();
    if (width && height > limit / width) return 0;
    const uint64_t pixels = width * height;
    if (components && pixels > limit / components) return 0;
    return static_cast<size_t>(pixels * components);
}
} // namespace

// ---------------------------------------------------------------------------------------------------
// Formats

CLxImageAveragingFilter::WorkingFormats::WorkingFormats() {
    auto add = [this](uint32_t source, uint32_t working) { m_map.emplace(source, working); };
    for (uint32_t f : {LxPixelFormat_Mono1p, LxPixelFormat_Mono2p, LxPixelFormat_Mono4p, LxPixelFormat_Mono8})
        add(f, LxPixelFormat_Mono8);
    for (uint32_t f : {LxPixelFormat_Mono10, LxPixelFormat_Mono10p, LxPixelFormat_Mono10Packed})
        add(f, LxPixelFormat_Mono10);
    for (uint32_t f : {LxPixelFormat_Mono12, LxPixelFormat_Mono12p, LxPixelFormat_Mono12Packed})
        add(f, LxPixelFormat_Mono12);
    for (uint32_t f : {LxPixelFormat_Mono14, LxPixelFormat_Mono14p}) add(f, LxPixelFormat_Mono14);
    add(LxPixelFormat_Mono16, LxPixelFormat_Mono16);
    for (const BayerOrder& b : Bayer) {
        for (uint32_t f : {b.p4, b.depth[0]}) add(f, b.depth[0]);
        for (uint32_t f : {b.depth[1], b.p10, b.packed10}) add(f, b.depth[1]);
        for (uint32_t f : {b.depth[2], b.p12, b.packed12}) add(f, b.depth[2]);
        for (uint32_t f : {b.depth[3], b.p14}) add(f, b.depth[3]);
        add(b.depth[4], b.depth[4]);
    }
    for (const PolarizedFamily& p : Polarized) {
        for (uint32_t f : p.unpacked) add(f, f);
        add(p.packed[0], p.unpacked[1]);
        add(p.packed[1], p.unpacked[2]);
    }
}

uint32_t CLxImageAveragingFilter::WorkingFormats::Find(uint32_t format) const {
    const auto it = m_map.find(format);
    return it == m_map.end() ? NoFormat : it->second;
}

const CLxImageAveragingFilter::WorkingFormats& CLxImageAveragingFilter::Handlers() {
    static const WorkingFormats table;
    return table;
}

namespace {
// Filled at library load, as every format table is.
const auto& g_averagingFormats = CLxImageAveragingFilter::Handlers();
} // namespace

// Polarized: the same pattern at 8, 10 or 12 bits, unpacked. Mono: Mono8 to Mono16, and Mono32.
// Bayer: the same colour order at 8 to 16 bits.
uint32_t CLxImageAveragingFilter::OutputFormat(uint32_t source, uint32_t working, uint32_t bitCount) {
    if (working == NoFormat) return NoFormat;
    if (bitCount == 0) return working;
    ILxPixelFormatInfoInside* info = lxip::FormatInside(source);
    const int depth = DepthIndex(bitCount);
    if (info->IsPolarized()) {
        if (depth < 0 || depth > 2) return NoFormat;
        for (const PolarizedFamily& p : Polarized)
            for (uint32_t f : {p.unpacked[0], p.unpacked[1], p.unpacked[2], p.packed[0], p.packed[1]})
                if (f == source) return p.unpacked[depth];
        return NoFormat;
    }
    if (info->IsMono()) {
        if (bitCount == 32) return LxPixelFormat_Mono32;
        return depth < 0 ? NoFormat : MonoDepth[depth];
    }
    if (info->IsBayer()) {
        if (depth < 0) return NoFormat;
        const uint32_t phase = info->GetColorFilter();
        for (const BayerOrder& b : Bayer)
            if (b.phase == phase) return b.depth[depth];
    }
    return NoFormat;
}

// ---------------------------------------------------------------------------------------------------
// The module

struct CLxImageAveragingFilter::Registers {
    static constexpr auto File = lxip::MakeRegisterFile();
};

CLxImageAveragingFilter::CLxImageAveragingFilter()
    : CLxIPModuleBase(lxip::RecordOf(FilterType).resourceId, Registers::File.View(), this),
      m_buffer(CreateILxImageBuffer(nullptr)), m_converter(new CLxPixelFormatConverter()) {
    (void)g_averagingFormats;
    m_converterTyped = lxip::InsideOf<ILxPixelFormatConverter>(m_converter.Get());
}

ILxFilterInfo* CLxImageAveragingFilter::GetFilterInfo() { return &CFilterInfo<CLxImageAveragingFilter>::Instance(); }

void CLxImageAveragingFilter::ResetImageCount() { m_imageCount.store(0, std::memory_order_relaxed); }

uint64_t CLxImageAveragingFilter::GetImageCount() {
    GenApi::AutoLock guard(m_lock);
    return m_imageCount.load(std::memory_order_relaxed);
}

// A new series: the format facts once per format, then size and cleared accumulators. Nothing is
// stored before every check has passed.
void CLxImageAveragingFilter::StartSeries(ILxImage* image, uint32_t format) {
    if (format != m_sourceFormat) {
        const uint32_t working = Handlers().Find(format);
        if (working == NoFormat) throw INVALID_ARGUMENT_EXCEPTION("Not supported pixel format.");
        ILxPixelFormatInfo* sourceInfo = GetILxPixelFormatInfo(format);
        ILxPixelFormatInfo* workingInfo = GetILxPixelFormatInfo(working);
        m_converterTyped->SetDestinationPixelFormat(working);
        m_sourceFormat = format;
        m_sourceInfo = sourceInfo;
        m_workingFormat = working;
        m_workingInfo = workingInfo;
        // As many images as 32 bits can sum: by the source's depth, and (for Mono1p to Mono4p, which
        // are summed as Mono8) by the working depth too, so that no accumulator ever wraps.
        const size_t bits = std::max(sourceInfo->GetComponentBits(), workingInfo->GetComponentBits());
        m_imageLimit = uint64_t(1) << (32 - std::min<size_t>(bits, 32));
    }
    const uint64_t width = image->GetImageWidth(), height = image->GetImageHeight();
    const size_t count = SampleCount(width, height, m_workingInfo->GetComponentCount());
    if (count == 0 && width && height) throw BAD_ALLOC_EXCEPTION("%s", "std::bad_alloc");
    const bool staged = m_workingInfo->GetStorageBits() == 8;
    lxip::TranslateBadAlloc([&] {
        m_accumulators.assign(count, 0);
        m_staged.assign(staged ? count : 0, 0);
        return 0;
    });
    m_stagedImages = 0;
    m_width = width;
    m_height = height;
}

ILxImage* CLxImageAveragingFilter::Filter(ILxImage* image) {
    if (!image) throw INVALID_ARGUMENT_EXCEPTION("ILxImage is NULL.");
    GenApi::AutoLock guard(m_lock);
    const uint32_t format = image->GetImagePixelFormat();
    const uint64_t count = m_imageCount.load(std::memory_order_relaxed);
    if (count == 0) {
        StartSeries(image, format);
    } else {
        if (format != m_sourceFormat || image->GetImageWidth() != m_width || image->GetImageHeight() != m_height)
            throw INVALID_ARGUMENT_EXCEPTION("Pixel format or image size is changed.");
        if (m_imageLimit <= count) throw RUNTIME_EXCEPTION("Too many frame.");
    }
    if (format != m_workingFormat) {
        m_converter->Convert(image, m_buffer.Get());
        Accumulate(m_buffer->GetILxImage());
    } else {
        Accumulate(image);
    }
    m_imageCount.store(count + 1, std::memory_order_relaxed);
    return image;
}

// Per line, width x components samples; source lines advance by their pitch.
void CLxImageAveragingFilter::Accumulate(ILxImage* image) {
    const size_t storage = m_workingInfo->GetStorageBits();
    if (storage != 8 && storage != 16) throw RUNTIME_EXCEPTION("Not expected data bit count.");
    if (image->GetImageWidth() != m_width || image->GetImageHeight() != m_height ||
        image->GetImagePixelFormat() != m_workingFormat)
        throw RUNTIME_EXCEPTION("Converting a pixelformat from  %s to %s is not supported.",
                                m_sourceInfo->GetName().c_str(), m_workingInfo->GetName().c_str());
    const size_t samples = static_cast<size_t>(m_width) * m_workingInfo->GetComponentCount();
    const uint8_t* line = static_cast<const uint8_t*>(image->GetImageBuffer());
    const size_t pitch = image->GetImageLinePitch();
    const lxavg::Kernels& k = lxavg::Active();
    if (storage == 8) {
        uint16_t* staged = m_staged.data();
        for (uint64_t y = 0; y < m_height; ++y, line += pitch, staged += samples) k.stage8(staged, line, samples);
        if (++m_stagedImages == lxavg::StagedImages) FoldStaged();
        return;
    }
    uint32_t* acc = m_accumulators.data();
    for (uint64_t y = 0; y < m_height; ++y, line += pitch, acc += samples) k.add16(acc, line, samples);
}

void CLxImageAveragingFilter::FoldStaged() {
    if (m_stagedImages == 0) return;
    lxavg::Active().fold(m_accumulators.data(), m_staged.data(), m_staged.size());
    m_stagedImages = 0;
}

// The divisor is the count, scaled by the ratio of the full scales when the depth changes: Q =
// count * Ms / Md with M = 2^bits - 1 of the source and of the output format.
void CLxImageAveragingFilter::GetAveragedImage(ILxImageBuffer* pImageBuffer, uint32_t nBitCount) {
    GenApi::AutoLock guard(m_lock);
    const uint64_t count = m_imageCount.load(std::memory_order_relaxed);
    if (count == 0) throw RUNTIME_EXCEPTION("There is no image data.");
    if (!pImageBuffer) throw INVALID_ARGUMENT_EXCEPTION("ILxImageBuffer is NULL.");
    const uint32_t out = OutputFormat(m_sourceFormat, m_workingFormat, nBitCount);
    if (out == NoFormat) throw RUNTIME_EXCEPTION("Output pixel format is not valid.");
    ILxPixelFormatInfo* outInfo = GetILxPixelFormatInfo(out);
    const size_t storage = outInfo->GetStorageBits();
    if (storage != 8 && storage != 16 && storage != 32) throw RUNTIME_EXCEPTION("Not expected data bit count.");

    pImageBuffer->CreateBuffer(static_cast<size_t>(m_width), static_cast<size_t>(m_height), out);
    ILxImage* image = pImageBuffer->GetILxImage();
    // A buffer of the caller's own making must have made what was asked before it is written.
    if (!image || image->GetImageWidth() != m_width || image->GetImageHeight() != m_height ||
        image->GetImagePixelFormat() != out)
        throw RUNTIME_EXCEPTION("Output pixel format is not valid.");

    FoldStaged();
    double q = static_cast<double>(count);
    if (out != m_sourceFormat) {
        const double ms = std::ldexp(1.0, static_cast<int>(m_sourceInfo->GetComponentBits())) - 1.0;
        const double md = std::ldexp(1.0, static_cast<int>(outInfo->GetComponentBits())) - 1.0;
        q = q * ms / md;
    }
    const size_t samples = static_cast<size_t>(m_width) * m_workingInfo->GetComponentCount();
    uint8_t* line = static_cast<uint8_t*>(image->GetImageBuffer());
    const size_t pitch = image->GetImageLinePitch();
    const uint32_t* acc = m_accumulators.data();
    for (uint64_t y = 0; y < m_height; ++y, line += pitch, acc += samples)
        lxavg::WriteMean(line, acc, samples, q, static_cast<unsigned>(storage / 8));
}
