#include "lxtiffwriter.h"

#include "colormap/lxcolormap.h"
#include "lxpixelformatname.h"

#include <GenICam/GCException.h>
#include <lxapi/lxpixelformat.h>

#include <cstddef>

namespace lxtiff {
namespace {

using lxfile::StoreLE16;
using lxfile::StoreLE32;

// Field types.
constexpr uint16_t kShort = 3, kLong = 4, kRational = 5;

// Tags.
enum : uint16_t {
    ImageWidth = 256,
    ImageLength = 257,
    BitsPerSample = 258,
    Compression = 259,
    PhotometricInterpretation = 262,
    StripOffsets = 273,
    SamplesPerPixel = 277,
    RowsPerStrip = 278,
    StripByteCounts = 279,
    XResolution = 282,
    YResolution = 283,
    PlanarConfiguration = 284,
    ResolutionUnit = 296,
    ColorMap = 320,
    ExtraSamples = 338,
};

constexpr uint32_t kHeaderBytes = 8;     // "II", 42, first IFD offset
constexpr uint32_t kColorMapBytes = 1536; // three tables of 256 SHORT
constexpr uint32_t kDpiNumerator = 720000, kDpiDenominator = 10000;

// How an image is laid out in the file.
struct Layout {
    uint32_t format;
    uint32_t components; // c
    uint32_t planes;     // p
    uint32_t bytesPerSample;
};

constexpr Layout kLayouts[] = {
    {LxPixelFormat_Mono8, 1, 1, 1},       {LxPixelFormat_Mono16, 1, 1, 2},       {LxPixelFormat_RGB8, 3, 1, 1},
    {LxPixelFormat_RGBa8, 4, 1, 1},       {LxPixelFormat_RGB8_Planar, 3, 3, 1}, {LxPixelFormat_RGB16, 3, 1, 2},
    {LxPixelFormat_RGB16_Planar, 3, 3, 2},
};

const Layout* FindLayout(uint32_t format) noexcept {
    for (const Layout& l : kLayouts)
        if (l.format == format) return &l;
    return nullptr;
}

// Writes the directory entries one after the other.
class Directory {
public:
    Directory(uint8_t* block, uint32_t entries) : m_at(block + kHeaderBytes + 2) {
        StoreLE16(block + kHeaderBytes, static_cast<uint16_t>(entries));
    }
    void Add(uint16_t tag, uint16_t type, uint32_t count, uint32_t value) {
        StoreLE16(m_at, tag);
        StoreLE16(m_at + 2, type);
        StoreLE32(m_at + 4, count);
        StoreLE32(m_at + 8, value); // a SHORT lies in the low half of the field
        m_at += 12;
    }
    // Width, height and rows per strip: SHORT while they fit in 16 bits, LONG above, so that no
    // reader takes the low half of a larger value for the whole.
    void AddSize(uint16_t tag, uint32_t value) { Add(tag, value > 0xFFFF ? kLong : kShort, 1, value); }

private:
    uint8_t* m_at;
};

// Offset of the values behind the directory of `entries` entries (the next-IFD field sits there).
constexpr uint32_t NextIfdOffset(uint32_t entries) { return kHeaderBytes + 2 + 12 * entries; }

// Zeroes the `size` bytes before the pixels and writes the header: little endian, the directory at 8.
uint8_t* StartHead(Head& head, uint32_t size) {
    head.bytes.assign(size, 0);
    uint8_t* p = head.bytes.data();
    p[0] = 'I';
    p[1] = 'I';
    StoreLE16(p + 2, 42);
    StoreLE32(p + 4, kHeaderBytes);
    return p;
}

void StoreResolutions(uint8_t* block, uint32_t next) {
    for (uint32_t at : {next + 4, next + 12}) {
        StoreLE32(block + at, kDpiNumerator);
        StoreLE32(block + at + 4, kDpiDenominator);
    }
}

} // namespace

bool IsTiffFormat(uint32_t pixelFormat) noexcept { return FindLayout(pixelFormat) != nullptr; }

Head ComposeTiffHead(const std::string& name, ILxImage* image, int32_t colorMapType, bool colorMapInversion,
                     int32_t colorMapPhase) {
    const uint32_t format = image->GetImagePixelFormat();
    const Layout* l = FindLayout(format);
    if (!l) throw RUNTIME_EXCEPTION("Not supported pixelformat %s", lxip::PixelFormatName(format).c_str());
    const uint64_t width = image->GetImageWidth(), height = image->GetImageHeight();
    const size_t pitch = image->GetImageLinePitch();
    // A row of one plane in the file: all components for interleaved pixels, one for planes.
    const uint64_t rowBytes = width * (l->planes == 1 ? l->components : 1) * l->bytesPerSample;
    uint64_t planeBytes = 0, pixelBytes = 0;
    // Every offset and count of the file is a 32-bit field.
    if (width > UINT32_MAX || height > UINT32_MAX || !lxfile::MulAdd(rowBytes, height, 0, &planeBytes) ||
        !lxfile::MulAdd(planeBytes, l->planes, 0, &pixelBytes) || pixelBytes > UINT32_MAX || pitch < rowBytes)
        lxfile::ThrowUnwritable(name);
    Head head;
    head.rows = height * l->planes;
    head.rowBytes = static_cast<size_t>(rowBytes);

    if (l->components == 1) {
        // Grey, or a palette when the map is anything but its defaults.
        const bool palette = l->bytesPerSample == 1 && (colorMapType != 0 || colorMapInversion || colorMapPhase != 0);
        const uint32_t entries = palette ? 12 : 11;
        const uint32_t next = NextIfdOffset(entries);
        const uint32_t mapOffset = next + 20;
        const uint32_t pixelOffset = mapOffset + (palette ? kColorMapBytes : 0);
        const uint64_t size = pixelOffset + pixelBytes;
        if (size > UINT32_MAX) lxfile::ThrowUnwritable(name);
        uint8_t* p = StartHead(head, pixelOffset);
        Directory d(p, entries);
        d.AddSize(ImageWidth, static_cast<uint32_t>(width));
        d.AddSize(ImageLength, static_cast<uint32_t>(height));
        d.Add(BitsPerSample, kShort, 1, 8 * l->bytesPerSample);
        d.Add(Compression, kShort, 1, 1);
        d.Add(PhotometricInterpretation, kShort, 1, palette ? 3 : 1);
        d.Add(StripOffsets, kLong, 1, pixelOffset);
        d.AddSize(RowsPerStrip, static_cast<uint32_t>(height));
        d.Add(StripByteCounts, kLong, 1, static_cast<uint32_t>(pixelBytes));
        d.Add(XResolution, kRational, 1, next + 4);
        d.Add(YResolution, kRational, 1, next + 12);
        d.Add(ResolutionUnit, kShort, 1, 2);
        StoreResolutions(p, next);
        if (palette) {
            d.Add(ColorMap, kShort, 768, mapOffset);
            // All reds, all greens, all blues; each 8-bit value x widened to x * 257.
            lxip::ColorMapEntry map[256];
            lxip::BuildColorMap(map, colorMapType, colorMapInversion, colorMapPhase);
            for (uint32_t i = 0; i < 256; ++i)
                for (uint32_t c = 0; c < 3; ++c) {
                    const uint32_t x = map[i] >> (16 - 8 * c) & 0xFF;
                    StoreLE16(p + mapOffset + 512 * c + 2 * i, static_cast<uint16_t>(x << 8 | x));
                }
        }
        return head;
    }

    // Colour: c components in p planes.
    const uint32_t c = l->components, planes = l->planes;
    const uint32_t entries = c >= 4 ? 14 : 13;
    const uint32_t next = NextIfdOffset(entries);
    const uint32_t countsOffset = next + 20, offsetsOffset = next + 32, bitsOffset = next + 44;
    const uint32_t pixelOffset = bitsOffset + 2 * c;
    const uint64_t size = pixelOffset + pixelBytes;
    if (size > UINT32_MAX) lxfile::ThrowUnwritable(name);
    uint8_t* p = StartHead(head, pixelOffset);
    Directory d(p, entries);
    d.AddSize(ImageWidth, static_cast<uint32_t>(width));
    d.AddSize(ImageLength, static_cast<uint32_t>(height));
    d.Add(BitsPerSample, kShort, c, bitsOffset);
    d.Add(Compression, kShort, 1, 1);
    d.Add(PhotometricInterpretation, kShort, 1, 2);
    d.Add(StripOffsets, kLong, planes, planes == 1 ? pixelOffset : offsetsOffset);
    d.Add(SamplesPerPixel, kShort, 1, c);
    // ExtraSamples stands before RowsPerStrip, as this writer has always placed it.
    if (c >= 4) d.Add(ExtraSamples, kShort, 1, 0);
    d.AddSize(RowsPerStrip, static_cast<uint32_t>(height));
    d.Add(StripByteCounts, kLong, planes, planes == 1 ? static_cast<uint32_t>(pixelBytes) : countsOffset);
    d.Add(XResolution, kRational, 1, next + 4);
    d.Add(YResolution, kRational, 1, next + 12);
    d.Add(PlanarConfiguration, kLong, 1, planes == 1 ? 1 : 2);
    d.Add(ResolutionUnit, kShort, 1, 2);
    StoreResolutions(p, next);
    if (planes == 3)
        for (uint32_t i = 0; i < 3; ++i) {
            StoreLE32(p + countsOffset + 4 * i, static_cast<uint32_t>(planeBytes));
            StoreLE32(p + offsetsOffset + 4 * i, static_cast<uint32_t>(pixelOffset + i * planeBytes));
        }
    for (uint32_t i = 0; i < c; ++i) StoreLE16(p + bitsOffset + 2 * i, static_cast<uint16_t>(8 * l->bytesPerSample));
    // The planes lie one after the other at the line pitch: all their rows are one sequence.
    return head;
}

void WriteTiff(ILxImage* image, lxfile::CFile& file, int32_t colorMapType, bool colorMapInversion,
               int32_t colorMapPhase) {
    Head head;
    try {
        head = ComposeTiffHead(file.Name(), image, colorMapType, colorMapInversion, colorMapPhase);
    } catch (...) {
        // An unsupported format and a head without memory end as the file's failure.
        lxfile::ThrowUnwritable(file.Name());
    }
    file.Write(head.bytes.data(), head.bytes.size());
    file.WriteRows(static_cast<const uint8_t*>(image->GetImageBuffer()),
                   static_cast<ptrdiff_t>(image->GetImageLinePitch()), static_cast<size_t>(head.rows), head.rowBytes, 0);
}

} // namespace lxtiff
