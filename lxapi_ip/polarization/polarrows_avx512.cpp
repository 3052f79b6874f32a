// The AVX-512 line kernels of the sliding window (F, BW, VL, VBMI): the linear interpolation and the
// degree and angle of polarization of the AVX2 form on 512-bit registers, 32 windows per step; the
// hue wheel of their colour image, 16 pixels per step; the symmetric lines of the AVX2 form. Built
// with the AVX-512 flags alone and entered only after the dispatcher found the instruction set.
#include "polarrows.h"

#if defined(__x86_64__) && defined(__AVX512BW__) && defined(__AVX512VBMI__)

#include "kernels/lxavx512.h"
#include "polarlinearsteps.h"
#include "polartables.h"

#include <utility>

namespace lxpol::detail {
namespace {

// The 32-bit forms below through an all-ones mask: the plain forms take an undefined source that
// g++ 12 warns about.
constexpr __mmask16 kAll = 0xFFFF;
inline __m512i Srai(__m512i v, unsigned n) { return _mm512_maskz_srai_epi32(kAll, v, n); }
inline __m512i Clamp(__m512i v, __m512i lo, __m512i hi) {
    return _mm512_maskz_min_epi32(kAll, _mm512_maskz_max_epi32(kAll, v, lo), hi);
}

inline __m512i Load(const void* p) { return _mm512_loadu_si512(p); }
inline void Store(void* p, __m512i v) { _mm512_storeu_si512(p, v); }

// See the AVX2 form: the same sums on sixteen windows of one parity.
struct LinearConstants {
    __m512i a01[2], a23[2], f01[2], f23[2];
    __m512i lo, span, low14, top, zero;
    explicit LinearConstants(const LinearLine& l) {
        auto pair = [](int16_t p, int16_t q) { return _mm512_set1_epi32(int32_t(uint16_t(p)) | int32_t(uint32_t(uint16_t(q)) << 16)); };
        for (int i = 0; i < 2; ++i) {
            a01[i] = pair(l.a[i][0], l.a[i][1]), a23[i] = pair(l.a[i][2], l.a[i][3]);
            f01[i] = pair(l.f[i][0], l.f[i][1]), f23[i] = pair(l.f[i][2], l.f[i][3]);
        }
        lo = _mm512_set1_epi32(l.lo + 32767);
        span = _mm512_set1_epi32(l.span);
        low14 = _mm512_set1_epi32(0x3FFF);
        top = _mm512_set1_epi32(int32_t(l.max));
        zero = _mm512_setzero_si512();
    }
    // floor(least / 2^14), not yet clamped.
    __m512i Floors(__m512i w0, __m512i w1, int parity, __mmask16& unsure) const {
        const __m512i x = _mm512_add_epi32(_mm512_madd_epi16(w0, a01[parity]), _mm512_madd_epi16(w1, a23[parity]));
        const __m512i y = _mm512_add_epi32(_mm512_madd_epi16(w0, f01[parity]), _mm512_madd_epi16(w1, f23[parity]));
        const __m512i least = _mm512_add_epi32(x, Srai(_mm512_add_epi32(y, lo), 15));
        unsure = _mm512_cmplt_epi32_mask(_mm512_and_si512(_mm512_add_epi32(least, span), low14), span);
        return Srai(least, 14);
    }
    __m512i Results(__m512i w0, __m512i w1, int parity, __mmask16& unsure) const {
        return Clamp(Floors(w0, w1, parity, unsure), zero, top);
    }
};

void Linear8(const uint8_t* l0, const uint8_t* l1, uint8_t* out, uint32_t cols, const LinearLine& l) {
    uint32_t x = 0;
    if (l.affine) {
        const LinearConstants k(l);
        // After the packs, 128-bit lane k holds the windows x + 4k .. x + 4k + 3 of the first vector,
        // then those of the second.
        alignas(64) uint8_t index[64] = {};
        for (int i = 0; i < 32; ++i) index[i] = uint8_t(16 * (i / 8) + (i & 1) * 4 + (i / 2) % 4);
        const __m512i order = _mm512_load_si512(index);
        auto words = [](const uint8_t* p) { return _mm512_cvtepu8_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p))); };
        x = LinearSteps<16>(l0, l1, out, cols, l, [&](uint32_t at) {
            __mmask16 first, second;
            const int parity = int(at & 1);
            const __m512i e = k.Floors(words(l0 + at), words(l1 + at), parity, first);
            const __m512i o = k.Floors(words(l0 + at + 1), words(l1 + at + 1), parity ^ 1, second);
            // The saturating packs clamp to 0..255; then the two vectors' bytes are interleaved.
            const __m512i bytes = _mm512_packus_epi16(_mm512_packus_epi32(e, o), _mm512_setzero_si512());
            _mm512_mask_storeu_epi8(out + at, 0xFFFFFFFFu, _mm512_maskz_permutexvar_epi8(~__mmask64(0), order, bytes));
            return uint32_t(first) | uint32_t(second) << 16;
        });
    }
    PortableRows().linear8(l0 + x, l1 + x, out + x, cols - x, l); // x is even or the line's end
}

