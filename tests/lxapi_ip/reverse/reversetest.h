// The reverse converter as its tests drive it, the formats it serves, and an independent per-pixel
// reference of the eight operations.
#pragma once

#include "lxmoduletest.h"

#include <GenApi/GenApi.h>
#include <includeinside/ilxpixelformatinfoinside.h>
#include <lxapi/ilxreverseconverter.h>

#include <random>
#include <string>
#include <vector>

namespace lxtest {

struct Reverser {
    ConverterPtr module{CreateILxConverter(LxConverterType_Reverse)};
    ILxReverseConverter* typed = dynamic_cast<ILxReverseConverter*>(module.Get());
    GenApi::IPort* port = dynamic_cast<GenApi::IPort*>(module.Get());

    void Set(bool x, bool y, ELxRotationMode_t rotation) {
        typed->SetReverseX(x);
        typed->SetReverseY(y);
        typed->SetRotationMode(rotation);
    }
    BufferPtr Run(const BufferPtr& source) {
        BufferPtr out(CreateILxImageBuffer(nullptr));
        module->Convert(source->GetILxImage(), out.Get());
        return out;
    }
};

// The eight settings by the operation they give (the code of the table): (X, Y, rotation).
struct Setting {
    bool x, y;
    ELxRotationMode_t rotation;
};
constexpr Setting kSettingOfCode[8] = {
    {false, false, LxRotationMode_OFF},          {true, false, LxRotationMode_OFF},
    {false, true, LxRotationMode_OFF},           {true, true, LxRotationMode_OFF},
    {false, false, LxRotationMode_Clockwise90},  {false, false, LxRotationMode_Counterclockwise90},
    {false, true, LxRotationMode_Clockwise90},   {true, false, LxRotationMode_Clockwise90},
};

// The 88 formats the converter reverses, by name.
inline std::vector<std::string> ReversibleFormatNames() {
    std::vector<std::string> names = {"Mono8", "Mono10", "Mono12", "Mono14", "Mono16"};
    for (const char* depth : {"8", "10", "12", "14", "16"})
        for (const char* phase : {"GR", "RG", "GB", "BG"}) names.push_back(std::string("Bayer") + phase + depth);
    for (const char* kind : {"Mono", "BayerRG"})
        for (const char* depth : {"8", "10", "12"})
            for (const char* group : {"", "C"})
                for (const char* variant : {"", "X", "Y", "XY"})
                    names.push_back(std::string("Pol1") + kind + variant + group + depth);
    for (const char* n : {"BGR8", "BGRa8", "RGB8", "RGBa8", "BGR10", "BGRa10", "BGR12", "BGRa12", "BGR14", "BGRa14",
                          "BGR16", "BGRa16", "YCbCr8", "CBGR10p32", "RGB10p32"})
        names.push_back(n);
    return names;
}

// The code of a format name, through the enumeration of the pixel format converter's description,
// which lists every format the library knows.
uint32_t FormatCode(const std::string& name);
inline std::vector<uint32_t> ReversibleFormats() {
    std::vector<uint32_t> codes;
    for (const std::string& n : ReversibleFormatNames()) codes.push_back(FormatCode(n));
    return codes;
}

inline ILxPixelFormatInfoInside* FormatFacts(uint32_t format) {
    return dynamic_cast<ILxPixelFormatInfoInside*>(GetILxPixelFormatInfo(format));
}
inline uint32_t FormatOf(const BufferPtr& b) { return b->GetILxImage()->GetImagePixelFormat(); }
inline std::string NameOf(uint32_t format) { return GetILxPixelFormatInfo(format)->GetName().c_str(); }

// Random bytes in every byte of the image, padding included.
inline void FillRandom(const BufferPtr& b, std::mt19937& rng) {
    ILxImage* img = b->GetILxImage();
    auto* p = static_cast<uint8_t*>(img->GetImageBuffer());
    for (size_t i = 0; i < img->GetImageHeight() * img->GetImageLinePitch(); ++i) p[i] = uint8_t(rng());
}

// Where the operation of `code` puts source pixel (x, y) of a w x h image, pixel by pixel.
inline void Destination(int code, size_t w, size_t h, size_t x, size_t y, size_t* dx, size_t* dy) {
    switch (code) {
    case 0: *dx = x, *dy = y; break;
    case 1: *dx = w - 1 - x, *dy = y; break;
    case 2: *dx = x, *dy = h - 1 - y; break;
    case 3: *dx = w - 1 - x, *dy = h - 1 - y; break;
    case 4: *dx = h - 1 - y, *dy = x; break;
    case 5: *dx = y, *dy = w - 1 - x; break;
    case 6: *dx = y, *dy = x; break;
    default: *dx = h - 1 - y, *dy = w - 1 - x; break;
    }
}

// Whether `out` holds every pixel of `in` (bytes of pixelBits / 8) at the place of `code`.
inline ::testing::AssertionResult MovedByCode(const BufferPtr& in, const BufferPtr& out, int code) {
    ILxImage* s = in->GetILxImage();
    ILxImage* d = out->GetILxImage();
    const size_t w = s->GetImageWidth(), h = s->GetImageHeight();
    const bool swaps = code >= 4;
    if (d->GetImageWidth() != (swaps ? h : w) || d->GetImageHeight() != (swaps ? w : h))
        return ::testing::AssertionFailure() << "size " << d->GetImageWidth() << " x " << d->GetImageHeight();
    const size_t n = GetILxPixelFormatInfo(s->GetImagePixelFormat())->GetPixelBits() / 8;
    const auto* sp = static_cast<const uint8_t*>(s->GetImageBuffer());
    const auto* dp = static_cast<const uint8_t*>(d->GetImageBuffer());
    for (size_t y = 0; y < h; ++y)
        for (size_t x = 0; x < w; ++x) {
            size_t dx, dy;
            Destination(code, w, h, x, y, &dx, &dy);
            if (std::memcmp(sp + y * s->GetImageLinePitch() + x * n, dp + dy * d->GetImageLinePitch() + dx * n, n))
                return ::testing::AssertionFailure() << "pixel (" << x << ", " << y << ") of code " << code;
        }
    return ::testing::AssertionSuccess();
}

} // namespace lxtest
