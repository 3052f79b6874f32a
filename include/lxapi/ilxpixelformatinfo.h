// Facts of a pixel format and of a pixel component. Both objects are shared, live for the whole
// process and are never released.
#pragma once

#include <GenICam/GCString.h>
#include <lxapi/lxapidef.h>

// Colour filter codes of a site of a format's pattern, as GetPixelComponent answers them.
enum ELxColorFilter_t : uint32_t {
    LxColorFilter_None = 0,  // not a mono or Bayer site (interleaved colour, YCbCr)
    LxColorFilter_Mono = 1,
    LxColorFilter_Red = 2,   // in a Bayer format at (0, 0): phase RG
    LxColorFilter_GreenR = 3, // green on a red line; at (0, 0): phase GR
    LxColorFilter_GreenB = 4, // green on a blue line; at (0, 0): phase GB
    LxColorFilter_Blue = 5,   // at (0, 0): phase BG
};

class LXAPI_INTERFACE ILxPixelFormatInfo {
public:
    virtual uint32_t GetPixelFormat() = 0;                  // 0: the PFNC code
    virtual GenICam::gcstring GetName() = 0;                // 1: the name used in error texts
    virtual size_t GetPixelBits() = 0;                      // 2: bits of one pixel in memory
    virtual size_t GetStorageBits() = 0;                    // 3: bits a component takes in memory
    virtual bool IsPacked() = 0;                            // 4: samples cross byte boundaries
    virtual size_t GetComponentBits() = 0;                  // 5: valid bits of a component
    virtual size_t GetComponentCount() = 0;                 // 6: components per pixel, alpha counts
    virtual size_t GetPlaneCount() = 0;                     // 7: 1 for packed pixel layouts
    virtual bool IsPlanar() = 0;                            // 8
    virtual bool IsYCbCr() = 0;                             // 9: YCbCr and YUV formats
    virtual bool IsColor() = 0;                             // 10: colour, Bayer included
    virtual bool IsMono() = 0;                              // 11
    virtual bool IsBayer() = 0;                             // 12
    virtual bool HasAlpha() = 0;                            // 13
    virtual uint32_t GetPixelComponent(size_t x, size_t y) = 0; // 14: ELxColorFilter_t of the site

protected:
    virtual ~ILxPixelFormatInfo() = default;
};

// Component id: (colour << 24) | (bits << 16) | polarization.
// Colour: 1 Mono, 2 R, 3 G, 4 B, 5 Gr, 6 Gb, 7 Y, 8 Cb, 9 Cr, 10 U, 11 V.
// Polarization: 0 none, 1 for 0 degrees, 2 for 45, 3 for 90, 4 for 135.
class LXAPI_INTERFACE ILxPixelComponentInfo {
public:
    virtual uint32_t GetPixelComponent() = 0;   // 0: the id
    virtual GenICam::gcstring GetName() = 0;    // 1
    virtual size_t GetBits() = 0;               // 2

protected:
    virtual ~ILxPixelComponentInfo() = default;
};
