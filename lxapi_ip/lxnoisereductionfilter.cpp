#include "lxnoisereductionfilter.h"

#include "frame/lxmoduleregistry.h"
#include "lxdescriptions.h"
#include "noisekernels.h"

#include <lxapi/lxpixelformat.h>

#include <cstdint>

const CLxHandlerTable<CLxNoiseReductionFilter::Handler>& CLxNoiseReductionFilter::Handlers() {
    using F = CLxNoiseReductionFilter;
    static const CLxHandlerTable<Handler> table{
        {LxPixelFormat_Mono8, &F::FilterImage<uint8_t>},       {LxPixelFormat_BayerGR8, &F::FilterImage<uint8_t>},
        {LxPixelFormat_BayerRG8, &F::FilterImage<uint8_t>},    {LxPixelFormat_BayerGB8, &F::FilterImage<uint8_t>},
        {LxPixelFormat_BayerBG8, &F::FilterImage<uint8_t>},

        {LxPixelFormat_Mono10, &F::FilterImage<uint16_t>},     {LxPixelFormat_Mono12, &F::FilterImage<uint16_t>},
        {LxPixelFormat_Mono14, &F::FilterImage<uint16_t>},     {LxPixelFormat_Mono16, &F::FilterImage<uint16_t>},
        {LxPixelFormat_BayerGR10, &F::FilterImage<uint16_t>},  {LxPixelFormat_BayerGR12, &F::FilterImage<uint16_t>},
        {LxPixelFormat_BayerGR14, &F::FilterImage<uint16_t>},  {LxPixelFormat_BayerGR16, &F::FilterImage<uint16_t>},
        {LxPixelFormat_BayerRG10, &F::FilterImage<uint16_t>},  {LxPixelFormat_BayerRG12, &F::FilterImage<uint16_t>},
        {LxPixelFormat_BayerRG14, &F::FilterImage<uint16_t>},  {LxPixelFormat_BayerRG16, &F::FilterImage<uint16_t>},
        {LxPixelFormat_BayerGB10, &F::FilterImage<uint16_t>},  {LxPixelFormat_BayerGB12, &F::FilterImage<uint16_t>},
        {LxPixelFormat_BayerGB14, &F::FilterImage<uint16_t>},  {LxPixelFormat_BayerGB16, &F::FilterImage<uint16_t>},
        {LxPixelFormat_BayerBG10, &F::FilterImage<uint16_t>},  {LxPixelFormat_BayerBG12, &F::FilterImage<uint16_t>},
        {LxPixelFormat_BayerBG14, &F::FilterImage<uint16_t>},  {LxPixelFormat_BayerBG16, &F::FilterImage<uint16_t>},
    };
    return table;
}

namespace {
const auto& g_noiseHandlers = CLxNoiseReductionFilter::Handlers();
namespace R = lxres::lxnoisereductionfilter;
} // namespace

// The mode (0 to 2 through the typed setter; a register write stores any value, and a mode other than
// Simple and SubtractingLightShieldingImage does nothing) and the calibration switch, on only for a
// register write of exactly 1.
struct CLxNoiseReductionFilter::Registers {
    using C = CLxNoiseReductionFilter;
    static constexpr auto Mode =
        lxip::Bind<C>(R::NoiseReductionModeReg).Field(&C::m_mode).Range(lxip::IntegerBelow("eNRM", 0, 3));
    static constexpr auto CalibrationEnable =
        lxip::Bind<C>(R::CalibrationEnableReg).Field(&C::m_calibrationEnable).Bool(lxip::BoolRule::OneOnly);
    static constexpr auto File = lxip::MakeRegisterFile(Mode, CalibrationEnable);
    static_assert(lxip::Covers(File, R::RegisterNodes), "the declarations must serve the description");
};

CLxNoiseReductionFilter::CLxNoiseReductionFilter()
    : CLxIPModuleBase(lxip::RecordOf(FilterType).resourceId, Registers::File.View(), this) {
    (void)g_noiseHandlers;
}

ILxFilterInfo* CLxNoiseReductionFilter::GetFilterInfo() { return &CFilterInfo<CLxNoiseReductionFilter>::Instance(); }

