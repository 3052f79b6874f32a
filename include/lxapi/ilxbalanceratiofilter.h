// The balance ratio filter: a gain and two offsets per colour channel, applied through one table per
// channel, and an automatic white balance that works the gains out from the images themselves.
#pragma once

#include <lxapi/ilxfilter.h>

// The channel the ratio and the offsets belong to.
enum ELxBalanceRatioSelector_t : int32_t {
    LxBalanceRatioSelector_Red = 0,
    LxBalanceRatioSelector_Green = 1,
    LxBalanceRatioSelector_Blue = 2,
    LxBalanceRatioSelector_Y = 3,
    LxBalanceRatioSelector_Cb = 4,
    LxBalanceRatioSelector_Cr = 5,
};

// Off; Once: balance from the next images until the gains settle, then Off; Continuous: every image.
enum ELxBalanceWhiteAuto_t : int32_t {
    LxBalanceWhiteAuto_Off = 0,
    LxBalanceWhiteAuto_Once = 1,
    LxBalanceWhiteAuto_Continuous = 2,
};

class LXAPI_INTERFACE ILxBalanceRatioFilter : public virtual ILxFilter {
public:
    virtual double GetBalanceRatio(ELxBalanceRatioSelector_t eBRS) = 0;
    // 0.0 to 16.0.
    virtual void SetBalanceRatio(ELxBalanceRatioSelector_t eBRS, double value) = 0;
    virtual int32_t GetOffsetLevelBeforeGain(ELxBalanceRatioSelector_t eBRS) = 0;
    // -255 to 255, in sample units at any depth.
    virtual void SetOffsetLevelBeforeGain(ELxBalanceRatioSelector_t eBRS, int32_t value) = 0;
    virtual int32_t GetOffsetLevelAfterGain(ELxBalanceRatioSelector_t eBRS) = 0;
    // 0 to 255, in sample units at any depth.
    virtual void SetOffsetLevelAfterGain(ELxBalanceRatioSelector_t eBRS, int32_t value) = 0;
    virtual ELxBalanceWhiteAuto_t GetBalanceWhiteAuto() = 0;
    virtual void SetBalanceWhiteAuto(ELxBalanceWhiteAuto_t eBWA) = 0;

protected:
    ~ILxBalanceRatioFilter() override = default;
};
