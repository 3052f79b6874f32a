#include "lxpixelformatconverter.h"

#include <includeinside/ilximageinside.h>
#include <includeinside/ilxpixelformatinfoinside.h>

#include <iterator>

namespace {

ILxImageInside* ImageInside(ILxImage* image) {
    auto* inside = dynamic_cast<ILxImageInside*>(image);
    if (!inside) throw LOGICAL_ERROR_EXCEPTION("Unexpected type in dynamic cast");
    return inside;
}
ILxImageBufferInside* BufferInside(ILxImageBuffer* buffer) {
    auto* inside = dynamic_cast<ILxImageBufferInside*>(buffer);
    if (!inside) throw LOGICAL_ERROR_EXCEPTION("Unexpected type in dynamic cast");
    return inside;
}

// ---- formats a vertical flip moves ----

#define PF(name) LxPixelFormat_##name
// Polarized rows, columns plain, X, Y, XY. Rows 10 to 19 hold the Bayer layouts.
const uint32_t PolarizedRows[20][4] = {
    {PF(Pol1Mono8), PF(Pol1MonoX8), PF(Pol1MonoY8), PF(Pol1MonoXY8)},
    {PF(Pol1Mono10), PF(Pol1MonoX10), PF(Pol1MonoY10), PF(Pol1MonoXY10)},
    {PF(Pol1Mono10p), PF(Pol1MonoX10p), PF(Pol1MonoY10p), PF(Pol1MonoXY10p)},
    {PF(Pol1Mono12), PF(Pol1MonoX12), PF(Pol1MonoY12), PF(Pol1MonoXY12)},
    {PF(Pol1Mono12p), PF(Pol1MonoX12p), PF(Pol1MonoY12p), PF(Pol1MonoXY12p)},
    {PF(Pol1MonoC8), PF(Pol1MonoXC8), PF(Pol1MonoYC8), PF(Pol1MonoXYC8)},
    {PF(Pol1MonoC10), PF(Pol1MonoXC10), PF(Pol1MonoYC10), PF(Pol1MonoXYC10)},
    {PF(Pol1MonoC10p), PF(Pol1MonoXC10p), PF(Pol1MonoYC10p), PF(Pol1MonoXYC10p)},
    {PF(Pol1MonoC12), PF(Pol1MonoXC12), PF(Pol1MonoYC12), PF(Pol1MonoXYC12)},
    {PF(Pol1MonoC12p), PF(Pol1MonoXC12p), PF(Pol1MonoYC12p), PF(Pol1MonoXYC12p)},
    {PF(Pol1BayerRG8), PF(Pol1BayerRGX8), PF(Pol1BayerRGY8), PF(Pol1BayerRGXY8)},
    {PF(Pol1BayerRG10), PF(Pol1BayerRGX10), PF(Pol1BayerRGY10), PF(Pol1BayerRGXY10)},
    {PF(Pol1BayerRG10p), PF(Pol1BayerRGX10p), PF(Pol1BayerRGY10p), PF(Pol1BayerRGXY10p)},
    {PF(Pol1BayerRG12), PF(Pol1BayerRGX12), PF(Pol1BayerRGY12), PF(Pol1BayerRGXY12)},
    {PF(Pol1BayerRG12p), PF(Pol1BayerRGX12p), PF(Pol1BayerRGY12p), PF(Pol1BayerRGXY12p)},
    {PF(Pol1BayerRGC8), PF(Pol1BayerRGXC8), PF(Pol1BayerRGYC8), PF(Pol1BayerRGXYC8)},
    {PF(Pol1BayerRGC10), PF(Pol1BayerRGXC10), PF(Pol1BayerRGYC10), PF(Pol1BayerRGXYC10)},
    {PF(Pol1BayerRGC10p), PF(Pol1BayerRGXC10p), PF(Pol1BayerRGYC10p), PF(Pol1BayerRGXYC10p)},
    {PF(Pol1BayerRGC12), PF(Pol1BayerRGXC12), PF(Pol1BayerRGYC12), PF(Pol1BayerRGXYC12)},
    {PF(Pol1BayerRGC12p), PF(Pol1BayerRGXC12p), PF(Pol1BayerRGYC12p), PF(Pol1BayerRGXYC12p)},
};
// Bayer rows, columns RG, GR, GB, BG. Row 7 keeps its first two columns exchanged: flipping onto
// 12Packed gives BayerRG12Packed where the other rows give their GR, and the other way round.
const uint32_t BayerRows[10][4] = {
    {PF(BayerRG8), PF(BayerGR8), PF(BayerGB8), PF(BayerBG8)},
    {PF(BayerRG10), PF(BayerGR10), PF(BayerGB10), PF(BayerBG10)},
    {PF(BayerRG12), PF(BayerGR12), PF(BayerGB12), PF(BayerBG12)},
    {PF(BayerRG16), PF(BayerGR16), PF(BayerGB16), PF(BayerBG16)},
    {PF(BayerRG10p), PF(BayerGR10p), PF(BayerGB10p), PF(BayerBG10p)},
    {PF(BayerRG12p), PF(BayerGR12p), PF(BayerGB12p), PF(BayerBG12p)},
    {PF(BayerRG10Packed), PF(BayerGR10Packed), PF(BayerGB10Packed), PF(BayerBG10Packed)},
    {PF(BayerGR12Packed), PF(BayerRG12Packed), PF(BayerGB12Packed), PF(BayerBG12Packed)},
    {PF(BayerRG14), PF(BayerGR14), PF(BayerGB14), PF(BayerBG14)},
    {PF(BayerRG14p), PF(BayerGR14p), PF(BayerGB14p), PF(BayerBG14p)},
};
#undef PF

// The Bayer row of a destination by its depth and packing.
size_t BayerRowOf(ILxPixelFormatInfoInside* info) {
    const size_t depth = info->GetComponentBits();
    if (depth <= 8) return 0;
    if (info->GetStorageBits() == 16) {
        switch (depth) {
        case 10: return 1;
        case 12: return 2;
        case 14: return 8;
        case 16: return 3;
        default: return 0;
        }
    }
    if (info->Is10or12Packed()) return depth == 10 ? 6 : depth == 12 ? 7 : 0;
    return depth == 10 ? 4 : depth == 12 ? 5 : depth == 14 ? 9 : 0;
}

// The row and column of a polarized code, searching from `firstRow`; false if it stands nowhere.
bool FindPolarized(uint32_t format, size_t firstRow, size_t* row, size_t* column) {
    for (size_t r = firstRow; r < std::size(PolarizedRows); ++r)
        for (size_t c = 0; c < 4; ++c)
            if (PolarizedRows[r][c] == format) {
                *row = r;
                *column = c;
                return true;
            }
    return false;
}

ILxPixelFormatInfoInside* FormatInside(uint32_t format) {
    auto* info = dynamic_cast<ILxPixelFormatInfoInside*>(GetILxPixelFormatInfo(format));
    if (!info) throw LOGICAL_ERROR_EXCEPTION("Unexpected type in dynamic cast");
    return info;
}

} // namespace

