// The noise reduction filter for mono and raw Bayer images: a small rank filter on same-colour
// neighbours, or the subtraction of a stored image of the shielded sensor.
#pragma once

#include <lxapi/ilxfilter.h>

enum ELxNoiseReductionMode_t : int32_t {
    LxNoiseReductionMode_Off = 0,
    LxNoiseReductionMode_Simple = 1,
    LxNoiseReductionMode_SubtractingLightShieldingImage = 2,
};

class LXAPI_INTERFACE ILxNoiseReductionFilter : public virtual ILxFilter {
public:
    virtual ELxNoiseReductionMode_t GetNoiseReductionMode() = 0;
    // Out of range throws OutOfRangeException.
    virtual void SetNoiseReductionMode(ELxNoiseReductionMode_t eNRM) = 0;
    virtual bool GetCalibrationEnable() = 0;
    // While enabled, every filtered image is stored as the light shielding image and passes unchanged.
    virtual void SetCalibrationEnable(bool value) = 0;

protected:
    ~ILxNoiseReductionFilter() override = default;
};
