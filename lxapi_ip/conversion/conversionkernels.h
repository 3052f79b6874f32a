// Pixel kernels of the depth, packing, channel-order and luminance conversions, on raw memory.
//
// Every kernel takes plain descriptions of its two sides, the width and height in pixels, `reverse`
// and, where samples change depth, a bit conversion table:
//  - `reverse` writes the destination from its last line upwards (negative pitch) while the source
//    is read top-down, so a vertical flip costs nothing;
//  - `table` is used only when the two sides' `bits` differ; it must then map src.bits to dst.bits
//    (a missing or mismatched table is an InvalidArgumentException). With equal depths samples are
//    copied and the table is ignored. A 16-bit source word above its depth's maximum is clamped to
//    the table's last entry. An 8-bit destination stores the low byte of the entry;
//  - exactly `width` pixels are written per line: line padding and the alpha sample of an
//    interleaved destination with four samples per pixel stay as the buffer holds them;
//  - pitches are checked against the bytes a line needs and planes against their lines, and bad
//    depths or steps are refused, all with InvalidArgumentException before anything is written.
//    The buffers themselves must hold `height` lines (planes) of the given pitch (plane size).
//
// Sample layouts: `bits` 1..8 unpacked means one byte per sample, 9..16 one little-endian 16-bit word.
// Bit-packed lines ("p" forms) are one little-endian bit stream per line, first sample in the lowest
// bits, each line starting on a byte.
#pragma once

#include "bitconversiontable.h"
#include "kernels/cpudispatch.h"

#include <cstddef>
#include <cstdint>

