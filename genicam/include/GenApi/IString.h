// GenApi::IString: a text feature.
#pragma once

#include <GenApi/IValue.h>

namespace GenApi {

class GENAPI_API IString : virtual public IValue {
public:
    virtual void SetValue(const GenICam::gcstring& Value, bool Verify = true) = 0;
    virtual IString& operator=(const GenICam::gcstring& Value) = 0;
    virtual GenICam::gcstring GetValue(bool Verify = false, bool IgnoreCache = false) = 0;
    virtual GenICam::gcstring operator()() = 0;
    virtual GenICam::gcstring operator*() = 0;
    // Longest text the feature can hold, in bytes.
    virtual int64_t GetMaxLength() = 0;

protected:
    ~IString() override = default;
};

} // namespace GenApi