void Linear16(const uint16_t* l0, const uint16_t* l1, uint16_t* out, uint32_t cols, const LinearLine& l) {
    uint32_t x = 0;
    if (l.affine) {
        const LinearConstants k(l);
        const __m512i m = _mm512_set1_epi16(int16_t(l.max));
        auto words = [&](const uint16_t* p) { return _mm512_min_epu16(Load(p), m); };
        x = LinearSteps<16>(l0, l1, out, cols, l, [&](uint32_t at) {
            __mmask16 first, second;
            const int parity = int(at & 1);
            const __m512i e = k.Results(words(l0 + at), words(l1 + at), parity, first);
            const __m512i o = k.Results(words(l0 + at + 1), words(l1 + at + 1), parity ^ 1, second);
            Store(out + at, _mm512_or_si512(e, _mm512_maskz_slli_epi32(kAll, o, 16)));
            return uint32_t(first) | uint32_t(second) << 16;
        });
    }
    PortableRows().linear16(l0 + x, l1 + x, out + x, cols - x, l);
}

// ---- degree and angle of polarization: sixteen windows of a parity at a time ----

struct StokesConstants {
    __m512i x01[2], x23[2], y01[2], y23[2];
    __m512i ones, angleIndex, max, bits, one, bias, low32, low16, half, pi;
    const int* magnitude;
    const int* mul;
    const int* angle;
    explicit StokesConstants(const StokesLine& l) {
        const StokesScalars k(l);
        for (uint32_t i = 0; i < 2; ++i) {
            x01[i] = _mm512_set1_epi32(k.x01[i]), x23[i] = _mm512_set1_epi32(k.x23[i]);
            y01[i] = _mm512_set1_epi32(k.y01[i]), y23[i] = _mm512_set1_epi32(k.y23[i]);
        }
        ones = _mm512_set1_epi32(k.ones);
        angleIndex = _mm512_set1_epi32(k.angleIndex);
        max = _mm512_set1_epi32(k.max);
        bits = _mm512_set1_epi32(k.divisionBits);
        one = _mm512_set1_epi32(1);
        bias = _mm512_set1_epi32(126);
        low32 = _mm512_set1_epi64(0xFFFFFFFF);
        low16 = _mm512_set1_epi32(0xFFFF);
        half = _mm512_set1_epi32(k.half);
        pi = _mm512_set1_epi32(k.angleOfPi);
        magnitude = k.magnitude;
        mul = k.mul;
        angle = k.angle;
    }
    __m512i X(__m512i w0, __m512i w1, int p) const {
        return _mm512_add_epi32(_mm512_madd_epi16(w0, x01[p]), _mm512_madd_epi16(w1, x23[p]));
    }
    __m512i Y(__m512i w0, __m512i w1, int p) const {
        return _mm512_add_epi32(_mm512_madd_epi16(w0, y01[p]), _mm512_madd_epi16(w1, y23[p]));
    }
    static __m512i AbsolutePair(__m512i x, __m512i y) {
        return _mm512_mask_blend_epi16(0xAAAAAAAA, _mm512_abs_epi32(x), _mm512_slli_epi32(_mm512_abs_epi32(y), 16));
    }
    __m512i Degree(__m512i w0, __m512i w1, int p) const {
        const __m512i s = _mm512_add_epi32(_mm512_madd_epi16(w0, ones), _mm512_madd_epi16(w1, ones));
        // The entry of the larger h and the smaller l of |x| and |y|: h (h + 1) / 2 + l.
        const __m512i ax = _mm512_abs_epi32(X(w0, w1, p)), ay = _mm512_abs_epi32(Y(w0, w1, p));
        const __m512i h = _mm512_max_epi32(ax, ay), l = _mm512_min_epi32(ax, ay);
        const __m512i at = _mm512_add_epi32(_mm512_srli_epi32(_mm512_mullo_epi32(h, _mm512_add_epi32(h, one)), 1), l);
        const __m512i m = _mm512_i32gather_epi32(at, magnitude, 4);
        const __m512i f = _mm512_i32gather_epi32(s, mul, 8);
        const __m512i e = _mm512_srli_epi32(_mm512_castps_si512(_mm512_cvtepi32_ps(_mm512_sub_epi32(s, one))), 23);
        const __m512i shift = _mm512_add_epi32(bits, _mm512_max_epi32(_mm512_sub_epi32(e, bias), _mm512_setzero_si512()));
        const __m512i even = _mm512_srlv_epi64(_mm512_mul_epu32(m, f), _mm512_and_si512(shift, low32));
        const __m512i odd = _mm512_srlv_epi64(_mm512_mul_epu32(_mm512_srli_epi64(m, 32), _mm512_srli_epi64(f, 32)),
                                              _mm512_srli_epi64(shift, 32));
        return _mm512_min_epu32(_mm512_or_si512(even, _mm512_slli_epi64(odd, 32)), max);
    }
    __m512i Angle(__m512i w0, __m512i w1, int p) const {
        const __m512i x = X(w0, w1, p), y = Y(w0, w1, p), zero = _mm512_setzero_si512();
        const __m512i at = _mm512_madd_epi16(AbsolutePair(x, y), angleIndex);
        const __m512i e = _mm512_and_si512(_mm512_i32gather_epi32(at, angle, 2), low16);
        const __m512i floor = _mm512_srli_epi32(e, 1);
        const __mmask16 yZero = _mm512_cmpeq_epi32_mask(y, zero);
        const __mmask16 rounded = _mm512_cmpgt_epi32_mask(x, zero) | yZero;
        const __m512i upper = _mm512_mask_blend_epi32(rounded, _mm512_sub_epi32(half, floor),
                                                      _mm512_add_epi32(floor, _mm512_and_si512(e, one)));
        const __m512i v = _mm512_mask_sub_epi32(upper, _mm512_cmplt_epi32_mask(y, zero), max, upper);
        return _mm512_mask_mov_epi32(v, yZero & _mm512_cmplt_epi32_mask(x, zero), pi);
    }
};

