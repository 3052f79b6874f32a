// The edge enhancement filter: pushes a pixel that differs from the mean of its 8 neighbours by more
// than a threshold further away from that mean, by an amount that grows with Strength.
#pragma once

#include <lxapi/ilxfilter.h>

class LXAPI_INTERFACE ILxEdgeEnhancementFilter : public virtual ILxFilter {
public:
    virtual double GetStrength() = 0;
    // 0.0 to 32.0; 0 leaves images untouched. Out of range throws OutOfRangeException.
    virtual void SetStrength(double value) = 0;
    virtual uint32_t GetThresh() = 0;
    // 0 to 255, in 8-bit units (scaled to the image's depth). Out of range throws OutOfRangeException.
    virtual void SetThresh(uint32_t value) = 0;

protected:
    ~ILxEdgeEnhancementFilter() override = default;
};
