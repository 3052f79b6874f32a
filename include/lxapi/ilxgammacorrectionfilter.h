// The gamma correction filter: rewrites samples through a table made from one exponent, Gamma.
#pragma once

#include <lxapi/ilxfilter.h>

class LXAPI_INTERFACE ILxGammaCorrectionFilter : public virtual ILxFilter {
public:
    virtual double GetGamma() = 0;
    // 0.0 to 4.0; out of range throws OutOfRangeException.
    virtual void SetGamma(double value) = 0;

protected:
    ~ILxGammaCorrectionFilter() override = default;
};
