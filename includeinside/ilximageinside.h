// The library's inside view of images and image buffers, reached by dynamic_cast.
#pragma once

#include <lxapi/ilximage.h>

class LXAPI_INTERFACE ILxImageInside : public ILxImage {
protected:
    ~ILxImageInside() override = default;
};

class LXAPI_INTERFACE ILxImageBufferInside : public ILxImageBuffer {
public:
    using ILxImageBuffer::CreateBuffer;
    // Gives the image a line pitch of its own; the pitch must hold one line of the format.
    virtual void CreateBuffer(size_t width, size_t height, uint32_t pixelFormat, size_t linePitch) = 0;

protected:
    ~ILxImageBufferInside() override = default;
};

// A view on a rectangle of another image: no memory of its own, the parent's line pitch. The parent
// must outlive the view. x and the width must fall on whole bytes for bit-packed formats.
LXAPI_TL_API ILxImageBufferReleasable* CreateILxImageView(ILxImage* parent, size_t x, size_t y, size_t width,
                                                          size_t height);
