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
    : m_srcDepth(srcDepth), m_dstDepth(dstDepth) {
    const size_t n = size_t(1) << srcDepth;
    m_entries.reset(new uint16_t[n + 1]);
    m_entries[n] = 0;
}

BitConversionTable* BitConversionTable::Create(unsigned srcDepth, unsigned dstDepth, double gamma,
                                               uint32_t mode) {
    CheckDepths(srcDepth, dstDepth);
    std::unique_ptr<BitConversionTable, void (*)(BitConversionTable*)> table(
        new BitConversionTable(srcDepth, dstDepth), [](BitConversionTable* t) { t->Release(); });
    BuildBitConversionTable(table->m_entries.get(), srcDepth, dstDepth, gamma, mode);
    table->DetectForm();
    return table.release();
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
    std::memcpy(table->m_entries.get(), entries, n * sizeof(uint16_t));
    table->DetectForm();
    return table;
}

void BitConversionTable::Release() const noexcept {
    if (m_refs.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
}

void BitConversionTable::DetectForm() noexcept {
    const uint16_t* t = m_entries.get();
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

BitConversionTableCache::~BitConversionTableCache() {
    if (m_table) m_table->Release();
}

double BitConversionTableCache::GetGamma() const {
    GenApi::AutoLock lock(m_lock);
    return m_gamma;
}

void BitConversionTableCache::SetGamma(double gamma) {
    GenApi::AutoLock lock(m_lock);
    m_gamma = gamma;
}

uint32_t BitConversionTableCache::GetBitExpansionMode() const {
    GenApi::AutoLock lock(m_lock);
    return m_mode;
}

void BitConversionTableCache::SetBitExpansionMode(uint32_t mode) {
    GenApi::AutoLock lock(m_lock);
    m_mode = mode;
}

const BitConversionTable* BitConversionTableCache::Peek() const {
    GenApi::AutoLock lock(m_lock);
    return m_table;
}

BitConversionTable* BitConversionTableCache::Acquire(unsigned srcDepth, unsigned dstDepth) {
    CheckDepths(srcDepth, dstDepth);
    GenApi::AutoLock lock(m_lock);
    const double gamma = m_gamma;
    const uint32_t mode = m_mode;
    if (m_table && m_keySrc == srcDepth && m_keyDst == dstDepth && m_keyGamma == gamma &&
        (srcDepth >= dstDepth || m_keyMode == mode)) {
        m_table->AddRef();
        return m_table;
    }
    if (m_table) {
        m_table->Release();
        m_table = nullptr;
    }
    try {
        m_table = BitConversionTable::Create(srcDepth, dstDepth, gamma, mode);
    } catch (const std::bad_alloc& e) {
        throw BAD_ALLOC_EXCEPTION("%s", e.what());
    }
    m_keySrc = srcDepth;
    m_keyDst = dstDepth;
    m_keyGamma = gamma;
    m_keyMode = mode;
    m_table->AddRef(); // one reference for the cache (from Create), one for the caller
    return m_table;
}

} // namespace lxconv