inline bool VectorDivision(const StokesLine& l) { return l.tables->divisionBits <= 30; }

template <bool degree>
void Stokes8(const uint8_t* l0, const uint8_t* l1, uint8_t* out, uint32_t cols, const StokesLine& l) {
    uint32_t x = 0;
    if (!degree || VectorDivision(l)) {
        const StokesConstants k(l);
        alignas(64) uint8_t index[64] = {};
        for (int i = 0; i < 32; ++i) index[i] = uint8_t(16 * (i / 8) + (i & 1) * 4 + (i / 2) % 4);
        const __m512i order = _mm512_load_si512(index);
        auto words = [](const uint8_t* p) { return _mm512_cvtepu8_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p))); };
        for (; x + 32 <= cols; x += 32) {
            const __m512i w0 = words(l0 + x), w1 = words(l1 + x), u0 = words(l0 + x + 1), u1 = words(l1 + x + 1);
            const __m512i e = degree ? k.Degree(w0, w1, 0) : k.Angle(w0, w1, 0);
            const __m512i o = degree ? k.Degree(u0, u1, 1) : k.Angle(u0, u1, 1);
            const __m512i bytes = _mm512_packus_epi16(_mm512_packus_epi32(e, o), _mm512_setzero_si512());
            _mm512_mask_storeu_epi8(out + x, 0xFFFFFFFFu, _mm512_permutexvar_epi8(order, bytes));
        }
    }
    (degree ? PortableRows().degree8 : PortableRows().angle8)(l0 + x, l1 + x, out + x, cols - x, l);
}

template <bool degree>
void Stokes16(const uint16_t* l0, const uint16_t* l1, uint16_t* out, uint32_t cols, const StokesLine& l) {
    uint32_t x = 0;
    if (!degree || VectorDivision(l)) {
        const StokesConstants k(l);
        const __m512i m = _mm512_set1_epi16(int16_t(l.max));
        auto words = [&](const uint16_t* p) { return _mm512_min_epu16(Load(p), m); };
        for (; x + 32 <= cols; x += 32) {
            const __m512i w0 = words(l0 + x), w1 = words(l1 + x), u0 = words(l0 + x + 1), u1 = words(l1 + x + 1);
            const __m512i e = degree ? k.Degree(w0, w1, 0) : k.Angle(w0, w1, 0);
            const __m512i o = degree ? k.Degree(u0, u1, 1) : k.Angle(u0, u1, 1);
            Store(out + x, _mm512_or_si512(e, _mm512_slli_epi32(o, 16)));
        }
    }
    (degree ? PortableRows().degree16 : PortableRows().angle16)(l0 + x, l1 + x, out + x, cols - x, l);
}

// ---- the hue wheel ----

