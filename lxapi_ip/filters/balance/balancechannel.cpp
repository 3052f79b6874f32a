#include "balancechannel.h"

#include "lookupkernels.h"

#include <cmath>

namespace lxbalance {

Table* BuildTable(size_t bits, double ratio, int32_t before, int32_t after, uint16_t lo, uint16_t hi) {
    const size_t n = size_t(1) << bits;
    const double top = hi ? hi : double(n - 1);
    const double add = std::min(top, double(after));
    lxip::CLxSharedTableRef<Table> table(Table::Create(bits > 8 ? lxlookup::kWordTableSize : n));
    uint16_t* e = table->Entries();
    for (size_t i = 0; i < n; ++i) {
        const double v = (double(i) + before) * ratio + add;
        if (v >= top)
            e[i] = static_cast<uint16_t>(top);
        else if (lo >= v || std::isnan(v))
            e[i] = lo;
        else
            e[i] = static_cast<uint16_t>(v);
    }
    if (bits > 8) lxlookup::ExtendWordTable(e, n);
    return table.Detach();
}

double CLxBalanceChannel::Ratio() const {
    GenApi::AutoLock guard(m_tables.Lock());
    return m_ratio;
}
int32_t CLxBalanceChannel::Before() const {
    GenApi::AutoLock guard(m_tables.Lock());
    return m_before;
}
int32_t CLxBalanceChannel::After() const {
    GenApi::AutoLock guard(m_tables.Lock());
    return m_after;
}

template <class V>
bool CLxBalanceChannel::Store(V& field, V value) {
    GenApi::AutoLock guard(m_tables.Lock());
    if constexpr (std::is_floating_point_v<V>) {
        if (lxip::SameBits(field, value)) return false;
    } else {
        if (field == value) return false;
    }
    field = value;
    return true;
}

bool CLxBalanceChannel::SetRatio(double value) { return Store(m_ratio, value); }
bool CLxBalanceChannel::SetBefore(int32_t value) { return Store(m_before, value); }
bool CLxBalanceChannel::SetAfter(int32_t value) { return Store(m_after, value); }

TableRef CLxBalanceChannel::Acquire(size_t bits, uint16_t lo, uint16_t hi) {
    GenApi::AutoLock guard(m_tables.Lock());
    const Key key{bits, lo, hi, m_ratio, m_before, m_after};
    return m_tables.Acquire(key, [&] { return BuildTable(bits, key.ratio, key.before, key.after, lo, hi); });
}

} // namespace lxbalance
