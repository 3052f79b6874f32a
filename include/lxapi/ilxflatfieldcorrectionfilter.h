// The flat field correction filter: takes a reference image from the stream and evens out later
// images of the same geometry by a per-pixel gain or offset.
#pragma once

#include <lxapi/ilxfilter.h>

enum ELxFlatFieldCorrectionMode_t : int32_t {
    LxFlatFieldCorrectionMode_Off = 0,
    LxFlatFieldCorrectionMode_Multiplication = 1,
    LxFlatFieldCorrectionMode_Addition = 2,
};

class LXAPI_INTERFACE ILxFlatFieldCorrectionFilter : public virtual ILxFilter {
public:
    virtual ELxFlatFieldCorrectionMode_t GetFlatFieldCorrectionMode() = 0;
    // 0 to 2; out of range throws OutOfRangeException. A real change of mode drops the reference.
    virtual void SetFlatFieldCorrectionMode(ELxFlatFieldCorrectionMode_t eFFCM) = 0;
    virtual bool GetCalibrationEnable() = 0;
    // While true, every filtered image becomes the new reference.
    virtual void SetCalibrationEnable(bool value) = 0;
    virtual int64_t GetCalibrationTargetValue() = 0;
    // 0 (take the target from the reference's centre) to 65535.
    virtual void SetCalibrationTargetValue(int64_t value) = 0;

protected:
    ~ILxFlatFieldCorrectionFilter() override = default;
};
