#pragma once

#include <lxapi/ilxcolortransformationfilter.h>

class LXAPI_INTERFACE ILxColorTransformationFilterInside : public ILxColorTransformationFilter,
                                                           public ILxFilterReleasable {
protected:
    ~ILxColorTransformationFilterInside() override = default;
};
