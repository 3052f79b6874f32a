#include "lxcsvwriter.h"

#include "conversion/kernelcommon.h"
#include "lxpixelformatname.h"
#include "stillimage/lxfile.h"

#include <GenICam/GCException.h>
#include <lxapi/lxpixelformat.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <vector>

namespace lxcsv {
namespace {

// How the values of a row are taken from its bytes.
enum class Kind : uint8_t {
    Bytes,      // one byte a value
    Words,      // one little-endian 16-bit word a value
    BitStream,  // a low-first bit stream of `bits` bits a value (Mono10p, BGR12p, Mono4p, ...)
    TwoInThree, // 10Packed / 12Packed: two values in three bytes
    Triple10,   // one 32-bit word a pixel, printed as bits 0-9, 10-19, 20-29
    ThreePlanes // planar YCbCr 4:2:0: a full Y plane and two planes of half width and height
};

struct Layout {
    uint32_t format;
    Kind kind;
    uint8_t bits;       // bits of a value
    uint8_t perPixel;   // values per pixel of a row...
    bool plusHalf;      // ...plus width / 2 for the 4:1:1 forms
    uint8_t planeRows;  // 3 for the planar RGB forms: their planes follow each other as rows
};

#define L(name, kind, bits, perPixel) {LxPixelFormat_##name, Kind::kind, bits, perPixel, false, 1}
#define L411(name) {LxPixelFormat_##name, Kind::Bytes, 8, 1, true, 1}
#define LPLANAR(name, kind, bits) {LxPixelFormat_##name, Kind::kind, bits, 1, false, 3}
constexpr Layout kLayouts[] = {
    L(Mono8, Bytes, 8, 1), L(BayerBG8, Bytes, 8, 1), L(BayerGB8, Bytes, 8, 1), L(BayerGR8, Bytes, 8, 1),
    L(BayerRG8, Bytes, 8, 1),
    L411(YCbCr411_8), L411(YCbCr411_8_CbYYCrYY), L411(YCbCr601_411_8_CbYYCrYY), L411(YCbCr709_411_8_CbYYCrYY),
    L411(YUV411_8_UYYVYY),
    L(YCbCr422_8, Bytes, 8, 2), L(YCbCr709_422_8, Bytes, 8, 2), L(YCbCr601_422_8, Bytes, 8, 2),
    L(YCbCr422_8_CbYCrY, Bytes, 8, 2), L(YCbCr601_422_8_CbYCrY, Bytes, 8, 2), L(YCbCr709_422_8_CbYCrY, Bytes, 8, 2),
    L(YUV422_8_UYVY, Bytes, 8, 2), L(YUV422_8, Bytes, 8, 2),
    L(RGB8, Bytes, 8, 3), L(BGR8, Bytes, 8, 3), L(YCbCr8, Bytes, 8, 3), L(YCbCr8_CbYCr, Bytes, 8, 3),
    L(YCbCr601_8_CbYCr, Bytes, 8, 3), L(YCbCr709_8_CbYCr, Bytes, 8, 3), L(YUV8_UYV, Bytes, 8, 3),
    L(RGBa8, Bytes, 8, 4), L(BGRa8, Bytes, 8, 4),
    LPLANAR(RGB8_Planar, Bytes, 8),
    L(Mono10, Words, 16, 1), L(Mono12, Words, 16, 1), L(Mono14, Words, 16, 1), L(Mono16, Words, 16, 1),
    L(BayerBG10, Words, 16, 1), L(BayerGB10, Words, 16, 1), L(BayerGR10, Words, 16, 1), L(BayerRG10, Words, 16, 1),
    L(BayerBG12, Words, 16, 1), L(BayerGB12, Words, 16, 1), L(BayerGR12, Words, 16, 1), L(BayerRG12, Words, 16, 1),
    L(BayerBG14, Words, 16, 1), L(BayerGB14, Words, 16, 1), L(BayerGR14, Words, 16, 1), L(BayerRG14, Words, 16, 1),
    L(BayerBG16, Words, 16, 1), L(BayerGB16, Words, 16, 1), L(BayerGR16, Words, 16, 1), L(BayerRG16, Words, 16, 1),
    L(BGR10, Words, 16, 3), L(BGR12, Words, 16, 3), L(BGR14, Words, 16, 3), L(BGR16, Words, 16, 3),
    L(RGB16, Words, 16, 3),
    L(BGRa10, Words, 16, 4), L(BGRa12, Words, 16, 4), L(BGRa14, Words, 16, 4), L(BGRa16, Words, 16, 4),
    LPLANAR(RGB10_Planar, Words, 16), LPLANAR(RGB12_Planar, Words, 16), LPLANAR(RGB16_Planar, Words, 16),
    L(Mono1p, BitStream, 1, 1), L(Mono2p, BitStream, 2, 1), L(Mono4p, BitStream, 4, 1),
    L(BayerGR4p, BitStream, 4, 1), L(BayerRG4p, BitStream, 4, 1), L(BayerGB4p, BitStream, 4, 1),
    L(BayerBG4p, BitStream, 4, 1),
    L(Mono10p, BitStream, 10, 1), L(BayerBG10p, BitStream, 10, 1), L(BayerGB10p, BitStream, 10, 1),
    L(BayerGR10p, BitStream, 10, 1), L(BayerRG10p, BitStream, 10, 1),
    L(Mono12p, BitStream, 12, 1), L(BayerBG12p, BitStream, 12, 1), L(BayerGB12p, BitStream, 12, 1),
    L(BayerGR12p, BitStream, 12, 1), L(BayerRG12p, BitStream, 12, 1),
    L(Mono14p, BitStream, 14, 1), L(BayerBG14p, BitStream, 14, 1), L(BayerGB14p, BitStream, 14, 1),
    L(BayerGR14p, BitStream, 14, 1), L(BayerRG14p, BitStream, 14, 1),
    L(BGR10p, BitStream, 10, 3), L(RGB10p, BitStream, 10, 3), L(BGR12p, BitStream, 12, 3),
    L(RGB12p, BitStream, 12, 3),
    L(Mono10Packed, TwoInThree, 10, 1), L(BayerBG10Packed, TwoInThree, 10, 1),
    L(BayerGB10Packed, TwoInThree, 10, 1), L(BayerGR10Packed, TwoInThree, 10, 1),
    L(BayerRG10Packed, TwoInThree, 10, 1),
    L(Mono12Packed, TwoInThree, 12, 1), L(BayerBG12Packed, TwoInThree, 12, 1),
    L(BayerGB12Packed, TwoInThree, 12, 1), L(BayerGR12Packed, TwoInThree, 12, 1),
    L(BayerRG12Packed, TwoInThree, 12, 1),
    L(CBGR10p32, Triple10, 10, 3), L(RGB10p32, Triple10, 10, 3),
    L(CYCbCr420_8_YY_Cb_Cr_Planar, ThreePlanes, 8, 1),
};
#undef L
#undef L411
#undef LPLANAR
static_assert(std::size(kLayouts) == 99, "the CSV writer takes 99 formats");

constexpr std::array<uint32_t, std::size(kLayouts)> kFormats = [] {
    std::array<uint32_t, std::size(kLayouts)> codes{};
    for (size_t i = 0; i < codes.size(); ++i) codes[i] = kLayouts[i].format;
    return codes;
}();

const Layout* FindLayout(uint32_t format) noexcept {
    for (const Layout& l : kLayouts)
        if (l.format == format) return &l;
    return nullptr;
}

// The text "v," of every value of `bits` bits, made once per file: a row is then put together by
// copies alone. Each text sits in an 8-byte slot and is copied whole; the line advances by its length.
class ValueTexts {
public:
    explicit ValueTexts(unsigned bits) : m_slots(size_t{1} << bits), m_lengths(size_t{1} << bits) {
        for (uint32_t v = 0; v < m_slots.size(); ++v) {
            char digits[8];
            size_t n = 0;
            uint32_t rest = v;
            do {
                digits[n++] = static_cast<char>('0' + rest % 10);
                rest /= 10;
            } while (rest);
            char text[8] = {};
            for (size_t i = 0; i < n; ++i) text[i] = digits[n - 1 - i];
            text[n] = ',';
            std::memcpy(&m_slots[v], text, 8);
            m_lengths[v] = static_cast<uint8_t>(n + 1);
        }
    }
    // Appends the text of v at `out`; 8 bytes must be writable there. v must be below 2^bits.
    char* Put(char* out, uint32_t v) const noexcept {
        std::memcpy(out, &m_slots[v], 8);
        return out + m_lengths[v];
    }

private:
    std::vector<uint64_t> m_slots;
    std::vector<uint8_t> m_lengths;
};

// The longest text is "65535," (6 bytes); every copy writes 8.
constexpr size_t kMostTextBytes = 6;
constexpr size_t kSlotBytes = 8;

// Builds the lines of one file and writes each with one call.
class LineWriter {
public:
    LineWriter(lxfile::CFile& file, unsigned bits, size_t mostValues)
        : m_file(file), m_texts(bits), m_line(LineBytes(mostValues)), m_values(mostValues) {}

