// The AVX-512 VBMI form of the byte lookups. A 256-entry byte table lies in four 512-bit registers;
// vpermi2b picks from two of them by the low 7 bits of each byte, so a byte takes its entry from the
// lower or the upper half of the table by its top bit: two permutes per table and 64 bytes. Lanes of
// the period become byte masks of a 64-byte block, one set per phase (where the block starts within
// the period); each distinct table writes only its own lanes, and lanes without a table keep their
// bytes. Word lookups keep the portable loop: a gather is no faster than it on these processors.
#include "lookupkernels.h"

#if defined(__AVX512F__) && defined(__AVX512BW__) && defined(__AVX512VBMI__)
#include <immintrin.h>

namespace lxlookup::detail {
namespace {

constexpr size_t kMaxTables = 4; // distinct tables of one line; more go the portable way

struct LineSetup {
    uint32_t period = 1;
    size_t distinct = 0;
    const uint8_t* tables[kMaxTables] = {};
    uint64_t lanes[kMaxTables][kMaxPeriod] = {}; // block bytes of each table, per phase
};

// False when the lanes name more distinct tables than the registers are planned for.
bool Prepare(const ByteLanes& lanes, LineSetup& setup) {
    setup.period = lanes.period;
    for (uint32_t c = 0; c < lanes.period; ++c) {
        const uint8_t* t = lanes.table[c];
        if (!t) continue;
        size_t d = 0;
        while (d < setup.distinct && setup.tables[d] != t) ++d;
        if (d == setup.distinct) {
            if (d == kMaxTables) return false;
            setup.tables[setup.distinct++] = t;
        }
        for (uint32_t phase = 0; phase < lanes.period; ++phase)
            for (uint32_t b = 0; b < 64; ++b)
                if ((phase + b) % lanes.period == c) setup.lanes[d][phase] |= uint64_t(1) << b;
    }
    return true;
}

inline __m512i MapBlock(__m512i v, const __m512i (*t)[4], const uint64_t (*lanes)[kMaxPeriod], size_t distinct,
                        uint32_t phase) {
    const __mmask64 upper = _mm512_movepi8_mask(v);
    __m512i r = v;
    // Lanes of different tables are disjoint: each byte is permuted once, by its own value.
    for (size_t d = 0; d < distinct; ++d) {
        const __mmask64 k = lanes[d][phase];
        r = _mm512_mask2_permutex2var_epi8(t[d][0], r, k & ~upper, t[d][1]);
        r = _mm512_mask2_permutex2var_epi8(t[d][2], r, k & upper, t[d][3]);
    }
    return r;
}

template <size_t D>
void Line(uint8_t* s, size_t count, const LineSetup& setup) {
    __m512i t[D][4];
    for (size_t d = 0; d < D; ++d)
        for (size_t q = 0; q < 4; ++q) t[d][q] = _mm512_loadu_si512(setup.tables[d] + 64 * q);
    const uint32_t period = setup.period;
    const uint32_t step = 64 % period;
    uint32_t phase = 0;
    size_t i = 0;
    for (; i + 64 <= count; i += 64) {
        const __m512i v = _mm512_loadu_si512(s + i);
        _mm512_storeu_si512(s + i, MapBlock(v, t, setup.lanes, D, phase));
        phase += step;
        if (phase >= period) phase -= period;
    }
    if (i < count) {
        const __mmask64 tail = (uint64_t(1) << (count - i)) - 1;
        const __m512i v = _mm512_maskz_loadu_epi8(tail, s + i);
        _mm512_mask_storeu_epi8(s + i, tail, MapBlock(v, t, setup.lanes, D, phase));
    }
}

void Bytes(const ByteImage& image) {
    LineSetup setup[2];
    if (image.rows[0].period < 1 || image.rows[0].period > kMaxPeriod || image.rows[1].period < 1 ||
        image.rows[1].period > kMaxPeriod || !Prepare(image.rows[0], setup[0]) || !Prepare(image.rows[1], setup[1])) {
        PortableBytes(image);
        return;
    }
    for (size_t y = 0; y < image.height; ++y) {
        uint8_t* line = image.base + y * image.pitch;
        const LineSetup& s = setup[y & 1];
        switch (s.distinct) {
        case 1: Line<1>(line, image.count, s); break;
        case 2: Line<2>(line, image.count, s); break;
        case 3: Line<3>(line, image.count, s); break;
        case 4: Line<4>(line, image.count, s); break;
        default: break; // no table: the line stays
        }
    }
}

constexpr LookupKernels kAvx512 = {Bytes, PortableWords};

} // namespace

const LookupKernels* Avx512Kernels() noexcept { return &kAvx512; }

} // namespace lxlookup::detail

#else

namespace lxlookup::detail {
const LookupKernels* Avx512Kernels() noexcept { return nullptr; }
} // namespace lxlookup::detail

#endif
