#include "lxbmpwriter.h"

#include "colormap/lxcolormap.h"
#include "lxpixelformatname.h"

#include <GenICam/GCException.h>
#include <lxapi/lxapi_tl.h>
#include <lxapi/lxpixelformat.h>

#include <climits>
#include <cstring>
#include <iterator>

namespace lxbmp {
namespace {

using lxfile::LoadLE16;
using lxfile::LoadLE32;
using lxfile::StoreLE16;
using lxfile::StoreLE32;

constexpr size_t kFileHeaderBytes = 14;
constexpr size_t kInfoHeaderBytes = 40;
constexpr size_t kMaskBytes = 12;
constexpr size_t kPaletteBytes = 1024;
constexpr uint16_t kType = 0x4D42; // "BM"
constexpr uint32_t kRgb = 0;       // BI_RGB
constexpr uint32_t kBitFields = 3; // BI_BITFIELDS

// One row of the format table.
struct Layout {
    uint32_t format;
    uint16_t bitCount;
    uint32_t compression;
    uint32_t masks[3]; // red, green, blue, for BI_BITFIELDS
    bool palette;
    size_t bytesPerPixel;
};

constexpr uint32_t kMask10p32[3] = {0x3FF00000, 0xFFC00, 0x3FF};

// The 16-bit mono rows carry (1 << bits) - 1 three times, so that the depth is told by the mask.
constexpr Layout Mono16Bit(uint32_t format, unsigned bits) {
    const uint32_t m = (uint32_t{1} << bits) - 1;
    return {format, 16, kBitFields, {m, m, m}, false, 2};
}

constexpr Layout kLayouts[] = {
    {LxPixelFormat_Mono8, 8, kRgb, {0, 0, 0}, true, 1},
    Mono16Bit(LxPixelFormat_Mono10, 10),
    Mono16Bit(LxPixelFormat_Mono12, 12),
    Mono16Bit(LxPixelFormat_Mono14, 14),
    Mono16Bit(LxPixelFormat_Mono16, 16),
    {LxPixelFormat_BGR8, 24, kRgb, {0, 0, 0}, false, 3},
    {LxPixelFormat_BGRa8, 32, kRgb, {0, 0, 0}, false, 4},
    {LxPixelFormat_CBGR10p32, 32, kBitFields, {kMask10p32[0], kMask10p32[1], kMask10p32[2]}, false, 4},
};

const Layout* FindLayout(uint32_t format) noexcept {
    for (const Layout& l : kLayouts)
        if (l.format == format) return &l;
    return nullptr;
}

size_t InfoBlockBytes(const Layout& l) {
    return kInfoHeaderBytes + (l.palette ? kPaletteBytes : l.compression == kBitFields ? kMaskBytes : 0);
}

// Rows in the file are padded to a multiple of 4 bytes.
constexpr uint64_t PaddedRow(uint64_t rowBytes) { return (rowBytes + 3) & ~uint64_t{3}; }

// The format a header describes, or null: the kinds this writer makes and nothing else.
const Layout* LayoutOfHeader(const uint8_t* info, lxfile::CFile& file) {
    const uint16_t bitCount = LoadLE16(info + 14);
    const uint32_t compression = LoadLE32(info + 16);
    if (compression == kBitFields) {
        uint8_t raw[kMaskBytes];
        file.ReadExact(raw, sizeof raw);
        const uint32_t r = LoadLE32(raw), g = LoadLE32(raw + 4), b = LoadLE32(raw + 8);
        if (bitCount == 16) {
            if (r != g || g != b) return nullptr;
            for (const Layout& l : kLayouts)
                if (l.bitCount == 16 && l.masks[0] == r) return &l;
            return nullptr;
        }
        if (bitCount == 32 && r == kMask10p32[0] && g == kMask10p32[1] && b == kMask10p32[2])
            return FindLayout(LxPixelFormat_CBGR10p32);
        return nullptr;
    }
    if (compression != kRgb) return nullptr;
    switch (bitCount) {
    case 8: {
        // A grey ramp palette only: a pseudo-colour bitmap has no Mono8 image behind it.
        const uint32_t used = LoadLE32(info + 32), important = LoadLE32(info + 36);
        if (used != important || (used != 256 && used != 0)) return nullptr;
        uint8_t palette[kPaletteBytes];
        file.ReadExact(palette, sizeof palette);
        for (size_t i = 0; i < 256; ++i) {
            const uint8_t* e = palette + 4 * i;
            if (e[0] != i || e[1] != i || e[2] != i) return nullptr;
        }
        return FindLayout(LxPixelFormat_Mono8);
    }
    case 24: return FindLayout(LxPixelFormat_BGR8);
    case 32: return FindLayout(LxPixelFormat_BGRa8);
    default: return nullptr;
    }
}

} // namespace

bool IsBitmapFormat(uint32_t pixelFormat) noexcept { return FindLayout(pixelFormat) != nullptr; }

void WriteBitmap(ILxImage* image, lxfile::CFile& file, int32_t colorMapType, bool colorMapInversion,
                 int32_t colorMapPhase) {
    const uint32_t format = image->GetImagePixelFormat();
    const Layout* l = FindLayout(format);
    if (!l) throw RUNTIME_EXCEPTION("Not supported pixelformat %s", lxip::PixelFormatName(format).c_str());
    // An image without columns holds no pixels and is written as 0 x 0, which the reader takes back.
    const size_t width = image->GetImageWidth(), height = width ? image->GetImageHeight() : 0;
    const size_t pitch = image->GetImageLinePitch();
    const auto* pixels = static_cast<const uint8_t*>(image->GetImageBuffer());

    // Each file row holds the pixels of its image line and zeros up to the next multiple of 4; the
    // padding of the image's line pitch is not written, so that every reader finds the rows where
    // the header says.
    const uint64_t rowBytes = uint64_t{width} * l->bytesPerPixel;
    const uint64_t paddedRow = PaddedRow(rowBytes);
    const uint64_t infoBytes = InfoBlockBytes(*l);
    const uint64_t offset = kFileHeaderBytes + infoBytes;
    uint64_t fileSize = 0;
    // Width and height are signed 32-bit fields, the sizes unsigned 32-bit ones.
    if (width > INT32_MAX || height > INT32_MAX || rowBytes > pitch ||
        !lxfile::MulAdd(paddedRow, height, offset, &fileSize) || fileSize > UINT32_MAX)
        lxfile::ThrowUnwritable(file.Name());

    uint8_t header[kFileHeaderBytes + kInfoHeaderBytes + kPaletteBytes] = {};
    StoreLE16(header, kType);
    StoreLE32(header + 2, static_cast<uint32_t>(fileSize));
    StoreLE32(header + 10, static_cast<uint32_t>(offset));
    uint8_t* info = header + kFileHeaderBytes;
    StoreLE32(info, kInfoHeaderBytes);
    StoreLE32(info + 4, static_cast<uint32_t>(width));
    StoreLE32(info + 8, static_cast<uint32_t>(height)); // positive: rows run bottom up
    StoreLE16(info + 12, 1);
    StoreLE16(info + 14, l->bitCount);
    StoreLE32(info + 16, l->compression);
    StoreLE32(info + 20, static_cast<uint32_t>(paddedRow * height));
    if (l->palette) {
        StoreLE32(info + 32, 256);
        StoreLE32(info + 36, 256);
        // The map's entries are 0x00RRGGBB: stored little endian they are the palette's blue, green,
        // red, zero.
        lxip::ColorMapEntry map[256];
        lxip::BuildColorMap(map, colorMapType, colorMapInversion, colorMapPhase);
        for (size_t i = 0; i < 256; ++i) StoreLE32(info + kInfoHeaderBytes + 4 * i, map[i]);
    } else if (l->compression == kBitFields) {
        for (size_t i = 0; i < 3; ++i) StoreLE32(info + kInfoHeaderBytes + 4 * i, l->masks[i]);
    }
    file.Write(header, static_cast<size_t>(offset));
    if (height > 0)
        file.WriteRows(pixels + (height - 1) * pitch, -static_cast<ptrdiff_t>(pitch), height,
                       static_cast<size_t>(rowBytes), static_cast<size_t>(paddedRow - rowBytes));
}

void ReadBitmap(ILxImageBuffer* buffer, lxfile::CFile& file) {
    const std::string& name = file.Name();
    uint8_t head[kFileHeaderBytes + kInfoHeaderBytes];
    if (!file.Seek(0)) lxfile::ThrowUnreadable(name);
    file.ReadExact(head, kFileHeaderBytes);
    if (LoadLE16(head) != kType) lxfile::ThrowUnreadable(name);
    file.ReadExact(head + kFileHeaderBytes, kInfoHeaderBytes);
    const uint8_t* info = head + kFileHeaderBytes;
    const Layout* l = LayoutOfHeader(info, file);
    if (!l) lxfile::ThrowUnreadable(name);

    const int32_t widthField = static_cast<int32_t>(LoadLE32(info + 4));
    const int32_t heightField = static_cast<int32_t>(LoadLE32(info + 8));
    // Rows without columns have no bytes, so a height beside a zero width is not backed by the file.
    if (widthField < 0 || (widthField == 0 && heightField != 0)) lxfile::ThrowUnreadable(name);
    const bool topDown = heightField < 0;
    const uint64_t width = static_cast<uint64_t>(widthField);
    const uint64_t height = topDown ? uint64_t{0} - static_cast<uint64_t>(static_cast<int64_t>(heightField))
                                    : static_cast<uint64_t>(heightField);

    // Everything the rows need must be in the file, by its header and by its length, before the
    // buffer is made: a header claiming a huge image allocates nothing.
    const uint64_t offset = LoadLE32(head + 10);
    const uint64_t leastOffset = kFileHeaderBytes + InfoBlockBytes(*l);
    const uint64_t rowBytes = width * l->bytesPerPixel;
    const uint64_t paddedRow = PaddedRow(rowBytes);
    uint64_t end = 0, length = 0;
    if (offset < leastOffset || !lxfile::MulAdd(paddedRow, height, offset, &end) || LoadLE32(head + 2) < end ||
        !file.Length(&length) || length < end)
        lxfile::ThrowUnreadable(name);

    buffer->CreateBuffer(static_cast<size_t>(width), static_cast<size_t>(height), l->format);
    ILxImage* image = buffer->GetILxImage();
    const size_t pitch = image->GetImageLinePitch();
    auto* pixels = static_cast<uint8_t*>(image->GetImageBuffer());
    if (height == 0) return;
    if (!file.Seek(offset)) lxfile::ThrowUnreadable(name);
    uint8_t* first = topDown ? pixels : pixels + (height - 1) * pitch;
    const ptrdiff_t step = topDown ? static_cast<ptrdiff_t>(pitch) : -static_cast<ptrdiff_t>(pitch);
    file.ReadRows(first, step, static_cast<size_t>(height), static_cast<size_t>(rowBytes),
                  static_cast<size_t>(paddedRow - rowBytes));
}

} // namespace lxbmp
