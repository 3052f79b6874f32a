// The AVX2 line kernels of the sliding window. The windows at even columns take their pairs of
// samples from a load at x, those at odd columns from a load at x + 1, so that every 32-bit lane
// holds the two samples of one window line side by side: byte pairs are summed by one multiply-add,
// word pairs weighted by another, and the even and odd results interleave by a shift and an or.
// Built with -mavx2 alone and entered only after the dispatcher found AVX2.
#include "polarrows.h"
#include "polarlinearsteps.h"
#include "polartables.h"

#if defined(__x86_64__) && defined(__AVX2__)

#include <immintrin.h>

#include <utility>

namespace lxpol::detail {
namespace {

inline __m256i Load(const void* p) { return _mm256_loadu_si256(static_cast<const __m256i*>(p)); }
inline void Store(void* p, __m256i v) { _mm256_storeu_si256(static_cast<__m256i*>(p), v); }

// ---- average, maximum, minimum, difference ----

template <size_t op>
inline __m256i Extreme8(__m256i p, __m256i q, __m256i r, __m256i s) {
    const __m256i hi = _mm256_max_epu8(_mm256_max_epu8(p, q), _mm256_max_epu8(r, s));
    const __m256i lo = _mm256_min_epu8(_mm256_min_epu8(p, q), _mm256_min_epu8(r, s));
    if constexpr (op == 1) return hi;
    else if constexpr (op == 2) return lo;
    else return _mm256_sub_epi8(hi, lo);
}

template <size_t op>
void Symmetric8(const uint8_t* l0, const uint8_t* l1, uint8_t* out, uint32_t cols) {
    uint32_t x = 0;
    if constexpr (op == 0) {
        // Pair sums of bytes by a multiply-add with ones: lanes of the load at x give the even windows,
        // of the load at x + 1 the odd ones.
        const __m256i ones = _mm256_set1_epi8(1), two = _mm256_set1_epi16(2);
        for (; x + 32 <= cols; x += 32) {
            const __m256i even = _mm256_add_epi16(_mm256_maddubs_epi16(Load(l0 + x), ones),
                                                  _mm256_maddubs_epi16(Load(l1 + x), ones));
            const __m256i odd = _mm256_add_epi16(_mm256_maddubs_epi16(Load(l0 + x + 1), ones),
                                                 _mm256_maddubs_epi16(Load(l1 + x + 1), ones));
            const __m256i e = _mm256_srli_epi16(_mm256_add_epi16(even, two), 2);
            const __m256i o = _mm256_slli_epi16(_mm256_srli_epi16(_mm256_add_epi16(odd, two), 2), 8);
            Store(out + x, _mm256_or_si256(e, o));
        }
    } else {
        for (; x + 32 <= cols; x += 32)
            Store(out + x, Extreme8<op>(Load(l0 + x), Load(l0 + x + 1), Load(l1 + x), Load(l1 + x + 1)));
    }
    PortableRows().symmetric8[op](l0 + x, l1 + x, out + x, cols - x);
}

template <size_t op>
void Symmetric16(const uint16_t* l0, const uint16_t* l1, uint16_t* out, uint32_t cols, uint16_t max) {
    const __m256i m = _mm256_set1_epi16(int16_t(max)), two = _mm256_set1_epi16(2);
    uint32_t x = 0;
    for (; x + 16 <= cols; x += 16) {
        const __m256i p = _mm256_min_epu16(Load(l0 + x), m), q = _mm256_min_epu16(Load(l0 + x + 1), m);
        const __m256i r = _mm256_min_epu16(Load(l1 + x), m), s = _mm256_min_epu16(Load(l1 + x + 1), m);
        __m256i v;
        if constexpr (op == 0) {
            v = _mm256_srli_epi16(_mm256_add_epi16(_mm256_add_epi16(p, q), _mm256_add_epi16(_mm256_add_epi16(r, s), two)), 2);
        } else {
            const __m256i hi = _mm256_max_epu16(_mm256_max_epu16(p, q), _mm256_max_epu16(r, s));
            const __m256i lo = _mm256_min_epu16(_mm256_min_epu16(p, q), _mm256_min_epu16(r, s));
            v = op == 1 ? hi : op == 2 ? lo : _mm256_sub_epi16(hi, lo);
        }
        Store(out + x, v);
    }
    PortableRows().symmetric16[op](l0 + x, l1 + x, out + x, cols - x, max);
}

// ---- linear interpolation ----

// The constants of a line: the affine parts of the positions (0, 1) and (2, 3) as word pairs, for the
// even and the odd windows.
struct LinearConstants {
    __m256i a01[2], a23[2], f01[2], f23[2];
    __m256i lo, span, low14, top, zero;
    explicit LinearConstants(const LinearLine& l) {
        auto pair = [](int16_t p, int16_t q) { return _mm256_set1_epi32(int32_t(uint16_t(p)) | int32_t(uint32_t(uint16_t(q)) << 16)); };
        for (int i = 0; i < 2; ++i) {
            a01[i] = pair(l.a[i][0], l.a[i][1]), a23[i] = pair(l.a[i][2], l.a[i][3]);
            f01[i] = pair(l.f[i][0], l.f[i][1]), f23[i] = pair(l.f[i][2], l.f[i][3]);
        }
        lo = _mm256_set1_epi32(l.lo + 32767); // the ceiling of the division below
        span = _mm256_set1_epi32(l.span);
        low14 = _mm256_set1_epi32(0x3FFF);
        top = _mm256_set1_epi32(int32_t(l.max << 14));
        zero = _mm256_setzero_si256();
    }
    // Results of eight windows at one parity from their word pairs of line 0 and line 1; `unsure` has
    // all ones in the lanes whose range of sums holds a multiple of 2^14 above its least sum.
    __m256i Results(__m256i w0, __m256i w1, int parity, __m256i& unsure) const {
        const __m256i x = _mm256_add_epi32(_mm256_madd_epi16(w0, a01[parity]), _mm256_madd_epi16(w1, a23[parity]));
        const __m256i y = _mm256_add_epi32(_mm256_madd_epi16(w0, f01[parity]), _mm256_madd_epi16(w1, f23[parity]));
        const __m256i least = _mm256_add_epi32(x, _mm256_srai_epi32(_mm256_add_epi32(y, lo), 15));
        unsure = _mm256_cmpgt_epi32(span, _mm256_and_si256(_mm256_add_epi32(least, span), low14));
        return _mm256_srli_epi32(_mm256_min_epi32(_mm256_max_epi32(least, zero), top), 14);
    }
};

inline uint32_t Differ(__m256i unsureEven, __m256i unsureOdd) {
    const uint32_t e = uint32_t(_mm256_movemask_ps(_mm256_castsi256_ps(unsureEven)));
    const uint32_t o = uint32_t(_mm256_movemask_ps(_mm256_castsi256_ps(unsureOdd)));
    return e | o << 8;
}

void Linear8(const uint8_t* l0, const uint8_t* l1, uint8_t* out, uint32_t cols, const LinearLine& l) {
    uint32_t x = 0;
    if (l.affine) {
        const LinearConstants k(l);
        auto words = [](const uint8_t* p) { return _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))); };
        x = LinearSteps<8>(l0, l1, out, cols, l, [&](uint32_t at) {
            __m256i first, second;
            const int parity = int(at & 1);
            const __m256i e = k.Results(words(l0 + at), words(l1 + at), parity, first);
            const __m256i o = k.Results(words(l0 + at + 1), words(l1 + at + 1), parity ^ 1, second);
            // Lane j holds the bytes of windows at + 2j and at + 2j + 1 in its low word.
            const __m256i v = _mm256_or_si256(e, _mm256_slli_epi32(o, 8));
            const __m256i packed = _mm256_permute4x64_epi64(_mm256_packus_epi32(v, v), 0x08);
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out + at), _mm256_castsi256_si128(packed));
            return Differ(first, second);
        });
    }
    PortableRows().linear8(l0 + x, l1 + x, out + x, cols - x, l); // x is even or the line's end
}

