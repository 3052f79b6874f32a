// The defective pixel detection filter: finds pixels that lie too far from the average of their
// same-colour surroundings (or of the whole image) and keeps the most deviant ones in a list that
// lives across images. It changes no pixel.
#pragma once

#include <lxapi/ilxfilter.h>

enum ELxDefectivePixelDetectionThresholdTarget_t : int32_t {
    LxDefectivePixelDetectionThresholdTarget_Mono = 0,
    LxDefectivePixelDetectionThresholdTarget_BayerR = 1,
    LxDefectivePixelDetectionThresholdTarget_BayerGr = 2,
    LxDefectivePixelDetectionThresholdTarget_BayerGb = 3,
    LxDefectivePixelDetectionThresholdTarget_BayerB = 4,
};

enum ELxDefectivePixelDetectionAveragingArea_t : int32_t {
    LxDefectivePixelDetectionAveragingArea_AroundTheTargetPixel = 0,
    LxDefectivePixelDetectionAveragingArea_WholeImage = 1,
};

// One detected pixel.
struct LxDefectivePixelInformation_t {
    uint64_t x;            // column, from 0
    uint64_t y;            // row, from 0
    double value;          // the pixel's value
    double average;        // the average it was judged against
    double deviationRatio; // abs(value - average) / (2^bits - 1)
};

class LXAPI_INTERFACE ILxDefectivePixelDetectionFilter : public virtual ILxFilter {
public:
    // *pnCount: in, the capacity of pPixels; out, the size of the list. pStatus (may be null): 0 no
    // result, 1 the last image met no full list, 2 it did. Records are copied, rows then columns
    // ascending, when pPixels is given and the status is 1 or 2.
    virtual void GetDetectedPixels(uint32_t* pStatus, uint64_t* pnCount, LxDefectivePixelInformation_t* pPixels) = 0;
    virtual void ClearDetectedPixels() = 0;
    virtual double GetThresholdRatio(ELxDefectivePixelDetectionThresholdTarget_t eDPDTT) = 0;
    virtual void SetThresholdRatio(ELxDefectivePixelDetectionThresholdTarget_t eDPDTT, double ratio) = 0;
    virtual ELxDefectivePixelDetectionAveragingArea_t GetAveragingArea() = 0;
    virtual void SetAveragingArea(ELxDefectivePixelDetectionAveragingArea_t eDPDAA) = 0;
    virtual uint64_t GetPeripheralAreaSize() = 0;
    // 1 to 255: the neighbourhood's radius in steps of the same colour.
    virtual void SetPeripheralAreaSize(uint64_t nSize) = 0;
    virtual uint64_t GetMaximumPixelCount() = 0;
    // 1 to 8191: the capacity of the list.
    virtual void SetMaximumPixelCount(uint64_t nCount) = 0;

protected:
    ~ILxDefectivePixelDetectionFilter() override = default;
};
