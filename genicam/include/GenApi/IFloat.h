// GenApi::IFloat: a floating-point feature with bounds.
#pragma once

#include <GenApi/IValue.h>

namespace GenApi {

class GENAPI_API IFloat : virtual public IValue {
public:
    virtual void SetValue(double Value, bool Verify = true) = 0;
    virtual IFloat& operator=(double Value) = 0;
    virtual double GetValue(bool Verify = false, bool IgnoreCache = false) = 0;
    virtual double operator()() = 0;
    virtual double operator*() = 0;
    virtual double GetMin() = 0;
    virtual double GetMax() = 0;
    virtual bool HasInc() = 0;
    // The increment, 0 when the feature has none.
    virtual double GetInc() = 0;
    virtual ERepresentation GetRepresentation() = 0;
    virtual GenICam::gcstring GetUnit() const = 0;

protected:
    ~IFloat() override = default;
};

} // namespace GenApi
