#pragma once

#include <lxapi/ilxstillimagefiler.h>

class LXAPI_INTERFACE ILxStillImageFilerInside : public ILxStillImageFiler, public ILxFilerReleasable {
protected:
    ~ILxStillImageFilerInside() override = default;
};