void Linear16(const uint16_t* l0, const uint16_t* l1, uint16_t* out, uint32_t cols, const LinearLine& l) {
    uint32_t x = 0;
    if (l.affine) {
        const LinearConstants k(l);
        const __m256i m = _mm256_set1_epi16(int16_t(l.max));
        auto words = [&](const uint16_t* p) { return _mm256_min_epu16(Load(p), m); };
        x = LinearSteps<8>(l0, l1, out, cols, l, [&](uint32_t at) {
            __m256i first, second;
            const int parity = int(at & 1);
            const __m256i e = k.Results(words(l0 + at), words(l1 + at), parity, first);
            const __m256i o = k.Results(words(l0 + at + 1), words(l1 + at + 1), parity ^ 1, second);
            Store(out + at, _mm256_or_si256(e, _mm256_slli_epi32(o, 16)));
            return Differ(first, second);
        });
    }
    PortableRows().linear16(l0 + x, l1 + x, out + x, cols - x, l);
}

// ---- degree and angle of polarization ----

// The constants of a line. Components of eight windows of one parity come from their word pairs by
// multiply-adds with coefficients of 1, -1 and 0; the tables are read by gathers.
struct StokesConstants {
    __m256i x01[2], x23[2], y01[2], y23[2];
    __m256i ones, angleIndex, max, bits, one, bias, low32, low16, half, pi;
    const int* magnitude;
    const int* mul;
    const int* angle;
    explicit StokesConstants(const StokesLine& l) {
        const StokesScalars k(l);
        for (uint32_t i = 0; i < 2; ++i) {
            x01[i] = _mm256_set1_epi32(k.x01[i]), x23[i] = _mm256_set1_epi32(k.x23[i]);
            y01[i] = _mm256_set1_epi32(k.y01[i]), y23[i] = _mm256_set1_epi32(k.y23[i]);
        }
        ones = _mm256_set1_epi32(k.ones);
        angleIndex = _mm256_set1_epi32(k.angleIndex);
        max = _mm256_set1_epi32(k.max);
        bits = _mm256_set1_epi32(k.divisionBits);
        one = _mm256_set1_epi32(1);
        bias = _mm256_set1_epi32(126);
        low32 = _mm256_set1_epi64x(0xFFFFFFFF);
        low16 = _mm256_set1_epi32(0xFFFF);
        half = _mm256_set1_epi32(k.half);
        pi = _mm256_set1_epi32(k.angleOfPi);
        magnitude = k.magnitude;
        mul = k.mul;
        angle = k.angle;
    }
    __m256i X(__m256i w0, __m256i w1, int p) const {
        return _mm256_add_epi32(_mm256_madd_epi16(w0, x01[p]), _mm256_madd_epi16(w1, x23[p]));
    }
    __m256i Y(__m256i w0, __m256i w1, int p) const {
        return _mm256_add_epi32(_mm256_madd_epi16(w0, y01[p]), _mm256_madd_epi16(w1, y23[p]));
    }
    // |x| and |y| as the low and high word of each lane.
    static __m256i AbsolutePair(__m256i x, __m256i y) {
        return _mm256_blend_epi16(_mm256_abs_epi32(x), _mm256_slli_epi32(_mm256_abs_epi32(y), 16), 0xAA);
    }
    __m256i Degree(__m256i w0, __m256i w1, int p) const {
        const __m256i s = _mm256_add_epi32(_mm256_madd_epi16(w0, ones), _mm256_madd_epi16(w1, ones));
        // The entry of the larger h and the smaller l of |x| and |y|: h (h + 1) / 2 + l.
        const __m256i ax = _mm256_abs_epi32(X(w0, w1, p)), ay = _mm256_abs_epi32(Y(w0, w1, p));
        const __m256i h = _mm256_max_epi32(ax, ay), l = _mm256_min_epi32(ax, ay);
        const __m256i at = _mm256_add_epi32(_mm256_srli_epi32(_mm256_mullo_epi32(h, _mm256_add_epi32(h, one)), 1), l);
        const __m256i m = _mm256_i32gather_epi32(magnitude, at, 4);
        const __m256i f = _mm256_i32gather_epi32(mul, s, 8);
        // The shift b + bit_width(s - 1), the width from the exponent of s - 1 as a float (exact: s is
        // below 2^24). s = 0 gives a shift past 63 and the factor 0: the quotient 0.
        const __m256i e = _mm256_srli_epi32(_mm256_castps_si256(_mm256_cvtepi32_ps(_mm256_sub_epi32(s, one))), 23);
        const __m256i shift = _mm256_add_epi32(bits, _mm256_max_epi32(_mm256_sub_epi32(e, bias), _mm256_setzero_si256()));
        const __m256i even = _mm256_srlv_epi64(_mm256_mul_epu32(m, f), _mm256_and_si256(shift, low32));
        const __m256i odd = _mm256_srlv_epi64(_mm256_mul_epu32(_mm256_srli_epi64(m, 32), _mm256_srli_epi64(f, 32)),
                                              _mm256_srli_epi64(shift, 32));
        return _mm256_min_epu32(_mm256_or_si256(even, _mm256_slli_epi64(odd, 32)), max);
    }
    // The angle from the first-quadrant entry, as StokesTables::AngleOfEntry.
    __m256i Angle(__m256i w0, __m256i w1, int p) const {
        const __m256i x = X(w0, w1, p), y = Y(w0, w1, p), zero = _mm256_setzero_si256();
        const __m256i at = _mm256_madd_epi16(AbsolutePair(x, y), angleIndex);
        const __m256i e = _mm256_and_si256(_mm256_i32gather_epi32(angle, at, 2), low16);
        const __m256i floor = _mm256_srli_epi32(e, 1);
        const __m256i yZero = _mm256_cmpeq_epi32(y, zero);
        const __m256i rounded = _mm256_or_si256(_mm256_cmpgt_epi32(x, zero), yZero);
        const __m256i upper = _mm256_blendv_epi8(_mm256_sub_epi32(half, floor),
                                                 _mm256_add_epi32(floor, _mm256_and_si256(e, one)), rounded);
        const __m256i v = _mm256_blendv_epi8(upper, _mm256_sub_epi32(max, upper), _mm256_cmpgt_epi32(zero, y));
        return _mm256_blendv_epi8(v, pi, _mm256_and_si256(yZero, _mm256_cmpgt_epi32(zero, x)));
    }
};

