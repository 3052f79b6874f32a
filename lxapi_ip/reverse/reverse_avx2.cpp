// The AVX2 form of the movers: the same templates built with AVX2, so that the compiler's vector
// permutes reverse the lines; quarter turns of 1- and 2-byte pixels go through register transposes
// of 16 x 16 bytes and 8 x 8 words, and lines of 3-byte pixels are reversed by byte shuffles. Reached only through the dispatcher, after the processor
// reported AVX2.
#include "reversemovers.h"

#if defined(__AVX2__)
#include <immintrin.h>
#endif

namespace lxreverse {

#if defined(__AVX2__)
namespace detail {
namespace {

// Rows r[0..15] of 16 bytes become columns: r[j] holds byte j of every row, in row order. Four rounds
// of interleaving, each doubling the unit that holds whole rows: bytes, words, double words, halves.
inline void Transpose16x16(__m128i r[16]) {
    __m128i t[16];
    for (int i = 0; i < 8; ++i) {
        t[i] = _mm_unpacklo_epi8(r[2 * i], r[2 * i + 1]);     // columns 0-7, rows 2i, 2i + 1
        t[i + 8] = _mm_unpackhi_epi8(r[2 * i], r[2 * i + 1]); // columns 8-15
    }
    for (int h = 0; h < 2; ++h)
        for (int k = 0; k < 4; ++k) {
            const __m128i a = t[h * 8 + 2 * k], b = t[h * 8 + 2 * k + 1];
            r[h * 8 + k] = _mm_unpacklo_epi16(a, b);     // columns 8h + 0-3, rows 4k .. 4k + 3
            r[h * 8 + k + 4] = _mm_unpackhi_epi16(a, b); // columns 8h + 4-7
        }
    for (int q = 0; q < 4; ++q)
        for (int m = 0; m < 2; ++m) {
            const __m128i a = r[q * 4 + 2 * m], b = r[q * 4 + 2 * m + 1];
            t[q * 4 + m] = _mm_unpacklo_epi32(a, b);     // columns 4q + 0-1, rows 8m .. 8m + 7
            t[q * 4 + m + 2] = _mm_unpackhi_epi32(a, b); // columns 4q + 2-3
        }
    for (int p = 0; p < 8; ++p) {
        const __m128i a = t[p * 2], b = t[p * 2 + 1];
        r[p * 2] = _mm_unpacklo_epi64(a, b);     // column 2p, all rows
        r[p * 2 + 1] = _mm_unpackhi_epi64(a, b); // column 2p + 1
    }
}

// Rows r[0..7] of 8 words become columns.
inline void Transpose8x8(__m128i r[8]) {
    __m128i t[8];
    for (int i = 0; i < 4; ++i) {
        t[i] = _mm_unpacklo_epi16(r[2 * i], r[2 * i + 1]);     // columns 0-3, rows 2i, 2i + 1
        t[i + 4] = _mm_unpackhi_epi16(r[2 * i], r[2 * i + 1]); // columns 4-7
    }
    for (int h = 0; h < 2; ++h)
        for (int k = 0; k < 2; ++k) {
            const __m128i a = t[h * 4 + 2 * k], b = t[h * 4 + 2 * k + 1];
            r[h * 4 + k] = _mm_unpacklo_epi32(a, b);     // columns 4h + 0-1, rows 4k .. 4k + 3
            r[h * 4 + k + 2] = _mm_unpackhi_epi32(a, b); // columns 4h + 2-3
        }
    for (int p = 0; p < 4; ++p) {
        const __m128i a = r[p * 2], b = r[p * 2 + 1];
        t[p * 2] = _mm_unpacklo_epi64(a, b);
        t[p * 2 + 1] = _mm_unpackhi_epi64(a, b);
    }
    for (int i = 0; i < 8; ++i) r[i] = t[i];
}

// A quarter turn of N-byte pixels (N = 1 or 2) by blocks of B x B pixels, B * N = 16 bytes. A block's
// source lines are read top down (`Down`) or bottom up, so that each transposed line is a forward
// run of destination pixels. Blocks go by tiles of four by four, whose source and destination lines
// stay in the cache together. The columns right of the last whole block and the lines below it go
// pixel by pixel.
template <size_t N, bool Down>
void TurnBlocks(const Plane& p, const TurnPlan& plan) {
    constexpr size_t B = 16 / N, T = 8 * B;
    constexpr ptrdiff_t stepY = Down ? ptrdiff_t(N) : -ptrdiff_t(N);
    const size_t fullW = p.width / B * B, fullH = p.height / B * B;
    __m128i r[B];
    for (size_t y0 = 0; y0 < fullH; y0 += T) {
        const size_t y1 = y0 + T < fullH ? y0 + T : fullH;
        for (size_t x0 = 0; x0 < fullW; x0 += T) {
            const size_t x1 = x0 + T < fullW ? x0 + T : fullW;
            // Down a column of blocks first: its B destination lines are filled a cache line at a
            // time, which keeps them from being evicted half written when the pitch is a power of
            // two and all destination lines fall into the same cache sets.
            for (size_t bx = x0; bx < x1; bx += B)
                for (size_t by = y0; by < y1; by += B) {
                    const uint8_t* s = p.src + by * p.srcPitch + bx * N;
                    for (size_t i = 0; i < B; ++i)
                        r[i] = _mm_loadu_si128(
                            reinterpret_cast<const __m128i*>(s + (Down ? i : B - 1 - i) * p.srcPitch));
                    if constexpr (N == 1)
                        Transpose16x16(r);
                    else
                        Transpose8x8(r);
                    const ptrdiff_t first = Down ? ptrdiff_t(by) * stepY : ptrdiff_t(by + B - 1) * stepY;
                    uint8_t* d = plan.origin + ptrdiff_t(bx) * plan.stepX + first;
                    for (size_t j = 0; j < B; ++j)
                        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + ptrdiff_t(j) * plan.stepX), r[j]);
                }
        }
    }
    for (size_t x = fullW; x < p.width; ++x)
        TurnRun<N, Down, false>(p.src + x * N, p.srcPitch, plan.origin + ptrdiff_t(x) * plan.stepX, p.height);
    if (fullH < p.height)
        for (size_t x = 0; x < fullW; ++x)
            TurnRun<N, Down, false>(p.src + fullH * p.srcPitch + x * N, p.srcPitch,
                                    plan.origin + ptrdiff_t(x) * plan.stepX + ptrdiff_t(fullH) * stepY,
                                    p.height - fullH);
}

// A line of 3-byte pixels written backwards, 16 pixels (three registers) at a time: output byte k of
// a group is source byte (15 - k / 3) * 3 + k % 3, which one byte shuffle per pair of registers picks
// (a mask byte of 0x80 gives 0, and the three picks are or-ed).
struct Reverse3Masks {
    uint8_t m[3][3][16]; // [output register][source register][byte]
};
constexpr Reverse3Masks MakeReverse3Masks() {
    Reverse3Masks r{};
    for (size_t o = 0; o < 3; ++o)
        for (size_t src = 0; src < 3; ++src)
            for (size_t b = 0; b < 16; ++b) {
                const size_t k = o * 16 + b, from = (15 - k / 3) * 3 + k % 3;
                r.m[o][src][b] = uint8_t(from / 16 == src ? from % 16 : 0x80);
            }
    return r;
}
alignas(16) constexpr Reverse3Masks kReverse3 = MakeReverse3Masks();

void ReverseLine3(const uint8_t* __restrict s, uint8_t* __restrict d, size_t w) {
    __m128i m[3][3];
    for (size_t o = 0; o < 3; ++o)
        for (size_t src = 0; src < 3; ++src) m[o][src] = _mm_load_si128(reinterpret_cast<const __m128i*>(kReverse3.m[o][src]));
    size_t i = 0;
    for (; i + 16 <= w; i += 16) {
        const __m128i in[3] = {_mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 3 * i)),
                               _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 3 * i + 16)),
                               _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 3 * i + 32))};
        uint8_t* out = d + (w - i - 16) * 3;
        for (size_t o = 0; o < 3; ++o) {
            const __m128i v = _mm_or_si128(_mm_or_si128(_mm_shuffle_epi8(in[0], m[o][0]), _mm_shuffle_epi8(in[1], m[o][1])),
                                           _mm_shuffle_epi8(in[2], m[o][2]));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 16 * o), v);
        }
    }
    for (; i < w; ++i) CopyPixel<3>(d + (w - 1 - i) * 3, s + 3 * i);
}

