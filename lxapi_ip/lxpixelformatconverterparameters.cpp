// Parameters of the pixel format converter: typed getters and setters, and the virtual register file
// through which the node map reads and writes the same fields.
#include "lxpixelformatconverter.h"

namespace {

// From 0x60 up the registers refuse lengths below their 4 bytes.
void CheckRegisterLength(int64_t address, const int64_t* length) {
    if (address >= 0x60 && *length < 4)
        throw OUT_OF_RANGE_EXCEPTION("%s = %lld must be equal or greater than Min = %lld", "Length",
                                     static_cast<long long>(*length), 4LL);
}

// Booleans travel as 32-bit 0 or 1.
bool ReadBool(void* buffer, int64_t* length, bool value) {
    return LxReadRegisterValue(buffer, length, static_cast<uint32_t>(value ? 1 : 0));
}

void CheckColorMapType(int32_t v) { lxip::CheckRangeInteger("eCMT", v, 0, 3); }
void CheckPhase(int32_t v) { lxip::CheckRangeInteger("nPhase", v, 0, 256); }

} // namespace

int64_t CLxPixelFormatConverter::GetDestinationBufferParameter() {
    return LoadParameter(m_parameterLock, m_destinationBufferParameter);
}
void CLxPixelFormatConverter::SetDestinationBufferParameter(int64_t value) {
    GenApi::AutoLock guard(m_parameterLock);
    m_destinationBufferParameter = value;
}

uint32_t CLxPixelFormatConverter::GetDestinationPixelFormat() {
    return LoadParameter(m_parameterLock, m_destinationPixelFormat);
}
void CLxPixelFormatConverter::SetDestinationPixelFormat(uint32_t pixelFormat) {
    StoreParameter(m_parameterLock, m_destinationPixelFormat, pixelFormat, "DestinationPixelFormatReg", true);
}

bool CLxPixelFormatConverter::GetReverseY() { return LoadParameter(m_parameterLock, m_reverseY); }
void CLxPixelFormatConverter::SetReverseY(bool value) {
    StoreParameter(m_parameterLock, m_reverseY, value, "ReverseYReg", true);
}

ELxBayerInterpolationMethod_t CLxPixelFormatConverter::GetBayerInterpolationMethod() {
    return static_cast<ELxBayerInterpolationMethod_t>(LoadParameter(m_parameterLock, m_bayerInterpolationMethod));
}
void CLxPixelFormatConverter::SetBayerInterpolationMethod(ELxBayerInterpolationMethod_t eBIM) {
    lxip::CheckRangeInteger("eBIM", eBIM, 0, 8);
    StoreParameter(m_parameterLock, m_bayerInterpolationMethod, static_cast<int32_t>(eBIM),
                   "BayerInterpolationMethodReg", true);
}

double CLxPixelFormatConverter::GetGamma() { return m_bitConversionCache.GetGamma(); }
void CLxPixelFormatConverter::SetGamma(double value) {
    lxip::CheckRangeDouble("Gamma Value", value, m_gammaMin, m_gammaMax);
    if (m_bitConversionCache.GetGamma() == value) return;
    m_bitConversionCache.SetGamma(value);
    NotifyRegisterChanged("GammaReg");
}

bool CLxPixelFormatConverter::GetDestinationPixelFormatNodeLock() {
    return LoadParameter(m_parameterLock, m_destinationPixelFormatNodeLock);
}
void CLxPixelFormatConverter::SetDestinationPixelFormatNodeLock(bool value) {
    StoreParameter(m_parameterLock, m_destinationPixelFormatNodeLock, value, "DestinationPixelFormatNodeLockReg", true);
}

ELxBitExpansionMode_t CLxPixelFormatConverter::GetBitExpansionMode() {
    return static_cast<ELxBitExpansionMode_t>(m_bitConversionCache.GetBitExpansionMode());
}
// The node name is "BigExpansionModeReg", which names no node: the change is stored and the feature
// is not invalidated. The bounds go into the floating-point texts as numbers 0 and 3.
void CLxPixelFormatConverter::SetBitExpansionMode(ELxBitExpansionMode_t mode) {
    if (mode < 0)
        throw OUT_OF_RANGE_EXCEPTION("%s = %f must be greater than or equal %f", "Bit Expansion Mode Value",
                                     static_cast<double>(mode), 0.0);
    if (mode >= 4)
        throw OUT_OF_RANGE_EXCEPTION("%s = %f must be smaller than or equal %f", "Bit Expansion Mode Value",
                                     static_cast<double>(mode), 3.0);
    if (m_bitConversionCache.GetBitExpansionMode() == static_cast<uint32_t>(mode)) return;
    m_bitConversionCache.SetBitExpansionMode(static_cast<uint32_t>(mode));
    NotifyRegisterChanged("BigExpansionModeReg");
}

