#include "lxfilterptrlist.h"

template class CLxAutoPtrArray<ILxFilterReleasable, ILxFilter>;

CILxFilterPtrArray::CILxFilterPtrArray() = default;

// Ends the filters as Release does, dropping any exception; an element whose Release failed stops
// the loop, and the base destructor releases the rest.
CILxFilterPtrArray::~CILxFilterPtrArray() {
    try {
        Release();
    } catch (...) {
    }
}

// No format check and no conversion between the filters: a filter that cannot take the image
// raises, and the images behind it stay as the earlier filters left them.
ILxImage* CILxFilterPtrArray::Filter(ILxImage* image) {
    const size_t n = GetSize();
    for (size_t i = 0; i < n; ++i) image = (*this)[i]->Filter(image);
    return image;
}

void CILxFilterPtrArray::Release() {
    while (GetSize() != 0) {
        ILxFilterReleasable* filter = Deregister(0);
        // A null element (Register takes one) has nothing to release.
        if (filter) static_cast<ILxReleasable*>(filter)->Release();
    }
}
