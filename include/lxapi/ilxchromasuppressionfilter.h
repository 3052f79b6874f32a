// The chroma suppression filter: pulls red and blue towards green in dark and in near-white pixels,
// where a camera's colour is least trustworthy.
#pragma once

#include <lxapi/ilxfilter.h>

// The two luminance parts, each with its threshold and suppression.
enum ELxChromaSuppressionPartSelector_t : int32_t {
    LxChromaSuppressionPartSelector_LowLuminancePart = 0,
    LxChromaSuppressionPartSelector_HighLuminancePart = 1,
};

class LXAPI_INTERFACE ILxChromaSuppressionFilter : public virtual ILxFilter {
public:
    // Thresholds are luminances in 8-bit units at any depth, 0 to 255.
    virtual uint32_t GetThresholdValue(ELxChromaSuppressionPartSelector_t eCSPS) = 0;
    virtual void SetThresholdValue(ELxChromaSuppressionPartSelector_t eCSPS, uint32_t value) = 0;
    // Suppressions are 0 (off) to 255; the pull grows with the distance from the threshold.
    virtual uint32_t GetSuppressionValue(ELxChromaSuppressionPartSelector_t eCSPS) = 0;
    virtual void SetSuppressionValue(ELxChromaSuppressionPartSelector_t eCSPS, uint32_t value) = 0;

protected:
    ~ILxChromaSuppressionFilter() override = default;
};