CLxPixelFormatConverter::CLxPixelFormatConverter() : CLxIPModuleBase(ResourceId), m_converterInfo(this) {}

uint32_t CLxPixelFormatConverter::ReversedDestinationFormat(uint32_t source, uint32_t destination, size_t height) {
    ILxPixelFormatInfoInside* s = FormatInside(source);
    ILxPixelFormatInfoInside* d = FormatInside(destination);
    if (s->IsPolarized() && d->IsPolarized()) {
        size_t sRow, sColumn, dRow, dColumn;
        if (FindPolarized(source, s->IsBayer() ? 10 : 0, &sRow, &sColumn) &&
            FindPolarized(destination, d->IsBayer() ? 10 : 0, &dRow, &dColumn))
            return PolarizedRows[dRow][(sColumn + 2) % 4];
        return destination;
    }
    // A flip of an even number of lines exchanges the rows of the 2x2 pattern.
    if (height % 2 == 0 && s->IsBayer() && d->IsBayer()) {
        size_t column;
        switch (s->GetColorFilter()) {
        case LxColorFilter_Red: column = 2; break;    // RG becomes GB
        case LxColorFilter_GreenR: column = 3; break; // GR becomes BG
        case LxColorFilter_GreenB: column = 0; break; // GB becomes RG
        case LxColorFilter_Blue: column = 1; break;   // BG becomes GR
        default: return destination;
        }
        return BayerRows[BayerRowOf(d)][column];
    }
    return destination;
}

