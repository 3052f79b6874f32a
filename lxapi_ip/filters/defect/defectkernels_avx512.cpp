// The AVX-512 form of the defect detection row kernels. The 8-bit image with 32-bit sums, the common
// case, has its own loops: the running sums slide 32 columns at a time, the row difference and its
// running sum formed inside the register by shifted additions in 16-bit lanes; the first row of a
// phase adds its rows 16 columns at a time; the judge takes the row 64 pixels to a branch in exact
// integers, the middle against each phase's bound, the edges against the smallest bound and count of
// each block, tests the groups an edge block does not clear 16 at a time in doubles, and leaves the
// few pixels near the bound to the scalar append. The other forms are the portable loops compiled with these flags.
// Reached only through the dispatcher after the processor reported AVX-512.
#include "defectkernels.h"

#include <cmath>
#include <cstring>

#if defined(__AVX512F__) && defined(__AVX512BW__) && defined(__AVX512VL__)
#include "kernels/lxavx512.h"

namespace lxdpd {
namespace {
#include "defectrows.h"

inline __mmask16 Lanes(size_t left) { return left >= 16 ? __mmask16(0xFFFF) : __mmask16((1u << left) - 1); }

// The lane of the previous group of 16 sums that carries each lane's phase: 16 - s + (i mod s).
__m512i CarryLanes(size_t step) {
    alignas(64) uint32_t index[16];
    for (uint32_t i = 0; i < 16; ++i) index[i] = uint32_t(16 - step + i % step);
    return _mm512_load_si512(index);
}

// Lane i of the group gathers the lanes i - s, i - 2s, ... of the group, then takes the carry of the
// groups before. The carry holds the same value in every lane of a phase, so the next one is the
// carry plus this group's last lanes, and the chain from group to group is one addition.
template <bool Prefix>
void AddColumnsOf(const uint8_t* pixels, uint32_t* columns, uint32_t* prefix, size_t width, size_t step) {
    [[maybe_unused]] const __m512i zero = _mm512_setzero_si512();
    [[maybe_unused]] const __m512i carryLanes = Prefix ? CarryLanes(step) : zero;
    [[maybe_unused]] __m512i carry = zero;
    const auto group = [&](size_t x, __mmask16 k) {
        __m512i c = _mm512_maskz_loadu_epi32(k, columns + x);
        c = _mm512_add_epi32(c, _mm512_cvtepu8_epi32(_mm_maskz_loadu_epi8(k, pixels + x)));
        _mm512_mask_storeu_epi32(columns + x, k, c);
        if constexpr (Prefix) {
            if (step < 2) c = _mm512_add_epi32(c, _mm512_alignr_epi32(c, zero, 15));
            if (step < 4) c = _mm512_add_epi32(c, _mm512_alignr_epi32(c, zero, 14));
            c = _mm512_add_epi32(c, _mm512_alignr_epi32(c, zero, 12));
            c = _mm512_add_epi32(c, _mm512_alignr_epi32(c, zero, 8));
            _mm512_mask_storeu_epi32(prefix + x, k, _mm512_add_epi32(c, carry));
            carry = _mm512_add_epi32(carry, _mm512_permutexvar_epi32(carryLanes, c));
        }
    };
    size_t x = 0;
    for (; x + 16 <= width; x += 16) group(x, __mmask16(0xFFFF));
    if (x < width) group(x, Lanes(width - x));
}

void AddColumns8x32(const uint8_t* pixels, uint32_t* columns, uint32_t* prefix, size_t width, size_t step) {
    if (prefix)
        AddColumnsOf<true>(pixels, columns, prefix, width, step);
    else
        AddColumnsOf<false>(pixels, columns, prefix, width, step);
}

// 32 columns at a time: the differences of two 8-bit rows and their running sums over 32 lanes stay
// within 16 bits (at most 32 x 255 in size), so they are formed in 16-bit lanes and widened only to
// be added to the sums.
template <bool Enter, bool Leave>
void SlideOf(const uint8_t* enter, const uint8_t* leave, uint32_t* prefix, size_t width, size_t step) {
    const __m512i zero = _mm512_setzero_si512();
    const __m512i carryLanes = CarryLanes(step);
    alignas(64) uint16_t back[32];
    for (uint16_t i = 0; i < 32; ++i) back[i] = uint16_t(i ? i - 1 : 0);
    const __m512i backOne = _mm512_load_si512(back);
    __m512i carry = zero;
    const auto group = [&](size_t x, __mmask32 k) {
        __m512i d = zero;
        if constexpr (Enter) d = _mm512_cvtepu8_epi16(_mm256_maskz_loadu_epi8(k, enter + x));
        if constexpr (Leave) d = _mm512_sub_epi16(d, _mm512_cvtepu8_epi16(_mm256_maskz_loadu_epi8(k, leave + x)));
        if (step < 2) d = _mm512_add_epi16(d, _mm512_maskz_permutexvar_epi16(0xFFFFFFFEu, backOne, d));
        if (step < 4) d = _mm512_add_epi16(d, _mm512_alignr_epi32(d, zero, 15));
        d = _mm512_add_epi16(d, _mm512_alignr_epi32(d, zero, 14));
        d = _mm512_add_epi16(d, _mm512_alignr_epi32(d, zero, 12));
        d = _mm512_add_epi16(d, _mm512_alignr_epi32(d, zero, 8));
        const __m512i lo = _mm512_add_epi32(_mm512_cvtepi16_epi32(_mm512_castsi512_si256(d)), carry);
        const __m512i hi = _mm512_cvtepi16_epi32(_mm512_extracti64x4_epi64(d, 1));
        const __mmask16 k0 = __mmask16(k), k1 = __mmask16(k >> 16);
        _mm512_mask_storeu_epi32(prefix + x, k0, _mm512_add_epi32(_mm512_maskz_loadu_epi32(k0, prefix + x), lo));
        _mm512_mask_storeu_epi32(prefix + x + 16, k1,
                                 _mm512_add_epi32(_mm512_maskz_loadu_epi32(k1, prefix + x + 16),
                                                  _mm512_add_epi32(hi, carry)));
        carry = _mm512_add_epi32(carry, _mm512_permutexvar_epi32(carryLanes, hi));
    };
    size_t x = 0;
    for (; x + 32 <= width; x += 32) group(x, __mmask32(0xFFFFFFFFu));
    if (x < width) group(x, width - x >= 32 ? __mmask32(0xFFFFFFFFu) : __mmask32((1u << (width - x)) - 1));
}

void Slide8x32(const uint8_t* enter, const uint8_t* leave, uint32_t* prefix, size_t width, size_t step) {
    if (enter && leave)
        SlideOf<true, true>(enter, leave, prefix, width, step);
    else if (enter)
        SlideOf<true, false>(enter, leave, prefix, width, step);
    else if (leave)
        SlideOf<false, true>(enter, leave, prefix, width, step);
}

// The fast test in integers: |Sum - P C| is exact in 32 bits (both terms lie below 2^32), and for an
// integer d, d < T exactly when d < ceil(T). A bound that is not a number or not above 0 sends every
// pixel on; one past 32 bits sends none but the unreachable d = 2^32 - 1, which the exact test takes.
uint32_t IntegerBound(double bound, uint64_t count) {
    const double t = bound * static_cast<double>(count - 1);
    if (!(t > 0.0)) return 0;
    if (t >= 4294967295.0) return 0xFFFFFFFFu;
    return static_cast<uint32_t>(std::ceil(t));
}

size_t JudgeMiddle8x32(const uint8_t* pixels, const uint32_t* prefix, const Geometry& g, const double* bound,
                       Candidate* out, size_t x0, size_t x1, uint64_t count, size_t n) {
    if (count <= 1 || count > 0xFFFFFFFFu)
        return JudgeMiddleScalar<uint8_t, uint32_t>(pixels, prefix, g, bound, out, x0, x1, count, n);
    const size_t R = g.radius, s = g.step, mask = s - 1;
    alignas(64) uint32_t limit[16];
    for (size_t i = 0; i < 16; ++i) limit[i] = IntegerBound(bound[(x0 + i) & mask], count);
    const __m512i limits = _mm512_load_si512(limit);
    const __m512i counts = _mm512_set1_epi32(static_cast<int>(count));
    alignas(64) uint32_t sums[16];
    // The pixels of a group that need the exact test; their sums wait in `sums`.
    const auto test = [&](size_t x, __mmask16 k, bool keep) {
        const __m512i sum = _mm512_sub_epi32(_mm512_maskz_loadu_epi32(k, prefix + (x + R)),
                                             _mm512_maskz_loadu_epi32(k, prefix + (x - R - s)));
        const __m512i pc = _mm512_mullo_epi32(_mm512_cvtepu8_epi32(_mm_maskz_loadu_epi8(k, pixels + x)), counts);
        const __m512i d = _mm512_sub_epi32(_mm512_max_epu32(sum, pc), _mm512_min_epu32(sum, pc));
        if (keep) _mm512_store_si512(sums, sum);
        return _mm512_mask_cmpge_epu32_mask(k, d, limits);
    };
    const auto append = [&](size_t x, __mmask16 near) {
        for (; near; near = __mmask16(near & (near - 1))) {
            const unsigned i = unsigned(__builtin_ctz(near));
            out[n++] = {static_cast<uint32_t>(x + i), pixels[x + i], sums[i], count};
        }
    };
    const auto group = [&](size_t x, __mmask16 k) {
        if (const __mmask16 near = test(x, k, false)) {
            test(x, k, true);
            append(x, near);
        }
    };
    // Four groups share one branch; a group with pixels to append is tested again to keep its sums.
    size_t x = x0;
    for (; x + 64 <= x1; x += 64) {
        const __mmask16 m0 = test(x, 0xFFFF, false), m1 = test(x + 16, 0xFFFF, false);
        const __mmask16 m2 = test(x + 32, 0xFFFF, false), m3 = test(x + 48, 0xFFFF, false);
        if (!_mm512_kortestz(_mm512_kor(m0, m1), _mm512_kor(m2, m3))) {
            group(x, 0xFFFF);
            group(x + 16, 0xFFFF);
            group(x + 32, 0xFFFF);
            group(x + 48, 0xFFFF);
        }
    }
    for (; x + 16 <= x1; x += 16) group(x, __mmask16(0xFFFF));
    if (x < x1) group(x, Lanes(x1 - x));
    return n;
}

// The columns [x0, x1) near an edge, where the neighbourhood's count changes from pixel to pixel:
// the right end of each sum is x + R or, with `rightFixed`, the last column of the pixel's phase; the
// left end is x - R - s with `hasLeft`, else the first column of the phase.
//
// Each block of up to 64 columns first takes an integer test against one limit, that of the smallest
// bound of the row and the smallest count of the block: with 0 <= b <= b' and c <= c', the rounded
// products keep their order, so an integer d below ceil(b (c - 1)) lies below b' (c' - 1) too, and
// the pixel is one the scalar test passes. The counts of each phase only grow or only shrink along a
// region, so the smallest count of a block lies among its first and last s columns. A group of 16
// with any pixel not cleared this way takes the fast test in doubles as the scalar one does, |d| and
// C - 1 being exact in them, so it hands on the same pixels.
template <bool rightFixed, bool hasLeft>
size_t JudgeEdge8x32(const uint8_t* pixels, const uint32_t* prefix, uint64_t rows, const Geometry& g,
                     const double* bound, Candidate* out, size_t x0, size_t x1, size_t n) {
    const size_t R = g.radius, s = g.step, mask = s - 1;
    const int shift = s == 4 ? 2 : s == 2 ? 1 : 0;
    alignas(64) uint32_t phase[16], lastSum[16], lastCol[16];
    alignas(64) double limit[8];
    for (size_t i = 0; i < 16; ++i) {
        const size_t px = (x0 + i) & mask;
        phase[i] = uint32_t(px);
        lastCol[i] = uint32_t(g.lastCol[px]);
        lastSum[i] = prefix[g.lastCol[px]];
        if (i < 8) limit[i] = bound[px];
    }
    const __m512i phases = _mm512_load_si512(phase), lastSums = _mm512_load_si512(lastSum);
    const __m512i lastCols = _mm512_load_si512(lastCol);
    const __m512d bounds = _mm512_load_pd(limit);
    const __m512i iota = _mm512_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
    const __m512i rowCount = _mm512_set1_epi32(static_cast<int>(rows));
    const __m512i one = _mm512_set1_epi32(1);
    alignas(64) uint32_t sums[16], counts[16];
    const auto group = [&](size_t x, __mmask16 k) {
        const __m512i xs = _mm512_add_epi32(_mm512_set1_epi32(static_cast<int>(x)), iota);
        __m512i right, sum, span;
        if (rightFixed) {
            right = lastCols;
            sum = lastSums;
        } else {
            right = _mm512_add_epi32(xs, _mm512_set1_epi32(static_cast<int>(R)));
            sum = _mm512_maskz_loadu_epi32(k, prefix + (x + R));
        }
        if (hasLeft) {
            sum = _mm512_sub_epi32(sum, _mm512_maskz_loadu_epi32(k, prefix + (x - R - s)));
            span = _mm512_sub_epi32(right, _mm512_sub_epi32(xs, _mm512_set1_epi32(static_cast<int>(R + s))));
        } else {
            span = _mm512_add_epi32(_mm512_sub_epi32(right, phases), _mm512_set1_epi32(static_cast<int>(s)));
        }
        const __m512i count = _mm512_mullo_epi32(_mm512_srli_epi32(span, static_cast<unsigned>(shift)), rowCount);
        const __m512i pc = _mm512_mullo_epi32(_mm512_cvtepu8_epi32(_mm_maskz_loadu_epi8(k, pixels + x)), count);
        const __m512i d = _mm512_sub_epi32(_mm512_max_epu32(sum, pc), _mm512_min_epu32(sum, pc));
        const __m512i less = _mm512_sub_epi32(count, one);
        const __mmask8 farLo = _mm512_cmp_pd_mask(
            _mm512_cvtepu32_pd(_mm512_castsi512_si256(d)),
            _mm512_mul_pd(bounds, _mm512_cvtepu32_pd(_mm512_castsi512_si256(less))), _CMP_LT_OQ);
        const __mmask8 farHi = _mm512_cmp_pd_mask(
            _mm512_cvtepu32_pd(_mm512_extracti64x4_epi64(d, 1)),
            _mm512_mul_pd(bounds, _mm512_cvtepu32_pd(_mm512_extracti64x4_epi64(less, 1))), _CMP_LT_OQ);
        const __mmask16 far = _mm512_kunpackb(__mmask16(farHi), __mmask16(farLo));
        __mmask16 near = _mm512_mask_cmpgt_epu32_mask(_mm512_kandn(far, k), count, one);
        if (!near) return;
        _mm512_store_si512(sums, sum);
        _mm512_store_si512(counts, count);
        for (; near; near = __mmask16(near & (near - 1))) {
            const unsigned i = unsigned(__builtin_ctz(near));
            out[n++] = {static_cast<uint32_t>(x + i), pixels[x + i], sums[i], counts[i]};
        }
    };
    // The count of column x as the scalar judge forms it.
    const auto countAt = [&](size_t x) -> uint64_t {
        const size_t px = x & mask;
        const size_t right = rightFixed ? g.lastCol[px] : x + R;
        const size_t span = hasLeft ? right - (x - R - s) : right - px + s;
        return uint64_t(span >> shift) * rows;
    };
    // A bound not above 0, or not a number, in any phase: no pixel is cleared by the integer test.
    double lowest = bound[0];
    for (size_t px = 0; px < s; ++px) lowest = !(bound[px] > 0.0) ? 0.0 : bound[px] < lowest ? bound[px] : lowest;
    const __m512i step = _mm512_set1_epi32(static_cast<int>((16 >> shift) * rows));
    __m512i count = _mm512_setzero_si512();
    {
        alignas(64) uint32_t first[16];
        for (size_t i = 0; i < 16; ++i) first[i] = uint32_t(countAt(x0 + i));
        count = _mm512_load_si512(first);
    }
    // Lanes of the group at x not cleared by the integer test against `limit`; the counts move on by
    // 16 columns: up while the right end moves, down while the left end does.
    const auto cleared = [&](size_t x, __mmask16 k, __m512i limit) {
        __m512i sum = rightFixed ? lastSums : _mm512_maskz_loadu_epi32(k, prefix + (x + R));
        if (hasLeft) sum = _mm512_sub_epi32(sum, _mm512_maskz_loadu_epi32(k, prefix + (x - R - s)));
        const __m512i pc = _mm512_mullo_epi32(_mm512_cvtepu8_epi32(_mm_maskz_loadu_epi8(k, pixels + x)), count);
        const __m512i d = _mm512_sub_epi32(_mm512_max_epu32(sum, pc), _mm512_min_epu32(sum, pc));
        if (!rightFixed) count = _mm512_add_epi32(count, step);
        if (hasLeft) count = _mm512_sub_epi32(count, step);
        return _mm512_mask_cmplt_epu32_mask(k, d, limit);
    };
    // The smallest count of [x, end): at its start while the counts grow, at its end while they shrink.
    const auto least = [&](size_t x, size_t end) {
        uint64_t c = ~uint64_t(0);
        if (!hasLeft)
            for (size_t i = x; i < end && i < x + s; ++i) c = countAt(i) < c ? countAt(i) : c;
        if (hasLeft || rightFixed)
            for (size_t i = end > x + s ? end - s : x; i < end; ++i) c = countAt(i) < c ? countAt(i) : c;
        return _mm512_set1_epi32(static_cast<int>(IntegerBound(lowest, c)));
    };
    // Four groups share one branch, as in the middle of the row.
    size_t x = x0;
    for (; x + 64 <= x1; x += 64) {
        const __m512i limit = least(x, x + 64);
        const __mmask16 m0 = cleared(x, 0xFFFF, limit), m1 = cleared(x + 16, 0xFFFF, limit);
        const __mmask16 m2 = cleared(x + 32, 0xFFFF, limit), m3 = cleared(x + 48, 0xFFFF, limit);
        if (_mm512_kand(_mm512_kand(m0, m1), _mm512_kand(m2, m3)) != 0xFFFF) {
            if (m0 != 0xFFFF) group(x, 0xFFFF);
            if (m1 != 0xFFFF) group(x + 16, 0xFFFF);
            if (m2 != 0xFFFF) group(x + 32, 0xFFFF);
            if (m3 != 0xFFFF) group(x + 48, 0xFFFF);
        }
    }
    if (x < x1) {
        const __m512i limit = least(x, x1);
        for (; x < x1; x += 16) {
            const __mmask16 k = Lanes(x1 - x);
            if (cleared(x, k, limit) != k) group(x, k);
        }
    }
    return n;
}

// The row in the regions of JudgeRowWith: the left edge (its right end x + R while that lies in the
// image, then the last column), the middle, the right edge.
size_t JudgeRow8x32(const uint8_t* pixels, const uint32_t* prefix, uint64_t rows, const Geometry& g,
                    const double* bound, Candidate* out) {
    const size_t w = g.width, s = g.step, R = g.radius;
    if (uint64_t(w) * rows > 0xFFFFFFFFu || w + R + s > 0x7FFFFFFFu)
        return JudgeRowScalar<uint8_t, uint32_t>(pixels, prefix, rows, g, bound, out);
    const size_t inner0 = R + s < w ? R + s : w;
    const size_t inner1 = w > R ? w - R : 0;
    const size_t split = inner0 < inner1 ? inner0 : inner1;
    size_t n = JudgeEdge8x32<false, false>(pixels, prefix, rows, g, bound, out, 0, split, 0);
    n = JudgeEdge8x32<true, false>(pixels, prefix, rows, g, bound, out, split, inner0, n);
    if (inner0 < inner1)
        n = JudgeMiddle8x32(pixels, prefix, g, bound, out, inner0, inner1, ((2 * R >> (s == 4 ? 2 : s == 2 ? 1 : 0)) + 1) * rows, n);
    return JudgeEdge8x32<true, true>(pixels, prefix, rows, g, bound, out, inner0 > inner1 ? inner0 : inner1, w, n);
}

constexpr RowKernels MakeAvx512Kernels() {
    RowKernels k = MakeRowKernels();
    k.add8x32 = &AddColumns8x32;
    k.slide8x32 = &Slide8x32;
    k.judge8x32 = &JudgeRow8x32;
    return k;
}
} // namespace

extern const RowKernels kAvx512Rows;
const RowKernels kAvx512Rows = MakeAvx512Kernels();

} // namespace lxdpd
#endif
