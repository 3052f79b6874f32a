// The reverse converter: parameters and registers, the handler table by pixel format, the format of
// the result, and Convert.
#include "lxreverseconverter.h"

#include "lxdescriptions.h"
#include "support/lxcolorfilter.h"
#include "support/lximagespan.h"
#include "support/lxinside.h"

#include <includeinside/ilximageinside.h>
#include <lxapi/lxpixelformat.h>

#include <iterator>

using lxreverse::Operation;

namespace {

namespace R = lxres::lxreverseconverter;

#define PF(name) LxPixelFormat_##name
// Bayer formats by depth 8, 10, 12, 14, 16; columns RG, GR, GB, BG, so that the column is the red
// site's column plus twice its row.
constexpr uint32_t BayerRows[5][4] = {
    {PF(BayerRG8), PF(BayerGR8), PF(BayerGB8), PF(BayerBG8)},
    {PF(BayerRG10), PF(BayerGR10), PF(BayerGB10), PF(BayerBG10)},
    {PF(BayerRG12), PF(BayerGR12), PF(BayerGB12), PF(BayerBG12)},
    {PF(BayerRG14), PF(BayerGR14), PF(BayerGB14), PF(BayerBG14)},
    {PF(BayerRG16), PF(BayerGR16), PF(BayerGB16), PF(BayerBG16)},
};
// Polarized formats by kind and depth; columns plain, X, Y, XY of the ordinary group, then plain,
// X, Y, XY of the C group.
constexpr uint32_t PolarizedRows[6][8] = {
    {PF(Pol1Mono8), PF(Pol1MonoX8), PF(Pol1MonoY8), PF(Pol1MonoXY8), PF(Pol1MonoC8), PF(Pol1MonoXC8),
     PF(Pol1MonoYC8), PF(Pol1MonoXYC8)},
    {PF(Pol1Mono10), PF(Pol1MonoX10), PF(Pol1MonoY10), PF(Pol1MonoXY10), PF(Pol1MonoC10), PF(Pol1MonoXC10),
     PF(Pol1MonoYC10), PF(Pol1MonoXYC10)},
    {PF(Pol1Mono12), PF(Pol1MonoX12), PF(Pol1MonoY12), PF(Pol1MonoXY12), PF(Pol1MonoC12), PF(Pol1MonoXC12),
     PF(Pol1MonoYC12), PF(Pol1MonoXYC12)},
    {PF(Pol1BayerRG8), PF(Pol1BayerRGX8), PF(Pol1BayerRGY8), PF(Pol1BayerRGXY8), PF(Pol1BayerRGC8),
     PF(Pol1BayerRGXC8), PF(Pol1BayerRGYC8), PF(Pol1BayerRGXYC8)},
    {PF(Pol1BayerRG10), PF(Pol1BayerRGX10), PF(Pol1BayerRGY10), PF(Pol1BayerRGXY10), PF(Pol1BayerRGC10),
     PF(Pol1BayerRGXC10), PF(Pol1BayerRGYC10), PF(Pol1BayerRGXYC10)},
    {PF(Pol1BayerRG12), PF(Pol1BayerRGX12), PF(Pol1BayerRGY12), PF(Pol1BayerRGXY12), PF(Pol1BayerRGC12),
     PF(Pol1BayerRGXC12), PF(Pol1BayerRGYC12), PF(Pol1BayerRGXYC12)},
};
#undef PF

// The polarized column of the result by operation and source column. A flip keeps the group (the
// ordinary or the C one) and moves the 2x2 layout inside it; a quarter turn or transposition gives
// the other group, the C layouts being the turned ordinary ones. The C variants' letters name their
// flips in that turned frame, so there a flip in X of the image is the variant's Y and the other way
// round (the C layouts' vertical mirrors are C with XC and YC with XYC). The group is taken to start
// on even coordinates, so the size of the image does not matter.
constexpr uint8_t PolarizedColumn[8][8] = {
    {0, 1, 2, 3, 4, 5, 6, 7}, // none
    {1, 0, 3, 2, 6, 7, 4, 5}, // flip in X: c xor 1, in the C group c xor 2
    {2, 3, 0, 1, 5, 4, 7, 6}, // flip in Y: c xor 2, in the C group c xor 1
    {3, 2, 1, 0, 7, 6, 5, 4}, // both: c xor 3
    {4, 5, 6, 7, 3, 2, 1, 0}, // clockwise
    {7, 6, 5, 4, 0, 1, 2, 3}, // counterclockwise
    {6, 7, 4, 5, 2, 3, 0, 1}, // transpose
    {5, 4, 7, 6, 1, 0, 3, 2}, // anti-transpose
};

// Where `format` stands in `rows`; false if nowhere.
template <size_t Rows, size_t Columns>
bool FindIn(const uint32_t (&rows)[Rows][Columns], uint32_t format, size_t* row, size_t* column) {
    for (size_t r = 0; r < Rows; ++r)
        for (size_t c = 0; c < Columns; ++c)
            if (rows[r][c] == format) {
                *row = r;
                *column = c;
                return true;
            }
    return false;
}

using Handler = CLxReverseConverter::Handler;
using C = CLxReverseConverter;

CLxHandlerTable<Handler> BuildHandlers() {
#define PF(name) LxPixelFormat_##name
    constexpr Handler One = &C::ReverseOneComponent, Three = &C::ReverseThreeComponents, Word32 = &C::ReverseWord32;
    return {
        // one component: mono, Bayer and the polarized groups
        {PF(Mono8), One}, {PF(Mono10), One}, {PF(Mono12), One},
        {PF(Mono14), One}, {PF(Mono16), One}, {PF(BayerGR8), One},
        {PF(BayerRG8), One}, {PF(BayerGB8), One}, {PF(BayerBG8), One},
        {PF(BayerGR10), One}, {PF(BayerRG10), One}, {PF(BayerGB10), One},
        {PF(BayerBG10), One}, {PF(BayerGR12), One}, {PF(BayerRG12), One},
        {PF(BayerGB12), One}, {PF(BayerBG12), One}, {PF(BayerGR14), One},
        {PF(BayerRG14), One}, {PF(BayerGB14), One}, {PF(BayerBG14), One},
        {PF(BayerGR16), One}, {PF(BayerRG16), One}, {PF(BayerGB16), One},
        {PF(BayerBG16), One}, {PF(Pol1Mono8), One}, {PF(Pol1MonoX8), One},
        {PF(Pol1MonoY8), One}, {PF(Pol1MonoXY8), One}, {PF(Pol1MonoC8), One},
        {PF(Pol1MonoXC8), One}, {PF(Pol1MonoYC8), One}, {PF(Pol1MonoXYC8), One},
        {PF(Pol1Mono10), One}, {PF(Pol1MonoX10), One}, {PF(Pol1MonoY10), One},
        {PF(Pol1MonoXY10), One}, {PF(Pol1MonoC10), One}, {PF(Pol1MonoXC10), One},
        {PF(Pol1MonoYC10), One}, {PF(Pol1MonoXYC10), One}, {PF(Pol1Mono12), One},
        {PF(Pol1MonoX12), One}, {PF(Pol1MonoY12), One}, {PF(Pol1MonoXY12), One},
        {PF(Pol1MonoC12), One}, {PF(Pol1MonoXC12), One}, {PF(Pol1MonoYC12), One},
        {PF(Pol1MonoXYC12), One}, {PF(Pol1BayerRG8), One}, {PF(Pol1BayerRGX8), One},
        {PF(Pol1BayerRGY8), One}, {PF(Pol1BayerRGXY8), One}, {PF(Pol1BayerRGC8), One},
        {PF(Pol1BayerRGXC8), One}, {PF(Pol1BayerRGYC8), One}, {PF(Pol1BayerRGXYC8), One},
        {PF(Pol1BayerRG10), One}, {PF(Pol1BayerRGX10), One}, {PF(Pol1BayerRGY10), One},
        {PF(Pol1BayerRGXY10), One}, {PF(Pol1BayerRGC10), One}, {PF(Pol1BayerRGXC10), One},
        {PF(Pol1BayerRGYC10), One}, {PF(Pol1BayerRGXYC10), One}, {PF(Pol1BayerRG12), One},
        {PF(Pol1BayerRGX12), One}, {PF(Pol1BayerRGY12), One}, {PF(Pol1BayerRGXY12), One},
        {PF(Pol1BayerRGC12), One}, {PF(Pol1BayerRGXC12), One}, {PF(Pol1BayerRGYC12), One},
        {PF(Pol1BayerRGXYC12), One},
        // three samples (and alpha) per pixel
        {PF(BGR8), Three}, {PF(BGRa8), Three}, {PF(RGB8), Three},
        {PF(RGBa8), Three}, {PF(BGR10), Three}, {PF(BGRa10), Three},
        {PF(BGR12), Three}, {PF(BGRa12), Three}, {PF(BGR14), Three},
        {PF(BGRa14), Three}, {PF(BGR16), Three}, {PF(BGRa16), Three},
        {PF(YCbCr8), Three},
        // one 32-bit word per pixel
        {PF(CBGR10p32), Word32}, {PF(RGB10p32), Word32},
    };
#undef PF
}

// Bytes of one sample of a one- or three-component format: bytes up to 8 bits, 16-bit words above.
size_t SampleBytes(ILxPixelFormatInfoInside* info) { return info->GetDepth() <= 8 ? 1 : 2; }

// The two images of one move as the movers see them.
lxreverse::Plane PlaneOf(ILxImage* source, ILxImage* destination) {
    return {static_cast<const uint8_t*>(source->GetImageBuffer()),
            source->GetImageLinePitch(),
            static_cast<uint8_t*>(destination->GetImageBuffer()),
            destination->GetImageLinePitch(),
            source->GetImageWidth(),
            source->GetImageHeight()};
}

// The present image of a destination, or null when it holds none or cannot tell.
ILxImage* PresentImage(ILxImageBuffer* destination) {
    try {
        return destination->GetILxImage();
    } catch (...) {
        return nullptr;
    }
}

} // namespace

