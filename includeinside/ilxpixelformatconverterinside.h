#pragma once

#include <lxapi/ilxpixelformatconverter.h>

class LXAPI_INTERFACE ILxPixelFormatConverterInside : public ILxPixelFormatConverter, public ILxConverterReleasable {
protected:
    ~ILxPixelFormatConverterInside() override = default;
};
