// The conversion members of the pixel format converter that move samples: depth changes, packing,
// channel order, planar layouts, luminance and mosaics. Each reads the facts of both images, takes
// a table from the module's cache when the depths differ, and runs one kernel over the whole image.
#include "conversion/conversionkernels.h"
#include "lxpixelformatconverter.h"
#include "support/lxinside.h"

#include <includeinside/ilxpixelformatinfoinside.h>

#include <algorithm>

namespace {

ILxPixelFormatInfoInside* InfoOf(ILxImage* image) { return lxip::FormatInside(image->GetImagePixelFormat()); }

lxconv::SourceImage SourceOf(ILxImage* image) {
    ILxPixelFormatInfoInside* info = InfoOf(image);
    lxconv::SourceImage s;
    s.data = image->GetImageBuffer();
    s.pitch = image->GetImageLinePitch();
    s.planeSize = image->GetImagePlaneSize();
    s.bits = static_cast<unsigned>(info->GetComponentBits());
    s.step = static_cast<unsigned>(info->GetComponentCount());
    s.blueFirst = info->IsBlueFirst();
    return s;
}

lxconv::DestImage DestOf(ILxImage* image) {
    const lxconv::SourceImage s = SourceOf(image);
    return {image->GetImageBuffer(), s.pitch, s.planeSize, s.bits, s.step, s.blueFirst};
}

} // namespace

// Runs a kernel from `s` into the image of `d`, with a table when the depths differ.
#define LX_RUN_KERNEL(kernel)                                                                                 \
    do {                                                                                                      \
        const lxconv::SourceImage src = SourceOf(s);                                                          \
        const lxconv::DestImage dst = DestOf(d->GetILxImage());                                               \
        const lxconv::BitConversionTableRef table(m_bitConversionCache, src.bits, dst.bits);                  \
        kernel(src, dst, s->GetImageWidth(), s->GetImageHeight(), reverse, table.get());                      \
    } while (0)

// Each line's own bytes: a view's pitch is its parent's, and copying a whole pitch from the view's
// last line would read past the parent's memory. The 4:2:0 planar format keeps its chroma planes as
// blocks that do not follow the lines of the Y plane; it is copied a pitch per line, planes included.
void CLxPixelFormatConverter::ConvertCopy(ILxImage* s, ILxImageBuffer* d, bool reverse) {
    ILxPixelFormatInfoInside* info = InfoOf(s);
    ILxImage* out = d->GetILxImage();
    const size_t lineBytes = info->IsPlanar() && info->IsYCbCr()
                                 ? std::min(s->GetImageLinePitch(), out->GetImageLinePitch())
                                 : info->GetLineBytes(s->GetImageWidth());
    lxconv::ConvertCopy(SourceOf(s), DestOf(out), lineBytes, s->GetImageHeight(), info->GetPlaneCount(), reverse);
}

void CLxPixelFormatConverter::ConvertColorToMono(ILxImage* s, ILxImageBuffer* d, bool reverse) {
    LX_RUN_KERNEL(lxconv::ConvertColorToMono);
}
void CLxPixelFormatConverter::ConvertMono8ToPacked(ILxImage* s, ILxImageBuffer* d, bool reverse) {
    LX_RUN_KERNEL(lxconv::ConvertMono8ToPacked);
}
void CLxPixelFormatConverter::ConvertPlanarToColor(ILxImage* s, ILxImageBuffer* d, bool reverse) {
    LX_RUN_KERNEL(lxconv::ConvertPlanarToColor);
}
void CLxPixelFormatConverter::ConvertColorToPlanar(ILxImage* s, ILxImageBuffer* d, bool reverse) {
    LX_RUN_KERNEL(lxconv::ConvertColorToPlanar);
}
void CLxPixelFormatConverter::ConvertMonoToPlanar(ILxImage* s, ILxImageBuffer* d, bool reverse) {
    LX_RUN_KERNEL(lxconv::ConvertMonoToPlanar);
}
void CLxPixelFormatConverter::ConvertPlanarToPlanar(ILxImage* s, ILxImageBuffer* d, bool reverse) {
    LX_RUN_KERNEL(lxconv::ConvertPlanarToPlanar);
}
void CLxPixelFormatConverter::ConvertColorToColorP(ILxImage* s, ILxImageBuffer* d, bool reverse) {
    LX_RUN_KERNEL(lxconv::ConvertColorToColorP);
}
void CLxPixelFormatConverter::ConvertColorPToColor(ILxImage* s, ILxImageBuffer* d, bool reverse) {
    LX_RUN_KERNEL(lxconv::ConvertColorPToColor);
}
void CLxPixelFormatConverter::ConvertColorToColor(ILxImage* s, ILxImageBuffer* d, bool reverse) {
    LX_RUN_KERNEL(lxconv::ConvertColorToColor);
}
void CLxPixelFormatConverter::ConvertColorToColor32(ILxImage* s, ILxImageBuffer* d, bool reverse) {
    LX_RUN_KERNEL(lxconv::ConvertColorToColor32);
}
void CLxPixelFormatConverter::ConvertColor32ToColor(ILxImage* s, ILxImageBuffer* d, bool reverse) {
    LX_RUN_KERNEL(lxconv::ConvertColor32ToColor);
}
void CLxPixelFormatConverter::ConvertUnpacked(ILxImage* s, ILxImageBuffer* d, bool reverse) {
    LX_RUN_KERNEL(lxconv::ConvertUnpacked);
}
void CLxPixelFormatConverter::ConvertBitPackedToUnpacked(ILxImage* s, ILxImageBuffer* d, bool reverse) {
    LX_RUN_KERNEL(lxconv::ConvertBitPackedToUnpacked);
}
void CLxPixelFormatConverter::ConvertPackedToUnpacked(ILxImage* s, ILxImageBuffer* d, bool reverse) {
    LX_RUN_KERNEL(lxconv::ConvertPackedToUnpacked);
}
void CLxPixelFormatConverter::ConvertUnpacked8ToBitPacked(ILxImage* s, ILxImageBuffer* d, bool reverse) {
    LX_RUN_KERNEL(lxconv::ConvertUnpacked8ToBitPacked);
}

