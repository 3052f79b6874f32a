// Colour kernels: channel order and depth of interleaved colour, luminance, planar and interleaved
// layouts, the bit-packed and 32-bit colour forms, and colour to mosaic.
#include "kernelcommon.h"
#include "support/lxcolorfilter.h"

namespace lxconv {

using namespace detail;

namespace {

// Index in a source pixel of the sample that lands at destination position 0 or 2.
struct Order {
    unsigned first, third;
};
inline Order SwapOrder(bool srcBlueFirst, bool dstBlueFirst) {
    return srcBlueFirst != dstBlueFirst ? Order{2, 0} : Order{0, 2};
}

void CheckInterleaved(const char* what, unsigned bits, unsigned step) {
    CheckBits(what, bits, 1, 16);
    CheckStep(what, step);
}

// Bytes of a line of `width` interleaved pixels of `step` samples.
size_t InterleavedLineBytes(size_t width, unsigned bits, unsigned step) {
    return BitsToBytes(width, size_t(8) * SampleBytes(bits) * step);
}

// Calls f.template operator()<SrcBytes, DstBytes>() for the sample sizes of the two depths.
template <class F>
void WithSampleBytes(unsigned srcBits, unsigned dstBits, F&& f) {
    const bool s2 = srcBits > 8, d2 = dstBits > 8;
    if (s2)
        d2 ? f.template operator()<2, 2>() : f.template operator()<2, 1>();
    else
        d2 ? f.template operator()<1, 2>() : f.template operator()<1, 1>();
}

} // namespace

void ConvertColorToColor(const SourceImage& src, const DestImage& dst, size_t width, size_t height, bool reverse,
                         const BitConversionTable* table) {
    CheckInterleaved("Source", src.bits, src.step);
    CheckInterleaved("Destination", dst.bits, dst.step);
    const MapParams m = MakeMapParams(src.bits, dst.bits, table);
    if (width == 0 || height == 0) return;
    CheckSide("Source", src.data, src.pitch, 0, InterleavedLineBytes(width, src.bits, src.step), height, 1);
    CheckSide("Destination", dst.data, dst.pitch, 0, InterleavedLineBytes(width, dst.bits, dst.step), height, 1);
    const unsigned ss = src.step, ds = dst.step;
    const Order o = SwapOrder(src.blueFirst, dst.blueFirst);

    if (m.kind == MapParams::Copy && src.bits <= 8) {
        const auto row = Rows().color8;
        const bool swap = o.first != 0;
        ForEachLine(src.data, src.pitch, dst.data, dst.pitch, height, reverse,
                    [&](const uint8_t* s, uint8_t* d, size_t) { row(s, ss, d, ds, width, swap); });
        return;
    }
    WithMap(m, [&](auto map) {
        WithSampleBytes(src.bits, dst.bits, [&]<unsigned SB, unsigned DB>() {
            ForEachLine(src.data, src.pitch, dst.data, dst.pitch, height, reverse,
                        [&](const uint8_t* s, uint8_t* d, size_t) {
                            for (size_t x = 0, si = 0, di = 0; x < width; ++x, si += ss, di += ds) {
                                const uint32_t a = LoadSample<SB>(s, si + o.first);
                                const uint32_t b = LoadSample<SB>(s, si + 1);
                                const uint32_t c = LoadSample<SB>(s, si + o.third);
                                StoreSample<DB>(d, di, map(a));
                                StoreSample<DB>(d, di + 1, map(b));
                                StoreSample<DB>(d, di + 2, map(c));
                            }
                        });
        });
    });
}

void ConvertColorToMono(const SourceImage& src, const DestImage& dst, size_t width, size_t height, bool reverse,
                        const BitConversionTable* table) {
    CheckInterleaved("Source", src.bits, src.step);
    CheckBits("Destination", dst.bits, 1, 16);
    const MapParams m = MakeMapParams(src.bits, dst.bits, table);
    if (width == 0 || height == 0) return;
    CheckSide("Source", src.data, src.pitch, 0, InterleavedLineBytes(width, src.bits, src.step), height, 1);
    CheckSide("Destination", dst.data, dst.pitch, 0, BitsToBytes(width, 8 * SampleBytes(dst.bits)), height, 1);
    const unsigned ss = src.step;

    if (m.kind == MapParams::Copy && src.bits <= 8) {
        const auto row = Rows().luma8;
        ForEachLine(src.data, src.pitch, dst.data, dst.pitch, height, reverse,
                    [&](const uint8_t* s, uint8_t* d, size_t) { row(s, ss, d, width, src.blueFirst); });
        return;
    }
    // Weights of the first and third samples: blue 1, red 2; green in the middle weighs 5.
    const uint32_t w0 = src.blueFirst ? 1 : 2, w2 = src.blueFirst ? 2 : 1;
    WithMap(m, [&](auto map) {
        WithSampleBytes(src.bits, dst.bits, [&]<unsigned SB, unsigned DB>() {
            ForEachLine(src.data, src.pitch, dst.data, dst.pitch, height, reverse,
                        [&](const uint8_t* s, uint8_t* d, size_t) {
                            for (size_t x = 0, si = 0; x < width; ++x, si += ss) {
                                const uint32_t y = (w0 * LoadSample<SB>(s, si) + 5 * LoadSample<SB>(s, si + 1) +
                                                    w2 * LoadSample<SB>(s, si + 2)) >> 3;
                                StoreSample<DB>(d, x, map(y));
                            }
                        });
        });
    });
}

void ConvertPlanarToColor(const SourceImage& src, const DestImage& dst, size_t width, size_t height,
                          bool reverse, const BitConversionTable* table) {
    CheckBits("Source", src.bits, 1, 16);
    CheckInterleaved("Destination", dst.bits, dst.step);
    const MapParams m = MakeMapParams(src.bits, dst.bits, table);
    if (width == 0 || height == 0) return;
    CheckSide("Source", src.data, src.pitch, src.planeSize, BitsToBytes(width, 8 * SampleBytes(src.bits)), height, 3);
    CheckSide("Destination", dst.data, dst.pitch, 0, InterleavedLineBytes(width, dst.bits, dst.step), height, 1);
    // Planes are red, green, blue: the plane of destination sample 0 is blue's with BGR order.
    const size_t p0 = dst.blueFirst ? 2 * src.planeSize : 0, p2 = dst.blueFirst ? 0 : 2 * src.planeSize;
    const size_t p1 = src.planeSize;
    const unsigned ds = dst.step;
    WithMap(m, [&](auto map) {
        WithSampleBytes(src.bits, dst.bits, [&]<unsigned SB, unsigned DB>() {
            ForEachLine(src.data, src.pitch, dst.data, dst.pitch, height, reverse,
                        [&](const uint8_t* s, uint8_t* d, size_t) {
                            for (size_t x = 0, di = 0; x < width; ++x, di += ds) {
                                StoreSample<DB>(d, di, map(LoadSample<SB>(s + p0, x)));
                                StoreSample<DB>(d, di + 1, map(LoadSample<SB>(s + p1, x)));
                                StoreSample<DB>(d, di + 2, map(LoadSample<SB>(s + p2, x)));
                            }
                        });
        });
    });
}

void ConvertColorToPlanar(const SourceImage& src, const DestImage& dst, size_t width, size_t height,
                          bool reverse, const BitConversionTable* table) {
    CheckInterleaved("Source", src.bits, src.step);
    CheckBits("Destination", dst.bits, 1, 16);
    const MapParams m = MakeMapParams(src.bits, dst.bits, table);
    if (width == 0 || height == 0) return;
    CheckSide("Source", src.data, src.pitch, 0, InterleavedLineBytes(width, src.bits, src.step), height, 1);
    CheckSide("Destination", dst.data, dst.pitch, dst.planeSize, BitsToBytes(width, 8 * SampleBytes(dst.bits)),
              height, 3);
    // Plane offsets of source samples 0 and 2 (red plane 0, blue plane 2).
    const size_t p0 = src.blueFirst ? 2 * dst.planeSize : 0, p2 = src.blueFirst ? 0 : 2 * dst.planeSize;
    const size_t p1 = dst.planeSize;
    const unsigned ss = src.step;
    WithMap(m, [&](auto map) {
        WithSampleBytes(src.bits, dst.bits, [&]<unsigned SB, unsigned DB>() {
            ForEachLine(src.data, src.pitch, dst.data, dst.pitch, height, reverse,
                        [&](const uint8_t* s, uint8_t* d, size_t) {
                            for (size_t x = 0, si = 0; x < width; ++x, si += ss) {
                                StoreSample<DB>(d + p0, x, map(LoadSample<SB>(s, si)));
                                StoreSample<DB>(d + p1, x, map(LoadSample<SB>(s, si + 1)));
                                StoreSample<DB>(d + p2, x, map(LoadSample<SB>(s, si + 2)));
                            }
                        });
        });
    });
}

void ConvertColorToColorP(const SourceImage& src, const DestImage& dst, size_t width, size_t height,
                          bool reverse, const BitConversionTable* table) {
    CheckInterleaved("Source", src.bits, src.step);
    CheckBits("Destination", dst.bits, 1, 16);
    const MapParams m = MakeMapParams(src.bits, dst.bits, table);
    if (width == 0 || height == 0) return;
    const unsigned bits = dst.bits;
    // The stream goes out in 16-bit units: a line ends on a whole unit, the bits above the last
    // sample zero, so an odd byte count gets one more byte.
    const size_t streamBytes = BitsToBytes(width, 3 * size_t(bits));
    const bool padByte = streamBytes % 2 != 0;
    CheckSide("Source", src.data, src.pitch, 0, InterleavedLineBytes(width, src.bits, src.step), height, 1);
    CheckSide("Destination", dst.data, dst.pitch, 0, streamBytes + (padByte ? 1 : 0), height, 1);
    const Order o = SwapOrder(src.blueFirst, dst.blueFirst);
    const uint32_t mask = (uint32_t(1) << bits) - 1;
    const unsigned ss = src.step;
    WithMap(m, [&](auto map) {
        WithSampleBytes(src.bits, 8, [&]<unsigned SB, unsigned>() {
            ForEachLine(src.data, src.pitch, dst.data, dst.pitch, height, reverse,
                        [&](const uint8_t* s, uint8_t* d, size_t) {
                            uint32_t acc = 0; // at most 7 + 16 bits pending
                            unsigned have = 0;
                            auto put = [&](uint32_t v) {
                                acc |= (map(v) & mask) << have;
                                for (have += bits; have >= 8; have -= 8, acc >>= 8) *d++ = uint8_t(acc);
                            };
                            for (size_t x = 0, si = 0; x < width; ++x, si += ss) {
                                put(LoadSample<SB>(s, si + o.first));
                                put(LoadSample<SB>(s, si + 1));
                                put(LoadSample<SB>(s, si + o.third));
                            }
                            if (have > 0) *d++ = uint8_t(acc);
                            if (padByte) *d = 0;
                        });
        });
    });
}

void ConvertColorPToColor(const SourceImage& src, const DestImage& dst, size_t width, size_t height,
                          bool reverse, const BitConversionTable* table) {
    CheckBits("Source", src.bits, 1, 16);
    CheckInterleaved("Destination", dst.bits, dst.step);
    const MapParams m = MakeMapParams(src.bits, dst.bits, table);
    if (width == 0 || height == 0) return;
    const unsigned bits = src.bits;
    CheckSide("Source", src.data, src.pitch, 0, BitsToBytes(width, 3 * size_t(bits)), height, 1);
    CheckSide("Destination", dst.data, dst.pitch, 0, InterleavedLineBytes(width, dst.bits, dst.step), height, 1);
    const Order o = SwapOrder(src.blueFirst, dst.blueFirst);
    const uint32_t mask = (uint32_t(1) << bits) - 1;
    const unsigned ds = dst.step;
    WithMap(m, [&](auto map) {
        WithSampleBytes(8, dst.bits, [&]<unsigned, unsigned DB>() {
            ForEachLine(src.data, src.pitch, dst.data, dst.pitch, height, reverse,
                        [&](const uint8_t* s, uint8_t* d, size_t) {
                            uint32_t acc = 0;
                            unsigned have = 0;
                            auto take = [&]() {
                                for (; have < bits; have += 8) acc |= uint32_t(*s++) << have;
                                const uint32_t v = acc & mask;
                                acc >>= bits;
                                have -= bits;
                                return map(v);
                            };
                            for (size_t x = 0, di = 0; x < width; ++x, di += ds) {
                                const uint32_t a = take(), b = take(), c = take();
                                StoreSample<DB>(d, di + o.first, a);
                                StoreSample<DB>(d, di + 1, b);
                                StoreSample<DB>(d, di + o.third, c);
                            }
                        });
        });
    });
}

void ConvertColorToColor32(const SourceImage& src, const DestImage& dst, size_t width, size_t height,
                           bool reverse, const BitConversionTable* table) {
    CheckInterleaved("Source", src.bits, src.step);
    if (dst.bits != 10)
        throw INVALID_ARGUMENT_EXCEPTION("Destination depth = %u bits of a 32-bit colour word must be 10", dst.bits);
    const MapParams m = MakeMapParams(src.bits, 10, table);
    if (width == 0 || height == 0) return;
    CheckSide("Source", src.data, src.pitch, 0, InterleavedLineBytes(width, src.bits, src.step), height, 1);
    CheckSide("Destination", dst.data, dst.pitch, 0, BitsToBytes(width, 32), height, 1);
    const Order o = SwapOrder(src.blueFirst, dst.blueFirst);
    const unsigned ss = src.step;
    WithMap(m, [&](auto map) {
        WithSampleBytes(src.bits, 8, [&]<unsigned SB, unsigned>() {
            ForEachLine(src.data, src.pitch, dst.data, dst.pitch, height, reverse,
                        [&](const uint8_t* s, uint8_t* d, size_t) {
                            for (size_t x = 0, si = 0; x < width; ++x, si += ss) {
                                const uint32_t f0 = map(LoadSample<SB>(s, si + o.first)) & 0x3FF;
                                const uint32_t f1 = map(LoadSample<SB>(s, si + 1)) & 0x3FF;
                                const uint32_t f2 = map(LoadSample<SB>(s, si + o.third)) & 0x3FF;
                                Store32(d + 4 * x, f0 | (f1 << 10) | (f2 << 20));
                            }
                        });
        });
    });
}

void ConvertColor32ToColor(const SourceImage& src, const DestImage& dst, size_t width, size_t height,
                           bool reverse, const BitConversionTable* table) {
    if (src.bits != 10)
        throw INVALID_ARGUMENT_EXCEPTION("Source depth = %u bits of a 32-bit colour word must be 10", src.bits);
    CheckInterleaved("Destination", dst.bits, dst.step);
    const MapParams m = MakeMapParams(10, dst.bits, table);
    if (width == 0 || height == 0) return;
    CheckSide("Source", src.data, src.pitch, 0, BitsToBytes(width, 32), height, 1);
    CheckSide("Destination", dst.data, dst.pitch, 0, InterleavedLineBytes(width, dst.bits, dst.step), height, 1);
    const Order o = SwapOrder(src.blueFirst, dst.blueFirst);
    const unsigned ds = dst.step;
    WithMap(m, [&](auto map) {
        WithSampleBytes(8, dst.bits, [&]<unsigned, unsigned DB>() {
            ForEachLine(src.data, src.pitch, dst.data, dst.pitch, height, reverse,
                        [&](const uint8_t* s, uint8_t* d, size_t) {
                            for (size_t x = 0, di = 0; x < width; ++x, di += ds) {
                                const uint32_t w = Load32(s + 4 * x);
                                StoreSample<DB>(d, di + o.first, map(w & 0x3FF));
                                StoreSample<DB>(d, di + 1, map((w >> 10) & 0x3FF));
                                StoreSample<DB>(d, di + o.third, map((w >> 20) & 0x3FF));
                            }
                        });
        });
    });
}

void ConvertColorToBayer(const SourceImage& src, const DestImage& dst, size_t width, size_t height,
                         bool reverse, uint32_t dstPhase) {
    CheckInterleaved("Source", src.bits, src.step);
    CheckBits("Destination", dst.bits, 1, 16);
    if (src.bits != dst.bits)
        throw INVALID_ARGUMENT_EXCEPTION("Colour to mosaic needs equal depths, not %u and %u bits", src.bits,
                                         dst.bits);
    if (!lxip::IsBayerPhase(dstPhase))
        throw INVALID_ARGUMENT_EXCEPTION("Colour filter = %u is no Bayer phase (2 to 5)", dstPhase);
    if (width == 0 || height == 0) return;
    CheckSide("Source", src.data, src.pitch, 0, InterleavedLineBytes(width, src.bits, src.step), height, 1);
    CheckSide("Destination", dst.data, dst.pitch, 0, BitsToBytes(width, 8 * SampleBytes(dst.bits)), height, 1);

    // Index within a source pixel of the colour each site of the 2x2 pattern samples, rows then
    // columns.
    const unsigned red = src.blueFirst ? 2 : 0, blue = src.blueFirst ? 0 : 2;
    const unsigned where[3] = {red, 1, blue};
    unsigned pick[2][2];
    for (unsigned r = 0; r < 2; ++r)
        for (unsigned c = 0; c < 2; ++c) pick[r][c] = where[lxip::BayerChannel(dstPhase, c, r)];
    const unsigned ss = src.step;

    WithSampleBytes(src.bits, dst.bits, [&]<unsigned SB, unsigned DB>() {
        if constexpr (SB == DB) {
            ForEachLine(src.data, src.pitch, dst.data, dst.pitch, height, reverse,
                        [&](const uint8_t* s, uint8_t* d, size_t y) {
                            // y is the destination line: its parity selects the pattern row.
                            const unsigned even = pick[y & 1][0], odd = pick[y & 1][1];
                            size_t x = 0;
                            for (; x + 1 < width; x += 2) {
                                StoreSample<DB>(d, x, LoadSample<SB>(s, ss * x + even));
                                StoreSample<DB>(d, x + 1, LoadSample<SB>(s, ss * (x + 1) + odd));
                            }
                            if (x < width) StoreSample<DB>(d, x, LoadSample<SB>(s, ss * x + even));
                        });
        }
    });
}

} // namespace lxconv
