// The colour members of the pixel format converter: mono to colour through the module's colour map,
// and the YCbCr and YUV formats both ways.
#include "colorinterpolation/toycbcr.h"
#include "colormap/monotocolor.h"
#include "lxpixelformatconverter.h"
#include "support/lxinside.h"

#include <includeinside/ilxpixelformatinfoinside.h>

namespace {

struct Sides {
    ILxImage* source;
    ILxImage* destination;
    ILxPixelFormatInfoInside* sourceInfo;
    ILxPixelFormatInfoInside* destinationInfo;
};

Sides SidesOf(ILxImage* s, ILxImageBuffer* d) {
    ILxImage* out = d->GetILxImage();
    return {s, out, lxip::FormatInside(s->GetImagePixelFormat()), lxip::FormatInside(out->GetImagePixelFormat())};
}

} // namespace

// 8-bit colour from Mono8: the identity map writes the value into all three channels; any other map
// is held, locked, for the whole image.
void CLxPixelFormatConverter::ConvertMono8ToColor8(ILxImage* s, ILxImageBuffer* d, bool reverse) {
    const Sides x = SidesOf(s, d);
    int64_t type, phase;
    bool inversion;
    {
        GenApi::AutoLock lock(ParameterLock());
        type = m_colorMapType;
        inversion = m_colorMapInversion;
        phase = m_colorMapPhase;
    }
    const auto run = [&](const lxip::ColorMapEntry* map) {
        lxcmap::Mono8ToColor8(static_cast<const uint8_t*>(s->GetImageBuffer()), s->GetImageLinePitch(),
                              static_cast<uint8_t*>(x.destination->GetImageBuffer()),
                              x.destination->GetImageLinePitch(), s->GetImageWidth(), s->GetImageHeight(),
                              unsigned(x.destinationInfo->GetComponentCount()), x.destinationInfo->IsBlueFirst(), map,
                              reverse);
    };
    if (lxip::IsIdentityColorMap(type, inversion, phase)) {
        run(nullptr);
        return;
    }
    const lxip::ColorMapCache::LockedRef map = m_colorMapCache.Acquire(type, inversion, phase);
    run(map->Entries());
}

// Colour deeper than 8 bits takes no map: the sample goes through the depth table, or as it is at
// equal depths, into the three channels.
void CLxPixelFormatConverter::ConvertMonoNToColorN(ILxImage* s, ILxImageBuffer* d, bool reverse) {
    const Sides x = SidesOf(s, d);
    const unsigned srcBits = unsigned(x.sourceInfo->GetComponentBits());
    const unsigned dstBits = unsigned(x.destinationInfo->GetComponentBits());
    const lxconv::BitConversionTableRef table(m_bitConversionCache, srcBits, dstBits);
    lxcmap::MonoToColor16(s->GetImageBuffer(), srcBits, s->GetImageLinePitch(),
                          static_cast<uint16_t*>(x.destination->GetImageBuffer()), x.destination->GetImageLinePitch(),
                          s->GetImageWidth(), s->GetImageHeight(), unsigned(x.destinationInfo->GetComponentCount()),
                          table ? table->Entries() : nullptr, table ? table->Size() : 0, reverse);
}

void CLxPixelFormatConverter::ConvertMono8ToColorN(ILxImage* s, ILxImageBuffer* d, bool reverse) {
    ConvertMonoNToColorN(s, d, reverse);
}

// Into a YCbCr or YUV format: from 8-bit colour, from an 8-bit mosaic with no colour image between,
// or from mono into the planar 4:2:0 format. A pair outside these returns with the destination as
// created (the conversion table holds none).
void CLxPixelFormatConverter::ConvertToYCbCr(ILxImage* s, ILxImageBuffer* d, bool reverse) {
    const Sides x = SidesOf(s, d);
    lxycc::Layout layout;
    if (!lxycc::LayoutOf(x.destination->GetImagePixelFormat(), &layout)) return;
    const size_t width = s->GetImageWidth(), height = s->GetImageHeight();
    const unsigned bits = unsigned(x.sourceInfo->GetComponentBits());
    auto* out = static_cast<uint8_t*>(x.destination->GetImageBuffer());
    const size_t outPitch = x.destination->GetImageLinePitch(), outPlane = x.destination->GetImagePlaneSize();
    if (x.sourceInfo->IsBayer()) {
        if (bits != 8) return;
        lxycc::Bayer8ToYcc(x.sourceInfo->GetColorFilter(), static_cast<const uint8_t*>(s->GetImageBuffer()),
                           s->GetImageLinePitch(), out, outPitch, outPlane, layout, width, height, reverse);
    } else if (x.sourceInfo->GetComponentCount() == 1) {
        if (layout.sampling != lxycc::Sampling::S420) return;
        lxycc::MonoToYcc420(s->GetImageBuffer(), bits, s->GetImageLinePitch(), out, outPitch, outPlane, width, height,
                            reverse);
    } else if (bits == 8 && !x.sourceInfo->IsPlanar() && !x.sourceInfo->IsYCbCr()) {
        lxycc::ColorToYcc(static_cast<const uint8_t*>(s->GetImageBuffer()), s->GetImageLinePitch(),
                          unsigned(x.sourceInfo->GetComponentCount()), x.sourceInfo->IsBlueFirst(), out, outPitch,
                          outPlane, layout, width, height, reverse);
    }
}

// From a YCbCr or YUV format: Mono8 takes the Y samples as they are; 8-bit colour the colour of each
// pixel by the source's set.
void CLxPixelFormatConverter::ConvertYCbCrToMono8OrColor8(ILxImage* s, ILxImageBuffer* d, bool reverse) {
    const Sides x = SidesOf(s, d);
    lxycc::Layout layout;
    if (!lxycc::LayoutOf(s->GetImagePixelFormat(), &layout)) return;
    const auto* in = static_cast<const uint8_t*>(s->GetImageBuffer());
    auto* out = static_cast<uint8_t*>(x.destination->GetImageBuffer());
    const size_t width = s->GetImageWidth(), height = s->GetImageHeight();
    if (x.destinationInfo->GetComponentCount() == 1) {
        lxycc::YccToMono8(in, s->GetImageLinePitch(), layout, out, x.destination->GetImageLinePitch(), width, height,
                          reverse);
        return;
    }
    if (x.destinationInfo->GetComponentBits() != 8) return;
    lxycc::YccToColor(in, s->GetImageLinePitch(), s->GetImagePlaneSize(), layout, out,
                      x.destination->GetImageLinePitch(), unsigned(x.destinationInfo->GetComponentCount()),
                      x.destinationInfo->IsBlueFirst(), width, height, reverse);
}
