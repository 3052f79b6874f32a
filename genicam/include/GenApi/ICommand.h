// GenApi::ICommand: a feature that triggers an action.
#pragma once

#include <GenApi/IValue.h>

namespace GenApi {

class GENAPI_API ICommand : virtual public IValue {
public:
    // Writes the command value to the command's register.
    virtual void Execute(bool Verify = true) = 0;
    virtual void operator()() = 0;
    // True once the device has cleared the command value again (or cannot tell).
    virtual bool IsDone(bool Verify = true) = 0;

protected:
    ~ICommand() override = default;
};

} // namespace GenApi
