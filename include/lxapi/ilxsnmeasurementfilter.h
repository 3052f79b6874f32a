// The SN measurement filter: gathers a number of frames and measures, per pixel component and inside a
// region of interest, the mean level, the temporal noise of each pixel over the frames and the spatial
// noise within each frame. The frames pass unchanged; copies are kept, so that a change of the region
// recomputes the result without new frames. The calculation runs on the filter's own thread; the
// caller picks the result up with a time-out.
#pragma once

#include <lxapi/ilxfilter.h>

#include <cstdint>

// The result of one measurement, one record per pixel component.
class LXAPI_INTERFACE ILxSNMeasurementResult {
public:
    virtual size_t GetPixelComponentCount() = 0;
    // Writes each output whose pointer is not null. nIndex must be below the count.
    virtual void GetResult(int64_t nIndex, uint32_t* pComponent, uint64_t* pnPixelCount, double* pdAverage,
                           double* pdTemporalStandardDeviation, double* pdFrameStandardDeviation) = 0;

protected:
    virtual ~ILxSNMeasurementResult() = default;
};

// What RetrieveILxSNMeasurementResult does when the time runs out.
enum ELxSNTimeoutAction_t : uint32_t {
    LxSNTimeoutAction_ReturnNull = 0,
    LxSNTimeoutAction_Throw = 1,
};

class LXAPI_INTERFACE ILxSNMeasurementFilter : public virtual ILxFilter {
public:
    // Drops the gathered frames and the result.
    virtual void ClearGrabbedImage() = 0;
    virtual uint64_t GetFrameCount() = 0;
    // 1 to 1024; a change drops the gathered frames.
    virtual void SetFrameCount(uint64_t value) = 0;
    // 0 WholeImage, 1 Manual (offsets and size), 2 CenterOfImage (size).
    virtual int32_t GetFilterROIMode() = 0;
    virtual void SetFilterROIMode(int32_t eRM) = 0;
    virtual uint64_t GetOffsetX() = 0;
    virtual void SetOffsetX(uint64_t value) = 0;
    virtual uint64_t GetOffsetY() = 0;
    virtual void SetOffsetY(uint64_t value) = 0;
    virtual uint64_t GetWidth() = 0;
    virtual void SetWidth(uint64_t value) = 0;
    virtual uint64_t GetHeight() = 0;
    virtual void SetHeight(uint64_t value) = 0;
    // Waits up to nTimeoutMS for the result. On time-out: null, or (eTimeoutAction 1) a
    // TimeoutException. The result stays valid until the next change of frames or region.
    virtual ILxSNMeasurementResult* RetrieveILxSNMeasurementResult(uint32_t nTimeoutMS, uint32_t eTimeoutAction) = 0;

protected:
    ~ILxSNMeasurementFilter() override = default;
};
