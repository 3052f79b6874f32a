// Gamma correction: rewrites the samples of an image in place through a table made from Gamma.
#pragma once

#include "lxhandlertable.h"
#include "lxipmodulebase.h"
#include "support/lxsharedtable.h"

#include <includeinside/ilxgammacorrectionfilterinside.h>

// The table holder: the gamma wanted, and a cache of one shared table keyed by the bits and the
// gamma it was made for. The table is reference counted so that a table replaced by one thread's
// call stays alive until another thread's running call is done with it.
class CLxGammaTable {
public:
    using SharedTable = lxip::CLxSharedTable<uint16_t>;
    using Ref = lxip::CLxSharedTableRef<const SharedTable>;

    double GetGamma();
    void SetGamma(double gamma);
    // A reference to the table for `bits` and the limits (0 and 0 for the full range), or an empty
    // one when Gamma is exactly 1.0. The caller holds the module's work lock.
    Ref Acquire(size_t bits, uint16_t lo, uint16_t hi);

private:
    static SharedTable* Build(size_t bits, double gamma, uint16_t lo, uint16_t hi);

    // The limits are not part of the key: a table made for one format of these bits serves the next.
    struct Key {
        size_t bits = 8;
        double gamma = 1.0;
        bool operator==(const Key& o) const { return bits == o.bits && lxip::SameBits(gamma, o.gamma); }
    };
    lxip::CLxSharedTableCache<Key, SharedTable> m_tables;
    double m_gammaWanted = 1.0; // the parameter
    GenApi::CLock m_lock;       // guards m_gammaWanted
};

class CLxGammaCorrectionFilter : public CLxIPModuleBase<ILxGammaCorrectionFilterInside> {
public:
    static constexpr ELxFilterType_t FilterType = LxFilterType_GammaCorrection;
    using Handler = void (CLxGammaCorrectionFilter::*)(ILxImage*);
    static const CLxHandlerTable<Handler>& Handlers();
    struct Registers; // the register declarations

    CLxGammaCorrectionFilter();

    ILxFilterInfo* GetFilterInfo() override;
    ILxImage* Filter(ILxImage* image) override;
    double GetGamma() override;
    void SetGamma(double value) override;

private:
    void StoreGamma(double value) { m_gammaTable.SetGamma(value); }
    CLxGammaTable::Ref AcquireTable(size_t bits, uint16_t lo, uint16_t hi);

    template <class Sample>
    void FilterMono(ILxImage* image);
    template <class Sample>
    void FilterColor(ILxImage* image);
    void FilterLuma(ILxImage* image);

    CLxGammaTable m_gammaTable;
};
