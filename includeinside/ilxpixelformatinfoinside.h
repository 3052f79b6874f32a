// The library's inside view of pixel format facts, reached by dynamic_cast from ILxPixelFormatInfo.
#pragma once

#include <lxapi/ilxpixelformatinfo.h>

// How samples lie in a line.
enum ELxPackingKind_t : uint32_t {
    LxPacking_None = 0,      // bytes or 16-bit little-endian words, one per sample
    LxPacking_BitPacked = 1, // the "p" forms: one little-endian bit stream per line
    LxPacking_Packed = 2,    // 10Packed and 12Packed: two pixels in three bytes
    LxPacking_Word32 = 3,    // RGB10p32, CBGR10p32: one 32-bit word per pixel
};

class LXAPI_INTERFACE ILxPixelFormatInfoInside : public ILxPixelFormatInfo {
public:
    // Valid bits of a sample (the same as GetComponentBits).
    virtual size_t GetDepth() = 0;
    // Colour formats whose first sample of a pixel is blue (BGR..., CBGR10p32).
    virtual bool IsBlueFirst() = 0;
    virtual bool IsPolarized() = 0;
    // 1 to 8 for polarized formats (angles of the 2x2 group, row by row), 0 for others.
    virtual uint32_t GetPolarizerLayout() = 0;
    virtual ELxPackingKind_t GetPackingKind() = 0;
    bool IsBitPacked() { return GetPackingKind() == LxPacking_BitPacked; }
    bool Is10or12Packed() { return GetPackingKind() == LxPacking_Packed; }
    // Bytes of one line of `width` pixels (of one plane for planar formats), rounded up to a byte.
    virtual size_t GetLineBytes(size_t width) = 0;
    // The colour filter at (0, 0): ELxColorFilter_t (Mono for mono and polarized mono, the phase for
    // Bayer and polarized Bayer, None otherwise).
    virtual uint32_t GetColorFilter() = 0;

protected:
    ~ILxPixelFormatInfoInside() override = default;
};