ELxPolarizationImageTransformationMethod_t CLxPixelFormatConverter::GetPolarizationImageTransformationMethod() {
    return static_cast<ELxPolarizationImageTransformationMethod_t>(
        LoadParameter(m_parameterLock, m_polarizationImageTransformationMethod));
}
void CLxPixelFormatConverter::SetPolarizationImageTransformationMethod(ELxPolarizationImageTransformationMethod_t ePITM) {
    lxip::CheckRangeInteger("ePITM", ePITM, 0, 10);
    StoreParameter(m_parameterLock, m_polarizationImageTransformationMethod, static_cast<int32_t>(ePITM),
                   "PolarizationImageTransformationMethodReg", true);
}

double CLxPixelFormatConverter::GetPolarizationSpecifiedAngle() {
    return LoadParameter(m_parameterLock, m_polarizationSpecifiedAngle);
}
void CLxPixelFormatConverter::SetPolarizationSpecifiedAngle(double value) {
    lxip::CheckRangeDouble("Polarization Specified Angle", value, 0.0, 180.0);
    StoreParameter(m_parameterLock, m_polarizationSpecifiedAngle, value, "PolarizationSpecifiedAngleReg", true);
}

ELxColorMapType_t CLxPixelFormatConverter::GetColorMapType() {
    return static_cast<ELxColorMapType_t>(LoadParameter(m_parameterLock, m_colorMapType));
}
void CLxPixelFormatConverter::SetColorMapType(ELxColorMapType_t eCMT) {
    CheckColorMapType(eCMT);
    StoreParameter(m_parameterLock, m_colorMapType, static_cast<int32_t>(eCMT), "ColorMapTypeReg", true);
}

bool CLxPixelFormatConverter::GetColorMapInversion() { return LoadParameter(m_parameterLock, m_colorMapInversion); }
// "ColorMapInversonReg" names no node: the change is stored and nothing is invalidated.
void CLxPixelFormatConverter::SetColorMapInversion(bool value) {
    StoreParameter(m_parameterLock, m_colorMapInversion, value, "ColorMapInversonReg", true);
}

int32_t CLxPixelFormatConverter::GetColorMapPhase() { return LoadParameter(m_parameterLock, m_colorMapPhase); }
void CLxPixelFormatConverter::SetColorMapPhase(int32_t nPhase) {
    CheckPhase(nPhase);
    StoreParameter(m_parameterLock, m_colorMapPhase, nPhase, "ColorMapPhaseReg", true);
}

ELxPolarizationSpecifiedAngleInterpolationMethod_t
CLxPixelFormatConverter::GetPolarizationSpecifiedAngleInterpolationMethod() {
    return static_cast<ELxPolarizationSpecifiedAngleInterpolationMethod_t>(
        LoadParameter(m_parameterLock, m_polarizationSpecifiedAngleInterpolationMethod));
}
void CLxPixelFormatConverter::SetPolarizationSpecifiedAngleInterpolationMethod(
    ELxPolarizationSpecifiedAngleInterpolationMethod_t method) {
    lxip::CheckRangeInteger("Interpolation Method For Specified Angle", method, 0, 2);
    StoreParameter(m_parameterLock, m_polarizationSpecifiedAngleInterpolationMethod, static_cast<int32_t>(method),
                   "PolarizationSpecifiedAngleInterpolationMethodReg", true);
}

bool CLxPixelFormatConverter::GetADOLPDarkMode() { return LoadParameter(m_parameterLock, m_adolpDarkMode); }
void CLxPixelFormatConverter::SetADOLPDarkMode(bool value) {
    StoreParameter(m_parameterLock, m_adolpDarkMode, value, "ADOLPDarkModeReg", true);
}
bool CLxPixelFormatConverter::GetADOLPColorInversion() { return LoadParameter(m_parameterLock, m_adolpColorInversion); }
void CLxPixelFormatConverter::SetADOLPColorInversion(bool value) {
    StoreParameter(m_parameterLock, m_adolpColorInversion, value, "ADOLPColorInversionReg", true);
}
int32_t CLxPixelFormatConverter::GetADOLPColorPhase() { return LoadParameter(m_parameterLock, m_adolpColorPhase); }
void CLxPixelFormatConverter::SetADOLPColorPhase(int32_t nPhase) {
    CheckPhase(nPhase);
    StoreParameter(m_parameterLock, m_adolpColorPhase, nPhase, "ADOLPColorPhaseReg", true);
}

