// Whether two images may share pixel memory: an image view of a buffer's own image, or two views of
// one parent. A module that writes one image while it reads the other must then read from a copy.
#pragma once

#include "lxpixelformatname.h"

#include <lxapi/ilximage.h>

#include <cstddef>
#include <cstdint>

namespace lxip {

// The addresses an image's pixels may occupy, [begin, end): every plane at the plane size, the last
// one with height lines of the pitch. The sizes come from the caller's objects, so the sums saturate:
// an absurd size counts as reaching to the end of the address space rather than wrapping. An empty
// image occupies nothing.
struct MemorySpan {
    uintptr_t begin = 0, end = 0;
};

inline MemorySpan SpanOf(ILxImage* image) {
    const auto begin = reinterpret_cast<uintptr_t>(image->GetImageBuffer());
    const size_t width = image->GetImageWidth(), height = image->GetImageHeight();
    if (!begin || width == 0 || height == 0) return {};
    size_t planes = 1;
    if (ILxPixelFormatInfo* info = FindPixelFormatInfo(image->GetImagePixelFormat()))
        planes = info->GetPlaneCount() > 1 ? info->GetPlaneCount() : 1;
    size_t lastPlane, before, bytes;
    if (__builtin_mul_overflow(height, image->GetImageLinePitch(), &lastPlane) ||
        __builtin_mul_overflow(planes - 1, image->GetImagePlaneSize(), &before) ||
        __builtin_add_overflow(before, lastPlane, &bytes) || bytes > UINTPTR_MAX - begin)
        return {begin, UINTPTR_MAX};
    return {begin, begin + bytes};
}

// True when the pixels of the two images may lie in the same bytes.
inline bool SharesMemory(ILxImage* a, ILxImage* b) {
    const MemorySpan x = SpanOf(a), y = SpanOf(b);
    return x.begin < x.end && y.begin < y.end && x.begin < y.end && y.begin < x.end;
}

} // namespace lxip
