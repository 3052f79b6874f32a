// One-component kernels: depth change and copy, mono and planar planes, unpacking and packing of the
// bit-packed and the 10Packed / 12Packed layouts, and the plain line copy.
#include "kernelcommon.h"

#include <algorithm>

namespace lxconv {

using namespace detail;

namespace {

// The row function that maps n samples between the containers of the two depths.
using MapRow = void (*)(const uint8_t*, uint8_t*, size_t, const MapParams&);

MapRow PickMapRow(const RowKernels& rows, unsigned srcBits, unsigned dstBits) {
    const bool srcWide = srcBits > 8, dstWide = dstBits > 8;
    if (srcWide) return dstWide ? rows.map16to16 : rows.map16to8;
    return dstWide ? rows.map8to16 : rows.map8to8;
}

// Lines of one plane through a mapping; planes at the given offsets on both sides.
void MapPlanes(const SourceImage& src, const DestImage& dst, size_t width, size_t height, bool reverse,
               const BitConversionTable* table, size_t srcPlanes, size_t dstPlanes) {
    CheckBits("Source", src.bits, 1, 16);
    CheckBits("Destination", dst.bits, 1, 16);
    const MapParams m = MakeMapParams(src.bits, dst.bits, table);
    if (width == 0 || height == 0) return;
    const size_t sb = SampleBytes(src.bits), db = SampleBytes(dst.bits);
    CheckSide("Source", src.data, src.pitch, src.planeSize, BitsToBytes(width, 8 * sb), height, srcPlanes);
    CheckSide("Destination", dst.data, dst.pitch, dst.planeSize, BitsToBytes(width, 8 * db), height,
              dstPlanes);
    const MapRow row = PickMapRow(Rows(), src.bits, dst.bits);
    ForEachLine(src.data, src.pitch, dst.data, dst.pitch, height, reverse,
                [&](const uint8_t* s, uint8_t* d, size_t) {
                    for (size_t p = 0; p < dstPlanes; ++p) {
                        const uint8_t* sp = srcPlanes > 1 ? s + p * src.planeSize : s;
                        row(sp, d + p * dst.planeSize, width, m);
                    }
                });
}

// Decodes a line chunk by chunk into 16-bit values and maps them into the destination line; a
// 16-bit destination first takes what the fused row function does in one pass. Decoded values lie
// below 2^src.bits, inside the table, so the mapping is told that no clamp is needed (a clamp at
// 65535 is none).
void DecodeAndMap(const SourceImage& src, const DestImage& dst, size_t width, size_t height, bool reverse,
                  MapParams m, bool packed) {
    const unsigned bits = src.bits;
    // Three bytes per pair of 10Packed / 12Packed, two for an odd last pixel: 12 bits per pixel
    // rounded up to a byte.
    CheckSide("Source", src.data, src.pitch, 0, BitsToBytes(width, packed ? 12 : bits), height, 1);
    const size_t db = SampleBytes(dst.bits);
    CheckSide("Destination", dst.data, dst.pitch, 0, BitsToBytes(width, 8 * db), height, 1);
    m.maxIndex = 0xFFFF;
    const RowKernels& rows = Rows();
    const MapRow row = db == 2 ? rows.map16to16 : rows.map16to8;
    alignas(32) uint16_t chunk[DecodeChunk];
    ForEachLine(src.data, src.pitch, dst.data, dst.pitch, height, reverse,
                [&](const uint8_t* s, uint8_t* d, size_t) {
                    size_t x = db == 2 ? rows.unpackTo16(s, d, width, bits, packed, m) : 0;
                    for (; x < width; x += DecodeChunk) {
                        const size_t n = std::min(DecodeChunk, width - x);
                        // x is a multiple of 16: a bit-packed chunk starts on byte x * bits / 8, a
                        // packed one on the triple of pixel x.
                        if (packed)
                            rows.decodePacked(s + x / 2 * 3, chunk, n, bits);
                        else
                            rows.decodeBitPacked(s + x / 8 * bits, chunk, n, bits);
                        row(reinterpret_cast<const uint8_t*>(chunk), d + x * db, n, m);
                    }
                });
}

} // namespace

void ConvertUnpacked(const SourceImage& src, const DestImage& dst, size_t width, size_t height, bool reverse,
                     const BitConversionTable* table) {
    MapPlanes(src, dst, width, height, reverse, table, 1, 1);
}

void ConvertMonoToPlanar(const SourceImage& src, const DestImage& dst, size_t width, size_t height,
                         bool reverse, const BitConversionTable* table) {
    MapPlanes(src, dst, width, height, reverse, table, 1, 3);
}

void ConvertPlanarToPlanar(const SourceImage& src, const DestImage& dst, size_t width, size_t height,
                           bool reverse, const BitConversionTable* table) {
    MapPlanes(src, dst, width, height, reverse, table, 3, 3);
}

void ConvertBitPackedToUnpacked(const SourceImage& src, const DestImage& dst, size_t width, size_t height,
                                bool reverse, const BitConversionTable* table) {
    CheckBits("Source", src.bits, 1, 16);
    CheckBits("Destination", dst.bits, 8, 16);
    const MapParams m = MakeMapParams(src.bits, dst.bits, table);
    if (width == 0 || height == 0) return;
    DecodeAndMap(src, dst, width, height, reverse, m, false);
}

void ConvertPackedToUnpacked(const SourceImage& src, const DestImage& dst, size_t width, size_t height,
                             bool reverse, const BitConversionTable* table) {
    if (src.bits != 10 && src.bits != 12)
        throw INVALID_ARGUMENT_EXCEPTION("Source depth = %u bits is not a 10Packed or 12Packed depth", src.bits);
    CheckBits("Destination", dst.bits, 8, 16);
    const MapParams m = MakeMapParams(src.bits, dst.bits, table);
    if (width == 0 || height == 0) return;
    DecodeAndMap(src, dst, width, height, reverse, m, true);
}

void ConvertUnpacked8ToBitPacked(const SourceImage& src, const DestImage& dst, size_t width, size_t height,
                                 bool reverse, const BitConversionTable* table) {
    CheckBits("Source", src.bits, 1, 8);
    CheckBits("Destination", dst.bits, 1, 16);
    const MapParams m = MakeMapParams(src.bits, dst.bits, table);
    if (width == 0 || height == 0) return;
    const unsigned bits = dst.bits;
    CheckSide("Source", src.data, src.pitch, 0, width, height, 1);
    CheckSide("Destination", dst.data, dst.pitch, 0, BitsToBytes(width, bits), height, 1);
    const uint32_t mask = (uint32_t(1) << bits) - 1;
    WithMap(m, [&](auto map) {
        ForEachLine(src.data, src.pitch, dst.data, dst.pitch, height, reverse,
                    [&](const uint8_t* s, uint8_t* d, size_t) {
                        uint32_t acc = 0; // at most 7 + 16 bits are pending
                        unsigned have = 0;
                        for (size_t x = 0; x < width; ++x) {
                            acc |= (map(s[x]) & mask) << have;
                            have += bits;
                            for (; have >= 8; have -= 8, acc >>= 8) *d++ = uint8_t(acc);
                        }
                        if (have > 0) *d = uint8_t(acc);
                    });
    });
}

void ConvertMono8ToPacked(const SourceImage& src, const DestImage& dst, size_t width, size_t height,
                          bool reverse, const BitConversionTable* table) {
    CheckBits("Source", src.bits, 1, 8);
    if (dst.bits != 10 && dst.bits != 12)
        throw INVALID_ARGUMENT_EXCEPTION("Destination depth = %u bits is not a 10Packed or 12Packed depth",
                                         dst.bits);
    const MapParams m = MakeMapParams(src.bits, dst.bits, table);
    if (width == 0 || height == 0) return;
    CheckSide("Source", src.data, src.pitch, 0, width, height, 1);
    CheckSide("Destination", dst.data, dst.pitch, 0, BitsToBytes(width, 12), height, 1);
    const unsigned shift = dst.bits - 8;
    const uint32_t low = (uint32_t(1) << shift) - 1;
    WithMap(m, [&](auto map) {
        ForEachLine(src.data, src.pitch, dst.data, dst.pitch, height, reverse,
                    [&](const uint8_t* s, uint8_t* d, size_t) {
                        size_t x = 0;
                        for (; x + 1 < width; x += 2, d += 3) {
                            const uint32_t a = map(s[x]), b = map(s[x + 1]);
                            d[0] = uint8_t(a >> shift);
                            d[1] = uint8_t((a & low) | ((b & low) << 4));
                            d[2] = uint8_t(b >> shift);
                        }
                        if (x < width) {
                            const uint32_t a = map(s[x]);
                            d[0] = uint8_t(a >> shift);
                            d[1] = uint8_t(a & low);
                        }
                    });
    });
}

void ConvertCopy(const SourceImage& src, const DestImage& dst, size_t lineBytes, size_t height, size_t planeCount,
                 bool reverse) {
    if (height == 0 || planeCount == 0 || lineBytes == 0) return;
    CheckSide("Source", src.data, src.pitch, src.planeSize, lineBytes, height, planeCount);
    CheckSide("Destination", dst.data, dst.pitch, dst.planeSize, lineBytes, height, planeCount);
    const auto* s = static_cast<const uint8_t*>(src.data);
    auto* d = static_cast<uint8_t*>(dst.data);
    const size_t srcPlaneStep = planeCount > 1 ? src.planeSize : 0;
    const size_t dstPlaneStep = planeCount > 1 ? dst.planeSize : 0;
    if (src.pitch == dst.pitch && !reverse) {
        // From the first line to the end of the last line's own bytes (CheckSide has bounded it).
        const size_t block = (height - 1) * src.pitch + lineBytes;
        if (planeCount == 1) {
            std::memcpy(d, s, block);
            return;
        }
        for (size_t p = 0; p < planeCount; ++p) std::memcpy(d + p * dstPlaneStep, s + p * srcPlaneStep, block);
        return;
    }
    for (size_t p = 0; p < planeCount; ++p)
        ForEachLine(s + p * srcPlaneStep, src.pitch, d + p * dstPlaneStep, dst.pitch, height, reverse,
                    [&](const uint8_t* sl, uint8_t* dl, size_t) { std::memcpy(dl, sl, lineBytes); });
}

} // namespace lxconv
