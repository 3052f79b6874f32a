// GenApi::IBoolean: an on/off feature.
#pragma once

#include <GenApi/IValue.h>

namespace GenApi {

class GENAPI_API IBoolean : virtual public IValue {
public:
    virtual void SetValue(bool Value, bool Verify = true) = 0;
    virtual IBoolean& operator=(bool Value) = 0;
    virtual bool GetValue(bool Verify = false, bool IgnoreCache = false) const = 0;
    virtual bool operator()() const = 0;

protected:
    ~IBoolean() override = default;
};

} // namespace GenApi
