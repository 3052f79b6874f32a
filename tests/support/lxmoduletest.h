// Shared pieces of the module tests: SDK initialisation, images filled from vectors, and owning
// pointers for modules and buffers.
#pragma once

#include "lxtesttext.h"

#include <includeinside/ilximageinside.h>
#include <lxapi/clxautoptr.h>
#include <lxapi/lxapi_ip.h>
#include <lxapi/lxapi_tl.h>
#include <lxapi/lxpixelformat.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace lxtest {

// Initialises the SDK for the whole test program.
class SdkEnvironment : public ::testing::Environment {
public:
    void SetUp() override { LxApiInitialize(); }
    void TearDown() override { LxApiTerminate(); }
};

using BufferPtr = CLxAutoPtr<ILxImageBufferReleasable, ILxImageBuffer>;
using FilterPtr = CLxAutoPtr<ILxFilterReleasable, ILxFilter>;
using ConverterPtr = CLxAutoPtr<ILxConverterReleasable, ILxConverter>;

inline ILxImageBufferInside* Inside(const BufferPtr& b) { return dynamic_cast<ILxImageBufferInside*>(b.Get()); }

// A buffer holding an image of the given format; pitch 0 takes the default pitch.
inline BufferPtr MakeImage(size_t width, size_t height, uint32_t format, size_t pitch = 0) {
    BufferPtr b(CreateILxImageBuffer(nullptr));
    if (pitch)
        Inside(b)->CreateBuffer(width, height, format, pitch);
    else
        b->CreateBuffer(width, height, format);
    return b;
}

inline uint8_t* Bytes(const BufferPtr& b) { return static_cast<uint8_t*>(b->GetILxImage()->GetImageBuffer()); }
inline size_t Pitch(const BufferPtr& b) { return b->GetILxImage()->GetImageLinePitch(); }

// Fills every byte of every line (padding included) with `value`.
inline void FillBytes(const BufferPtr& b, uint8_t value) {
    ILxImage* img = b->GetILxImage();
    const size_t planes = GetILxPixelFormatInfo(img->GetImagePixelFormat())->GetPlaneCount();
    std::memset(img->GetImageBuffer(), value, planes * img->GetImagePlaneSize());
}

// 16-bit sample i of line y.
inline uint16_t Word(const BufferPtr& b, size_t y, size_t i) {
    uint16_t v;
    std::memcpy(&v, Bytes(b) + y * Pitch(b) + 2 * i, 2);
    return v;
}
inline void SetWord(const BufferPtr& b, size_t y, size_t i, uint16_t v) {
    std::memcpy(Bytes(b) + y * Pitch(b) + 2 * i, &v, 2);
}

} // namespace lxtest
