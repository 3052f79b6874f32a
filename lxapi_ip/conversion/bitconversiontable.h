// The depth and gamma table of the converters, the cache that keeps one of them per module, and a
// scope holder for a caller's reference.
//
// A table maps every sample value of the source depth s (2^s entries) to a value of the destination
// depth d. It is a shared table (support/lxsharedtable.h): the cache holds one reference, every
// running conversion another, so a table replaced by a parameter change stays alive for the
// conversion that still reads it.
#pragma once

#include "support/lxsharedtable.h"

#include <cstddef>
#include <cstdint>

namespace lxconv {

// Values of the module's BitExpansionMode. A stored value above 3 (possible through the register)
// acts as LeftShiftBy0.
enum BitExpansionMode : uint32_t {
    BitExpansion_Gamma = 0,
    BitExpansion_Fixed = 1,
    BitExpansion_LeftShiftBy0 = 2,
    BitExpansion_LeftShiftBy1 = 3,
};

// Largest source depth a table is made for: 65,536 entries.
constexpr unsigned MaxTableDepth = 16;

// Fills table[0 .. 2^s - 1] by the rules of the converters (n = 2^s, D = 2^d - 1):
//  1. gamma 1.0 and d <= s: t[i] = i >> (s - d), a plain truncation whatever the mode;
//  2. else if d <= s or the mode is Gamma: x = pow(i / (n - 1), gamma) * D + 0.5,
//     t[i] = D if x >= D, else trunc(x) (a NaN gamma gives 0);
//  3. else, k = d - s: Fixed t[i] = i; LeftShiftBy0 (and any mode above 3) t[i] = i << k;
//     LeftShiftBy1 t[i] = (i << k) | ((1 << k) - 1).
// Depths must lie in 1..16 (InvalidArgumentException otherwise).
void BuildBitConversionTable(uint16_t* table, unsigned srcDepth, unsigned dstDepth, double gamma,
                             uint32_t mode);

class BitConversionTable : public lxip::CLxSharedTable<uint16_t> {
public:
    // A new table with one reference for the caller. Throws InvalidArgumentException for depths
    // outside 1..16, std::bad_alloc when there is no memory.
    static BitConversionTable* Create(unsigned srcDepth, unsigned dstDepth, double gamma, uint32_t mode);
    // A table with the given 2^srcDepth entries; an entry above 2^dstDepth - 1 is an
    // InvalidArgumentException.
    static BitConversionTable* CreateFromEntries(unsigned srcDepth, unsigned dstDepth,
                                                 const uint16_t* entries);

    // AddRef, Release and RefCount come with the shared table; Size() is 2^SourceDepth(), and
    // Entries() are followed by one spare zero entry so that a 32-bit read of the last entry stays
    // inside the allocation.
    unsigned SourceDepth() const noexcept { return m_srcDepth; }
    unsigned DestinationDepth() const noexcept { return m_dstDepth; }
    uint32_t MaxIndex() const noexcept { return uint32_t(Size() - 1); }

    // The entry of a sample. Kernels clamp a sample above the source depth's maximum (a 16-bit
    // container with stray high bits) to the last entry instead of reading past the table.
    uint16_t operator()(uint32_t sample) const noexcept {
        return Entries()[sample < MaxIndex() ? sample : MaxIndex()];
    }

