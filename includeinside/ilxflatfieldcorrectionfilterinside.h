#pragma once

#include <lxapi/ilxflatfieldcorrectionfilter.h>

class LXAPI_INTERFACE ILxFlatFieldCorrectionFilterInside : public ILxFlatFieldCorrectionFilter,
                                                           public ILxFilterReleasable {
protected:
    ~ILxFlatFieldCorrectionFilterInside() override = default;
};
