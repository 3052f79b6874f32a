// Filers: modules that save images as still files or as video files.
#pragma once

#include <GenICam/GCString.h>
#include <lxapi/ilxcallback.h>
#include <lxapi/ilxreleasable.h>

namespace GenApi {
class INodeMap;
}

enum ELxFilerType_t : int32_t {
    LxFilerType_StillImage = 0,
    LxFilerType_Video = 1,
};

class LXAPI_INTERFACE ILxFilerInfo {
public:
    virtual ELxFilerType_t GetFilerType() = 0;
    virtual GenICam::gcstring GetDisplayName() = 0;

protected:
    virtual ~ILxFilerInfo() = default;
};

class LXAPI_INTERFACE ILxFiler : public ILxRegisterCallback {
public:
    virtual ILxFilerInfo* GetFilerInfo() = 0;
    virtual GenApi::INodeMap* GetINodeMap() = 0;

protected:
    ~ILxFiler() override = default;
};

class LXAPI_INTERFACE ILxFilerReleasable : public virtual ILxFiler, public ILxReleasable {
protected:
    ~ILxFilerReleasable() override = default;
};