    // A line of `n` values given by value(i).
    template <class Value>
    void Line(size_t n, Value&& value) {
        char* out = m_line.data();
        for (size_t i = 0; i < n; ++i) out = m_texts.Put(out, value(i));
        *out++ = '\n';
        m_file.Write(m_line.data(), static_cast<size_t>(out - m_line.data()));
    }
    // Room for one row of decoded values.
    uint16_t* Values() noexcept { return m_values.data(); }

private:
    static size_t LineBytes(size_t values) {
        if (values > (SIZE_MAX - kSlotBytes - 1) / kMostTextBytes) throw std::bad_alloc();
        return values * kMostTextBytes + kSlotBytes + 1;
    }
    lxfile::CFile& m_file;
    ValueTexts m_texts;
    std::vector<char> m_line;
    std::vector<uint16_t> m_values;
};

// The rows of every layout but the planar 4:2:0 one.
void WriteRows(const Layout& l, const uint8_t* base, size_t width, size_t height, size_t pitch, lxfile::CFile& file) {
    const size_t values = width * l.perPixel + (l.plusHalf ? width >> 1 : 0);
    const size_t rows = height * l.planeRows;
    LineWriter writer(file, l.kind == Kind::Words ? 16 : l.bits, values);
    uint16_t* decoded = writer.Values();
    const lxconv::detail::RowKernels& kernels = lxconv::detail::Rows();
    for (size_t y = 0; y < rows; ++y) {
        const uint8_t* s = base + y * pitch;
        switch (l.kind) {
        case Kind::Bytes: writer.Line(values, [s](size_t i) { return uint32_t{s[i]}; }); break;
        case Kind::Words: writer.Line(values, [s](size_t i) { return lxconv::detail::Load16(s + 2 * i); }); break;
        case Kind::BitStream:
            // Each row starts its own stream; the bits left at its end are dropped.
            kernels.decodeBitPacked(s, decoded, values, l.bits);
            writer.Line(values, [decoded](size_t i) { return uint32_t{decoded[i]}; });
            break;
        case Kind::TwoInThree:
            kernels.decodePacked(s, decoded, values, l.bits);
            writer.Line(values, [decoded](size_t i) { return uint32_t{decoded[i]}; });
            break;
        case Kind::Triple10:
            writer.Line(values, [s](size_t i) { return lxconv::detail::Load32(s + 4 * (i / 3)) >> (10 * (i % 3)) & 0x3FF; });
            break;
        case Kind::ThreePlanes: break;
        }
    }
}

// Planar 4:2:0: the Y plane at the image's line pitch, then the Cb and Cr planes, of half the width
// and half the height at half the pitch, one behind the other from the start of plane 1.
void WriteThreePlanes(const uint8_t* base, size_t width, size_t height, size_t pitch, size_t planeSize,
                      lxfile::CFile& file) {
    LineWriter writer(file, 8, width);
    for (size_t y = 0; y < height; ++y) {
        const uint8_t* s = base + y * pitch;
        writer.Line(width, [s](size_t i) { return uint32_t{s[i]}; });
    }
    const size_t cw = width >> 1, ch = height >> 1, cp = pitch >> 1;
    const uint8_t* chroma = base + planeSize;
    for (size_t y = 0; y < 2 * ch; ++y) {
        const uint8_t* s = chroma + y * cp;
        writer.Line(cw, [s](size_t i) { return uint32_t{s[i]}; });
    }
}

} // namespace

std::span<const uint32_t> CsvFormats() noexcept { return kFormats; }

bool IsCsvFormat(uint32_t pixelFormat) noexcept { return FindLayout(pixelFormat) != nullptr; }

void WriteCsv(ILxImage* image, const std::string& fileName) {
    lxfile::CFile file;
    file.OpenForWriting(fileName);
    try {
        const size_t width = image->GetImageWidth(), height = image->GetImageHeight();
        const size_t pitch = image->GetImageLinePitch();
        const uint32_t format = image->GetImagePixelFormat();
        char header[256];
        const int n = std::snprintf(header, sizeof header, "Width=%zu\nHeight=%zu\nPixelFormat=%s\n", width, height,
                                    lxip::PixelFormatName(format).c_str());
        file.Write(header, std::min(static_cast<size_t>(n), sizeof header - 1));
        const Layout* l = FindLayout(format);
        if (!l) throw RUNTIME_EXCEPTION("Not supported pixelformat %s", lxip::PixelFormatName(format).c_str());
        const auto* base = static_cast<const uint8_t*>(image->GetImageBuffer());
        if (width && height) {
            if (l->kind == Kind::ThreePlanes)
                WriteThreePlanes(base, width, height, pitch, image->GetImagePlaneSize(), file);
            else
                WriteRows(*l, base, width, height, pitch, file);
        }
        file.Close();
    } catch (...) {
        // Whatever failed, the caller learns that the file was not written; the stream closes here.
        lxfile::ThrowUnwritable(fileName);
    }
}

} // namespace lxcsv
