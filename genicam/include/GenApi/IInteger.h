// GenApi::IInteger: an integer feature with bounds and increment.
#pragma once

#include <GenApi/IValue.h>

namespace GenApi {

class GENAPI_API IInteger : virtual public IValue {
public:
    // Verify checks the bounds and the increment before writing.
    virtual void SetValue(int64_t Value, bool Verify = true) = 0;
    virtual IInteger& operator=(int64_t Value) = 0;
    // Verify checks that the value read lies within the bounds.
    virtual int64_t GetValue(bool Verify = false, bool IgnoreCache = false) = 0;
    virtual int64_t operator()() = 0;
    virtual int64_t operator*() = 0;
    virtual int64_t GetMin() = 0;
    virtual int64_t GetMax() = 0;
    virtual int64_t GetInc() = 0;
    virtual ERepresentation GetRepresentation() = 0;
    virtual GenICam::gcstring GetUnit() const = 0;

protected:
    ~IInteger() override = default;
};

} // namespace GenApi