// HuePixel on sixteen pixels in 32-bit lanes: the sextant's start, end and reciprocal come from
// tables in registers, the channel roles from the wheel's bit sets of the sextants.
template <class S>
void Hue(const S* degree, const S* angle, uint16_t* red, uint16_t* green, uint16_t* blue, uint32_t cols,
         const HueWheel& w) {
    const __m512i zero = _mm512_setzero_si512(), one = _mm512_set1_epi32(1), m = _mm512_set1_epi32(int32_t(w.m));
    const __m512i phase = _mm512_set1_epi32(int32_t(w.phaseOffset));
    __m512i h[6];
    for (int k = 0; k < 5; ++k) h[k] = _mm512_set1_epi32(int32_t(w.h[k + 1]));
    const __m512i starts = _mm512_loadu_si512(w.h), ends = _mm512_loadu_si512(w.h + 1);
    const __m512 reciprocals = _mm512_loadu_ps(w.reciprocal);
    auto roles = [](HueRoles r) { return std::pair(_mm512_set1_epi32(int32_t(r.ramp)), _mm512_set1_epi32(int32_t(r.high))); };
    const auto [redRamp, redHigh] = roles(kHueRed);
    const auto [greenRamp, greenHigh] = roles(kHueGreen);
    const auto [blueRamp, blueHigh] = roles(kHueBlue);
    uint32_t x = 0;
    for (; x + 16 <= cols; x += 16) {
        __m512i d, a;
        if constexpr (sizeof(S) == 1) {
            d = _mm512_cvtepu8_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(degree + x)));
            a = _mm512_cvtepu8_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(angle + x)));
        } else {
            d = _mm512_cvtepu16_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(degree + x)));
            a = _mm512_cvtepu16_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(angle + x)));
        }
        __m512i hue = _mm512_add_epi32(w.inversion ? _mm512_sub_epi32(m, a) : a, phase);
        hue = _mm512_mask_sub_epi32(hue, _mm512_cmpgt_epu32_mask(hue, m), hue, m);
        const __m512i low = w.dark ? zero : _mm512_sub_epi32(m, d), high = w.dark ? d : m;
        __m512i k = zero;
        for (int j = 0; j < 5; ++j) k = _mm512_mask_add_epi32(k, _mm512_cmpge_epu32_mask(hue, h[j]), k, one);
        const __m512i start = _mm512_permutexvar_epi32(k, starts), end = _mm512_permutexvar_epi32(k, ends);
        const __m512 reciprocal = _mm512_permutexvar_ps(k, reciprocals);
        const __m512i width = _mm512_sub_epi32(end, start);
        const __m512i t = _mm512_mask_sub_epi32(_mm512_sub_epi32(hue, start), _mm512_test_epi32_mask(k, one), end, hue);
        const __m512i n = _mm512_mullo_epi32(_mm512_sub_epi32(high, low), t);
        __m512i q = _mm512_cvttps_epi32(_mm512_mul_ps(_mm512_cvtepi32_ps(n), reciprocal));
        const __m512i r = _mm512_sub_epi32(n, _mm512_mullo_epi32(q, width));
        q = _mm512_mask_add_epi32(q, _mm512_cmpge_epi32_mask(r, width), q, one);
        q = _mm512_mask_sub_epi32(q, _mm512_cmplt_epi32_mask(r, zero), q, one);
        const __m512i ramp = _mm512_add_epi32(low, q);
        const __m512i bit = _mm512_sllv_epi32(one, k);
        auto channel = [&](__m512i rampSet, __m512i highSet) {
            const __m512i v = _mm512_mask_mov_epi32(low, _mm512_test_epi32_mask(bit, highSet), high);
            return _mm512_cvtepi32_epi16(_mm512_mask_mov_epi32(v, _mm512_test_epi32_mask(bit, rampSet), ramp));
        };
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(red + x), channel(redRamp, redHigh));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(green + x), channel(greenRamp, greenHigh));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(blue + x), channel(blueRamp, blueHigh));
    }
    HueLineOf<S>(degree + x, angle + x, red + x, green + x, blue + x, cols - x, w);
}

} // namespace

// The symmetric lines are the AVX2 ones: the 64-byte loads at x + 1, which all cross a cache line,
// made the wider forms slower than the AVX2 ones on the processors measured.
const RowKernels* Avx512Rows() noexcept {
    static const RowKernels rows = [] {
        const RowKernels* avx2 = Avx2Rows();
        RowKernels r = avx2 ? *avx2 : PortableRows();
        r.linear8 = Linear8;
        r.linear16 = Linear16;
        r.degree8 = Stokes8<true>;
        r.angle8 = Stokes8<false>;
        r.degree16 = Stokes16<true>;
        r.angle16 = Stokes16<false>;
        r.hue8 = Hue<uint8_t>;
        r.hue16 = Hue<uint16_t>;
        return r;
    }();
    return &rows;
}

} // namespace lxpol::detail

#else

namespace lxpol::detail {
const RowKernels* Avx512Rows() noexcept { return nullptr; }
} // namespace lxpol::detail

#endif
