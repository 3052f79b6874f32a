// Test images for the conversion kernels: exactly sized buffers (so that a read or write past the
// last line is caught by the sanitizer build), padding filled with a marker, and helpers to fill
// and read samples.
#pragma once

#include "conversionkernels.h"

#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

namespace convtest {

constexpr uint8_t kMarker = 0xA5;

struct Image {
    size_t pitch, height, planes, planeSize;
    std::vector<uint8_t> bytes;

    Image(size_t pitch_, size_t height_, size_t planes_ = 1, uint8_t fill = kMarker)
        : pitch(pitch_), height(height_), planes(planes_), planeSize(pitch_ * height_),
          bytes(planes_ * pitch_ * height_, fill) {}

    uint8_t* Line(size_t y, size_t plane = 0) { return bytes.data() + plane * planeSize + y * pitch; }
    const uint8_t* Line(size_t y, size_t plane = 0) const { return bytes.data() + plane * planeSize + y * pitch; }

    uint32_t U8(size_t x, size_t y, size_t plane = 0) const { return Line(y, plane)[x]; }
    uint32_t U16(size_t x, size_t y, size_t plane = 0) const {
        uint16_t v;
        std::memcpy(&v, Line(y, plane) + 2 * x, 2);
        return v;
    }
    uint32_t U32(size_t x, size_t y) const {
        uint32_t v;
        std::memcpy(&v, Line(y) + 4 * x, 4);
        return v;
    }
    void Set8(size_t x, size_t y, uint32_t v, size_t plane = 0) { Line(y, plane)[x] = uint8_t(v); }
    void Set16(size_t x, size_t y, uint32_t v, size_t plane = 0) {
        const uint16_t w = uint16_t(v);
        std::memcpy(Line(y, plane) + 2 * x, &w, 2);
    }

    lxconv::SourceImage Src(unsigned bits, unsigned step = 1, bool blueFirst = false) const {
        lxconv::SourceImage s;
        s.data = bytes.data();
        s.pitch = pitch;
        s.planeSize = planeSize;
        s.bits = bits;
        s.step = step;
        s.blueFirst = blueFirst;
        return s;
    }
    lxconv::DestImage Dst(unsigned bits, unsigned step = 1, bool blueFirst = false) {
        lxconv::DestImage d;
        d.data = bytes.data();
        d.pitch = pitch;
        d.planeSize = planeSize;
        d.bits = bits;
        d.step = step;
        d.blueFirst = blueFirst;
        return d;
    }

    void Randomize(std::mt19937& rng) {
        for (auto& b : bytes) b = uint8_t(rng());
    }
    // True if every byte of every line from `from` to the pitch still holds the marker.
    bool PaddingIntact(size_t from) const {
        for (size_t p = 0; p < planes; ++p)
            for (size_t y = 0; y < height; ++y)
                for (size_t x = from; x < pitch; ++x)
                    if (Line(y, p)[x] != kMarker) return false;
        return true;
    }
};

// Holds a table reference for the test's scope.
inline lxconv::BitConversionTableRef Table(unsigned s, unsigned d, double gamma = 1.0,
                                           uint32_t mode = lxconv::BitExpansion_Gamma) {
    return lxconv::BitConversionTableRef(lxconv::BitConversionTable::Create(s, d, gamma, mode));
}
inline lxconv::BitConversionTableRef TableOf(unsigned s, unsigned d, const std::vector<uint16_t>& entries) {
    return lxconv::BitConversionTableRef(lxconv::BitConversionTable::CreateFromEntries(s, d, entries.data()));
}

// The row functions' own levels above portable on this processor.
inline std::vector<lxcpu::Level> FastLevels() { return lxcpu::FastLevels(lxconv::KernelLevelAt); }

} // namespace convtest
