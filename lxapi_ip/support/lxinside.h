// The library's inside view of an object that LxApi_TL hands out (a pixel format's facts, an image,
// an image buffer), or a LogicalErrorException when the object is not of the kind the library made.
#pragma once

#include <GenICam/GCException.h>
#include <includeinside/ilxpixelformatinfoinside.h>
#include <lxapi/lxapi_tl.h>

#include <cstdint>

namespace lxip {

// `object` seen through its Inside interface. A null object, or one of another implementation, is
// a LogicalErrorException "Unexpected type in dynamic cast".
template <class Inside, class Outer>
Inside* InsideOf(Outer* object) {
    auto* inside = dynamic_cast<Inside*>(object);
    if (!inside) throw LOGICAL_ERROR_EXCEPTION("Unexpected type in dynamic cast");
    return inside;
}

// The inside facts of a pixel format. An unknown code fails as GetILxPixelFormatInfo makes it fail.
inline ILxPixelFormatInfoInside* FormatInside(uint32_t format) {
    return InsideOf<ILxPixelFormatInfoInside>(GetILxPixelFormatInfo(format));
}

} // namespace lxip
