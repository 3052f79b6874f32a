#pragma once

#include <lxapi/ilxgammacorrectionfilter.h>

class LXAPI_INTERFACE ILxGammaCorrectionFilterInside : public ILxGammaCorrectionFilter, public ILxFilterReleasable {
protected:
    ~ILxGammaCorrectionFilterInside() override = default;
};
