// Bayer demosaicing and mosaic luminance on raw memory.
//
// These are the pixel kernels behind the converter's Bayer handlers. They know nothing of image
// objects: the caller passes the geometry, the colour filter at pixel (0, 0) and the buffers.
// Samples are 8 bits (uint8_t) or 10 to 16 bits in 16-bit words (uint16_t). Pitches are in bytes.
// The colour filter is an ELxColorFilter_t code (lxapi/ilxpixelformatinfo.h): LxColorFilter_Red for
// a mosaic of phase RG, GreenR for GR, GreenB for GB, Blue for BG.
#pragma once

#include "kernels/cpudispatch.h"

#include <cstddef>
#include <cstdint>

namespace lxbayer {

// Interpolation methods, numbered as the BayerInterpolationMethod feature numbers them.
enum Method : uint32_t {
    MethodOff = 0,              // each sample in its own channel, the other two 0
    MethodNearestNeighbor = 1,  // 2x2 tiles on even coordinates
    MethodNearestNeighbor2 = 2, // a 2x2 window per pixel
    MethodBilinear = 3,         // row-first averaging
    MethodBilinear2 = 4,        // bilinear at the centre of each 2x2 window (half-pixel shift)
    MethodBicubic = 5,          // separable (-1, 5, 5, -1) / 8
    MethodMono = 6,             // the sample in all three channels
    MethodBilinear3 = 7,        // gradient-steered, with colour differences
};

// Demosaics a width x height mosaic into interleaved colour pixels of dstStep samples (3, or 4
// where the fourth is alpha, which is left as the buffer holds it). isBGR puts blue first.
// With reverse the destination is filled from its last line upwards.
//
// Size rules: width or height below 2 throws GenICam::RuntimeException "Not supported image size
// %u x %u"; below 4, any method but Off and Mono runs as NearestNeighbor; Bicubic narrower than 7
// or lower than 3 runs as Bilinear2. A method above 7 (after the size rules) interpolates nothing:
// it sets the colour samples to 0, so that the result is defined whatever the buffer held. A
// filter outside 2..5 sets errno to EINVAL and writes nothing. Null buffers, pitches too small for
// a line, or a step other than 3 or 4 throw GenICam::InvalidArgumentException. Word images may lie
// at any address with any pitch: lines that do not start on an even address run on aligned copies.
void BayerToColor(uint32_t method, uint32_t filter, uint32_t width, uint32_t height,
                  const uint8_t* src, size_t srcPitch, uint8_t* dst, size_t dstPitch,
                  uint32_t dstStep, bool isBGR, bool reverse);

// The same for 16-bit words; maxValue = (1 << depth) - 1 bounds the results of the methods
// that can overshoot (Bicubic, Bilinear3). It must lie in 1..65535.
void BayerToColor(uint32_t method, uint32_t filter, uint32_t width, uint32_t height,
                  const uint16_t* src, size_t srcPitch, uint16_t* dst, size_t dstPitch,
                  uint32_t dstStep, bool isBGR, bool reverse, uint32_t maxValue);

// Luminance of a mosaic without interpolation: each pixel takes the 2x2 window whose top-left
// corner it is (moved inwards on the last column and row) and
// Y = (((G1 + G2) >> 1) * 5 + 2R + B) >> 3. Size, filter and argument rules as above.
void Bayer8ToMono8(uint32_t filter, uint32_t width, uint32_t height, const uint8_t* src,
                   size_t srcPitch, uint8_t* dst, size_t dstPitch, bool reverse);
void Bayer16ToMono16(uint32_t filter, uint32_t width, uint32_t height, const uint16_t* src,
                     size_t srcPitch, uint16_t* dst, size_t dstPitch, bool reverse);

// Instruction-set level. The kernels are picked at each call through the library's dispatcher
// (kernels/cpudispatch.h): the best form they have at or below the level it allows; lxcpu::Force()
// changes that level for every kernel family at once. Every form gives identical results.
// The level of the kernels that run now, and of those that run when `allowed` is allowed.
lxcpu::Level KernelLevel() noexcept;
lxcpu::Level KernelLevelAt(lxcpu::Level allowed) noexcept;

} // namespace lxbayer
