#pragma once

#include <lxapi/ilxgraphdatafilter.h>

class LXAPI_INTERFACE ILxGraphDataFilterInside : public ILxGraphDataFilter, public ILxFilterReleasable {
protected:
    ~ILxGraphDataFilterInside() override = default;
};
