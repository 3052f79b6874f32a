#pragma once

#include <lxapi/ilxchromasuppressionfilter.h>

class LXAPI_INTERFACE ILxChromaSuppressionFilterInside : public ILxChromaSuppressionFilter,
                                                         public ILxFilterReleasable {
protected:
    ~ILxChromaSuppressionFilterInside() override = default;
};
