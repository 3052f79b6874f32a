#pragma once

#include <lxapi/ilxdefectivepixeldetectionfilter.h>

class LXAPI_INTERFACE ILxDefectivePixelDetectionFilterInside : public ILxDefectivePixelDetectionFilter,
                                                               public ILxFilterReleasable {
protected:
    ~ILxDefectivePixelDetectionFilterInside() override = default;
};