bool CLxPixelFormatConverter::ReadRegister(void* buffer, int64_t address, int64_t* length) {
    CheckRegisterLength(address, length);
    switch (address) {
    case DestinationPixelFormatReg: return LxReadRegisterValue(buffer, length, GetDestinationPixelFormat());
    case ReverseYReg: return ReadBool(buffer, length, GetReverseY());
    case BayerInterpolationMethodReg:
        return LxReadRegisterValue(buffer, length, static_cast<int32_t>(GetBayerInterpolationMethod()));
    case GammaReg: return LxReadRegisterValue(buffer, length, GetGamma());
    case GammaMinReg: return LxReadRegisterValue(buffer, length, m_gammaMin);
    case GammaMaxReg: return LxReadRegisterValue(buffer, length, m_gammaMax);
    case DestinationPixelFormatNodeLockReg: return ReadBool(buffer, length, GetDestinationPixelFormatNodeLock());
    case BitExpansionModeReg: return LxReadRegisterValue(buffer, length, m_bitConversionCache.GetBitExpansionMode());
    case PolarizationImageTransformationMethodReg:
        return LxReadRegisterValue(buffer, length, static_cast<int32_t>(GetPolarizationImageTransformationMethod()));
    case PolarizationSpecifiedAngleReg: return LxReadRegisterValue(buffer, length, GetPolarizationSpecifiedAngle());
    case ColorMapTypeReg: return LxReadRegisterValue(buffer, length, static_cast<int32_t>(GetColorMapType()));
    case ColorMapInversionReg: return ReadBool(buffer, length, GetColorMapInversion());
    case ColorMapPhaseReg: return LxReadRegisterValue(buffer, length, GetColorMapPhase());
    case ADOLPDarkModeReg: return ReadBool(buffer, length, GetADOLPDarkMode());
    case ADOLPColorInversionReg: return ReadBool(buffer, length, GetADOLPColorInversion());
    case ADOLPColorPhaseReg: return LxReadRegisterValue(buffer, length, GetADOLPColorPhase());
    case PolarizationSpecifiedAngleInterpolationMethodReg:
        return LxReadRegisterValue(buffer, length,
                                   static_cast<int32_t>(GetPolarizationSpecifiedAngleInterpolationMethod()));
    default: return CLxIPModuleBase::ReadRegister(buffer, address, length);
    }
}

// Writes come through the nodes, which have checked them: values are stored as they come, with no
// notification. ReverseY and the node lock turn on for 1 only; the other booleans for anything but 0.
// The color map type and the two phases keep their setters' range checks.
bool CLxPixelFormatConverter::WriteRegister(const void* buffer, int64_t address, int64_t* length) {
    CheckRegisterLength(address, length);
    GenApi::CLock& lock = m_parameterLock;
    switch (address) {
    case DestinationPixelFormatReg:
        StoreParameter(lock, m_destinationPixelFormat, LxWrittenRegisterValue<uint32_t>(buffer, length), "", false);
        return true;
    case ReverseYReg:
        StoreParameter(lock, m_reverseY, LxWrittenRegisterValue<uint32_t>(buffer, length) == 1, "", false);
        return true;
    case BayerInterpolationMethodReg:
        StoreParameter(lock, m_bayerInterpolationMethod, LxWrittenRegisterValue<int32_t>(buffer, length), "", false);
        return true;
    case GammaReg: m_bitConversionCache.SetGamma(LxWrittenRegisterValue<double>(buffer, length)); return true;
    case DestinationPixelFormatNodeLockReg:
        StoreParameter(lock, m_destinationPixelFormatNodeLock, LxWrittenRegisterValue<uint32_t>(buffer, length) == 1,
                       "", false);
        return true;
    case BitExpansionModeReg:
        m_bitConversionCache.SetBitExpansionMode(LxWrittenRegisterValue<uint32_t>(buffer, length));
        return true;
    case PolarizationImageTransformationMethodReg:
        StoreParameter(lock, m_polarizationImageTransformationMethod, LxWrittenRegisterValue<int32_t>(buffer, length),
                       "", false);
        return true;
    case PolarizationSpecifiedAngleReg:
        StoreParameter(lock, m_polarizationSpecifiedAngle, LxWrittenRegisterValue<double>(buffer, length), "", false);
        return true;
    case ColorMapTypeReg: {
        const int32_t v = LxWrittenRegisterValue<int32_t>(buffer, length);
        CheckColorMapType(v);
        StoreParameter(lock, m_colorMapType, v, "", false);
        return true;
    }
    case ColorMapInversionReg:
        StoreParameter(lock, m_colorMapInversion, LxWrittenRegisterValue<uint32_t>(buffer, length) != 0, "", false);
        return true;
    case ColorMapPhaseReg: {
        const int32_t v = LxWrittenRegisterValue<int32_t>(buffer, length);
        CheckPhase(v);
        StoreParameter(lock, m_colorMapPhase, v, "", false);
        return true;
    }
    case ADOLPDarkModeReg:
        StoreParameter(lock, m_adolpDarkMode, LxWrittenRegisterValue<uint32_t>(buffer, length) != 0, "", false);
        return true;
    case ADOLPColorInversionReg:
        StoreParameter(lock, m_adolpColorInversion, LxWrittenRegisterValue<uint32_t>(buffer, length) != 0, "", false);
        return true;
    case ADOLPColorPhaseReg: {
        const int32_t v = LxWrittenRegisterValue<int32_t>(buffer, length);
        CheckPhase(v);
        StoreParameter(lock, m_adolpColorPhase, v, "", false);
        return true;
    }
    case PolarizationSpecifiedAngleInterpolationMethodReg:
        StoreParameter(lock, m_polarizationSpecifiedAngleInterpolationMethod,
                       LxWrittenRegisterValue<int32_t>(buffer, length), "", false);
        return true;
    default: return CLxIPModuleBase::WriteRegister(buffer, address, length);
    }
}
