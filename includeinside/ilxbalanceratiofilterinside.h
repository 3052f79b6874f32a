#pragma once

#include <lxapi/ilxbalanceratiofilter.h>

class LXAPI_INTERFACE ILxBalanceRatioFilterInside : public ILxBalanceRatioFilter, public ILxFilterReleasable {
protected:
    ~ILxBalanceRatioFilterInside() override = default;
};
