// Colour transformation: each colour pixel becomes, in place, a linear mix of its three channels,
// through three tables made from the gain matrix, the offsets, hue and saturation.
#pragma once

#include "ctkernels.h"
#include "lxhandlertable.h"
#include "lxipmodulebase.h"
#include "support/lxsharedtable.h"

#include <includeinside/ilxcolortransformationfilterinside.h>

class CLxColorTransformationFilter : public CLxIPModuleBase<ILxColorTransformationFilterInside> {
public:
    static constexpr ELxFilterType_t FilterType = LxFilterType_ColorTransformation;
    using Handler = void (CLxColorTransformationFilter::*)(ILxImage*);
    static const CLxHandlerTable<Handler>& Handlers();
    struct Registers; // the register declarations

    static constexpr size_t ValueCount = 12; // three rows of three gains and an offset

    // The three blocks of 2^bits records, 48 << bits bytes, and the depth they were made for.
    using SharedTable = lxip::CLxSharedTable<lxct::Record>;
    using TableRef = lxip::CLxSharedTableRef<const SharedTable>;

    CLxColorTransformationFilter();

    ILxFilterInfo* GetFilterInfo() override;
    ILxImage* Filter(ILxImage* image) override;
    bool GetColorTransformationEnable() override;
    void SetColorTransformationEnable(bool value) override;
    double GetColorTransformationValue(ELxColorTransformationValueSelector_t eCTVS) override;
    void SetColorTransformationValue(ELxColorTransformationValueSelector_t eCTVS, double value) override;
    double GetHueCorrection() override;
    void SetHueCorrection(double value) override;
    double GetSaturationCorrection() override;
    void SetSaturationCorrection(double value) override;

    // What a table is made from. Floating-point parts compare by their bits.
    struct TableKey {
        size_t bits = 0;
        double values[ValueCount] = {};
        double hue = 0.0;
        double saturation = 1.0;
        bool operator==(const TableKey& o) const;
    };
    // The table for `key` (exposed for the tests of the table itself).
    static SharedTable* BuildTable(const TableKey& key);
    // The table held now, or null (for the tests: how often a table is made).
    const SharedTable* PeekTable() const { return m_tables.Peek(); }

private:
    void StoreHue(double value);
    void StoreSaturation(double value);
    double SelectedValue();
    void StoreSelectedValue(double value);
    // The internal setter of matrix value `index` (below ValueCount): the bounds of an offset or of a
    // gain, then a change stored; true when the value changed.
    bool StoreValue(size_t index, double value);

    TableRef AcquireTable(size_t bits);
    template <class Sample>
    void FilterPixels(ILxImage* image);

    lxip::CLxSharedTableCache<TableKey, SharedTable> m_tables;
    bool m_enable = false;
    double m_values[ValueCount] = {1.0, 0.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 0.0, 1.0, 0.0};
    double m_hue = 0.0;
    double m_saturation = 1.0;
    size_t m_selector = 0; // ColorTransformationValueSelectorReg: Gain00
};
