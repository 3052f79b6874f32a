// The pixel format table and the facts computed from a record (line length, pattern sites).
#include "pixelformattable.h"

#include <GenICam/GCException.h>

#include <cstdint>
#include <limits>

namespace lxtl {
namespace {

using namespace build;

// The name of a format is its enumerator without the prefix, so both come from one token.
#define F(n) LxPixelFormat_##n, #n

// Four mirror variants (plain, X, Y, XY) of a polarized family; `c` is C or empty.
#define POL4(kind, bayer, c, depth, p, packing)                                                              \
    Pol(F(Pol1##kind##c##depth##p), bayer, Variant(0, #c[0] == 'C'), depth, packing),                        \
        Pol(F(Pol1##kind##X##c##depth##p), bayer, Variant(1, #c[0] == 'C'), depth, packing),                 \
        Pol(F(Pol1##kind##Y##c##depth##p), bayer, Variant(2, #c[0] == 'C'), depth, packing),                 \
        Pol(F(Pol1##kind##XY##c##depth##p), bayer, Variant(3, #c[0] == 'C'), depth, packing)

constexpr PolVariant Variant(int flips, bool c) { return static_cast<PolVariant>(flips + (c ? 4 : 0)); }

constexpr auto None = LxPacking_None;
constexpr auto Bits = LxPacking_BitPacked;
constexpr auto Pk = LxPacking_Packed;
constexpr auto W32 = LxPacking_Word32;
constexpr auto R = LxColorFilter_Red;
constexpr auto Gr = LxColorFilter_GreenR;
constexpr auto Gb = LxColorFilter_GreenB;
constexpr auto B = LxColorFilter_Blue;

constexpr FormatRecord kFormats[] = {
    Mono(F(Mono1p), 1, Bits), Mono(F(Mono2p), 2, Bits), Mono(F(Mono4p), 4, Bits), Mono(F(Mono8), 8),
    Mono(F(Mono10), 10), Mono(F(Mono10p), 10, Bits), Mono(F(Mono10Packed), 10, Pk), Mono(F(Mono12), 12),
    Mono(F(Mono12p), 12, Bits), Mono(F(Mono12Packed), 12, Pk), Mono(F(Mono14), 14), Mono(F(Mono14p), 14, Bits),
    Mono(F(Mono16), 16),

    Bayer(F(BayerGR4p), Gr, 4, Bits), Bayer(F(BayerRG4p), R, 4, Bits), Bayer(F(BayerGB4p), Gb, 4, Bits),
    Bayer(F(BayerBG4p), B, 4, Bits),
    Bayer(F(BayerGR8), Gr, 8), Bayer(F(BayerRG8), R, 8), Bayer(F(BayerGB8), Gb, 8), Bayer(F(BayerBG8), B, 8),
    Bayer(F(BayerGR10), Gr, 10), Bayer(F(BayerRG10), R, 10), Bayer(F(BayerGB10), Gb, 10),
    Bayer(F(BayerBG10), B, 10),
    Bayer(F(BayerGR10p), Gr, 10, Bits), Bayer(F(BayerRG10p), R, 10, Bits), Bayer(F(BayerGB10p), Gb, 10, Bits),
    Bayer(F(BayerBG10p), B, 10, Bits),
    Bayer(F(BayerGR10Packed), Gr, 10, Pk), Bayer(F(BayerRG10Packed), R, 10, Pk),
    Bayer(F(BayerGB10Packed), Gb, 10, Pk), Bayer(F(BayerBG10Packed), B, 10, Pk),
    Bayer(F(BayerGR12), Gr, 12), Bayer(F(BayerRG12), R, 12), Bayer(F(BayerGB12), Gb, 12),
    Bayer(F(BayerBG12), B, 12),
    Bayer(F(BayerGR12p), Gr, 12, Bits), Bayer(F(BayerRG12p), R, 12, Bits), Bayer(F(BayerGB12p), Gb, 12, Bits),
    Bayer(F(BayerBG12p), B, 12, Bits),
    Bayer(F(BayerGR12Packed), Gr, 12, Pk), Bayer(F(BayerRG12Packed), R, 12, Pk),
    Bayer(F(BayerGB12Packed), Gb, 12, Pk), Bayer(F(BayerBG12Packed), B, 12, Pk),
    Bayer(F(BayerGR14), Gr, 14), Bayer(F(BayerRG14), R, 14), Bayer(F(BayerGB14), Gb, 14),
    Bayer(F(BayerBG14), B, 14),
    Bayer(F(BayerGR14p), Gr, 14, Bits), Bayer(F(BayerRG14p), R, 14, Bits), Bayer(F(BayerGB14p), Gb, 14, Bits),
    Bayer(F(BayerBG14p), B, 14, Bits),
    Bayer(F(BayerGR16), Gr, 16), Bayer(F(BayerRG16), R, 16), Bayer(F(BayerGB16), Gb, 16),
    Bayer(F(BayerBG16), B, 16),

    Color(F(BGR8), Bgr, 8), Color(F(RGB8), Rgb, 8), Color(F(BGRa8), Bgr, 8, true), Color(F(RGBa8), Rgb, 8, true),
    Planar(F(RGB8_Planar), 8),
    Color(F(BGR10), Bgr, 10), Color(F(BGRa10), Bgr, 10, true), Planar(F(RGB10_Planar), 10),
    Color(F(CBGR10p32), Bgr, 10, false, W32), Color(F(RGB10p32), Rgb, 10, false, W32),
    Color(F(BGR10p), Bgr, 10, false, Bits), Color(F(RGB10p), Rgb, 10, false, Bits),
    Color(F(BGR12), Bgr, 12), Color(F(BGRa12), Bgr, 12, true), Planar(F(RGB12_Planar), 12),
    Color(F(BGR12p), Bgr, 12, false, Bits), Color(F(RGB12p), Rgb, 12, false, Bits),
    Color(F(BGR14), Bgr, 14), Color(F(BGRa14), Bgr, 14, true),
    Color(F(BGR16), Bgr, 16), Color(F(RGB16), Rgb, 16), Color(F(BGRa16), Bgr, 16, true),
    Planar(F(RGB16_Planar), 16),

    YCbCr(F(YCbCr411_8), Sampling::S411), YCbCr(F(YCbCr411_8_CbYYCrYY), Sampling::S411),
    YCbCr(F(YCbCr422_8), Sampling::S422), YCbCr(F(YCbCr422_8_CbYCrY), Sampling::S422),
    YCbCr(F(YCbCr8), Sampling::S444), YCbCr(F(YCbCr8_CbYCr), Sampling::S444),
    YCbCr(F(YCbCr601_411_8_CbYYCrYY), Sampling::S411), YCbCr(F(YCbCr601_422_8), Sampling::S422),
    YCbCr(F(YCbCr601_422_8_CbYCrY), Sampling::S422), YCbCr(F(YCbCr601_8_CbYCr), Sampling::S444),
    YCbCr(F(YCbCr709_411_8_CbYYCrYY), Sampling::S411), YCbCr(F(YCbCr709_422_8), Sampling::S422),
    YCbCr(F(YCbCr709_422_8_CbYCrY), Sampling::S422), YCbCr(F(YCbCr709_8_CbYCr), Sampling::S444),
    YCbCr(F(YUV411_8_UYYVYY), Sampling::S411), YCbCr(F(YUV422_8), Sampling::S422),
    YCbCr(F(YUV422_8_UYVY), Sampling::S422), YCbCr(F(YUV8_UYV), Sampling::S444),
    YCbCr(F(CYCbCr420_8_YY_Cb_Cr_Planar), Sampling::S420),

    POL4(Mono, false, , 8, , None), POL4(Mono, false, , 10, , None), POL4(Mono, false, , 12, , None),
    POL4(BayerRG, true, , 8, , None), POL4(BayerRG, true, , 10, , None), POL4(BayerRG, true, , 12, , None),
    POL4(Mono, false, , 10, p, Bits), POL4(Mono, false, , 12, p, Bits),
    POL4(BayerRG, true, , 10, p, Bits), POL4(BayerRG, true, , 12, p, Bits),
    POL4(Mono, false, C, 8, , None), POL4(Mono, false, C, 10, , None), POL4(Mono, false, C, 12, , None),
    POL4(BayerRG, true, C, 8, , None), POL4(BayerRG, true, C, 10, , None), POL4(BayerRG, true, C, 12, , None),
    POL4(Mono, false, C, 10, p, Bits), POL4(Mono, false, C, 12, p, Bits),
    POL4(BayerRG, true, C, 10, p, Bits), POL4(BayerRG, true, C, 12, p, Bits),

    Mono(F(Mono32), 32),
};

#undef POL4
#undef F

// The second byte of a code is the number of bits a pixel takes; the builders must agree with it.
constexpr bool PixelBitsMatchCodes() {
    for (const FormatRecord& r : kFormats)
        if (r.pixelBits != ((r.code >> 16) & 0xFFu)) return false;
    return true;
}
static_assert(PixelBitsMatchCodes(), "a format's pixel bits disagree with its code");
static_assert(std::size(kFormats) == 180, "179 formats of the converter and Mono32");

} // namespace

std::span<const FormatRecord> FormatTable() { return kFormats; }

size_t LineBytes(const FormatRecord& r, size_t width) {
    // Every formula below multiplies the width by at most 64 bits (BGRa16) and adds less than 16.
    if (width > (std::numeric_limits<size_t>::max() - 16) / 64)
        throw OUT_OF_RANGE_EXCEPTION("Width %zu is too large for pixelformat %s", width, r.name);
    switch (r.sampling) {
    case Sampling::S422: return (width + 1) / 2 * 4; // a pair Y Cb Y Cr; an odd last pixel takes a whole pair
    case Sampling::S411: return (width + 3) / 4 * 6; // Y Y Cb Y Y Cr; a short last group takes a whole group
    case Sampling::S420: return width;               // the line of the Y plane
    case Sampling::S444: break;
    }
    if (r.planes > 1) return width * (r.storageBits / 8);
    switch (r.packing) {
    case LxPacking_Packed: return (3 * width + 1) / 2; // 3 bytes a pair, an odd last pixel 2 bytes
    case LxPacking_BitPacked:
        // Colour bit streams are written in 16-bit units, an incomplete last unit included.
        if (r.components > 1) return (width * r.pixelBits + 15) / 16 * 2;
        return (width * r.pixelBits + 7) / 8;
    case LxPacking_None:
    case LxPacking_Word32: break;
    }
    return width * (r.pixelBits / 8);
}

ELxColorFilter_t ComponentAt(const FormatRecord& r, size_t x, size_t y) {
    if (!r.bayer) return r.filter; // Mono everywhere for mono formats, None for the rest
    // A Bayer tile is the RG tile shifted by the phase; polarized Bayer sites are 2x2 groups.
    if (r.polarized) {
        x >>= 1;
        y >>= 1;
    }
    const unsigned dx = (r.filter == LxColorFilter_GreenR || r.filter == LxColorFilter_Blue) ? 1 : 0;
    const unsigned dy = (r.filter == LxColorFilter_GreenB || r.filter == LxColorFilter_Blue) ? 1 : 0;
    static constexpr ELxColorFilter_t rg[2][2] = {{LxColorFilter_Red, LxColorFilter_GreenR},
                                                  {LxColorFilter_GreenB, LxColorFilter_Blue}};
    return rg[(y + dy) & 1][(x + dx) & 1];
}

} // namespace lxtl
