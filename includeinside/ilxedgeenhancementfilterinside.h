#pragma once

#include <lxapi/ilxedgeenhancementfilter.h>

class LXAPI_INTERFACE ILxEdgeEnhancementFilterInside : public ILxEdgeEnhancementFilter, public ILxFilterReleasable {
protected:
    ~ILxEdgeEnhancementFilterInside() override = default;
};
