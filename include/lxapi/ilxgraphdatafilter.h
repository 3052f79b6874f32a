// The graph data filter: measures an image without changing it. For each pixel component, inside a
// region of interest, a histogram or the sums per column or per row, one series per component in a
// list that a reader holds until it asks again.
#pragma once

#include <lxapi/ilxfilter.h>
#include <lxapi/ilxgraphdata.h>

enum ELxFilterROIMode_t : int32_t {
    LxFilterROIMode_WholeImage = 0,
    LxFilterROIMode_Manual = 1,        // OffsetX, OffsetY, Width, Height
    LxFilterROIMode_CenterOfImage = 2, // Width, Height in the middle of the image
};

class LXAPI_INTERFACE ILxGraphDataFilter : public virtual ILxFilter {
public:
    virtual ELxFilterROIMode_t GetFilterROIMode() = 0;
    virtual void SetFilterROIMode(ELxFilterROIMode_t eRM) = 0;
    virtual size_t GetOffsetX() = 0;
    virtual void SetOffsetX(size_t value) = 0;
    virtual size_t GetOffsetY() = 0;
    virtual void SetOffsetY(size_t value) = 0;
    virtual size_t GetWidth() = 0;
    virtual void SetWidth(size_t value) = 0;
    virtual size_t GetHeight() = 0;
    virtual void SetHeight(size_t value) = 0;
    virtual ELxGraphDataType_t GetGraphDataType() = 0;
    virtual void SetGraphDataType(ELxGraphDataType_t eValue) = 0;
    // The newest finished list. It stays untouched until the next call: the reader must be done
    // with it by then.
    virtual ILxGraphDataBufferList* GetILxGraphDataBufferList() = 0;

protected:
    ~ILxGraphDataFilter() override = default;
};
