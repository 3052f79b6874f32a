// The pixel format converter: converts an image into the format named by DestinationPixelFormat.
#pragma once

#include <lxapi/ilxconverter.h>

enum ELxBayerInterpolationMethod_t : int32_t {
    LxBayerInterpolationMethod_OFF = 0,
    LxBayerInterpolationMethod_NearestNeighbor = 1,
    LxBayerInterpolationMethod_NearestNeighbor2 = 2,
    LxBayerInterpolationMethod_Bilinear = 3,
    LxBayerInterpolationMethod_Bilinear2 = 4,
    LxBayerInterpolationMethod_Bicubic = 5,
    LxBayerInterpolationMethod_Mono = 6,
    LxBayerInterpolationMethod_Bilinear3 = 7,
};

enum ELxBitExpansionMode_t : int32_t {
    LxBitExpansionMode_Gamma = 0,
    LxBitExpansionMode_Fixed = 1,
    LxBitExpansionMode_LeftShiftBy0 = 2,
    LxBitExpansionMode_LeftShiftBy1 = 3,
};

enum ELxPolarizationImageTransformationMethod_t : int32_t {
    LxPolarizationImageTransformationMethod_OFF = 0,
    LxPolarizationImageTransformationMethod_EachAngle = 1,
    LxPolarizationImageTransformationMethod_SpecifiedAngle = 2,
    LxPolarizationImageTransformationMethod_Average = 3,
    LxPolarizationImageTransformationMethod_DegreeOfLinearPolarization = 4,
    LxPolarizationImageTransformationMethod_AngleOfLinearPolarization = 5,
    LxPolarizationImageTransformationMethod_AngleAndDegreeOfLinearPolarization = 6,
    LxPolarizationImageTransformationMethod_MaximumPixelValue = 7,
    LxPolarizationImageTransformationMethod_MinimumPixelValue = 8,
    LxPolarizationImageTransformationMethod_DifferenceOfPixelValues = 9,
};

enum ELxPolarizationSpecifiedAngleInterpolationMethod_t : int32_t {
    LxPolarizationSpecifiedAngleInterpolationMethod_Linear = 0,
    LxPolarizationSpecifiedAngleInterpolationMethod_Cosine = 1,
};

enum ELxColorMapType_t : int32_t {
    LxColorMapType_Normal = 0,
    LxColorMapType_PseudoColor_BGR = 1,
    LxColorMapType_PseudoColor_BGRB = 2,
};

class LXAPI_INTERFACE ILxPixelFormatConverter : public virtual ILxConverter {
public:
    virtual int64_t GetDestinationBufferParameter() = 0;
    virtual void SetDestinationBufferParameter(int64_t value) = 0;
    virtual uint32_t GetDestinationPixelFormat() = 0;
    virtual void SetDestinationPixelFormat(uint32_t pixelFormat) = 0;
    virtual bool GetReverseY() = 0;
    virtual void SetReverseY(bool value) = 0;
    virtual ELxBayerInterpolationMethod_t GetBayerInterpolationMethod() = 0;
    virtual void SetBayerInterpolationMethod(ELxBayerInterpolationMethod_t eBIM) = 0;
    virtual double GetGamma() = 0;
    virtual void SetGamma(double value) = 0;
    virtual bool GetDestinationPixelFormatNodeLock() = 0;
    virtual void SetDestinationPixelFormatNodeLock(bool value) = 0;
    virtual ELxBitExpansionMode_t GetBitExpansionMode() = 0;
    virtual void SetBitExpansionMode(ELxBitExpansionMode_t mode) = 0;
    virtual ELxPolarizationImageTransformationMethod_t GetPolarizationImageTransformationMethod() = 0;
    virtual void SetPolarizationImageTransformationMethod(ELxPolarizationImageTransformationMethod_t ePITM) = 0;
    virtual double GetPolarizationSpecifiedAngle() = 0;
    virtual void SetPolarizationSpecifiedAngle(double value) = 0;
    virtual ELxColorMapType_t GetColorMapType() = 0;
    virtual void SetColorMapType(ELxColorMapType_t eCMT) = 0;
    virtual bool GetColorMapInversion() = 0;
    virtual void SetColorMapInversion(bool value) = 0;
    virtual int32_t GetColorMapPhase() = 0;
    virtual void SetColorMapPhase(int32_t nPhase) = 0;
    virtual ELxPolarizationSpecifiedAngleInterpolationMethod_t GetPolarizationSpecifiedAngleInterpolationMethod() = 0;
    virtual void SetPolarizationSpecifiedAngleInterpolationMethod(
        ELxPolarizationSpecifiedAngleInterpolationMethod_t method) = 0;
    virtual bool GetADOLPDarkMode() = 0;
    virtual void SetADOLPDarkMode(bool value) = 0;
    virtual bool GetADOLPColorInversion() = 0;
    virtual void SetADOLPColorInversion(bool value) = 0;
    virtual int32_t GetADOLPColorPhase() = 0;
    virtual void SetADOLPColorPhase(int32_t nPhase) = 0;

protected:
    ~ILxPixelFormatConverter() override = default;
};
