// Owning pointer that ends its object with Release(). Dereferencing an empty one throws.
#pragma once

#include <GenICam/GCException.h>
#include <lxapi/ilxreleasable.h>

template <class Releasable, class Interface>
class CLxAutoPtr {
public:
    CLxAutoPtr() = default;
    explicit CLxAutoPtr(Releasable* p) : m_p(p) {}
    CLxAutoPtr(const CLxAutoPtr&) = delete;
    CLxAutoPtr& operator=(const CLxAutoPtr&) = delete;
    CLxAutoPtr(CLxAutoPtr&& other) noexcept : m_p(other.m_p) { other.m_p = nullptr; }
    CLxAutoPtr& operator=(CLxAutoPtr&& other) noexcept {
        if (this != &other) {
            Reset();
            m_p = other.m_p;
            other.m_p = nullptr;
        }
        return *this;
    }
    virtual ~CLxAutoPtr() { Reset(); }

    // Releases the held object (dropping anything Release throws) and takes `p`.
    void Reset(Releasable* p = nullptr) noexcept {
        if (m_p && m_p != p) {
            try {
                static_cast<ILxReleasable*>(m_p)->Release();
            } catch (...) {
            }
        }
        m_p = p;
    }
    // Gives up ownership without releasing.
    Releasable* Detach() noexcept {
        Releasable* p = m_p;
        m_p = nullptr;
        return p;
    }

    Interface* operator->() const { return &Deref(); }
    Interface& operator*() const { return Deref(); }
    Releasable* Get() const noexcept { return m_p; }
    bool IsValid() const noexcept { return m_p != nullptr; }
    explicit operator bool() const noexcept { return m_p != nullptr; }

private:
    Interface& Deref() const {
        if (!m_p) throw LOGICAL_ERROR_EXCEPTION("NULL pointer dereferenced");
        return *static_cast<Interface*>(m_p);
    }
    Releasable* m_p = nullptr;
};
