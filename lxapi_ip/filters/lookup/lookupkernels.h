// Lookup-table pixel kernels shared by the filters that rewrite samples through tables (gamma,
// balance ratio): every sample of a line is replaced by its table entry, in place.
//
// A line is a run of samples whose lanes repeat with a period of 1 to 6 samples: lane c of the
// period maps through its own table, or stays as it is when its table is null. So one kernel serves
// mono lines (period 1), interleaved colour with or without alpha (3, 4), Bayer rows (2, with other
// tables on odd rows) and the luma/chroma layouts (2, 3, 4, 6). Even and odd rows of an image may
// have lanes of their own.
//
// Byte samples map through 256-entry byte tables; word samples through word tables that cover all
// 65536 values of a word, so that a sample above the format's maximum still reads inside its table.
// The forms (portable, AVX-512 VBMI with vpermi2b for the byte tables) are chosen by the processor
// dispatcher and give the same bytes.
#pragma once

#include "kernels/cpudispatch.h"

#include <cstddef>
#include <cstdint>

namespace lxlookup {

constexpr size_t kMaxPeriod = 6;
constexpr size_t kByteTableSize = 256;
constexpr size_t kWordTableSize = 65536;

template <class Entry>
struct Lanes {
    uint32_t period = 1;                       // 1 to kMaxPeriod samples
    const Entry* table[kMaxPeriod] = {};       // per lane; null leaves the lane's samples as they are
};
using ByteLanes = Lanes<uint8_t>;
using WordLanes = Lanes<uint16_t>;

// An image to map: `height` lines `pitch` bytes apart, `count` samples from the start of each, lane
// of sample i being i % period; rows[0] for even lines, rows[1] for odd ones. Word samples may lie at
// any address.
template <class Entry>
struct LookupImage {
    uint8_t* base = nullptr;
    size_t height = 0;
    size_t pitch = 0;
    size_t count = 0;
    Lanes<Entry> rows[2];
};
using ByteImage = LookupImage<uint8_t>;
using WordImage = LookupImage<uint16_t>;

// The same lanes on every line.
template <class Entry>
LookupImage<Entry> Uniform(uint8_t* base, size_t height, size_t pitch, size_t count, const Lanes<Entry>& lanes) {
    LookupImage<Entry> image{base, height, pitch, count, {lanes, lanes}};
    return image;
}

// Maps the samples in place. A period outside 1..kMaxPeriod maps nothing.
void MapBytes(const ByteImage& image);
void MapWords(const WordImage& image);

// The low bytes of 256 word entries, the form the byte kernels read.
void NarrowTable(const uint16_t* entries, uint8_t* bytes) noexcept;

// Fills the entries from `count` up to kWordTableSize with the entry at count - 1, so that a word
// table made for fewer bits covers every word. `count` is at least 1.
void ExtendWordTable(uint16_t* entries, size_t count) noexcept;

// The form that runs now, and at a given cap (for the tests and benchmarks).
lxcpu::Level KernelLevel() noexcept;
lxcpu::Level KernelLevelAt(lxcpu::Level allowed) noexcept;

namespace detail {
struct LookupKernels {
    void (*bytes)(const ByteImage& image);
    void (*words)(const WordImage& image);
};
void PortableBytes(const ByteImage& image);
void PortableWords(const WordImage& image);
// Null where this build has no such form.
const LookupKernels* Avx512Kernels() noexcept;
} // namespace detail

} // namespace lxlookup
