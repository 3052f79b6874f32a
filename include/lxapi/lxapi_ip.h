// Exported factories of the image-processing library. Each checks that the SDK is initialised, then
// the range of its argument, then makes the module; the caller ends it with Release().
#pragma once

#include <lxapi/clxautoptrarray.h>
#include <lxapi/ilxconverter.h>
#include <lxapi/ilxfiler.h>
#include <lxapi/ilxfilter.h>

class ILxSpecificTypeAllocator;
class ILxGraphDataBufferListResizableReleasable;

extern "C++" {
LXAPI_IP_API ILxFilterReleasable* CreateILxFilter(ELxFilterType_t type);
LXAPI_IP_API ILxConverterReleasable* CreateILxConverter(ELxConverterType_t type);
LXAPI_IP_API ILxFilerReleasable* CreateILxFiler(ELxFilerType_t type);
// The static info of a filter type, the same object the filter's GetFilterInfo() returns.
LXAPI_IP_API ILxFilterInfo* GetILxFilterInfo(ELxFilterType_t type);
LXAPI_IP_API ILxFilterReleasable* CreateILxGraphDataFilter(ILxSpecificTypeAllocator* allocator);
LXAPI_IP_API ILxGraphDataBufferListResizableReleasable* CreateILxGraphDataBufferListResizable(
    ILxSpecificTypeAllocator* allocator);
}

// A chain of filters: Filter runs an image through them in the order of their registration, each
// getting what the one before returned. The array owns the filters; Release ends them, first
// registered first, and leaves the array empty and usable.
class LXAPI_IP_API CILxFilterPtrArray : public CLxAutoPtrArray<ILxFilterReleasable, ILxFilter> {
public:
    CILxFilterPtrArray();
    ~CILxFilterPtrArray() override;
    ILxImage* Filter(ILxImage* image);
    void Release();
};
