// What the module harnesses share: the SDK initialised once, the pixel formats the library knows (as
// the pixel format converter's description lists them), and images of bounded size filled from the
// input.
#pragma once

#include "fuzz_support.h"

#include <includeinside/ilximageinside.h>
#include <lxapi/clxautoptr.h>
#include <lxapi/ilxpixelformatconverter.h>
#include <lxapi/lxapi_ip.h>
#include <lxapi/lxapi_tl.h>

#include <vector>

namespace lxfuzz {

using BufferPtr = CLxAutoPtr<ILxImageBufferReleasable, ILxImageBuffer>;
using FilterPtr = CLxAutoPtr<ILxFilterReleasable, ILxFilter>;
using ConverterPtr = CLxAutoPtr<ILxConverterReleasable, ILxConverter>;
using FilerPtr = CLxAutoPtr<ILxFilerReleasable, ILxFiler>;

// Largest width and height of an image a harness makes.
constexpr size_t kMaxSide = 64;
// Most padding a harness adds to a line beyond the format's own pitch.
constexpr size_t kMaxExtraPitch = 64;

inline void InitSdk() {
    static const bool initialised = [] {
        LxApiInitialize();
        return true;
    }();
    (void)initialised;
}

// The codes of the converter description's DestinationPixelFormat entries: every format the
// library converts from or to.
inline const std::vector<uint32_t>& KnownFormats() {
    static const std::vector<uint32_t> formats = [] {
        InitSdk();
        std::vector<uint32_t> codes;
        ConverterPtr converter(CreateILxConverter(LxConverterType_PixelFormat));
        GenApi::CEnumerationPtr destination = converter->GetINodeMap()->GetNode("DestinationPixelFormat");
        GenApi::NodeList_t entries;
        destination->GetEntries(entries);
        for (GenApi::INode* node : entries)
            if (GenApi::CEnumEntryPtr entry = node; entry.IsValid())
                codes.push_back(static_cast<uint32_t>(entry->GetValue()));
        return codes;
    }();
    return formats;
}

// A format from the table, or now and then any code at all.
inline uint32_t PickFormat(CInput& in) {
    const std::vector<uint32_t>& formats = KnownFormats();
    const uint8_t choice = in.Byte();
    if (choice == 0xFF) return in.Raw<uint32_t>();
    return formats[in.Range(0, formats.size() - 1)];
}

// Fills every byte of the image's planes, padding included, from the input (zero once it ends).
inline void FillImage(ILxImage* image, CInput& in) {
    ILxPixelFormatInfo* info = GetILxPixelFormatInfo(image->GetImagePixelFormat());
    const size_t bytes = info->GetPlaneCount() * image->GetImagePlaneSize();
    auto* p = static_cast<uint8_t*>(image->GetImageBuffer());
    const std::string_view source = in.Bytes(bytes);
    if (bytes) std::memset(p, 0, bytes);
    if (!source.empty()) std::memcpy(p, source.data(), source.size());
}

// Reads every byte the image claims to hold, so that a buffer smaller than its geometry is found.
inline unsigned Touch(ILxImage* image) {
    ILxPixelFormatInfo* info = GetILxPixelFormatInfo(image->GetImagePixelFormat());
    const size_t bytes = info->GetPlaneCount() * image->GetImagePlaneSize();
    const auto* p = static_cast<const volatile uint8_t*>(image->GetImageBuffer());
    unsigned sum = 0;
    for (size_t i = 0; i < bytes; ++i) sum += p[i];
    return sum;
}

// A buffer of a random size (0..kMaxSide) and format, with the default line pitch or a wider one.
inline BufferPtr MakeImage(CInput& in, uint32_t format) {
    BufferPtr buffer(CreateILxImageBuffer(nullptr));
    const size_t width = in.Range(0, kMaxSide), height = in.Range(0, kMaxSide);
    const size_t extra = in.Range(0, kMaxExtraPitch);
    buffer->CreateBuffer(width, height, format);
    if (extra) {
        const size_t pitch = buffer->GetILxImage()->GetImageLinePitch() + extra;
        Try([&] { dynamic_cast<ILxImageBufferInside&>(*buffer.Get()).CreateBuffer(width, height, format, pitch); });
    }
    FillImage(buffer->GetILxImage(), in);
    return buffer;
}

} // namespace lxfuzz