void CLxPixelFormatConverter::Convert(ILxImage* source, ILxImageBuffer* destination) {
    if (!source) throw INVALID_ARGUMENT_EXCEPTION("ILxImage is NULL.");
    if (!destination) throw INVALID_ARGUMENT_EXCEPTION("ILxImageBuffer is NULL.");
    const bool reverse = GetReverseY();
    const uint32_t format = GetDestinationPixelFormat();
    const uint32_t sourceFormat = source->GetImagePixelFormat();

    // A destination that cannot tell its present image counts as holding none.
    ILxImageBufferInside* out = BufferInside(destination);
    ILxImage* present = nullptr;
    try {
        present = out->GetILxImage();
    } catch (...) {
    }
    if (present == source) {
        // In place: the image is already right, or it is converted from a pooled copy of itself.
        if (sourceFormat == format && !reverse) return;
        TemporaryBuffer copy(*this);
        copy->CopyImage(source);
        ConvertImage(copy->GetILxImage(), destination, format, reverse);
        return;
    }
    ConvertImage(source, destination, format, reverse);
}

void CLxPixelFormatConverter::ConvertImage(ILxImage* source, ILxImageBuffer* destination, uint32_t format,
                                           bool reverse) {
    const uint32_t sourceFormat = source->GetImagePixelFormat();
    const ConversionHandler handler = FindConversion(sourceFormat, format);
    if (!handler)
        throw RUNTIME_EXCEPTION("Converting a pixelformat from  %s to %s is not supported.",
                                GetILxPixelFormatInfo(sourceFormat)->GetName().c_str(),
                                GetILxPixelFormatInfo(format)->GetName().c_str());
    ILxImageInside* in = ImageInside(source);
    const size_t width = in->GetImageWidth();
    const size_t height = in->GetImageHeight();
    const uint32_t target = reverse ? ReversedDestinationFormat(sourceFormat, format, height) : format;

    ILxImageBufferInside* out = BufferInside(destination);
    // The destination buffer parameter, when set, is the alignment in bytes of the destination's lines.
    const int64_t alignment = GetDestinationBufferParameter();
    if (alignment > 1) {
        const size_t line = FormatInside(target)->GetLineBytes(width);
        const size_t a = static_cast<size_t>(alignment);
        if (line > SIZE_MAX - a) throw INVALID_ARGUMENT_EXCEPTION("Line of %zu bytes cannot be aligned.", line);
        out->CreateBuffer(width, height, target, (line + a - 1) / a * a);
    } else {
        out->CreateBuffer(width, height, target);
    }
    (this->*handler)(source, destination, reverse);
}

void CLxPixelFormatConverter::ConvertViaIntermediate(ILxImage* source, ILxImageBuffer* destination,
                                                     uint32_t intermediate, uint32_t requested, bool reverse) {
    TemporaryBuffer temporary(*this);
    ConvertImage(source, temporary.Get(), intermediate, reverse);
    ConvertImage(temporary->GetILxImage(), destination, requested, false);
}

void CLxPixelFormatConverter::ConvertViaChain(ConversionMember chain, ILxImage* source, ILxImageBuffer* destination,
                                              bool reverse) {
    const uint32_t requested = destination->GetILxImage()->GetImagePixelFormat();
    // The destination was created in the requested format, or in its flipped phase: the chain's
    // intermediate follows from the format that was asked for, which the flip does not change in kind.
    const uint32_t intermediate = IntermediateFormat(chain, source->GetImagePixelFormat(), requested);
    ConvertViaIntermediate(source, destination, intermediate, requested, reverse);
}

void CLxPixelFormatConverter::ConvertViaSourceFilter(ILxImage* s, ILxImageBuffer* d, bool reverse) {
    ConvertViaChain(ConversionMember::ViaSourceFilter, s, d, reverse);
}
void CLxPixelFormatConverter::ConvertViaUnpacked(ILxImage* s, ILxImageBuffer* d, bool reverse) {
    ConvertViaChain(ConversionMember::ViaUnpacked, s, d, reverse);
}
void CLxPixelFormatConverter::ConvertViaBGRa(ILxImage* s, ILxImageBuffer* d, bool reverse) {
    ConvertViaChain(ConversionMember::ViaBGRa, s, d, reverse);
}
void CLxPixelFormatConverter::ConvertViaBGRa8(ILxImage* s, ILxImageBuffer* d, bool reverse) {
    ConvertViaChain(ConversionMember::ViaBGRa8, s, d, reverse);
}
void CLxPixelFormatConverter::ConvertViaDestinationFilter(ILxImage* s, ILxImageBuffer* d, bool reverse) {
    ConvertViaChain(ConversionMember::ViaDestinationFilter, s, d, reverse);
}
