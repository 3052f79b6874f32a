// Pixel format facts for error paths and for codes that come from outside: an image of the caller's
// own making or a DestinationPixelFormat written through the port may carry a code that the sister
// library does not know. Such a code must still give the library's own texts ("Not supported
// pixelformat %s", "Converting a pixelformat from  %s to %s is not supported."), named by its hex
// form, instead of the sister library's exception.
#pragma once

#include <GenICam/GCException.h>
#include <lxapi/lxapi_tl.h>

#include <cstdint>
#include <cstdio>

namespace lxip {

// The facts of `pixelFormat`, or null when the sister library does not know the code (whether it
// says so by an exception or by a null result).
inline ILxPixelFormatInfo* FindPixelFormatInfo(uint32_t pixelFormat) noexcept {
    try {
        return GetILxPixelFormatInfo(pixelFormat);
    } catch (...) {
        return nullptr;
    }
}

// The name of a format code for a message: the sister library's name, or the code in hex
// ("0x12345678") when it does not know the code.
inline GenICam::gcstring PixelFormatName(uint32_t pixelFormat) {
    if (ILxPixelFormatInfo* info = FindPixelFormatInfo(pixelFormat)) {
        try {
            return info->GetName();
        } catch (const GenICam::GenericException&) {
            // a name that cannot be told is told by its code below
        }
    }
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(pixelFormat));
    return text;
}

} // namespace lxip
