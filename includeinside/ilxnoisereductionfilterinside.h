#pragma once

#include <lxapi/ilxnoisereductionfilter.h>

class LXAPI_INTERFACE ILxNoiseReductionFilterInside : public ILxNoiseReductionFilter, public ILxFilterReleasable {
protected:
    ~ILxNoiseReductionFilterInside() override = default;
};
