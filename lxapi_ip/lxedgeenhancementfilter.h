// Edge enhancement: each inner pixel that differs from the mean of its 8 neighbours by more than a
// threshold is pushed further from it, by an amount from a table made from Strength and Thresh.
#pragma once

#include "lxhandlertable.h"
#include "lxipmodulebase.h"
#include "support/lxsharedtable.h"

#include <includeinside/ilxedgeenhancementfilterinside.h>
#include <lxapi/clxautoptr.h>
#include <lxapi/ilxconverter.h>

class CLxEdgeEnhancementFilter : public CLxIPModuleBase<ILxEdgeEnhancementFilterInside> {
public:
    static constexpr ELxFilterType_t FilterType = LxFilterType_EdgeEnhancement;
    using Handler = void (CLxEdgeEnhancementFilter::*)(ILxImage*);
    static const CLxHandlerTable<Handler>& Handlers();
    struct Registers; // the register declarations

    // The amounts by difference, for one depth; entries past the largest sample repeat its entry, so
    // that a word above the format's maximum still indexes inside the table.
    using SharedTable = lxip::CLxSharedTable<uint16_t>;
    using TableRef = lxip::CLxSharedTableRef<const SharedTable>;
    static SharedTable* BuildTable(size_t bits, double strength, uint32_t thresh);

    CLxEdgeEnhancementFilter();

    ILxFilterInfo* GetFilterInfo() override;
    ILxImage* Filter(ILxImage* image) override;
    double GetStrength() override;
    void SetStrength(double value) override;
    uint32_t GetThresh() override;
    void SetThresh(uint32_t value) override;

private:
    // The table for images of `bits`, or none while Strength is not above 0; `thresh` is the Thresh it
    // was made for (a setter may change the parameter meanwhile).
    TableRef AcquireTable(size_t bits, uint32_t& thresh);

    void FilterMono8(ILxImage* image);
    void FilterMono16(ILxImage* image);
    void FilterLuma(ILxImage* image);
    template <class Sample>
    void FilterColor(ILxImage* image);

    double m_strength = 0.0;
    uint32_t m_thresh = 0;

    // A table is rebuilt when one of the parameters it was made from, or the depth, changes.
    struct Key {
        size_t bits = 0;
        double strength = 0.0;
        uint32_t thresh = 0;
        bool operator==(const Key& o) const {
            return bits == o.bits && lxip::SameBits(strength, o.strength) && thresh == o.thresh;
        }
    };
    lxip::CLxSharedTableCache<Key, SharedTable> m_tables;

    // The colour path's converter to mono and its image, made at the first colour image. One colour
    // image at a time uses them: m_colorLock is held for the whole colour call.
    GenApi::CLock m_colorLock;
    CLxAutoPtr<ILxConverterReleasable, ILxConverter> m_converter;
    CLxAutoPtr<ILxImageBufferReleasable, ILxImageBuffer> m_monoImage;
};