// ---- the handler table and the info object ----

const CLxHandlerTable<Handler>& CLxReverseConverter::Handlers() {
    static const CLxHandlerTable<Handler> table = BuildHandlers();
    return table;
}
namespace {
// Built while the library loads, as the other tables by pixel format.
[[maybe_unused]] const auto& kHandlersAtLoad = CLxReverseConverter::Handlers();
} // namespace

ELxConverterType_t CLxReverseConverterInfo::GetConverterType() { return CLxReverseConverter::ConverterType; }
GenICam::gcstring CLxReverseConverterInfo::GetDisplayName() {
    return lxip::RecordOf(CLxReverseConverter::ConverterType).displayName;
}
bool CLxReverseConverterInfo::IsSupportedPixelFormat(uint32_t pixelFormat) {
    return CLxReverseConverter::Handlers().Contains(pixelFormat);
}

// ---- parameters ----

// Register writes store as they come and invalidate nothing (the node itself wrote); the flips turn
// on for 1 only, as their nodes write it, and a rotation mode outside 0 to 2 is kept and acts as OFF.
struct CLxReverseConverter::Registers {
    using C = CLxReverseConverter;
    static constexpr auto ReverseX =
        lxip::Bind<C>(R::ReverseXReg).Field(&C::m_reverseX).Bool(lxip::BoolRule::OneOnly);
    static constexpr auto ReverseY =
        lxip::Bind<C>(R::ReverseYReg).Field(&C::m_reverseY).Bool(lxip::BoolRule::OneOnly);
    static constexpr auto RotationMode =
        lxip::Bind<C>(R::RotationModeReg).Field(&C::m_rotationMode).Range(lxip::IntegerBelow("eRM", 0, 3));
    static constexpr auto File = lxip::MakeRegisterFile(ReverseX, ReverseY, RotationMode);
    static_assert(lxip::Covers(File, R::RegisterNodes), "the declarations must serve the description");
};

