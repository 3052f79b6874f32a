// The colour transformation filter: each colour pixel becomes a linear mix of its three channels, a
// 3 x 3 gain matrix with three offsets after a hue rotation and a saturation factor. Disabled at first.
#pragma once

#include <lxapi/ilxfilter.h>

// Index of a matrix value: row r holds gains 4r to 4r + 2 and the offset 4r + 3.
enum ELxColorTransformationValueSelector_t : int32_t {
    LxColorTransformationValueSelector_Gain00 = 0,
    LxColorTransformationValueSelector_Gain01 = 1,
    LxColorTransformationValueSelector_Gain02 = 2,
    LxColorTransformationValueSelector_Offset0 = 3,
    LxColorTransformationValueSelector_Gain10 = 4,
    LxColorTransformationValueSelector_Gain11 = 5,
    LxColorTransformationValueSelector_Gain12 = 6,
    LxColorTransformationValueSelector_Offset1 = 7,
    LxColorTransformationValueSelector_Gain20 = 8,
    LxColorTransformationValueSelector_Gain21 = 9,
    LxColorTransformationValueSelector_Gain22 = 10,
    LxColorTransformationValueSelector_Offset2 = 11,
};

class LXAPI_INTERFACE ILxColorTransformationFilter : public virtual ILxFilter {
public:
    virtual bool GetColorTransformationEnable() = 0;
    virtual void SetColorTransformationEnable(bool value) = 0;
    // Gains -16.0 to 16.0, offsets -65535.0 to 65535.0; eCTVS 0 to 11.
    virtual double GetColorTransformationValue(ELxColorTransformationValueSelector_t eCTVS) = 0;
    virtual void SetColorTransformationValue(ELxColorTransformationValueSelector_t eCTVS, double value) = 0;
    // Degrees, -180.0 to 180.0.
    virtual double GetHueCorrection() = 0;
    virtual void SetHueCorrection(double value) = 0;
    // 0.0 to 4.0; 1.0 keeps the saturation.
    virtual double GetSaturationCorrection() = 0;
    virtual void SetSaturationCorrection(double value) = 0;

protected:
    ~ILxColorTransformationFilter() override = default;
};
