// One channel of the balance ratio filter: its gain and two offsets, and the table made from them.
#pragma once

#include "support/lxsharedtable.h"

#include <cstddef>
#include <cstdint>

namespace lxbalance {

using Table = lxip::CLxSharedTable<uint16_t>;
using TableRef = lxip::CLxSharedTableRef<const Table>;

// Entries i = 0 .. 2^bits - 1: v = (i + before) * ratio + min(top, after) in double, with top = hi or,
// when hi is 0, 2^bits - 1; the entry is top where v reaches top, lo where v is at or below lo, else
// v truncated (no rounding). A ratio that is not a number gives lo. Tables of more than 8 bits cover
// every 16-bit word: the words above 2^bits - 1 take the entry of 2^bits - 1.
Table* BuildTable(size_t bits, double ratio, int32_t before, int32_t after, uint16_t lo, uint16_t hi);

// The parameters of a channel and the cache of its table. The cache's lock is the channel's lock: it
// guards the parameters too. A table is rebuilt when a parameter, the bits or the limits changed.
class CLxBalanceChannel {
public:
    CLxBalanceChannel() = default;
    CLxBalanceChannel(int32_t before, int32_t after) : m_before(before), m_after(after) {}

    double Ratio() const;
    int32_t Before() const;
    int32_t After() const;
    // Each stores a changed value and answers whether it changed.
    bool SetRatio(double value);
    bool SetBefore(int32_t value);
    bool SetAfter(int32_t value);

    // The table for the current parameters at `bits` with limits lo and hi (0 and 0: the full range).
    TableRef Acquire(size_t bits, uint16_t lo, uint16_t hi);
    // The table held now, for tests.
    const Table* Peek() const { return m_tables.Peek(); }

private:
    struct Key {
        size_t bits = 0;
        uint16_t lo = 0, hi = 0;
        double ratio = 0;
        int32_t before = 0, after = 0;
        bool operator==(const Key& o) const {
            return bits == o.bits && lo == o.lo && hi == o.hi && lxip::SameBits(ratio, o.ratio) && before == o.before &&
                   after == o.after;
        }
    };
    template <class V>
    bool Store(V& field, V value);

    lxip::CLxSharedTableCache<Key, Table> m_tables;
    double m_ratio = 1.0;
    int32_t m_before = 0;
    int32_t m_after = 0;
};

} // namespace lxbalance
