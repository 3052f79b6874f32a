// Parameters of the pixel format converter: one declaration per register, from which the port and the
// typed getters and setters are served.
#include "colormap/lxcolormapregisters.h"
#include "lxdescriptions.h"
#include "lxpixelformatconverter.h"

namespace {
namespace R = lxres::lxpixelformatconverter;
using lxip::BoolRule;
using lxip::WriteRule;
} // namespace

// Register writes store as they come, except where a declaration says otherwise: the colour map type
// and the two phases keep their setters' range checks; ReverseY and the node lock turn on for 1 only,
// the other booleans for anything but 0. From 0x60 up short reads are refused too.
struct CLxPixelFormatConverter::Registers
    : lxip::ColorMapRegisters<CLxPixelFormatConverter, R::ColorMapTypeReg, R::ColorMapInversionReg,
                              R::ColorMapPhaseReg, &CLxPixelFormatConverter::m_colorMapType,
                              &CLxPixelFormatConverter::m_colorMapInversion, &CLxPixelFormatConverter::m_colorMapPhase> {
    using C = CLxPixelFormatConverter;
    static constexpr double GammaMin = 0.0;
    static constexpr double GammaMax = 4.0;
    static constexpr auto Phase = lxip::IntegerBelow("nPhase", 0, 256);

    static constexpr auto DestinationPixelFormat =
        lxip::Bind<C>(R::DestinationPixelFormatReg).Field(&C::m_destinationPixelFormat);
    static constexpr auto ReverseY = lxip::Bind<C>(R::ReverseYReg).Field(&C::m_reverseY).Bool(BoolRule::OneOnly);
    static constexpr auto BayerInterpolationMethod = lxip::Bind<C>(R::BayerInterpolationMethodReg)
                                                         .Field(&C::m_bayerInterpolationMethod)
                                                         .Range(lxip::IntegerBelow("eBIM", 0, 8));
    static constexpr auto Gamma = lxip::Bind<C>(R::GammaReg)
                                      .Accessor(&C::GetGamma, &C::StoreGamma)
                                      .Range(lxip::FloatBetween("Gamma Value", GammaMin, GammaMax));
    static constexpr auto GammaMinimum = lxip::Bind<C>(R::GammaMinReg).Constant(GammaMin);
    static constexpr auto GammaMaximum = lxip::Bind<C>(R::GammaMaxReg).Constant(GammaMax);
    static constexpr auto DestinationPixelFormatNodeLock = lxip::Bind<C>(R::DestinationPixelFormatNodeLockReg)
                                                               .Field(&C::m_destinationPixelFormatNodeLock)
                                                               .Bool(BoolRule::OneOnly);
    // The %f texts with the bounds 0 and 3, and a node name that the description does not hold: a
    // typed change is stored and leaves the feature stale.
    static constexpr auto BitExpansionMode = lxip::Bind<C>(R::BitExpansionModeReg)
                                                 .Accessor(&C::BitExpansionModeValue, &C::StoreBitExpansionMode)
                                                 .Range(lxip::FloatBetween("Bit Expansion Mode Value", 0, 3))
                                                 .Notifies("BigExpansionModeReg");
    static constexpr auto PolarizationImageTransformationMethod =
        lxip::Bind<C>(R::PolarizationImageTransformationMethodReg)
            .Field(&C::m_polarizationImageTransformationMethod)
            .Range(lxip::IntegerBelow("ePITM", 0, 10));
    static constexpr auto PolarizationSpecifiedAngle =
        lxip::Bind<C>(R::PolarizationSpecifiedAngleReg)
            .Field(&C::m_polarizationSpecifiedAngle)
            .Range(lxip::FloatBetween("Polarization Specified Angle", 0.0, 180.0));
    static constexpr auto ADOLPDarkMode = lxip::Bind<C>(R::ADOLPDarkModeReg).Field(&C::m_adolpDarkMode).LengthChecked();
    static constexpr auto ADOLPColorInversion =
        lxip::Bind<C>(R::ADOLPColorInversionReg).Field(&C::m_adolpColorInversion).LengthChecked();
    static constexpr auto ADOLPColorPhase = lxip::Bind<C>(R::ADOLPColorPhaseReg)
                                                .Field(&C::m_adolpColorPhase)
                                                .Range(Phase)
                                                .Write(WriteRule::Checked)
                                                .LengthChecked();
    static constexpr auto PolarizationSpecifiedAngleInterpolationMethod =
        lxip::Bind<C>(R::PolarizationSpecifiedAngleInterpolationMethodReg)
            .Field(&C::m_polarizationSpecifiedAngleInterpolationMethod)
            .Range(lxip::IntegerBelow("Interpolation Method For Specified Angle", 0, 2))
            .LengthChecked();

    static constexpr auto File = lxip::MakeRegisterFile(
        DestinationPixelFormat, ReverseY, BayerInterpolationMethod, Gamma, GammaMinimum, GammaMaximum,
        DestinationPixelFormatNodeLock, BitExpansionMode, PolarizationImageTransformationMethod,
        PolarizationSpecifiedAngle, ColorMapType, ColorMapInversion, ColorMapPhase, ADOLPDarkMode,
        ADOLPColorInversion, ADOLPColorPhase, PolarizationSpecifiedAngleInterpolationMethod);
    static_assert(lxip::Covers(File, R::RegisterNodes), "the declarations must serve the description");
};

CLxPixelFormatConverter::CLxPixelFormatConverter()
    : CLxIPModuleBase(lxip::RecordOf(ConverterType).resourceId, Registers::File.View(), this), m_converterInfo(this) {}

