// Converters: modules that turn an image into another pixel format or orientation.
#pragma once

#include <GenICam/GCString.h>
#include <lxapi/ilxcallback.h>
#include <lxapi/ilximage.h>
#include <lxapi/ilxreleasable.h>

namespace GenApi {
class INodeMap;
}

enum ELxConverterType_t : int32_t {
    LxConverterType_PixelFormat = 0,
    LxConverterType_Reverse = 1,
};

class LXAPI_INTERFACE ILxConverterInfo {
public:
    virtual ELxConverterType_t GetConverterType() = 0;
    virtual GenICam::gcstring GetDisplayName() = 0;
    virtual bool IsSupportedPixelFormat(uint32_t pixelFormat) = 0;

protected:
    virtual ~ILxConverterInfo() = default;
};

class LXAPI_INTERFACE ILxConverter : public ILxRegisterCallback {
public:
    virtual ILxConverterInfo* GetConverterInfo() = 0;
    // Converts `source` into an image that `destination` creates.
    virtual void Convert(ILxImage* source, ILxImageBuffer* destination) = 0;
    virtual GenApi::INodeMap* GetINodeMap() = 0;

protected:
    ~ILxConverter() override = default;
};

class LXAPI_INTERFACE ILxConverterReleasable : public virtual ILxConverter, public ILxReleasable {
protected:
    ~ILxConverterReleasable() override = default;
};
