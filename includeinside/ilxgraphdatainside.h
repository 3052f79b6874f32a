// The library's inside views of graph data series and lists.
#pragma once

#include <lxapi/ilxgraphdata.h>

class LXAPI_INTERFACE ILxGraphDataInside : public ILxGraphData {
protected:
    ~ILxGraphDataInside() override = default;
};

class LXAPI_INTERFACE ILxGraphDataBufferResizableReleasableInside : public ILxGraphDataBufferResizableReleasable {
protected:
    ~ILxGraphDataBufferResizableReleasableInside() override = default;
};

class LXAPI_INTERFACE ILxGraphDataBufferListResizableReleasableInside
    : public ILxGraphDataBufferListResizableReleasable {
protected:
    ~ILxGraphDataBufferListResizableReleasableInside() override = default;
};
