#pragma once

#include <lxapi/ilxsnmeasurementfilter.h>

// The name is spelled so.
class LXAPI_INTERFACE ILxSNMesurementFilterInside : public ILxSNMeasurementFilter, public ILxFilterReleasable {
protected:
    ~ILxSNMesurementFilterInside() override = default;
};