// The vector forms need the division factors below 2^32.
inline bool VectorDivision(const StokesLine& l) { return l.tables->divisionBits <= 30; }

template <bool degree>
void Stokes8(const uint8_t* l0, const uint8_t* l1, uint8_t* out, uint32_t cols, const StokesLine& l) {
    uint32_t x = 0;
    if (!degree || VectorDivision(l)) {
        const StokesConstants k(l);
        auto words = [](const uint8_t* p) { return _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))); };
        for (; x + 16 <= cols; x += 16) {
            const __m256i w0 = words(l0 + x), w1 = words(l1 + x), u0 = words(l0 + x + 1), u1 = words(l1 + x + 1);
            const __m256i e = degree ? k.Degree(w0, w1, 0) : k.Angle(w0, w1, 0);
            const __m256i o = degree ? k.Degree(u0, u1, 1) : k.Angle(u0, u1, 1);
            const __m256i v = _mm256_or_si256(e, _mm256_slli_epi32(o, 8));
            const __m256i packed = _mm256_permute4x64_epi64(_mm256_packus_epi32(v, v), 0x08);
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out + x), _mm256_castsi256_si128(packed));
        }
    }
    (degree ? PortableRows().degree8 : PortableRows().angle8)(l0 + x, l1 + x, out + x, cols - x, l);
}