// Carried to the creation of the destination image; no register.
int64_t CLxPixelFormatConverter::GetDestinationBufferParameter() {
    GenApi::AutoLock guard(ParameterLock());
    return m_destinationBufferParameter;
}
void CLxPixelFormatConverter::SetDestinationBufferParameter(int64_t value) {
    GenApi::AutoLock guard(ParameterLock());
    m_destinationBufferParameter = value;
}

using Reg = CLxPixelFormatConverter::Registers;

uint32_t CLxPixelFormatConverter::GetDestinationPixelFormat() { return Reg::DestinationPixelFormat.Get(*this); }
void CLxPixelFormatConverter::SetDestinationPixelFormat(uint32_t pixelFormat) {
    Reg::DestinationPixelFormat.Set(*this, pixelFormat);
}

bool CLxPixelFormatConverter::GetReverseY() { return Reg::ReverseY.Get(*this); }
void CLxPixelFormatConverter::SetReverseY(bool value) { Reg::ReverseY.Set(*this, value); }

ELxBayerInterpolationMethod_t CLxPixelFormatConverter::GetBayerInterpolationMethod() {
    return static_cast<ELxBayerInterpolationMethod_t>(Reg::BayerInterpolationMethod.Get(*this));
}
void CLxPixelFormatConverter::SetBayerInterpolationMethod(ELxBayerInterpolationMethod_t eBIM) {
    Reg::BayerInterpolationMethod.Set(*this, eBIM);
}

double CLxPixelFormatConverter::GetGamma() { return m_bitConversionCache.GetGamma(); }
void CLxPixelFormatConverter::SetGamma(double value) { Reg::Gamma.Set(*this, value); }

bool CLxPixelFormatConverter::GetDestinationPixelFormatNodeLock() {
    return Reg::DestinationPixelFormatNodeLock.Get(*this);
}
void CLxPixelFormatConverter::SetDestinationPixelFormatNodeLock(bool value) {
    Reg::DestinationPixelFormatNodeLock.Set(*this, value);
}

ELxBitExpansionMode_t CLxPixelFormatConverter::GetBitExpansionMode() {
    return static_cast<ELxBitExpansionMode_t>(BitExpansionModeValue());
}
void CLxPixelFormatConverter::SetBitExpansionMode(ELxBitExpansionMode_t mode) { Reg::BitExpansionMode.Set(*this, mode); }

ELxPolarizationImageTransformationMethod_t CLxPixelFormatConverter::GetPolarizationImageTransformationMethod() {
    return static_cast<ELxPolarizationImageTransformationMethod_t>(Reg::PolarizationImageTransformationMethod.Get(*this));
}
void CLxPixelFormatConverter::SetPolarizationImageTransformationMethod(ELxPolarizationImageTransformationMethod_t ePITM) {
    Reg::PolarizationImageTransformationMethod.Set(*this, ePITM);
}

double CLxPixelFormatConverter::GetPolarizationSpecifiedAngle() { return Reg::PolarizationSpecifiedAngle.Get(*this); }
void CLxPixelFormatConverter::SetPolarizationSpecifiedAngle(double value) {
    Reg::PolarizationSpecifiedAngle.Set(*this, value);
}

ELxColorMapType_t CLxPixelFormatConverter::GetColorMapType() {
    return static_cast<ELxColorMapType_t>(Reg::ColorMapType.Get(*this));
}
void CLxPixelFormatConverter::SetColorMapType(ELxColorMapType_t eCMT) { Reg::ColorMapType.Set(*this, eCMT); }

bool CLxPixelFormatConverter::GetColorMapInversion() { return Reg::ColorMapInversion.Get(*this); }
void CLxPixelFormatConverter::SetColorMapInversion(bool value) { Reg::ColorMapInversion.Set(*this, value); }

int32_t CLxPixelFormatConverter::GetColorMapPhase() { return Reg::ColorMapPhase.Get(*this); }
void CLxPixelFormatConverter::SetColorMapPhase(int32_t nPhase) { Reg::ColorMapPhase.Set(*this, nPhase); }

ELxPolarizationSpecifiedAngleInterpolationMethod_t
CLxPixelFormatConverter::GetPolarizationSpecifiedAngleInterpolationMethod() {
    return static_cast<ELxPolarizationSpecifiedAngleInterpolationMethod_t>(
        Reg::PolarizationSpecifiedAngleInterpolationMethod.Get(*this));
}
void CLxPixelFormatConverter::SetPolarizationSpecifiedAngleInterpolationMethod(
    ELxPolarizationSpecifiedAngleInterpolationMethod_t method) {
    Reg::PolarizationSpecifiedAngleInterpolationMethod.Set(*this, method);
}

bool CLxPixelFormatConverter::GetADOLPDarkMode() { return Reg::ADOLPDarkMode.Get(*this); }
void CLxPixelFormatConverter::SetADOLPDarkMode(bool value) { Reg::ADOLPDarkMode.Set(*this, value); }
bool CLxPixelFormatConverter::GetADOLPColorInversion() { return Reg::ADOLPColorInversion.Get(*this); }
void CLxPixelFormatConverter::SetADOLPColorInversion(bool value) { Reg::ADOLPColorInversion.Set(*this, value); }
int32_t CLxPixelFormatConverter::GetADOLPColorPhase() { return Reg::ADOLPColorPhase.Get(*this); }
void CLxPixelFormatConverter::SetADOLPColorPhase(int32_t nPhase) { Reg::ADOLPColorPhase.Set(*this, nPhase); }
