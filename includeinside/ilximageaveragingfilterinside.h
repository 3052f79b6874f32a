#pragma once

#include <lxapi/ilximageaveragingfilter.h>

class LXAPI_INTERFACE ILxImageAveragingFilterInside : public ILxImageAveragingFilter, public ILxFilterReleasable {
protected:
    ~ILxImageAveragingFilterInside() override = default;
};
