// Filters: modules that change an image in place or measure it.
#pragma once

#include <GenICam/GCString.h>
#include <lxapi/ilxcallback.h>
#include <lxapi/ilximage.h>
#include <lxapi/ilxreleasable.h>

namespace GenApi {
class INodeMap;
}

enum ELxFilterType_t : int32_t {
    LxFilterType_GammaCorrection = 0,
    LxFilterType_ColorTransformation = 1,
    LxFilterType_EdgeEnhancement = 2,
    LxFilterType_BalanceRatio = 3,
    LxFilterType_NoiseReduction = 4,
    LxFilterType_FlatFieldCorrection = 5,
    LxFilterType_ChromaSuppression = 6,
    LxFilterType_SNMeasurement = 7,
    LxFilterType_GraphData = 8,
    LxFilterType_ImageAveraging = 9,
    LxFilterType_DefectivePixelDetection = 10,
};

// Static facts of a filter type; never released.
class LXAPI_INTERFACE ILxFilterInfo {
public:
    virtual ELxFilterType_t GetFilterType() = 0;
    virtual GenICam::gcstring GetDisplayName() = 0;
    virtual bool IsSupportedPixelFormat(uint32_t pixelFormat) = 0;

protected:
    virtual ~ILxFilterInfo() = default;
};

class LXAPI_INTERFACE ILxFilter : public ILxRegisterCallback {
public:
    virtual ILxFilterInfo* GetFilterInfo() = 0;
    // Filters the image in place and returns it.
    virtual ILxImage* Filter(ILxImage* image) = 0;
    // The module's features; the description is loaded at the first call.
    virtual GenApi::INodeMap* GetINodeMap() = 0;

protected:
    ~ILxFilter() override = default;
};

class LXAPI_INTERFACE ILxFilterReleasable : public virtual ILxFilter, public ILxReleasable {
protected:
    ~ILxFilterReleasable() override = default;
};
