#include "monotocolor.h"

#include "kernels/cpudispatch.h"
#include "monotocolorrows.h"
#include "support/lxalignedlines.h"

#include <GenICam/GCException.h>

#include <cstring>

namespace lxcmap {

namespace {

void CheckSides(size_t srcPitch, size_t srcLine, size_t dstPitch, size_t dstLine, unsigned step) {
    if (step != 3 && step != 4) throw INVALID_ARGUMENT_EXCEPTION("Colour step %u is not 3 or 4.", step);
    if (srcPitch < srcLine || dstPitch < dstLine)
        throw INVALID_ARGUMENT_EXCEPTION("Line pitch too small for the line (%zu < %zu or %zu < %zu).", srcPitch,
                                         srcLine, dstPitch, dstLine);
}

// The destination line of source line y.
template <class T>
T* LineOf(T* first, size_t pitch, size_t y, size_t height, bool reverse) {
    const size_t row = reverse ? height - 1 - y : y;
    return reinterpret_cast<T*>(reinterpret_cast<uint8_t*>(first) + row * pitch);
}

// The grey ramp as map entries: the identity costs the same look-up as a palette.
struct GreyRamp {
    lxip::ColorMapEntry entries[256];
    GreyRamp() {
        for (uint32_t i = 0; i < 256; ++i) entries[i] = i * 0x010101u;
    }
};

// Three channels per pixel: each pixel is stored as a 4-byte word, the fourth byte being overwritten
// by the next pixel; the last pixel of a line writes its three bytes alone.
void Line3(const uint8_t* s, uint8_t* d, size_t width, const lxip::ColorMapEntry* map) {
    if (width == 0) return;
    size_t x = 0;
    for (; x + 4 <= width; x += 4) {
        const uint32_t a = map[s[x]], b = map[s[x + 1]], c = map[s[x + 2]], e = map[s[x + 3]];
        std::memcpy(d + 3 * x, &a, 4);
        std::memcpy(d + 3 * x + 3, &b, 4);
        std::memcpy(d + 3 * x + 6, &c, 4);
        if (x + 4 < width) {
            std::memcpy(d + 3 * x + 9, &e, 4);
        } else {
            std::memcpy(d + 3 * x + 9, &e, 3);
        }
    }
    for (; x + 1 < width; ++x) {
        const uint32_t a = map[s[x]];
        std::memcpy(d + 3 * x, &a, 4);
    }
    if (x < width) {
        const uint32_t a = map[s[x]];
        std::memcpy(d + 3 * x, &a, 3);
    }
}

// Four samples per pixel: the alpha byte of the buffer is kept.
void Line4(const uint8_t* s, uint8_t* d, size_t width, const lxip::ColorMapEntry* map) {
    for (size_t x = 0; x < width; ++x) {
        uint32_t old;
        std::memcpy(&old, d + 4 * x, 4);
        const uint32_t v = (old & 0xFF000000u) | map[s[x]];
        std::memcpy(d + 4 * x, &v, 4);
    }
}

size_t NoGrey3(const uint8_t*, uint8_t*, size_t) { return 0; }

constexpr detail::MonoRows kPortable = {NoGrey3};
#if defined(__x86_64__) || defined(__i386__)
constexpr detail::MonoRows kAvx2 = {detail::avx2::Grey3};
constexpr const detail::MonoRows* kAvx2Form = &kAvx2;
#else
constexpr const detail::MonoRows* kAvx2Form = nullptr;
#endif
constexpr lxcpu::KernelForms<detail::MonoRows> kForms(&kPortable, kAvx2Form);

} // namespace

lxcpu::Level KernelLevel() noexcept { return kForms.InUse(); }
lxcpu::Level KernelLevelAt(lxcpu::Level allowed) noexcept { return kForms.LevelAt(allowed); }

void Mono8ToColor8(const uint8_t* src, size_t srcPitch, uint8_t* dst, size_t dstPitch, size_t width,
                   size_t height, unsigned step, bool blueFirst, const lxip::ColorMapEntry* map, bool reverse) {
    CheckSides(srcPitch, width, dstPitch, width * step, step);
    if (width == 0 || height == 0) return;
    static const GreyRamp grey;
    lxip::ColorMapEntry swapped[256];
    const bool identity = !map;
    const detail::MonoRows& rows = kForms.Get();
    if (!map) {
        map = grey.entries; // symmetric: the channel order does not matter
    } else if (!blueFirst) {
        for (size_t i = 0; i < 256; ++i) {
            const uint32_t e = map[i];
            swapped[i] = ((e & 0xFF) << 16) | (e & 0xFF00) | ((e >> 16) & 0xFF);
        }
        map = swapped;
    }
    for (size_t y = 0; y < height; ++y) {
        const uint8_t* s = src + y * srcPitch;
        uint8_t* d = LineOf(dst, dstPitch, y, height, reverse);
        if (step == 3) {
            const size_t done = identity ? rows.grey3(s, d, width) : 0;
            Line3(s + done, d + 3 * done, width - done, map);
        } else {
            Line4(s, d, width, map);
        }
    }
}

void MonoToColor16(const void* src, unsigned srcBits, size_t srcPitch, uint16_t* dst, size_t dstPitch,
                   size_t width, size_t height, unsigned step, const uint16_t* table, size_t tableSize,
                   bool reverse) {
    if (srcBits < 1 || srcBits > 16) throw INVALID_ARGUMENT_EXCEPTION("Source depth %u is not 1 to 16.", srcBits);
    const size_t bytes = srcBits <= 8 ? 1 : 2;
    CheckSides(srcPitch, width * bytes, dstPitch, width * step * 2, step);
    if (table && tableSize == 0) throw INVALID_ARGUMENT_EXCEPTION("Empty depth table.");
    const uint32_t last = table ? uint32_t(tableSize - 1) : 0xFFFFu;
    const lxip::CAlignedLines out(dst, ptrdiff_t(dstPitch), width * step * 2, height, 2, true);
    for (size_t y = 0; y < height; ++y) {
        const uint8_t* line = static_cast<const uint8_t*>(src) + y * srcPitch;
        uint16_t* d = LineOf(reinterpret_cast<uint16_t*>(out.Data()), size_t(out.Pitch()), y, height, reverse);
        for (size_t x = 0; x < width; ++x, d += step) {
            uint32_t v;
            if (bytes == 1) {
                v = line[x];
            } else {
                uint16_t w;
                std::memcpy(&w, line + 2 * x, 2);
                v = w;
            }
            const uint16_t out = table ? table[v < last ? v : last] : uint16_t(v);
            d[0] = d[1] = d[2] = out;
        }
    }
}

} // namespace lxcmap