    // Forms a table may have besides a plain list of entries. Kernels compute a table of such a form
    // instead of looking entries up; the result is the same by construction, since a form is only
    // taken after it was checked against every entry.
    //  - Linear: entry(i) == ((i * LinearMul()) >> LinearShift()) | LinearFill(): the plain shifts
    //    (gamma 1 reductions, the LeftShift modes, Fixed) and 8 -> 16 at gamma 1 (i * 257).
    //  - RoundedScale: the gamma 1 curve of a growing depth, round(i * (2^d - 1) / (2^s - 1)). With
    //    k = d - s, c = 2^k - 1 and b = 2^s - 1 it is the exact i * 2^k plus r = round(i * c / b),
    //    and as b is odd r = floor(y / b) with y = i * c + (b - 1) / 2. The division by 2^s - 1 is
    //    done as (y + (y >> s) + 1) >> s, each step wrapping at 16 bits as a vector lane does:
    //    entry(i) == (i << k) + r. This holds for every source depth from 8 up (10 -> 16, 12 -> 16,
    //    14 -> 16, ...) and for small ones with small k; the check against every entry decides.
    enum class Form : uint8_t { Lookup, Linear, RoundedScale };
    Form GetForm() const noexcept { return m_form; }
    bool IsLinear() const noexcept { return m_form == Form::Linear; }
    uint32_t LinearMul() const noexcept { return m_mul; }
    unsigned LinearShift() const noexcept { return m_shift; }
    uint16_t LinearFill() const noexcept { return m_fill; }
    // RoundedScale: k, c and (b - 1) / 2 as above.
    unsigned ScaleShift() const noexcept { return m_shift; }
    uint32_t ScaleMul() const noexcept { return m_mul; }
    uint16_t ScaleHalf() const noexcept { return m_fill; }

private:
    BitConversionTable(unsigned srcDepth, unsigned dstDepth);
    ~BitConversionTable() override = default;
    void DetectForm() noexcept;

    unsigned m_srcDepth;
    unsigned m_dstDepth;
    Form m_form = Form::Lookup;
    uint32_t m_mul = 1;
    unsigned m_shift = 0;
    uint16_t m_fill = 0;
};

// One table per module, keyed by (source depth, destination depth, gamma, mode), with the module's
// current Gamma and BitExpansionMode. The lock covers look-up and rebuilding only.
class BitConversionTableCache {
public:
    BitConversionTableCache() = default;
    BitConversionTableCache(const BitConversionTableCache&) = delete;
    BitConversionTableCache& operator=(const BitConversionTableCache&) = delete;

    double GetGamma() const;
    void SetGamma(double gamma);
    uint32_t GetBitExpansionMode() const;
    void SetBitExpansionMode(uint32_t mode);

    // A table from srcDepth to dstDepth with a reference for the caller. The stored table is reused
    // if source depth, destination depth and gamma are equal and either srcDepth >= dstDepth (the mode
    // cannot matter) or the mode is the stored one; otherwise the cache drops its table and builds a
    // new one. No memory: BadAllocException with the allocator's text, the cache left empty.
    const BitConversionTable* Acquire(unsigned srcDepth, unsigned dstDepth);

    // The table the cache holds now, without a reference (for tests and diagnostics).
    const BitConversionTable* Peek() const;

private:
    // What a table was built from. Where the depth does not grow the mode cannot change the table,
    // and the key carries mode 0 whatever the module's mode is.
    struct Key {
        unsigned srcDepth = 0;
        unsigned dstDepth = 0;
        double gamma = 1.0;
        uint32_t mode = BitExpansion_Gamma;
        bool operator==(const Key& o) const {
            return srcDepth == o.srcDepth && dstDepth == o.dstDepth && lxip::SameBits(gamma, o.gamma) && mode == o.mode;
        }
    };
    lxip::CLxSharedTableCache<Key, BitConversionTable> m_tables; // its lock also guards the two below
    double m_gamma = 1.0;
    uint32_t m_mode = BitExpansion_Gamma;
};

// Holds one reference to a table and drops it at scope end.
class BitConversionTableRef : public lxip::CLxSharedTableRef<const BitConversionTable> {
public:
    // Empty, or taking over a reference the caller already owns (from Create or Acquire).
    using CLxSharedTableRef::CLxSharedTableRef;
    // Acquires from the cache when the depths differ; holds nothing when they are equal, which is
    // what the kernels expect (equal depths copy samples and use no table).
    BitConversionTableRef(BitConversionTableCache& cache, unsigned srcDepth, unsigned dstDepth)
        : CLxSharedTableRef(srcDepth != dstDepth ? cache.Acquire(srcDepth, dstDepth) : nullptr) {}
};

} // namespace lxconv
