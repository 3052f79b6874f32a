// Callbacks: the application's object, the event argument and the registry interface.
#pragma once

#include <lxapi/lxapidef.h>

class LXAPI_INTERFACE ILxCallbackParamBase {
public:
    // The 32-bit event kind.
    virtual uint32_t GetCallbackType() = 0;

protected:
    virtual ~ILxCallbackParamBase() = default;
};

class LXAPI_INTERFACE ILxCallback {
public:
    // Called at each event, on the thread that fires it.
    virtual void OnCallback(ILxCallbackParamBase* param) = 0;
    // Ends the callback object; called exactly once, when its registration ends.
    virtual void Release() = 0;

protected:
    virtual ~ILxCallback() = default;
};

class LXAPI_INTERFACE ILxRegisterCallback {
public:
    virtual LX_CALLBACK_HANDLE RegisterCallback(ILxCallback* callback) = 0;
    virtual void DeregisterCallback(LX_CALLBACK_HANDLE handle) = 0;

protected:
    virtual ~ILxRegisterCallback() = default;
};