#undef LX_RUN_KERNEL

// Colour to mosaic at the same depth: the pattern is the destination's own at its first line.
void CLxPixelFormatConverter::ConvertColorToBayer(ILxImage* s, ILxImageBuffer* d, bool reverse) {
    ILxImage* out = d->GetILxImage();
    lxconv::ConvertColorToBayer(SourceOf(s), DestOf(out), s->GetImageWidth(), s->GetImageHeight(), reverse,
                                InfoOf(out)->GetColorFilter());
}

// ---------------------------------------------------------------------------------------------------
// The member table of the conversion map, indexed by ConversionMember. Members of other families are
// null here: their pairs stay out of the map until this build has them.

using C = CLxPixelFormatConverter;

const ConversionHandler g_convertCopyHandler = &C::ConvertCopy;

const ConversionHandler g_conversionMemberHandlers[static_cast<size_t>(ConversionMember::Count)] = {
    // luminance (8 to 8, N to N, N to 8), mono to 10/12Packed
    &C::ConvertColorToMono, &C::ConvertColorToMono, &C::ConvertColorToMono, &C::ConvertMono8ToPacked,
    // planar to interleaved, interleaved to planar, mono to planar, planar to planar
    &C::ConvertPlanarToColor, &C::ConvertPlanarToColor, &C::ConvertPlanarToColor, &C::ConvertPlanarToColor,
    &C::ConvertColorToPlanar, &C::ConvertColorToPlanar, &C::ConvertColorToPlanar, &C::ConvertColorToPlanar,
    &C::ConvertMonoToPlanar, &C::ConvertMonoToPlanar, &C::ConvertMonoToPlanar, &C::ConvertMonoToPlanar,
    &C::ConvertPlanarToPlanar, &C::ConvertPlanarToPlanar, &C::ConvertPlanarToPlanar,
    // bit-packed colour
    &C::ConvertColorToColorP, &C::ConvertColorToColorP, &C::ConvertColorPToColor, &C::ConvertColorPToColor,
    // channel order, alpha, depth
    &C::ConvertColorToColor, &C::ConvertColorToColor, &C::ConvertColorToColor, &C::ConvertColorToColor,
    // 10-bit fields in 32-bit words
    &C::ConvertColorToColor32, &C::ConvertColorToColor32, &C::ConvertColor32ToColor, &C::ConvertColor32ToColor,
    // colour to mosaic
    &C::ConvertColorToBayer, &C::ConvertColorToBayer,
    // one-component depth changes
    &C::ConvertUnpacked, &C::ConvertUnpacked, &C::ConvertUnpacked,
    // unpacking and packing
    &C::ConvertBitPackedToUnpacked, &C::ConvertPackedToUnpacked, &C::ConvertUnpacked8ToBitPacked,
    // Bayer interpolation and mosaic luminance
    &C::ConvertBayerToColor, &C::ConvertBayerToMono, &C::ConvertBayerToMono,
    // polarization transforms: mono group to Mono8, Mono16, from N to Mono8, to MonoN, to colour 8, N
    &C::ConvertPolMonoToMono, &C::ConvertPolMonoToMono, &C::ConvertPolMonoToMono, &C::ConvertPolMonoToMono,
    &C::ConvertPolMonoToColor, &C::ConvertPolMonoToColor,
    // and the same for the mosaic group
    &C::ConvertPolBayerToMono, &C::ConvertPolBayerToMono, &C::ConvertPolBayerToMono, &C::ConvertPolBayerToMono,
    &C::ConvertPolBayerToColor, &C::ConvertPolBayerToColor,
    // mono to colour, through a color map at 8 bits
    &C::ConvertMono8ToColor8, &C::ConvertMono8ToColorN, &C::ConvertMonoNToColorN,
    // YCbCr and YUV, both ways
    &C::ConvertToYCbCr, &C::ConvertYCbCrToMono8OrColor8,
    // chains
    &C::ConvertViaSourceFilter, &C::ConvertViaUnpacked, &C::ConvertViaBGRa, &C::ConvertViaBGRa8,
    &C::ConvertViaDestinationFilter,
};
