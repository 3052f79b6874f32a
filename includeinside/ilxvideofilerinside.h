#pragma once

#include <lxapi/ilxvideofiler.h>

class LXAPI_INTERFACE ILxVideoFilerInside : public ILxVideoFiler, public ILxFilerReleasable {
protected:
    ~ILxVideoFilerInside() override = default;
};
