// The portable form of the JPEG primitives, the table builders and the choice of form.
#include "jpegkernelcommon.h"

namespace lxjpeg {

using namespace detail;

const uint8_t kZigzag[64] = {0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,
                             12, 19, 26, 33, 40, 48, 41, 34, 27, 20, 13, 6,  7,  14, 21, 28,
                             35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23, 30, 37, 44, 51,
                             58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63};

// Division by d with rounding to nearest as (x + c) * f >> r, after libjpeg-turbo's reciprocal
// quantiser: r = 16 + floor(log2 d), f = 2^r / d rounded so that the quotient is exact for every x
// below 2^15. The shift by r is done as two high multiplies: by f (>> 16), then by 2^(32 - r) (>> 16).
static void Reciprocal(uint32_t d, uint16_t& f, uint16_t& c, uint16_t& scale) noexcept {
    uint32_t b = 31 - __builtin_clz(d);
    uint32_t r = 16 + b;
    uint32_t fq = (1u << r) / d;
    const uint32_t fr = (1u << r) % d;
    uint32_t corr = d / 2;
    if (fr == 0) {
        fq >>= 1;
        --r;
    } else if (fr <= d / 2) {
        ++corr;
    } else {
        ++fq;
    }
    f = static_cast<uint16_t>(fq);
    c = static_cast<uint16_t>(corr);
    scale = static_cast<uint16_t>(1u << (32 - r));
}

void BuildForwardTable(const uint8_t zigzagValues[64], ForwardQuantTable& table) noexcept {
    for (int k = 0; k < 64; ++k) {
        const uint32_t q = zigzagValues[k] ? zigzagValues[k] : 1;
        const int n = kZigzag[k];
        Reciprocal(8 * q, table.reciprocal[n], table.correction[n], table.scale[n]);
    }
}

bool BuildHuffmanTable(const uint8_t counts[16], const uint8_t* values, HuffmanCodeTable& table) noexcept {
    std::memset(&table, 0, sizeof table);
    uint32_t code = 0;
    size_t k = 0;
    for (uint32_t len = 1; len <= 16; ++len) {
        for (uint32_t i = 0; i < counts[len - 1]; ++i) {
            if (k >= 256 || code >= (1u << len)) return false;
            table.code[values[k]] = code++;
            table.size[values[k]] = static_cast<uint8_t>(len);
            ++k;
        }
        code <<= 1;
    }
    return true;
}

size_t FlushBits(uint8_t* buf, size_t pos, HuffmanState& st) noexcept {
    const uint32_t pad = (8 - (st.bits & 7)) & 7;
    st.acc = (st.acc << pad) | ((1u << pad) - 1);
    st.bits += pad;
    while (st.bits >= 8) {
        st.bits -= 8;
        const uint8_t b = static_cast<uint8_t>(st.acc >> st.bits);
        buf[pos++] = b;
        if (b == 0xFF) buf[pos++] = 0;
    }
    st.acc = 0;
    return pos;
}

namespace {

void ToYCbCr(const uint8_t* src, size_t srcStep, uint8_t* y, uint8_t* cb, uint8_t* cr, size_t dstStep, size_t width,
             size_t lines, int redIndex) {
    const int ri = redIndex, bi = 2 - redIndex;
    for (size_t l = 0; l < lines; ++l) {
        const uint8_t* s = src + l * srcStep;
        uint8_t* py = y + l * dstStep;
        uint8_t* pb = cb + l * dstStep;
        uint8_t* pr = cr + l * dstStep;
        for (size_t x = 0; x < width; ++x, s += 3) YCbCrOf(s[ri], s[1], s[bi], py[x], pb[x], pr[x]);
    }
}

void ReduceLine(const uint8_t* src, uint8_t* dst, size_t outWidth) {
    for (size_t i = 0; i < outWidth; ++i) dst[i] = Mean2(src[2 * i], src[2 * i + 1], i);
}

void ReduceTwoLines(const uint8_t* a, const uint8_t* b, uint8_t* dst, size_t outWidth) {
    for (size_t i = 0; i < outWidth; ++i) dst[i] = Mean4(a[2 * i], a[2 * i + 1], b[2 * i], b[2 * i + 1], i);
}

void ForwardDct(const uint8_t* src, size_t step, size_t count, const ForwardQuantTable& table, int16_t* out) {
    for (size_t j = 0; j < count; ++j) ForwardDctBlock(src + 8 * j, step, table, out + 64 * j);
}

size_t EncodeBlock(const int16_t* coef, uint8_t* buf, size_t pos, int16_t& lastDc, const HuffmanCodeTable& dc,
                   const HuffmanCodeTable& ac, HuffmanState& st) {
    BitWriter w(st, buf, pos);
    PutDc(w, coef[0], lastDc, dc);
    uint32_t run = 0;
    for (int k = 1; k < 64; ++k) {
        const int v = coef[kZigzag[k]];
        if (v == 0) {
            ++run;
            continue;
        }
        for (; run > 15; run -= 16) w.Put(ac.code[0xF0], ac.size[0xF0]);
        PutAc(w, v, run, ac);
        run = 0;
    }
    if (run) w.Put(ac.code[0], ac.size[0]);
    return w.Finish(st);
}

constexpr KernelTable kPortable{ToYCbCr, ReduceLine, ReduceTwoLines, ForwardDct, EncodeBlock};

} // namespace

const KernelTable& PortableKernels() noexcept { return kPortable; }

const lxcpu::KernelForms<KernelTable>& Forms() noexcept {
    static const lxcpu::KernelForms<KernelTable> forms(&kPortable, Avx2Kernels(), Avx512Kernels());
    return forms;
}

} // namespace lxjpeg
