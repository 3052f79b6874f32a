#include "lxpixelformatconverter.h"
#include "lxpixelformatname.h"
#include "support/lxinside.h"

#include <includeinside/ilximageinside.h>
#include <includeinside/ilxpixelformatinfoinside.h>

#include <iterator>

namespace {

using lxip::FormatInside;

ILxImageInside* ImageInside(ILxImage* image) { return lxip::InsideOf<ILxImageInside>(image); }
ILxImageBufferInside* BufferInside(ILxImageBuffer* buffer) { return lxip::InsideOf<ILxImageBufferInside>(buffer); }

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

// ---- memory shared between two images ----

// The addresses an image's pixels may occupy, [begin, end): every plane at the plane size, the last
// one with height lines of the pitch. Sizes come from the caller's objects: the sums saturate, so
// that absurd sizes count as reaching to the end of the address space rather than wrapping. An
// empty image occupies nothing.
struct MemorySpan {
    uintptr_t begin = 0, end = 0;
};

size_t SaturatingMul(size_t a, size_t b) {
    size_t r;
    return __builtin_mul_overflow(a, b, &r) ? SIZE_MAX : r;
}
size_t SaturatingAdd(size_t a, size_t b) {
    size_t r;
    return __builtin_add_overflow(a, b, &r) ? SIZE_MAX : r;
}

MemorySpan SpanOf(ILxImage* image) {
    const auto begin = reinterpret_cast<uintptr_t>(image->GetImageBuffer());
    const size_t width = image->GetImageWidth(), height = image->GetImageHeight();
    if (!begin || width == 0 || height == 0) return {};
    size_t planes = 1;
    if (ILxPixelFormatInfo* info = lxip::FindPixelFormatInfo(image->GetImagePixelFormat()))
        planes = info->GetPlaneCount() > 1 ? info->GetPlaneCount() : 1;
    const size_t lastPlane = SaturatingMul(height, image->GetImageLinePitch());
    const size_t bytes = SaturatingAdd(SaturatingMul(planes - 1, image->GetImagePlaneSize()), lastPlane);
    const uintptr_t end = bytes > UINTPTR_MAX - begin ? UINTPTR_MAX : begin + bytes;
    return {begin, end};
}

// True when the pixels of the two images may lie in the same bytes.
bool SharesMemory(ILxImage* a, ILxImage* b) {
    const MemorySpan x = SpanOf(a), y = SpanOf(b);
    return x.begin < x.end && y.begin < y.end && x.begin < y.end && y.begin < x.end;
}

// No conversion of `from` into `to`; a code the sister library does not know is named in hex.
[[noreturn]] void ThrowNotSupported(uint32_t from, uint32_t to) {
    throw RUNTIME_EXCEPTION("Converting a pixelformat from  %s to %s is not supported.",
                            lxip::PixelFormatName(from).c_str(), lxip::PixelFormatName(to).c_str());
}

} // namespace

uint32_t CLxPixelFormatConverter::ReversedDestinationFormat(uint32_t source, uint32_t destination, size_t height) {
    ILxPixelFormatInfoInside* s = FormatInside(source);
    ILxPixelFormatInfoInside* d = FormatInside(destination);
    if (s->IsPolarized() && d->IsPolarized()) {
        size_t sRow, sColumn, dRow, dColumn;
        if (FindPolarized(source, s->IsBayer() ? 10 : 0, &sRow, &sColumn) &&
            FindPolarized(destination, d->IsBayer() ? 10 : 0, &dRow, &dColumn)) {
            // The variant whose layout is the vertical mirror of the source's: Y of plain and X of XY
            // in the plain group, but XC of C and XYC of YC in the C group.
            const uint32_t mirrored = lxpol::VerticalMirror(s->GetPolarizerLayout());
            for (uint32_t candidate : PolarizedRows[dRow])
                if (FormatInside(candidate)->GetPolarizerLayout() == mirrored) return candidate;
            return PolarizedRows[dRow][(sColumn + 2) % 4];
        }
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
    // In place, or a source lying in the destination's memory (a view of it, or a view sharing memory
    // with a view destination): creating the destination may free or overwrite the source before a
    // handler reads it, so the source is converted from a pooled copy of itself.
    const bool inPlace = present == source;
    if (inPlace || (present && SharesMemory(source, present))) {
        // The very image in its own format needs nothing.
        if (inPlace && sourceFormat == format && !reverse) return;
        // Refused before the copy, which would fail on a code the sister library does not know.
        if (!FindConversion(sourceFormat, format) || !lxip::FindPixelFormatInfo(sourceFormat))
            ThrowNotSupported(sourceFormat, format);
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
    // A code the sister library does not know has no conversion, not even the copy onto itself.
    if (!handler || !lxip::FindPixelFormatInfo(sourceFormat)) ThrowNotSupported(sourceFormat, format);
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
    // An image without pixels may have no memory at all: the empty destination is the whole result,
    // and no kernel is handed a null line.
    if (width == 0 || height == 0) return;
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