CLxReverseConverter::CLxReverseConverter()
    : CLxIPModuleBase(lxip::RecordOf(ConverterType).resourceId, Registers::File.View(), this) {}

// Carried to the creation of the destination image; no register.
int64_t CLxReverseConverter::GetDestinationBufferParameter() {
    GenApi::AutoLock guard(ParameterLock());
    return m_destinationBufferParameter;
}
void CLxReverseConverter::SetDestinationBufferParameter(int64_t value) {
    GenApi::AutoLock guard(ParameterLock());
    m_destinationBufferParameter = value;
}

bool CLxReverseConverter::GetReverseX() { return Registers::ReverseX.Get(*this); }
void CLxReverseConverter::SetReverseX(bool value) { Registers::ReverseX.Set(*this, value); }
bool CLxReverseConverter::GetReverseY() { return Registers::ReverseY.Get(*this); }
void CLxReverseConverter::SetReverseY(bool value) { Registers::ReverseY.Set(*this, value); }
ELxRotationMode_t CLxReverseConverter::GetRotationMode() {
    return static_cast<ELxRotationMode_t>(Registers::RotationMode.Get(*this));
}
void CLxReverseConverter::SetRotationMode(ELxRotationMode_t eRM) { Registers::RotationMode.Set(*this, eRM); }

