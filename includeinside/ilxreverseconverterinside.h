#pragma once

#include <lxapi/ilxreverseconverter.h>

class LXAPI_INTERFACE ILxReverseConverterInside : public ILxReverseConverter, public ILxConverterReleasable {
protected:
    ~ILxReverseConverterInside() override = default;
};
