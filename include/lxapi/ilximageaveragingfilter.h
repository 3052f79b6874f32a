// The image averaging filter: sums a series of images of one size and format into 32-bit
// accumulators, leaving the images as they are, and writes their mean on request at a chosen depth.
#pragma once

#include <lxapi/ilxfilter.h>

#include <cstdint>

class LXAPI_INTERFACE ILxImageAveragingFilter : public virtual ILxFilter {
public:
    // Creates in `pImageBuffer` the mean of the series, at `nBitCount` bits (0: the depth the series is
    // summed at; else 8, 10, 12, 14, 16, and 32 for mono series).
    virtual void GetAveragedImage(ILxImageBuffer* pImageBuffer, uint32_t nBitCount) = 0;
    // Starts a new series at the next image.
    virtual void ResetImageCount() = 0;
    virtual uint64_t GetImageCount() = 0;

protected:
    ~ILxImageAveragingFilter() override = default;
};
