// Noise reduction for mono and raw Bayer images: a rank filter over same-colour neighbours (Simple),
// or the subtraction of a stored image of the shielded sensor with a repair of the pixels that were
// saturated before it (SubtractingLightShieldingImage).
#pragma once

#include "lxhandlertable.h"
#include "lxipmodulebase.h"

#include <includeinside/ilxnoisereductionfilterinside.h>
#include <lxapi/clxautoptr.h>

#include <memory>

class CLxNoiseReductionFilter : public CLxIPModuleBase<ILxNoiseReductionFilterInside> {
public:
    static constexpr ELxFilterType_t FilterType = LxFilterType_NoiseReduction;
    // A handler gets the image and the stored light shielding image, or null.
    using Handler = void (CLxNoiseReductionFilter::*)(ILxImage*, ILxImage*);
    static const CLxHandlerTable<Handler>& Handlers();
    struct Registers; // the register declarations

    CLxNoiseReductionFilter();

    ILxFilterInfo* GetFilterInfo() override;
    ILxImage* Filter(ILxImage* image) override;
    ELxNoiseReductionMode_t GetNoiseReductionMode() override;
    void SetNoiseReductionMode(ELxNoiseReductionMode_t eNRM) override;
    bool GetCalibrationEnable() override;
    void SetCalibrationEnable(bool value) override;

private:
    template <class Sample>
    void FilterImage(ILxImage* image, ILxImage* stored);
    template <class Sample>
    void Simple(ILxImage* image);
    template <class Sample>
    void SubtractStored(ILxImage* image, ILxImage* stored);

    int32_t m_mode = LxNoiseReductionMode_Off; // as written: a register write may store any value
    bool m_calibrationEnable = false;

    // The stored image, shared with the calls that run on it: swapped under the work lock, its count
    // atomic, so a call keeps its image alive while a calibration replaces it.
    using StoredImage = CLxAutoPtr<ILxImageBufferReleasable, ILxImageBuffer>;
    std::shared_ptr<const StoredImage> m_stored;
};