// A line copied by 32-byte loads and stores, the last ones overlapping the line's end.
inline void CopyLine(const uint8_t* __restrict s, uint8_t* __restrict d, size_t bytes) {
    if (bytes < 32) {
        std::memcpy(d, s, bytes);
        return;
    }
    size_t i = 0;
    for (; i + 128 <= bytes; i += 128) {
        const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s + i));
        const __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s + i + 32));
        const __m256i c = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s + i + 64));
        const __m256i e = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s + i + 96));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + i), a);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + i + 32), b);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + i + 64), c);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + i + 96), e);
    }
    for (; i + 32 <= bytes; i += 32)
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + i), _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s + i)));
    if (i < bytes)
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + bytes - 32),
                            _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s + bytes - 32)));
}

// Quarter turns of 1- and 2-byte pixels and flips in X of 3-byte pixels have forms of their own;
// everything else is the generic mover built with AVX2.
template <size_t N>
void MoveFast(const Plane& p, Operation op) {
    if (p.width != 0 && p.height != 0) {
        if (op == Operation::FlipY) {
            for (size_t y = 0; y < p.height; ++y)
                CopyLine(p.src + y * p.srcPitch, p.dst + (p.height - 1 - y) * p.dstPitch, p.width * N);
            return;
        }
        if constexpr (N <= 2) {
            if (SwapsAxes(op)) {
                const TurnPlan plan = PlanTurn<N>(p, op);
                if (plan.down)
                    TurnBlocks<N, true>(p, plan);
                else
                    TurnBlocks<N, false>(p, plan);
                return;
            }
        }
        if constexpr (N == 3) {
            if (op == Operation::FlipX || op == Operation::FlipXY) {
                const size_t h = p.height;
                for (size_t y = 0; y < h; ++y)
                    ReverseLine3(p.src + y * p.srcPitch, p.dst + (op == Operation::FlipX ? y : h - 1 - y) * p.dstPitch,
                                 p.width);
                return;
            }
        }
    }
    MovePixels<N>(p, op);
}

constexpr MoverTable kAvx2Movers = {
    {&MoveFast<1>, &MoveFast<2>, &MoveFast<3>, &MovePixels<4>, &MovePixels<6>, &MovePixels<8>}};

} // namespace
} // namespace detail

const MoverTable* Avx2Movers() noexcept { return &detail::kAvx2Movers; }
#else
const MoverTable* Avx2Movers() noexcept { return nullptr; }
#endif

} // namespace lxreverse