// ---- the operation and the format of the result ----

Operation CLxReverseConverter::OperationOf(bool reverseX, bool reverseY, int32_t rotationMode) noexcept {
    // Rows OFF, Clockwise90, Counterclockwise90; columns by (X, Y): off/off, off/on, on/off, on/on.
    static constexpr uint8_t Codes[3][4] = {{0, 2, 1, 3}, {4, 6, 7, 5}, {5, 7, 6, 4}};
    const size_t row = rotationMode >= 0 && rotationMode <= 2 ? static_cast<size_t>(rotationMode) : 0;
    return static_cast<Operation>(Codes[row][(reverseX ? 2 : 0) + (reverseY ? 1 : 0)]);
}

uint32_t CLxReverseConverter::ResultFormat(uint32_t format, size_t width, size_t height, bool reverseX,
                                           bool reverseY, int32_t rotationMode) {
    size_t row, c;
    if (FindIn(PolarizedRows, format, &row, &c)) {
        const auto op = static_cast<size_t>(OperationOf(reverseX, reverseY, rotationMode));
        return PolarizedRows[row][PolarizedColumn[op][c]];
    }
    if (!FindIn(BayerRows, format, &row, &c)) return format;
    // c is the red site's column plus twice its row. A flip moves the red site to the other column
    // (line) when the width (height) is even; with an odd size the last column takes the first one's
    // colour and the phase stays.
    const bool evenW = width % 2 == 0, evenH = height % 2 == 0;
    const auto swapBits = [](size_t v) { return (v >> 1) | ((v & 1) << 1); };
    if (reverseX && evenW) c ^= 1;
    if (reverseY && evenH) c ^= 2;
    if (rotationMode == LxRotationMode_Clockwise90) {
        // (x, y) goes to (H - 1 - y, x): the red row becomes the column, mirrored when H is even.
        static constexpr uint8_t EvenH[4] = {1, 3, 0, 2};
        c = evenH ? EvenH[c] : swapBits(c);
    } else if (rotationMode == LxRotationMode_Counterclockwise90) {
        // (x, y) goes to (y, W - 1 - x): the red column becomes the row, mirrored when W is even.
        static constexpr uint8_t EvenW[4] = {2, 0, 3, 1};
        c = evenW ? EvenW[c] : swapBits(c);
    }
    return BayerRows[row][c];
}

// ---- the movers ----

