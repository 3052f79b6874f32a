// Owning ordered array of releasable objects: Register appends and takes ownership, Deregister hands
// an element back to the caller, and whatever is left is released, first to last, when the array
// ends. The member definitions live inside the library, which exports the array for its element
// types (the filter array below; a build with the sister library adds its system, device and data
// stream arrays).
#pragma once

#include <lxapi/ilxfilter.h>
#include <lxapi/lxapidef.h>

#include <cstddef>
#include <vector>

template <class Releasable, class Interface>
class LXAPI_IP_API CLxAutoPtrArray {
public:
    CLxAutoPtrArray();
    virtual ~CLxAutoPtrArray();
    CLxAutoPtrArray(const CLxAutoPtrArray&) = delete;
    CLxAutoPtrArray& operator=(const CLxAutoPtrArray&) = delete;

    // Appends `element` (null is taken too) and answers its index. The array owns it now.
    virtual size_t Register(Releasable* element);
    // Takes the element at nIndex out; the ones behind it move down by one. The caller owns it now.
    virtual Releasable* Deregister(size_t nIndex);
    virtual size_t GetSize();
    // The element at nIndex; a null element raises LogicalErrorException.
    virtual Interface* operator[](size_t nIndex);

private:
    std::vector<Releasable*>* m_elements;
};

extern template class CLxAutoPtrArray<ILxFilterReleasable, ILxFilter>;