namespace lxconv {

struct SourceImage {
    const void* data = nullptr; // first pixel of the first line (of plane 0 when planar)
    size_t pitch = 0;           // bytes from one line to the next
    size_t planeSize = 0;       // planar: bytes from one plane to the next
    unsigned bits = 8;          // valid bits of one sample (the component depth)
    unsigned step = 1;          // interleaved colour: samples per pixel, 3 or 4
    bool blueFirst = false;     // colour: the first sample of a pixel (or lowest field) is blue
};

struct DestImage {
    void* data = nullptr;
    size_t pitch = 0;
    size_t planeSize = 0;
    unsigned bits = 8;
    unsigned step = 1;
    bool blueFirst = false;
};

// ---- one component -------------------------------------------------------------------------------

// Depth change or copy of a one-component image (mono, Bayer, polarized): 8->8 through the table,
// 8->16, 16->8 (low byte of the entry), 16->16, or a copy at equal depth.
void ConvertUnpacked(const SourceImage& src, const DestImage& dst, size_t width, size_t height,
                     bool reverse, const BitConversionTable* table);

// One-component line to all three planes of a planar destination (planes at dst.planeSize).
void ConvertMonoToPlanar(const SourceImage& src, const DestImage& dst, size_t width, size_t height,
                         bool reverse, const BitConversionTable* table);

// Planar to planar, plane by plane.
void ConvertPlanarToPlanar(const SourceImage& src, const DestImage& dst, size_t width, size_t height,
                           bool reverse, const BitConversionTable* table);

// ---- unpacking and packing -----------------------------------------------------------------------

// Bit-packed source of src.bits (1..16) to unpacked samples of dst.bits (8..16).
void ConvertBitPackedToUnpacked(const SourceImage& src, const DestImage& dst, size_t width, size_t height,
                                bool reverse, const BitConversionTable* table);

// 10Packed / 12Packed (src.bits 10 or 12: two pixels in three bytes, byte 1 holding the low bits of
// the first pixel in its low nibble and of the second in its high nibble; an odd last pixel uses
// bytes 0 and 1) to unpacked samples of dst.bits (8..16).
void ConvertPackedToUnpacked(const SourceImage& src, const DestImage& dst, size_t width, size_t height,
                             bool reverse, const BitConversionTable* table);

// 8-bit samples to a bit-packed destination of dst.bits (1..16); the last partial byte of a line is
// written with zero bits above the last sample.
void ConvertUnpacked8ToBitPacked(const SourceImage& src, const DestImage& dst, size_t width,
                                 size_t height, bool reverse, const BitConversionTable* table);

// 8-bit samples to 10Packed / 12Packed (dst.bits 10 or 12).
void ConvertMono8ToPacked(const SourceImage& src, const DestImage& dst, size_t width, size_t height,
                          bool reverse, const BitConversionTable* table);

// ---- interleaved colour --------------------------------------------------------------------------

// Three samples per pixel; steps (3 or 4) and sample sizes of the sides are independent; the first and
// third samples change places when blueFirst differs.
void ConvertColorToColor(const SourceImage& src, const DestImage& dst, size_t width, size_t height,
                         bool reverse, const BitConversionTable* table);

// Luminance Y = (5G + 2R + B) >> 3 at the source depth, then the table when the depths differ.
void ConvertColorToMono(const SourceImage& src, const DestImage& dst, size_t width, size_t height,
                        bool reverse, const BitConversionTable* table);

// Planar (plane 0 red, 1 green, 2 blue) to interleaved and back.
void ConvertPlanarToColor(const SourceImage& src, const DestImage& dst, size_t width, size_t height,
                          bool reverse, const BitConversionTable* table);
void ConvertColorToPlanar(const SourceImage& src, const DestImage& dst, size_t width, size_t height,
                          bool reverse, const BitConversionTable* table);

// Interleaved to and from the bit-packed colour forms (BGR10p, BGR12p, RGB10p, RGB12p): one bit
// stream per line, three samples per pixel in the packed side's channel order (its blueFirst). The
// stream is read and written in bytes, which is the same as 16-bit little-endian units; a line's last
// unit is written whole, its bits above the last sample zero (the destination's lines must hold
// whole units).
void ConvertColorToColorP(const SourceImage& src, const DestImage& dst, size_t width, size_t height,
                          bool reverse, const BitConversionTable* table);
void ConvertColorPToColor(const SourceImage& src, const DestImage& dst, size_t width, size_t height,
                          bool reverse, const BitConversionTable* table);

// Interleaved to and from one 32-bit little-endian word per pixel with three 10-bit fields at bits
// 0, 10 and 20, bits 30 and 31 zero. The word side has bits = 10 and blueFirst true for CBGR10p32
// (blue in bits 0-9), false for RGB10p32 (red in bits 0-9).
void ConvertColorToColor32(const SourceImage& src, const DestImage& dst, size_t width, size_t height,
                           bool reverse, const BitConversionTable* table);
void ConvertColor32ToColor(const SourceImage& src, const DestImage& dst, size_t width, size_t height,
                           bool reverse, const BitConversionTable* table);

// Interleaved colour to a Bayer mosaic of the same depth: each destination pixel takes the one
// sample of its site. The phase is the ELxColorFilter_t code of the destination's pixel (0, 0) at its
// first line (LxColorFilter_Red for RG ... LxColorFilter_Blue for BG); with `reverse` the
// pattern therefore follows the destination's line positions (for an even height the source's rows
// meet the pattern's rows exchanged).
void ConvertColorToBayer(const SourceImage& src, const DestImage& dst, size_t width, size_t height,
                         bool reverse, uint32_t dstPhase);

// ---- plain copy ----------------------------------------------------------------------------------

// Copies the first lineBytes bytes of every line of every plane, and nothing beyond them: the source
// may be a view whose last line ends where its parent's memory ends. With equal pitches and no
// reverse a plane goes in one block from its first line to its last line's end (padding between the
// lines included); reverse writes each plane bottom up. planeCount 1 for packed layouts; planeSize
// is read for planeCount > 1.
void ConvertCopy(const SourceImage& src, const DestImage& dst, size_t lineBytes, size_t height,
                 size_t planeCount, bool reverse);

// ---- instruction-set level -----------------------------------------------------------------------

// The row functions are picked at each call through the library's dispatcher (kernels/cpudispatch.h):
// the best form they have at or below the level it allows. lxcpu::Force() changes that level.
// The level of the row functions that run now, and of those that run when `allowed` is allowed.
lxcpu::Level KernelLevel() noexcept;
lxcpu::Level KernelLevelAt(lxcpu::Level allowed) noexcept;

} // namespace lxconv
