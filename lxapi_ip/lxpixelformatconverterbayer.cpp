// The Bayer members of the pixel format converter: demosaicing by the module's method, and the
// luminance of a mosaic. The kernels work on bytes below 9 bits of depth and on 16-bit words above.
#include "colorinterpolation/colorinterpolation.h"
#include "lxpixelformatconverter.h"
#include "support/lxinside.h"

#include <includeinside/ilxpixelformatinfoinside.h>

#include <limits>

namespace {

struct BayerSides {
    ILxImage* source;
    ILxImage* destination;
    ILxPixelFormatInfoInside* sourceInfo;
    ILxPixelFormatInfoInside* destinationInfo;
    uint32_t width;
    uint32_t height;
};

BayerSides SidesOf(ILxImage* s, ILxImageBuffer* d) {
    ILxImage* out = d->GetILxImage();
    ILxPixelFormatInfoInside* si = lxip::FormatInside(s->GetImagePixelFormat());
    ILxPixelFormatInfoInside* di = lxip::FormatInside(out->GetImagePixelFormat());
    const size_t w = s->GetImageWidth(), h = s->GetImageHeight();
    if (w > std::numeric_limits<uint32_t>::max() || h > std::numeric_limits<uint32_t>::max())
        throw INVALID_ARGUMENT_EXCEPTION("Image size %zu x %zu is too large.", w, h);
    return {s, out, si, di, uint32_t(w), uint32_t(h)};
}

} // namespace

void CLxPixelFormatConverter::ConvertBayerToColor(ILxImage* s, ILxImageBuffer* d, bool reverse) {
    const BayerSides b = SidesOf(s, d);
    const uint32_t method = static_cast<uint32_t>(GetBayerInterpolationMethod());
    const uint32_t filter = b.sourceInfo->GetColorFilter();
    const uint32_t step = static_cast<uint32_t>(b.destinationInfo->GetComponentCount());
    const bool isBGR = b.destinationInfo->IsBlueFirst();
    if (b.sourceInfo->GetComponentBits() <= 8) {
        lxbayer::BayerToColor(method, filter, b.width, b.height, static_cast<const uint8_t*>(s->GetImageBuffer()),
                              s->GetImageLinePitch(), static_cast<uint8_t*>(b.destination->GetImageBuffer()),
                              b.destination->GetImageLinePitch(), step, isBGR, reverse);
    } else {
        const uint32_t max = (1u << b.destinationInfo->GetComponentBits()) - 1;
        lxbayer::BayerToColor(method, filter, b.width, b.height, static_cast<const uint16_t*>(s->GetImageBuffer()),
                              s->GetImageLinePitch(), static_cast<uint16_t*>(b.destination->GetImageBuffer()),
                              b.destination->GetImageLinePitch(), step, isBGR, reverse, max);
    }
}

void CLxPixelFormatConverter::ConvertBayerToMono(ILxImage* s, ILxImageBuffer* d, bool reverse) {
    const BayerSides b = SidesOf(s, d);
    const uint32_t filter = b.sourceInfo->GetColorFilter();
    if (b.sourceInfo->GetComponentBits() <= 8)
        lxbayer::Bayer8ToMono8(filter, b.width, b.height, static_cast<const uint8_t*>(s->GetImageBuffer()),
                               s->GetImageLinePitch(), static_cast<uint8_t*>(b.destination->GetImageBuffer()),
                               b.destination->GetImageLinePitch(), reverse);
    else
        lxbayer::Bayer16ToMono16(filter, b.width, b.height, static_cast<const uint16_t*>(s->GetImageBuffer()),
                                 s->GetImageLinePitch(), static_cast<uint16_t*>(b.destination->GetImageBuffer()),
                                 b.destination->GetImageLinePitch(), reverse);
}
