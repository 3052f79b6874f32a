// The callback registry every module carries. Registrations are kept in a map ordered by handle (the
// address of the entry), which is also the order of firing.
#pragma once

#include <GenApi/Synch.h>
#include <lxapi/ilxcallback.h>

#include <map>

class ILxCallbackManager : public ILxRegisterCallback {
public:
    virtual void FireCallback(ILxCallbackParamBase* param) = 0;

protected:
    ~ILxCallbackManager() override = default;
};

class CLxCallbackEntry {
public:
    explicit CLxCallbackEntry(ILxCallback* callback) : m_callback(callback) {}
    virtual ~CLxCallbackEntry() = default;
    ILxCallback* m_callback;
};

class CLxCallbackManager : public ILxCallbackManager {
public:
    CLxCallbackManager() = default;
    CLxCallbackManager(const CLxCallbackManager&) = delete;
    CLxCallbackManager& operator=(const CLxCallbackManager&) = delete;
    // Ends every registration still present (the callbacks' Release is called, failures dropped).
    ~CLxCallbackManager() override;

    LX_CALLBACK_HANDLE RegisterCallback(ILxCallback* callback) override;
    // Throws InvalidArgumentException "hCallback is invalid." for an unknown handle.
    void DeregisterCallback(LX_CALLBACK_HANDLE handle) override;
    // Calls every callback under the lock; an exception of one callback stops neither the next one
    // nor the caller.
    void FireCallback(ILxCallbackParamBase* param) override;

private:
    GenApi::CLock m_lock;
    std::map<LX_CALLBACK_HANDLE, CLxCallbackEntry*> m_entries;
};

// The typed event argument: stores the event kind and answers it as its first operation.
template <class T>
class CLxCallbackParamBase : public T {
public:
    explicit CLxCallbackParamBase(uint32_t callbackType) : m_callbackType(callbackType) {}
    uint32_t GetCallbackType() override { return m_callbackType; }

private:
    uint32_t m_callbackType;
};
