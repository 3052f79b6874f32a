// Checks, mapping forms, the portable row functions and the choice of the row-function set.
#include "kernelcommon.h"

#include <cstdint>
#include <limits>

namespace lxconv::detail {

MapParams MakeMapParams(unsigned srcBits, unsigned dstBits, const BitConversionTable* table) {
    MapParams p;
    if (srcBits == dstBits) return p; // equal depths copy samples; a table given anyway is ignored
    if (!table)
        throw INVALID_ARGUMENT_EXCEPTION("Converting %u to %u bits needs a bit conversion table", srcBits,
                                         dstBits);
    if (table->SourceDepth() != srcBits || table->DestinationDepth() != dstBits)
        throw INVALID_ARGUMENT_EXCEPTION(
            "The bit conversion table maps %u to %u bits where %u to %u bits are converted",
            table->SourceDepth(), table->DestinationDepth(), srcBits, dstBits);
    p.maxIndex = table->MaxIndex();
    p.entries = table->Entries();
    switch (table->GetForm()) {
    case BitConversionTable::Form::Linear:
        p.kind = MapParams::Linear;
        p.mul = table->LinearMul();
        p.shift = table->LinearShift();
        p.fill = table->LinearFill();
        break;
    case BitConversionTable::Form::RoundedScale:
        p.kind = MapParams::RoundedScale;
        p.mul = table->ScaleMul();
        p.shift = table->ScaleShift();
        p.fill = table->ScaleHalf();
        p.srcDepth = table->SourceDepth();
        break;
    default:
        p.kind = MapParams::Lookup;
        break;
    }
    return p;
}

size_t BitsToBytes(size_t count, size_t bits) {
    constexpr size_t maxSize = std::numeric_limits<size_t>::max();
    if (bits != 0 && count > (maxSize - 7) / bits)
        throw INVALID_ARGUMENT_EXCEPTION("A line of %zu samples of %zu bits exceeds the address space", count,
                                         bits);
    return (count * bits + 7) / 8;
}

void CheckBits(const char* what, unsigned bits, unsigned lo, unsigned hi) {
    if (bits < lo || bits > hi)
        throw INVALID_ARGUMENT_EXCEPTION("%s depth = %u bits is not supported here (%u to %u)", what, bits, lo,
                                         hi);
}

void CheckStep(const char* what, unsigned step) {
    if (step != 3 && step != 4)
        throw INVALID_ARGUMENT_EXCEPTION("%s pixel step = %u samples must be 3 or 4", what, step);
}

void CheckSide(const char* what, const void* data, size_t pitch, size_t planeSize, size_t lineBytes,
               size_t height, size_t planes) {
    if (height == 0 || lineBytes == 0) return;
    if (!data) throw INVALID_ARGUMENT_EXCEPTION("%s image buffer is NULL.", what);
    if (pitch < lineBytes)
        throw INVALID_ARGUMENT_EXCEPTION("%s line pitch = %zu is smaller than the %zu bytes of a line", what,
                                         pitch, lineBytes);
    constexpr size_t maxSize = std::numeric_limits<size_t>::max();
    if (height - 1 > (maxSize - lineBytes) / pitch)
        throw INVALID_ARGUMENT_EXCEPTION("%s image of %zu lines at a pitch of %zu exceeds the address space",
                                         what, height, pitch);
    const size_t span = (height - 1) * pitch + lineBytes; // bytes from the first line to the last one's end
    if (planes > 1) {
        if (planeSize < span)
            throw INVALID_ARGUMENT_EXCEPTION("%s plane size = %zu is smaller than its %zu lines of pitch %zu",
                                             what, planeSize, height, pitch);
        if (planes - 1 > (maxSize - span) / planeSize)
            throw INVALID_ARGUMENT_EXCEPTION("%s image of %zu planes of %zu bytes exceeds the address space",
                                             what, planes, planeSize);
    }
}

// ---- portable row functions ----------------------------------------------------------------------

void PortableMap8to8(const uint8_t* s, uint8_t* d, size_t n, const MapParams& m) {
    if (m.kind == MapParams::Copy) {
        std::memcpy(d, s, n);
        return;
    }
    WithMap(m, [&](auto map) {
        for (size_t i = 0; i < n; ++i) d[i] = uint8_t(map(s[i]));
    });
}

void PortableMap8to16(const uint8_t* s, uint8_t* d, size_t n, const MapParams& m) {
    WithMap(m, [&](auto map) {
        for (size_t i = 0; i < n; ++i) Store16(d + 2 * i, map(s[i]));
    });
}

void PortableMap16to8(const uint8_t* s, uint8_t* d, size_t n, const MapParams& m) {
    WithMap(m, [&](auto map) {
        for (size_t i = 0; i < n; ++i) d[i] = uint8_t(map(Load16(s + 2 * i)));
    });
}

void PortableMap16to16(const uint8_t* s, uint8_t* d, size_t n, const MapParams& m) {
    if (m.kind == MapParams::Copy) {
        std::memcpy(d, s, 2 * n);
        return;
    }
    WithMap(m, [&](auto map) {
        for (size_t i = 0; i < n; ++i) Store16(d + 2 * i, map(Load16(s + 2 * i)));
    });
}

namespace {

template <unsigned SS, unsigned DS, bool Swap>
void Color8Row(const uint8_t* s, uint8_t* d, size_t n) {
    constexpr unsigned first = Swap ? 2 : 0, third = Swap ? 0 : 2;
    for (size_t i = 0; i < n; ++i, s += SS, d += DS) {
        const uint8_t a = s[first], b = s[1], c = s[third];
        d[0] = a;
        d[1] = b;
        d[2] = c;
    }
}

template <unsigned SS, bool BlueFirst>
void Luma8Row(const uint8_t* s, uint8_t* d, size_t n) {
    // Y = (5G + 2R + B) >> 3; the sum is at most 8 * 255, so 16 bits hold it.
    constexpr unsigned w0 = BlueFirst ? 1 : 2, w2 = BlueFirst ? 2 : 1;
    for (size_t i = 0; i < n; ++i) {
        const unsigned y = w0 * s[SS * i] + 5u * s[SS * i + 1] + w2 * s[SS * i + 2];
        d[i] = uint8_t(y >> 3);
    }
}

} // namespace

void PortableColor8(const uint8_t* s, unsigned sstep, uint8_t* d, unsigned dstep, size_t n, bool swap) {
    const unsigned key = (sstep == 4 ? 4u : 0u) | (dstep == 4 ? 2u : 0u) | (swap ? 1u : 0u);
    switch (key) {
    case 0: std::memcpy(d, s, 3 * n); break;
    case 1: Color8Row<3, 3, true>(s, d, n); break;
    case 2: Color8Row<3, 4, false>(s, d, n); break;
    case 3: Color8Row<3, 4, true>(s, d, n); break;
    case 4: Color8Row<4, 3, false>(s, d, n); break;
    case 5: Color8Row<4, 3, true>(s, d, n); break;
    case 6: Color8Row<4, 4, false>(s, d, n); break;
    default: Color8Row<4, 4, true>(s, d, n); break;
    }
}

void PortableLuma8(const uint8_t* s, unsigned sstep, uint8_t* d, size_t n, bool blueFirst) {
    if (sstep == 4)
        blueFirst ? Luma8Row<4, true>(s, d, n) : Luma8Row<4, false>(s, d, n);
    else
        blueFirst ? Luma8Row<3, true>(s, d, n) : Luma8Row<3, false>(s, d, n);
}

void PortableDecodeBitPacked(const uint8_t* s, uint16_t* d, size_t n, unsigned bits) {
    // Bytes enter the accumulator from the top as needed, samples leave from the bottom: exactly
    // ceil(n * bits / 8) bytes are read.
    const uint32_t mask = (uint32_t(1) << bits) - 1;
    uint32_t acc = 0;
    unsigned have = 0;
    for (size_t i = 0; i < n; ++i) {
        while (have < bits) {
            acc |= uint32_t(*s++) << have;
            have += 8;
        }
        d[i] = uint16_t(acc & mask);
        acc >>= bits;
        have -= bits;
    }
}

void PortableDecodePacked(const uint8_t* s, uint16_t* d, size_t n, unsigned bits) {
    // Two pixels in three bytes: the upper 8 bits in bytes 0 and 2, the lower bits - 8 bits at the
    // bottom of the two nibbles of byte 1.
    const unsigned shift = bits - 8;
    const uint32_t mask = (uint32_t(1) << shift) - 1;
    size_t i = 0;
    for (; i + 1 < n; i += 2, s += 3) {
        d[i] = uint16_t((uint32_t(s[0]) << shift) | (s[1] & mask));
        d[i + 1] = uint16_t((uint32_t(s[2]) << shift) | ((s[1] >> 4) & mask));
    }
    if (i < n) d[i] = uint16_t((uint32_t(s[0]) << shift) | (s[1] & mask));
}

size_t PortableUnpackTo16(const uint8_t*, uint8_t*, size_t, unsigned, bool, const MapParams&) {
    return 0; // the portable path decodes into a buffer and maps from there
}

// ---- choice of the set ---------------------------------------------------------------------------

namespace {

constexpr RowKernels kPortable = {
    PortableMap8to8, PortableMap8to16,        PortableMap16to8,     PortableMap16to16,  PortableColor8,
    PortableLuma8,   PortableDecodeBitPacked, PortableDecodePacked, PortableUnpackTo16,
};

// The forms of the row functions: portable and AVX2 (none has an AVX-512 form yet).
const lxcpu::KernelForms<RowKernels>& Forms() noexcept {
    static const lxcpu::KernelForms<RowKernels> forms(&kPortable, Avx2Rows());
    return forms;
}

} // namespace

const RowKernels& PortableRows() noexcept { return kPortable; }

const RowKernels& Rows() noexcept { return Forms().Get(); }

} // namespace lxconv::detail

namespace lxconv {

lxcpu::Level KernelLevel() noexcept { return detail::Forms().InUse(); }

lxcpu::Level KernelLevelAt(lxcpu::Level allowed) noexcept { return detail::Forms().LevelAt(allowed); }

} // namespace lxconv
