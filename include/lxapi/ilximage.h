// The image model: an image, the buffer that owns its memory, and the allocator hook.
#pragma once

#include <lxapi/ilxreleasable.h>
#include <lxapi/lxapidef.h>

// One image. A packed image holds GetImageHeight() lines of GetImageLinePitch() bytes; a planar
// image holds the plane count of its format times GetImagePlaneSize() bytes.
class LXAPI_INTERFACE ILxImage {
public:
    virtual size_t GetImageWidth() = 0;
    virtual size_t GetImageHeight() = 0;
    virtual size_t GetImageLinePitch() = 0;
    virtual size_t GetImagePlaneSize() = 0;
    virtual uint32_t GetImagePixelFormat() = 0;
    virtual void* GetImageBuffer() = 0;

protected:
    virtual ~ILxImage() = default;
};

// The owner of an image's memory.
class LXAPI_INTERFACE ILxImageBuffer {
public:
    // Makes the buffer hold an image of this size and format, reusing memory where it fits.
    virtual void CreateBuffer(size_t width, size_t height, uint32_t pixelFormat) = 0;
    // The image of the present contents: the same object for the life of the buffer.
    virtual ILxImage* GetILxImage() = 0;
    // Takes size, format, line pitch and pixels of the given image.
    virtual void CopyImage(ILxImage* image) = 0;

protected:
    virtual ~ILxImageBuffer() = default;
};

class LXAPI_INTERFACE ILxImageBufferReleasable : public ILxImageBuffer, public ILxReleasable {
protected:
    ~ILxImageBufferReleasable() override = default;
};

// Decides where buffer memory lies. Allocate returns a context that goes back to Free, and sets
// *dataStart to where the pixels begin.
class LXAPI_INTERFACE ILxAllocator {
public:
    virtual void* Allocate(void** dataStart, size_t size) = 0;
    virtual void Free(void* context) = 0;

protected:
    virtual ~ILxAllocator() = default;
};
