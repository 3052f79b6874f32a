// The colour members of the pixel format converter: mono to colour through the module's colour map,
// and the YCbCr and YUV formats both ways.
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

void CLxPixelFormatConverter::ConvertToYCbCr(ILxImage*, ILxImageBuffer*, bool) {}
void CLxPixelFormatConverter::ConvertYCbCrToMono8OrColor8(ILxImage*, ILxImageBuffer*, bool) {}
