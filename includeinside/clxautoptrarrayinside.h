// The definitions of CLxAutoPtrArray, instantiated and exported by the library for its element types.
#pragma once

#include <GenICam/GCException.h>
#include <lxapi/clxautoptrarray.h>
#include <lxapi/ilxreleasable.h>

#include <new>
#include <stdexcept>

template <class Releasable, class Interface>
CLxAutoPtrArray<Releasable, Interface>::CLxAutoPtrArray() : m_elements(nullptr) {
    try {
        m_elements = new std::vector<Releasable*>();
    } catch (const std::bad_alloc& e) {
        throw BAD_ALLOC_EXCEPTION("%s", e.what());
    }
}

template <class Releasable, class Interface>
CLxAutoPtrArray<Releasable, Interface>::~CLxAutoPtrArray() {
    for (Releasable* element : *m_elements) {
        if (!element) continue;
        try {
            static_cast<ILxReleasable*>(element)->Release();
        } catch (...) {
            // A destructor has nobody to report to; the other elements are still released.
        }
    }
    delete m_elements;
}

template <class Releasable, class Interface>
size_t CLxAutoPtrArray<Releasable, Interface>::Register(Releasable* element) {
    try {
        m_elements->push_back(element);
    } catch (const std::length_error& e) {
        throw INVALID_ARGUMENT_EXCEPTION("%s", e.what());
    } catch (const std::bad_alloc& e) {
        throw BAD_ALLOC_EXCEPTION("%s", e.what());
    } catch (const std::exception& e) {
        throw RUNTIME_EXCEPTION("%s", e.what());
    }
    return m_elements->size() - 1;
}

namespace lxip::detail {
// The index checks of the array: a value that is negative as a signed 64-bit number, then one at or
// above the size.
inline void CheckArrayIndex(size_t nIndex, size_t size) {
    const long long v = static_cast<long long>(nIndex);
    if (v < 0) throw OUT_OF_RANGE_EXCEPTION("%s = %lld must be equal or greater than Min = %lld", "nIndex", v, 0LL);
    if (nIndex >= size)
        throw OUT_OF_RANGE_EXCEPTION("%s = %lld must be smaller than Max = %lld", "nIndex", v,
                                     static_cast<long long>(size));
}
} // namespace lxip::detail

template <class Releasable, class Interface>
Releasable* CLxAutoPtrArray<Releasable, Interface>::Deregister(size_t nIndex) {
    lxip::detail::CheckArrayIndex(nIndex, m_elements->size());
    Releasable* element = (*m_elements)[nIndex];
    m_elements->erase(m_elements->begin() + static_cast<std::ptrdiff_t>(nIndex));
    return element;
}

template <class Releasable, class Interface>
size_t CLxAutoPtrArray<Releasable, Interface>::GetSize() {
    return m_elements->size();
}

template <class Releasable, class Interface>
Interface* CLxAutoPtrArray<Releasable, Interface>::operator[](size_t nIndex) {
    lxip::detail::CheckArrayIndex(nIndex, m_elements->size());
    Releasable* element = (*m_elements)[nIndex];
    if (!element) throw LOGICAL_ERROR_EXCEPTION("Unexpected type in dynamic cast");
    return static_cast<Interface*>(element);
}