template <bool degree>
void Stokes16(const uint16_t* l0, const uint16_t* l1, uint16_t* out, uint32_t cols, const StokesLine& l) {
    uint32_t x = 0;
    if (!degree || VectorDivision(l)) {
        const StokesConstants k(l);
        const __m256i m = _mm256_set1_epi16(int16_t(l.max));
        auto words = [&](const uint16_t* p) { return _mm256_min_epu16(Load(p), m); };
        for (; x + 16 <= cols; x += 16) {
            const __m256i w0 = words(l0 + x), w1 = words(l1 + x), u0 = words(l0 + x + 1), u1 = words(l1 + x + 1);
            const __m256i e = degree ? k.Degree(w0, w1, 0) : k.Angle(w0, w1, 0);
            const __m256i o = degree ? k.Degree(u0, u1, 1) : k.Angle(u0, u1, 1);
            Store(out + x, _mm256_or_si256(e, _mm256_slli_epi32(o, 16)));
        }
    }
    (degree ? PortableRows().degree16 : PortableRows().angle16)(l0 + x, l1 + x, out + x, cols - x, l);
}

// ---- the hue wheel ----

// HuePixel on eight pixels in 32-bit lanes: the sextant's start, end and reciprocal come from tables
// in registers, the channel roles from the wheel's bit sets of the sextants. Every value is below
// 2^31, so the signed comparisons order them as unsigned ones.
template <class S>
void Hue(const S* degree, const S* angle, uint16_t* red, uint16_t* green, uint16_t* blue, uint32_t cols,
         const HueWheel& w) {
    const __m256i zero = _mm256_setzero_si256(), one = _mm256_set1_epi32(1), m = _mm256_set1_epi32(int32_t(w.m));
    const __m256i phase = _mm256_set1_epi32(int32_t(w.phaseOffset));
    __m256i below[5]; // h[k + 1] - 1: hue >= h[k + 1] is hue > below[k]
    for (int k = 0; k < 5; ++k) below[k] = _mm256_set1_epi32(int32_t(w.h[k + 1]) - 1);
    const __m256i starts = Load(w.h), ends = Load(w.h + 1);
    const __m256 reciprocals = _mm256_loadu_ps(w.reciprocal);
    auto roles = [](HueRoles r) { return std::pair(_mm256_set1_epi32(int32_t(r.ramp)), _mm256_set1_epi32(int32_t(r.high))); };
    const auto [redRamp, redHigh] = roles(kHueRed);
    const auto [greenRamp, greenHigh] = roles(kHueGreen);
    const auto [blueRamp, blueHigh] = roles(kHueBlue);
    uint32_t x = 0;
    for (; x + 8 <= cols; x += 8) {
        __m256i d, a;
        if constexpr (sizeof(S) == 1) {
            d = _mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(degree + x)));
            a = _mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(angle + x)));
        } else {
            d = _mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(degree + x)));
            a = _mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(angle + x)));
        }
        __m256i hue = _mm256_add_epi32(w.inversion ? _mm256_sub_epi32(m, a) : a, phase);
        hue = _mm256_sub_epi32(hue, _mm256_and_si256(_mm256_cmpgt_epi32(hue, m), m));
        const __m256i low = w.dark ? zero : _mm256_sub_epi32(m, d), high = w.dark ? d : m;
        __m256i k = zero; // minus the sextant, then the sextant
        for (int j = 0; j < 5; ++j) k = _mm256_add_epi32(k, _mm256_cmpgt_epi32(hue, below[j]));
        k = _mm256_sub_epi32(zero, k);
        const __m256i start = _mm256_permutevar8x32_epi32(starts, k), end = _mm256_permutevar8x32_epi32(ends, k);
        const __m256 reciprocal = _mm256_permutevar8x32_ps(reciprocals, k);
        const __m256i width = _mm256_sub_epi32(end, start);
        const __m256i odd = _mm256_cmpeq_epi32(_mm256_and_si256(k, one), one);
        const __m256i t = _mm256_blendv_epi8(_mm256_sub_epi32(hue, start), _mm256_sub_epi32(end, hue), odd);
        const __m256i n = _mm256_mullo_epi32(_mm256_sub_epi32(high, low), t);
        __m256i q = _mm256_cvttps_epi32(_mm256_mul_ps(_mm256_cvtepi32_ps(n), reciprocal));
        const __m256i r = _mm256_sub_epi32(n, _mm256_mullo_epi32(q, width));
        q = _mm256_sub_epi32(q, _mm256_cmpgt_epi32(r, _mm256_sub_epi32(width, one))); // r >= width: one more
        q = _mm256_add_epi32(q, _mm256_cmpgt_epi32(zero, r));                         // r < 0: one less
        const __m256i ramp = _mm256_add_epi32(low, q);
        const __m256i bit = _mm256_sllv_epi32(one, k);
        auto channel = [&](__m256i rampSet, __m256i highSet) {
            const __m256i isHigh = _mm256_cmpgt_epi32(_mm256_and_si256(bit, highSet), zero);
            const __m256i isRamp = _mm256_cmpgt_epi32(_mm256_and_si256(bit, rampSet), zero);
            const __m256i v = _mm256_blendv_epi8(_mm256_blendv_epi8(low, high, isHigh), ramp, isRamp);
            // Eight values below 2^16 to eight words: the pack works per 128-bit half.
            return _mm256_castsi256_si128(_mm256_permute4x64_epi64(_mm256_packus_epi32(v, v), 0x08));
        };
        _mm_storeu_si128(reinterpret_cast<__m128i*>(red + x), channel(redRamp, redHigh));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(green + x), channel(greenRamp, greenHigh));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(blue + x), channel(blueRamp, blueHigh));
    }
    HueLineOf<S>(degree + x, angle + x, red + x, green + x, blue + x, cols - x, w);
}

constexpr RowKernels kAvx2 = {
    {Symmetric8<0>, Symmetric8<1>, Symmetric8<2>, Symmetric8<3>},
    {Symmetric16<0>, Symmetric16<1>, Symmetric16<2>, Symmetric16<3>},
    Linear8,
    Linear16,
    Stokes8<true>,
    Stokes8<false>,
    Stokes16<true>,
    Stokes16<false>,
    Hue<uint8_t>,
    Hue<uint16_t>,
};

} // namespace

const RowKernels* Avx2Rows() noexcept { return &kAvx2; }

} // namespace lxpol::detail

#else

namespace lxpol::detail {
const RowKernels* Avx2Rows() noexcept { return nullptr; }
} // namespace lxpol::detail

#endif
