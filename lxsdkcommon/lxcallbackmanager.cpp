#include "lxcallbackmanager.h"

#include <GenICam/GCException.h>

#include <memory>
#include <new>

namespace {
void ReleaseQuietly(ILxCallback* callback) noexcept {
    if (!callback) return;
    try {
        callback->Release();
    } catch (...) {
    }
}
} // namespace

CLxCallbackManager::~CLxCallbackManager() {
    for (auto& [handle, entry] : m_entries) {
        ReleaseQuietly(entry->m_callback);
        delete entry;
    }
}

LX_CALLBACK_HANDLE CLxCallbackManager::RegisterCallback(ILxCallback* callback) {
    try {
        auto entry = std::make_unique<CLxCallbackEntry>(callback);
        const LX_CALLBACK_HANDLE handle = entry.get();
        GenApi::AutoLock guard(m_lock);
        m_entries.emplace(handle, entry.get());
        entry.release();
        return handle;
    } catch (const std::bad_alloc& e) {
        throw BAD_ALLOC_EXCEPTION("%s", e.what());
    }
}

void CLxCallbackManager::DeregisterCallback(LX_CALLBACK_HANDLE handle) {
    GenApi::AutoLock guard(m_lock);
    const auto it = m_entries.find(handle);
    if (it == m_entries.end()) throw INVALID_ARGUMENT_EXCEPTION("hCallback is invalid.");
    CLxCallbackEntry* entry = it->second;
    m_entries.erase(it);
    ReleaseQuietly(entry->m_callback);
    delete entry;
}

void CLxCallbackManager::FireCallback(ILxCallbackParamBase* param) {
    GenApi::AutoLock guard(m_lock);
    for (auto& [handle, entry] : m_entries) {
        // A null callback is stored as given; it fails at its event like any faulty callback.
        if (!entry->m_callback) continue;
        try {
            entry->m_callback->OnCallback(param);
        } catch (...) {
        }
    }
}