ELxNoiseReductionMode_t CLxNoiseReductionFilter::GetNoiseReductionMode() {
    return static_cast<ELxNoiseReductionMode_t>(Registers::Mode.Get(*this));
}
void CLxNoiseReductionFilter::SetNoiseReductionMode(ELxNoiseReductionMode_t eNRM) { Registers::Mode.Set(*this, eNRM); }
bool CLxNoiseReductionFilter::GetCalibrationEnable() { return Registers::CalibrationEnable.Get(*this); }
void CLxNoiseReductionFilter::SetCalibrationEnable(bool value) { Registers::CalibrationEnable.Set(*this, value); }

ILxImage* CLxNoiseReductionFilter::Filter(ILxImage* image) {
    if (!image) throw INVALID_ARGUMENT_EXCEPTION("ILxImage is NULL.");
    const Handler handler = Handlers().Require(image->GetImagePixelFormat());
    const bool calibrating = GetCalibrationEnable();
    std::shared_ptr<const StoredImage> stored;
    {
        GenApi::AutoLock guard(m_workLock);
        if (calibrating) {
            // Each image during calibration replaces the stored one. The new copy is complete before
            // it is swapped in: a failure keeps the image stored before.
            lxip::TranslateBadAlloc([&] {
                StoredImage copy(CreateILxImageBuffer(nullptr));
                copy->CopyImage(image);
                m_stored = std::make_shared<const StoredImage>(std::move(copy));
                return 0;
            });
        }
        stored = m_stored;
    }
    // During calibration images pass unchanged.
    if (!calibrating) (this->*handler)(image, stored ? (*stored)->GetILxImage() : nullptr);
    return image;
}

template <class Sample>
void CLxNoiseReductionFilter::FilterImage(ILxImage* image, ILxImage* stored) {
    switch (GetNoiseReductionMode()) {
    case LxNoiseReductionMode_Simple: Simple<Sample>(image); break;
    case LxNoiseReductionMode_SubtractingLightShieldingImage: SubtractStored<Sample>(image, stored); break;
    default: break;
    }
}

namespace {

template <class Sample>
lxnoise::Plane<Sample> PlaneOf(ILxImage* image) {
    return {static_cast<uint8_t*>(image->GetImageBuffer()), image->GetImageLinePitch(), image->GetImageWidth(),
            image->GetImageHeight()};
}

} // namespace

// The windows read a pooled copy of the image; the results go to the image.
template <class Sample>
void CLxNoiseReductionFilter::Simple(ILxImage* image) {
    ILxPixelFormatInfo* info = GetILxPixelFormatInfo(image->GetImagePixelFormat());
    const lxnoise::Mosaic mosaic = info->IsBayer() ? lxnoise::MosaicOf(info->GetPixelComponent(0, 0)) : lxnoise::Mosaic::None;
    if (info->IsBayer() && mosaic == lxnoise::Mosaic::None) return;
    TemporaryBuffer copy(*this);
    copy->CopyImage(image);
    const lxnoise::Plane<Sample> source = PlaneOf<Sample>(copy->GetILxImage());
    if (info->IsBayer()) lxnoise::RankBayer(source, PlaneOf<Sample>(image), mosaic);
    else lxnoise::RankMono(source, PlaneOf<Sample>(image));
}

// Only a stored image of the very geometry and format is subtracted; any other passes silently.
template <class Sample>
void CLxNoiseReductionFilter::SubtractStored(ILxImage* image, ILxImage* stored) {
    if (!stored || stored->GetImageWidth() != image->GetImageWidth() ||
        stored->GetImageLinePitch() != image->GetImageLinePitch() ||
        stored->GetImageHeight() != image->GetImageHeight() ||
        stored->GetImagePixelFormat() != image->GetImagePixelFormat())
        return;
    ILxPixelFormatInfo* info = GetILxPixelFormatInfo(image->GetImagePixelFormat());
    const unsigned bits = unsigned(info->GetComponentBits());
    TemporaryBuffer before(*this);
    before->CopyImage(image);
    const lxnoise::Plane<Sample> after = PlaneOf<Sample>(image);
    lxnoise::Subtract(after, PlaneOf<Sample>(stored));
    const lxnoise::Plane<Sample> kept = PlaneOf<Sample>(before->GetILxImage());
    if (info->IsBayer()) lxnoise::RepairBayer(kept, after, bits, lxnoise::MosaicOf(info->GetPixelComponent(0, 0)));
    else if (info->IsMono()) lxnoise::RepairMono(kept, after, bits);
}
