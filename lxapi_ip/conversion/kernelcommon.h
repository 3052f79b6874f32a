// Shared pieces of the conversion kernels: sample access, the three forms of a sample mapping, the
// checks of image descriptions, the line walk with `reverse`, and the slots of the row functions
// that have instruction-set specific versions.
#pragma once

#include "conversionkernels.h"

#include <GenICam/GCException.h>

#include <cstring>
#include <utility>

namespace lxconv::detail {

// ---- sample access (lines may have any alignment) ------------------------------------------------

inline uint32_t Load16(const uint8_t* p) noexcept {
    uint16_t v;
    std::memcpy(&v, p, 2);
    return v;
}
inline void Store16(uint8_t* p, uint32_t v) noexcept {
    const uint16_t w = uint16_t(v);
    std::memcpy(p, &w, 2);
}
inline uint32_t Load32(const uint8_t* p) noexcept {
    uint32_t v;
    std::memcpy(&v, p, 4);
    return v;
}
inline void Store32(uint8_t* p, uint32_t v) noexcept { std::memcpy(p, &v, 4); }

// One sample of `Bytes` bytes (1 or 2) at index i.
template <unsigned Bytes>
inline uint32_t LoadSample(const uint8_t* line, size_t i) noexcept {
    if constexpr (Bytes == 1)
        return line[i];
    else
        return Load16(line + 2 * i);
}
template <unsigned Bytes>
inline void StoreSample(uint8_t* line, size_t i, uint32_t v) noexcept {
    if constexpr (Bytes == 1)
        line[i] = uint8_t(v); // the low byte of a table entry
    else
        Store16(line + 2 * i, v);
}

inline unsigned SampleBytes(unsigned bits) noexcept { return bits <= 8 ? 1 : 2; }

// ---- sample mappings -----------------------------------------------------------------------------

// Equal depths: the sample as it is.
struct CopyMap {
    uint32_t operator()(uint32_t v) const noexcept { return v; }
};
// A table of linear form: ((v * mul) >> shift) | fill, the sample clamped to the table's range.
struct LinearMap {
    uint32_t maxIndex, mul, shift, fill;
    uint32_t operator()(uint32_t v) const noexcept {
        v = v < maxIndex ? v : maxIndex;
        return ((v * mul) >> shift) | fill;
    }
};
// Any other table.
struct LookupMap {
    const uint16_t* entries;
    uint32_t maxIndex;
    uint32_t operator()(uint32_t v) const noexcept { return entries[v < maxIndex ? v : maxIndex]; }
};

// The mapping as plain data, for the row functions behind the instruction-set slots. A table of
// RoundedScale form is looked up by the portable functions and computed by the vector ones.
struct MapParams {
    enum Kind : uint32_t { Copy = 0, Linear = 1, Lookup = 2, RoundedScale = 3 } kind = Copy;
    const uint16_t* entries = nullptr; // any table: 2^depth entries and one spare entry
    uint32_t maxIndex = 0;
    uint32_t mul = 1, shift = 0, fill = 0; // Linear; RoundedScale: c, k and (b - 1) / 2
    uint32_t srcDepth = 0;                 // RoundedScale: s
};

// Checks that the table fits the depths (when they differ) and returns its form.
MapParams MakeMapParams(unsigned srcBits, unsigned dstBits, const BitConversionTable* table);

// Calls f with the CopyMap, LinearMap or LookupMap that `p` describes, so that a templated loop is
// instantiated once per form and carries no branch per sample.
template <class F>
inline void WithMap(const MapParams& p, F&& f) {
    switch (p.kind) {
    case MapParams::Copy:
        f(CopyMap{});
        break;
    case MapParams::Linear:
        f(LinearMap{p.maxIndex, p.mul, p.shift, p.fill});
        break;
    default:
        f(LookupMap{p.entries, p.maxIndex});
        break;
    }
}

// ---- checks --------------------------------------------------------------------------------------

// Bytes of `count` items of `bits` bits each, rounded up to a byte; throws when the count is absurd.
size_t BitsToBytes(size_t count, size_t bits);
// Throws unless bits lies in lo..hi; `what` names the side ("Source", "Destination").
void CheckBits(const char* what, unsigned bits, unsigned lo, unsigned hi);
// Throws unless step is 3 or 4.
void CheckStep(const char* what, unsigned step);
// Throws if a side with height lines of lineBytes cannot be addressed: null data, pitch below a
// line, or (planes > 1) a plane size below its lines.
void CheckSide(const char* what, const void* data, size_t pitch, size_t planeSize, size_t lineBytes,
               size_t height, size_t planes);

// ---- the line walk -------------------------------------------------------------------------------

// Start and signed step of the destination lines: the last line and -pitch with reverse.
struct LineWalk {
    uint8_t* first;
    ptrdiff_t step;
};
inline LineWalk DestLines(void* data, size_t pitch, size_t height, bool reverse) noexcept {
    auto* p = static_cast<uint8_t*>(data);
    if (reverse && height > 0) return {p + (height - 1) * pitch, -ptrdiff_t(pitch)};
    return {p, ptrdiff_t(pitch)};
}

// Calls row(srcLine, dstLine, destinationLineIndex) for every line.
template <class Row>
inline void ForEachLine(const void* srcData, size_t srcPitch, void* dstData, size_t dstPitch, size_t height,
                        bool reverse, Row&& row) {
    const auto* s = static_cast<const uint8_t*>(srcData);
    const LineWalk d = DestLines(dstData, dstPitch, height, reverse);
    uint8_t* dl = d.first;
    for (size_t y = 0; y < height; ++y, s += srcPitch, dl += d.step)
        row(s, dl, reverse ? height - 1 - y : y);
}

// ---- instruction-set slots -----------------------------------------------------------------------

// Row functions with a portable version and a faster one per instruction set. Every version gives
// the same bytes; the tests prove it on random data.
struct RowKernels {
    // One sample per pixel through a mapping: 1 or 2 bytes per sample on either side.
    void (*map8to8)(const uint8_t* s, uint8_t* d, size_t n, const MapParams& m);
    void (*map8to16)(const uint8_t* s, uint8_t* d, size_t n, const MapParams& m);
    void (*map16to8)(const uint8_t* s, uint8_t* d, size_t n, const MapParams& m);
    void (*map16to16)(const uint8_t* s, uint8_t* d, size_t n, const MapParams& m);
    // 8-bit interleaved colour at equal depth: sstep, dstep 3 or 4, swap exchanges first and third.
    void (*color8)(const uint8_t* s, unsigned sstep, uint8_t* d, unsigned dstep, size_t n, bool swap);
    // 8-bit luminance at equal depth; blueFirst tells the source's order.
    void (*luma8)(const uint8_t* s, unsigned sstep, uint8_t* d, size_t n, bool blueFirst);
    // n samples of a bit-packed line of `bits` bits, starting at a byte, into 16-bit values.
    void (*decodeBitPacked)(const uint8_t* s, uint16_t* d, size_t n, unsigned bits);
    // n pixels of a 10Packed / 12Packed line, starting at an even pixel, into 16-bit values.
    void (*decodePacked)(const uint8_t* s, uint16_t* d, size_t n, unsigned bits);
    // Decoding and mapping in one pass into a 16-bit line: a bit-packed line, or a 10Packed /
    // 12Packed one when `packed`. Does what it can in whole steps and returns the samples done (a
    // multiple of 16); the rest is left to decode and map.
    size_t (*unpackTo16)(const uint8_t* s, uint8_t* d, size_t n, unsigned bits, bool packed, const MapParams& m);
};

// The set to run now, picked through the library's dispatcher, and the portable set.
const RowKernels& Rows() noexcept;
const RowKernels& PortableRows() noexcept;
// Null when the build has no AVX2 version; the dispatcher decides whether the processor runs it.
const RowKernels* Avx2Rows() noexcept;

// Portable row functions, also used by the faster versions for their line tails.
void PortableMap8to8(const uint8_t* s, uint8_t* d, size_t n, const MapParams& m);
void PortableMap8to16(const uint8_t* s, uint8_t* d, size_t n, const MapParams& m);
void PortableMap16to8(const uint8_t* s, uint8_t* d, size_t n, const MapParams& m);
void PortableMap16to16(const uint8_t* s, uint8_t* d, size_t n, const MapParams& m);
void PortableColor8(const uint8_t* s, unsigned sstep, uint8_t* d, unsigned dstep, size_t n, bool swap);
void PortableLuma8(const uint8_t* s, unsigned sstep, uint8_t* d, size_t n, bool blueFirst);
void PortableDecodeBitPacked(const uint8_t* s, uint16_t* d, size_t n, unsigned bits);
void PortableDecodePacked(const uint8_t* s, uint16_t* d, size_t n, unsigned bits);
size_t PortableUnpackTo16(const uint8_t* s, uint8_t* d, size_t n, unsigned bits, bool packed, const MapParams& m);

// Pixels per chunk when a line is decoded into a 16-bit buffer before mapping: a multiple of 8, so a
// chunk of a bit-packed line starts on a byte for every depth, and of 2 for the packed pairs.
constexpr size_t DecodeChunk = 1024;

} // namespace lxconv::detail
