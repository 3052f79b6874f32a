// An object that the caller ends with Release().
#pragma once

#include <lxapi/lxapidef.h>

class LXAPI_INTERFACE ILxReleasable {
public:
    // Destroys the object; the pointer is invalid afterwards.
    virtual void Release() = 0;

protected:
    virtual ~ILxReleasable() = default;
};
