// GenApi::IValue: a node whose value can be shown and set as text.
#pragma once

#include <GenApi/INode.h>

namespace GenApi {

class GENAPI_API IValue : virtual public IBase {
public:
    virtual INode* GetNode() = 0;
    virtual GenICam::gcstring ToString(bool Verify = false, bool IgnoreCache = false) = 0;
    virtual void FromString(const GenICam::gcstring& ValueStr, bool Verify = true) = 0;
    // True if reading the value now would cost no port access.
    virtual bool IsValueCacheValid() const = 0;

protected:
    ~IValue() override = default;
};

} // namespace GenApi
