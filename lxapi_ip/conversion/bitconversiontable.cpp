#include "bitconversiontable.h"

#include <GenICam/GCException.h>

#include <cmath>
#include <cstring>
#include <new>

namespace lxconv {

namespace {

void CheckDepths(unsigned srcDepth, unsigned dstDepth) {
    // A source depth above 16 would ask for 2^17 .. 2^32 entries: refused before any allocation.
    if (srcDepth < 1 || srcDepth > MaxTableDepth)
        throw INVALID_ARGUMENT_EXCEPTION("Source depth = %u of a bit conversion table must lie in 1 to 16",
                                         srcDepth);
    if (dstDepth < 1 || dstDepth > 16)
        throw INVALID_ARGUMENT_EXCEPTION(
            "Destination depth = %u of a bit conversion table must lie in 1 to 16", dstDepth);
}

} // namespace

void BuildBitConversionTable(uint16_t* table, unsigned srcDepth, unsigned dstDepth, double gamma,
                             uint32_t mode) {
    CheckDepths(srcDepth, dstDepth);
    const uint32_t n = uint32_t(1) << srcDepth;
    const uint32_t maxOut = (uint32_t(1) << dstDepth) - 1; // D

    if (gamma == 1.0 && dstDepth <= srcDepth) {
        const unsigned shift = srcDepth - dstDepth;
        for (uint32_t i = 0; i < n; ++i) table[i] = uint16_t(i >> shift);
        return;
    }
    if (dstDepth <= srcDepth || mode == BitExpansion_Gamma) {
        // Power curve over the full scale, rounded half up and clipped at D.
        const double scale = double(maxOut);
        const double last = double(n - 1);
        for (uint32_t i = 0; i < n; ++i) {
            const double x = std::pow(double(i) / last, gamma) * scale + 0.5;
            if (x >= scale)
                table[i] = uint16_t(maxOut);
            else if (x > 0.0)
                table[i] = uint16_t(x); // truncation toward zero
            else
                table[i] = 0; // x is 0.5 at least for any real gamma; only NaN comes here
        }
        return;
    }
    const unsigned k = dstDepth - srcDepth;
    switch (mode) {
    case BitExpansion_Fixed:
        for (uint32_t i = 0; i < n; ++i) table[i] = uint16_t(i);
        break;
    case BitExpansion_LeftShiftBy1: {
        const uint32_t ones = (uint32_t(1) << k) - 1;
        for (uint32_t i = 0; i < n; ++i) table[i] = uint16_t((i << k) | ones);
        break;
    }
    default: // LeftShiftBy0, and every value above 3
        for (uint32_t i = 0; i < n; ++i) table[i] = uint16_t(i << k);
        break;
    }
}

BitConversionTable::BitConversionTable(unsigned srcDepth, unsigned dstDepth)
    : CLxSharedTable(size_t(1) << srcDepth, 1), m_srcDepth(srcDepth), m_dstDepth(dstDepth) {}

BitConversionTable* BitConversionTable::Create(unsigned srcDepth, unsigned dstDepth, double gamma,
                                               uint32_t mode) {
    CheckDepths(srcDepth, dstDepth);
    lxip::CLxSharedTableRef<BitConversionTable> table(new BitConversionTable(srcDepth, dstDepth));
    BuildBitConversionTable(table->Entries(), srcDepth, dstDepth, gamma, mode);
    table->DetectForm();
    return table.Detach();
}

BitConversionTable* BitConversionTable::CreateFromEntries(unsigned srcDepth, unsigned dstDepth,
                                                          const uint16_t* entries) {
    CheckDepths(srcDepth, dstDepth);
    if (!entries) throw INVALID_ARGUMENT_EXCEPTION("Entries of a bit conversion table are NULL.");
    const size_t n = size_t(1) << srcDepth;
    const uint32_t maxOut = (uint32_t(1) << dstDepth) - 1;
    for (size_t i = 0; i < n; ++i)
        if (entries[i] > maxOut)
            throw INVALID_ARGUMENT_EXCEPTION("Entry %zu = %u of a bit conversion table exceeds %u bits", i,
                                             unsigned(entries[i]), dstDepth);
    auto* table = new BitConversionTable(srcDepth, dstDepth);
    std::memcpy(table->Entries(), entries, n * sizeof(uint16_t));
    table->DetectForm();
    return table;
}

void BitConversionTable::DetectForm() noexcept {
    const uint16_t* t = Entries();
    const uint32_t n = uint32_t(Size());
    auto linear = [&](uint32_t mul, unsigned shift, uint32_t fill) {
        for (uint32_t i = 0; i < n; ++i)
            if (t[i] != uint16_t(((i * mul) >> shift) | fill)) return false;
        m_form = Form::Linear;
        m_mul = mul;
        m_shift = shift;
        m_fill = uint16_t(fill);
        return true;
    };
    // A right shift (reductions at gamma 1).
    if (m_dstDepth <= m_srcDepth && linear(1, m_srcDepth - m_dstDepth, 0)) return;
    // A multiple with constant low bits: Fixed (1, 0), LeftShiftBy0 (2^k, 0), LeftShiftBy1 (2^k,
    // 2^k - 1), 8 -> 16 at gamma 1 (257, 0). The step t[1] - t[0] is the multiplier only if no bit of
    // the fill collides with it, which the full check confirms.
    const uint32_t mul = n > 1 && t[1] >= t[0] ? uint32_t(t[1] - t[0]) : 0;
    if (linear(mul, 0, t[0])) return;
    // The rounded scale of a growing depth, in the 16-bit steps of the vector kernels.
    if (m_dstDepth > m_srcDepth) {
        const unsigned k = m_dstDepth - m_srcDepth, s = m_srcDepth;
        const uint32_t c = (uint32_t(1) << k) - 1;
        const uint32_t h = (n - 2) / 2; // (b - 1) / 2 with b = n - 1
        for (uint32_t i = 0; i < n; ++i) {
            const uint16_t y = uint16_t(uint16_t(i * c) + h);
            const uint16_t z = uint16_t(y + (y >> s) + 1);
            if (t[i] != uint16_t(uint16_t(i << k) + (z >> s))) return;
        }
        m_form = Form::RoundedScale;
        m_shift = k;
        m_mul = c;
        m_fill = uint16_t(h);
    }
}

double BitConversionTableCache::GetGamma() const {
    GenApi::AutoLock lock(m_tables.Lock());
    return m_gamma;
}

void BitConversionTableCache::SetGamma(double gamma) {
    GenApi::AutoLock lock(m_tables.Lock());
    m_gamma = gamma;
}

uint32_t BitConversionTableCache::GetBitExpansionMode() const {
    GenApi::AutoLock lock(m_tables.Lock());
    return m_mode;
}

void BitConversionTableCache::SetBitExpansionMode(uint32_t mode) {
    GenApi::AutoLock lock(m_tables.Lock());
    m_mode = mode;
}

const BitConversionTable* BitConversionTableCache::Peek() const { return m_tables.Peek(); }

const BitConversionTable* BitConversionTableCache::Acquire(unsigned srcDepth, unsigned dstDepth) {
    CheckDepths(srcDepth, dstDepth);
    // The parameters are read and the table looked up under one hold of the cache's lock.
    GenApi::AutoLock lock(m_tables.Lock());
    const double gamma = m_gamma;
    const uint32_t mode = m_mode;
    const Key key{srcDepth, dstDepth, gamma, srcDepth >= dstDepth ? uint32_t(BitExpansion_Gamma) : mode};
    return m_tables.Acquire(key, [&] { return BitConversionTable::Create(srcDepth, dstDepth, gamma, mode); })
        .Detach();
}

} // namespace lxconv
