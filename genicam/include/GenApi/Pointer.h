// Smart pointers to the node interfaces: a CPointer<T> holds a T* found by a cast from any node
// pointer, or nothing when the node is missing or of another kind.
//   CFloatPtr gamma = nodeMap->GetNode("Gamma");
//   if (gamma.IsValid()) gamma->SetValue(2.2);
#pragma once

#include <GenApi/ICategory.h>
#include <GenApi/ICommand.h>
#include <GenApi/IBoolean.h>
#include <GenApi/IEnumeration.h>
#include <GenApi/IFloat.h>
#include <GenApi/IInteger.h>
#include <GenApi/IString.h>
#include <GenApi/IValue.h>
#include <GenICam/GCException.h>

#include <cstddef>

namespace GenApi {

template <class T, class B = IBase>
class CPointer {
public:
    CPointer() noexcept = default;
    CPointer(B* pB) : m_pT(pB ? dynamic_cast<T*>(pB) : nullptr) {}
    template <class U, class UB>
    CPointer(const CPointer<U, UB>& other) : m_pT(other.IsValid() ? dynamic_cast<T*>(other.operator U*()) : nullptr) {}

    CPointer& operator=(B* pB) {
        m_pT = pB ? dynamic_cast<T*>(pB) : nullptr;
        return *this;
    }

    operator T*() const noexcept { return m_pT; }
    T* operator->() const {
        if (!m_pT) throw ACCESS_EXCEPTION("Feature not present (reference not valid)");
        return m_pT;
    }
    T& operator*() const {
        if (!m_pT) throw ACCESS_EXCEPTION("Feature not present (reference not valid)");
        return *m_pT;
    }

    bool IsValid() const noexcept { return m_pT != nullptr; }
    void Release() noexcept { m_pT = nullptr; }
    bool operator==(std::nullptr_t) const noexcept { return m_pT == nullptr; }
    bool operator!=(std::nullptr_t) const noexcept { return m_pT != nullptr; }

private:
    T* m_pT = nullptr;
};

using CNodePtr = CPointer<INode>;
using CValuePtr = CPointer<IValue>;
using CIntegerPtr = CPointer<IInteger>;
using CFloatPtr = CPointer<IFloat>;
using CBooleanPtr = CPointer<IBoolean>;
using CCommandPtr = CPointer<ICommand>;
using CStringPtr = CPointer<IString>;
using CEnumerationPtr = CPointer<IEnumeration>;
using CEnumEntryPtr = CPointer<IEnumEntry>;
using CCategoryPtr = CPointer<ICategory>;
using CPortPtr = CPointer<IPort>;

template <class T, class B>
inline bool IsReadable(const CPointer<T, B>& p) {
    return p.IsValid() && IsReadable(p->GetAccessMode());
}
template <class T, class B>
inline bool IsWritable(const CPointer<T, B>& p) {
    return p.IsValid() && IsWritable(p->GetAccessMode());
}
template <class T, class B>
inline bool IsAvailable(const CPointer<T, B>& p) {
    return p.IsValid() && IsAvailable(p->GetAccessMode());
}
template <class T, class B>
inline bool IsImplemented(const CPointer<T, B>& p) {
    return p.IsValid() && IsImplemented(p->GetAccessMode());
}

} // namespace GenApi
