// Chroma suppression: in dark and near-white pixels, red and blue are pulled towards green, in place.
#pragma once

#include "lxhandlertable.h"
#include "lxipmodulebase.h"

#include <includeinside/ilxchromasuppressionfilterinside.h>

class CLxChromaSuppressionFilter : public CLxIPModuleBase<ILxChromaSuppressionFilterInside> {
public:
    static constexpr ELxFilterType_t FilterType = LxFilterType_ChromaSuppression;
    using Handler = void (CLxChromaSuppressionFilter::*)(ILxImage*);
    static const CLxHandlerTable<Handler>& Handlers();
    struct Registers; // the register declarations

    CLxChromaSuppressionFilter();

    ILxFilterInfo* GetFilterInfo() override;
    ILxImage* Filter(ILxImage* image) override;
    uint32_t GetThresholdValue(ELxChromaSuppressionPartSelector_t eCSPS) override;
    void SetThresholdValue(ELxChromaSuppressionPartSelector_t eCSPS, uint32_t value) override;
    uint32_t GetSuppressionValue(ELxChromaSuppressionPartSelector_t eCSPS) override;
    void SetSuppressionValue(ELxChromaSuppressionPartSelector_t eCSPS, uint32_t value) override;

private:
    static constexpr size_t PartCount = 2;

    // The per-part values of the part the selector register names.
    uint32_t SelectedThreshold();
    void StoreSelectedThreshold(uint32_t value);
    uint32_t SelectedSuppression();
    void StoreSelectedSuppression(uint32_t value);
    // The typed route: part and value checked, a change stored and its node invalidated.
    void SetPartValue(uint32_t (&values)[PartCount], long long part, uint32_t value, const char* node);
    uint32_t GetPartValue(const uint32_t (&values)[PartCount], long long part);

    template <class Sample>
    void FilterPixels(ILxImage* image);

    size_t m_selectedPart = 0;                 // ChromaSuppressionPartSelectorReg
    uint32_t m_threshold[PartCount] = {0, 255}; // low and high part
    uint32_t m_suppression[PartCount] = {0, 0};
};
