// GenApi::CLock, a recursive lock, and AutoLock, its scope guard.
#pragma once

#include <GenICam/GCApiDef.h>

#include <mutex>

namespace GenApi {

class GCBASE_API CLock {
public:
    CLock() = default;
    CLock(const CLock&) = delete;
    CLock& operator=(const CLock&) = delete;

    void Lock() { m_mutex.lock(); }
    void Unlock() { m_mutex.unlock(); }
    bool TryLock() { return m_mutex.try_lock(); }

private:
    std::recursive_mutex m_mutex;
};

class AutoLock {
public:
    explicit AutoLock(CLock& lock) : m_lock(lock) { m_lock.Lock(); }
    ~AutoLock() { m_lock.Unlock(); }
    AutoLock(const AutoLock&) = delete;
    AutoLock& operator=(const AutoLock&) = delete;

private:
    CLock& m_lock;
};

} // namespace GenApi