void CLxReverseConverter::ReverseOneComponent(ILxImage* source, ILxImage* destination, Operation op) {
    const size_t bytes = SampleBytes(lxip::FormatInside(source->GetImagePixelFormat()));
    lxreverse::Move(PlaneOf(source, destination), bytes, op);
}

// The samples of a pixel move together in their order; a fourth (alpha) sample moves with them.
void CLxReverseConverter::ReverseThreeComponents(ILxImage* source, ILxImage* destination, Operation op) {
    ILxPixelFormatInfoInside* info = lxip::FormatInside(source->GetImagePixelFormat());
    lxreverse::Move(PlaneOf(source, destination), info->GetComponentCount() * SampleBytes(info), op);
}

void CLxReverseConverter::ReverseWord32(ILxImage* source, ILxImage* destination, Operation op) {
    lxreverse::Move(PlaneOf(source, destination), 4, op);
}

// ---- Convert ----

void CLxReverseConverter::Convert(ILxImage* source, ILxImageBuffer* destination) {
    // A null destination fails in the cast, before any test of its own.
    ILxImageBufferInside* out = lxip::InsideOf<ILxImageBufferInside>(destination);
    if (!source) throw INVALID_ARGUMENT_EXCEPTION("ILxImage pointer is NULL.");
    // The parameters once, so that a change during the call cannot mix two settings.
    bool reverseX, reverseY;
    int32_t rotationMode;
    {
        GenApi::AutoLock guard(ParameterLock());
        reverseX = m_reverseX;
        reverseY = m_reverseY;
        rotationMode = m_rotationMode;
    }
    const Operation op = OperationOf(reverseX, reverseY, rotationMode);

    ILxImage* present = PresentImage(out);
    if (present == source) {
        if (op == Operation::None) return;
    } else if (op == Operation::None) {
        out->CopyImage(source); // the buffer's own copy, which also copes with shared memory
        return;
    } else if (!present || !lxip::SharesMemory(source, present)) {
        ApplyReverse(source, out, op, reverseX, reverseY, rotationMode);
        return;
    }
    // In place, or a source in the destination's memory (a view of it): creating the destination
    // would overwrite or free the pixels still to be read, so they are read from a pooled copy. An
    // unsupported format is refused before the copy.
    Handlers().Require(source->GetImagePixelFormat());
    TemporaryBuffer copy(*this);
    copy->CopyImage(source);
    ApplyReverse(copy->GetILxImage(), out, op, reverseX, reverseY, rotationMode);
}

void CLxReverseConverter::ApplyReverse(ILxImage* source, ILxImageBuffer* destination, Operation op, bool reverseX,
                                       bool reverseY, int32_t rotationMode) {
    const Handler handler = Handlers().Require(source->GetImagePixelFormat());
    ILxImageInside* in = lxip::InsideOf<ILxImageInside>(source);
    const size_t width = in->GetImageWidth(), height = in->GetImageHeight();
    const uint32_t format = ResultFormat(in->GetImagePixelFormat(), width, height, reverseX, reverseY, rotationMode);
    const bool swaps = lxreverse::SwapsAxes(op);
    const size_t outWidth = swaps ? height : width, outHeight = swaps ? width : height;

    ILxImageBufferInside* out = lxip::InsideOf<ILxImageBufferInside>(destination);
    // The destination buffer parameter, when set, is the alignment in bytes of the destination's
    // lines, as for the pixel format converter.
    const int64_t alignment = GetDestinationBufferParameter();
    if (alignment > 1) {
        const size_t line = lxip::FormatInside(format)->GetLineBytes(outWidth);
        const size_t a = static_cast<size_t>(alignment);
        if (line > SIZE_MAX - a) throw INVALID_ARGUMENT_EXCEPTION("Line of %zu bytes cannot be aligned.", line);
        out->CreateBuffer(outWidth, outHeight, format, (line + a - 1) / a * a);
    } else {
        out->CreateBuffer(outWidth, outHeight, format);
    }
    handler(in, out->GetILxImage(), op);
}
