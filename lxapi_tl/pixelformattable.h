// The facts of every pixel format the SDK knows, as one constant table keyed by code. Each record is
// made by a builder per format family (below), so that a fact is derived in one place and the table
// itself reads as a list of names, codes and the few parameters that tell formats apart.
#pragma once

#include <ilxpixelformatinfoinside.h>
#include <lxapi/lxpixelformat.h>

#include <cstddef>
#include <cstdint>
#include <span>

namespace lxtl {

// How the chroma samples of a YCbCr format are shared between pixels.
enum class Sampling : uint8_t {
    S444, // one Y, Cb, Cr per pixel
    S422, // Y Cb Y Cr: a pair of pixels shares one Cb and one Cr, 4 bytes a pair
    S411, // Y Y Cb Y Y Cr: four pixels share one Cb and one Cr, 6 bytes a group
    S420, // planes Y, Cb, Cr; chroma of half width and half height
};

// Mirror variants of the polarized formats, by the letters of the name.
enum class PolVariant : uint8_t { Plain, X, Y, XY, C, XC, YC, XYC };

struct FormatRecord {
    uint32_t code;
    const char* name;
    uint8_t pixelBits;   // bits of one pixel in memory (all planes together)
    uint8_t storageBits; // bits of one sample in memory; the packed depth for packed forms
    uint8_t depth;       // valid bits of a sample
    uint8_t components;  // samples per pixel, alpha included
    uint8_t planes;
    ELxPackingKind_t packing;
    ELxColorFilter_t filter; // colour filter at (0, 0)
    uint8_t layout;          // polarizer layout 1..8, 0 if not polarized
    Sampling sampling;
    bool color, mono, bayer, polarized, blueFirst, alpha, ycbcr;
};

namespace build {

constexpr uint8_t ContainerBits(unsigned depth) { return depth <= 8 ? 8 : depth <= 16 ? 16 : 32; }

constexpr FormatRecord Base(uint32_t code, const char* name, unsigned depth) {
    FormatRecord r{};
    r.code = code;
    r.name = name;
    r.depth = static_cast<uint8_t>(depth);
    r.storageBits = ContainerBits(depth);
    r.pixelBits = r.storageBits;
    r.components = 1;
    r.planes = 1;
    r.packing = LxPacking_None;
    r.filter = LxColorFilter_None;
    r.sampling = Sampling::S444;
    return r;
}

// One sample per pixel: unpacked (byte or 16-bit word), bit-packed, or two pixels in three bytes.
constexpr FormatRecord Single(uint32_t code, const char* name, unsigned depth, ELxPackingKind_t packing) {
    FormatRecord r = Base(code, name, depth);
    r.packing = packing;
    if (packing == LxPacking_BitPacked) {
        r.storageBits = r.pixelBits = static_cast<uint8_t>(depth);
    } else if (packing == LxPacking_Packed) {
        r.storageBits = static_cast<uint8_t>(depth);
        r.pixelBits = 12; // 3 bytes for 2 pixels
    }
    return r;
}

constexpr FormatRecord Mono(uint32_t code, const char* name, unsigned depth,
                            ELxPackingKind_t packing = LxPacking_None) {
    FormatRecord r = Single(code, name, depth, packing);
    r.mono = true;
    r.filter = LxColorFilter_Mono;
    return r;
}

constexpr FormatRecord Bayer(uint32_t code, const char* name, ELxColorFilter_t phase, unsigned depth,
                             ELxPackingKind_t packing = LxPacking_None) {
    FormatRecord r = Single(code, name, depth, packing);
    r.color = r.bayer = true;
    r.filter = phase;
    return r;
}

enum Order : bool { Rgb = false, Bgr = true };

// Interleaved RGB or BGR, with or without alpha.
constexpr FormatRecord Color(uint32_t code, const char* name, Order order, unsigned depth, bool alpha = false,
                             ELxPackingKind_t packing = LxPacking_None) {
    FormatRecord r = Base(code, name, depth);
    r.color = true;
    r.blueFirst = order == Bgr;
    r.alpha = alpha;
    r.components = alpha ? 4 : 3;
    r.packing = packing;
    if (packing == LxPacking_BitPacked) {
        r.storageBits = static_cast<uint8_t>(depth);
        r.pixelBits = static_cast<uint8_t>(3 * depth);
    } else if (packing == LxPacking_Word32) {
        r.storageBits = static_cast<uint8_t>(depth);
        r.pixelBits = 32;
    } else {
        r.pixelBits = static_cast<uint8_t>(r.components * r.storageBits);
    }
    return r;
}

// Three planes red, green, blue.
constexpr FormatRecord Planar(uint32_t code, const char* name, unsigned depth) {
    FormatRecord r = Base(code, name, depth);
    r.color = true;
    r.components = r.planes = 3;
    r.pixelBits = static_cast<uint8_t>(3 * r.storageBits);
    return r;
}

// 8-bit YCbCr and YUV. The 4:2:2 and 4:1:1 forms count 3 components (Y, Cb, Cr) although a pixel
// holds fewer samples of its own: the component count names the kinds of sample, as for 4:4:4.
constexpr FormatRecord YCbCr(uint32_t code, const char* name, Sampling sampling) {
    FormatRecord r = Base(code, name, 8);
    r.color = r.ycbcr = true;
    r.components = 3;
    r.sampling = sampling;
    switch (sampling) {
    case Sampling::S444: r.pixelBits = 24; break;
    case Sampling::S422: r.pixelBits = 16; break;
    case Sampling::S411: r.pixelBits = 12; break;
    case Sampling::S420:
        // Planes Y, Cb, Cr. Each plane is given the size of the full Y plane (height times pitch);
        // the two chroma planes of a quarter of that size lie one behind the other from the start
        // of plane 1, so the buffer is larger than the data and every plane stays addressable.
        r.pixelBits = 12;
        r.planes = 3;
        break;
    }
    return r;
}

// Polarizer layout by variant: Pol1Mono and Pol1BayerRG give 1 to 4 for plain, X, Y, XY; the C
// group gives 5 for plain (135, 90 / 0, 45), 6 for XC (0, 45 / 135, 90), 7 for YC (90, 135 / 45, 0)
// and 8 for XYC (45, 0 / 90, 135), as the measuring filters' angle tables have them.
constexpr uint8_t Layout(PolVariant v) {
    constexpr uint8_t layouts[] = {1, 2, 3, 4, 5, 6, 7, 8};
    return layouts[static_cast<int>(v)];
}

// Colour phase of a polarized Bayer variant: the colour blocks of a 4x4 tile move with the same
// mirrors as the polarizer groups. Plain is RG; X mirrors columns (GR), Y rows (GB), XY both (BG).
// The C group starts on GR; XC on BG, YC on RG and XYC on GB, following its layouts.
constexpr ELxColorFilter_t PolPhase(PolVariant v) {
    constexpr ELxColorFilter_t phases[] = {LxColorFilter_Red,    LxColorFilter_GreenR, LxColorFilter_GreenB,
                                           LxColorFilter_Blue,   LxColorFilter_GreenR, LxColorFilter_Blue,
                                           LxColorFilter_Red,    LxColorFilter_GreenB};
    return phases[static_cast<int>(v)];
}

constexpr FormatRecord Pol(uint32_t code, const char* name, bool bayer, PolVariant v, unsigned depth,
                           ELxPackingKind_t packing = LxPacking_None) {
    FormatRecord r = bayer ? Bayer(code, name, PolPhase(v), depth, packing) : Mono(code, name, depth, packing);
    r.polarized = true;
    r.layout = Layout(v);
    return r;
}

} // namespace build

// All formats, in the order of the code list of the SDK (not sorted).
std::span<const FormatRecord> FormatTable();

// The record of a code, by binary search; an unknown code throws InvalidArgumentException.
const FormatRecord& FindFormat(uint32_t code);

// Bytes of one line of `width` pixels (of one plane of a planar format), rounded up to a byte.
// Throws OutOfRangeException when the width cannot be represented.
size_t LineBytes(const FormatRecord& r, size_t width);

// The colour filter code of the site (x, y) of the format's pattern.
ELxColorFilter_t ComponentAt(const FormatRecord& r, size_t x, size_t y);

} // namespace lxtl
