// The register access interface of a device, and of every module of this SDK.
#pragma once

#include <GenApi/Types.h>
#include <GenICam/GCApiDef.h>

namespace GenApi {

class GENAPI_API IBase {
public:
    virtual EAccessMode GetAccessMode() const = 0;

protected:
    virtual ~IBase() = default;
};

class GENAPI_API IPort : virtual public IBase {
public:
    // Reads `length` bytes at `address` into `buffer`.
    virtual void Read(void* buffer, int64_t address, int64_t length) = 0;
    // Writes `length` bytes from `buffer` to `address`.
    virtual void Write(const void* buffer, int64_t address, int64_t length) = 0;

protected:
    ~IPort() override = default;
};

} // namespace GenApi
