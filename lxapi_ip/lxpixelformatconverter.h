// The pixel format converter: converts an image into the format named by DestinationPixelFormat,
// through the process-wide conversion table, with the demosaicing method, gamma, bit expansion and
// vertical flip held as module parameters.
#pragma once

#include "colormap/lxcolormap.h"
#include "conversion/bitconversiontable.h"
#include "frame/lxmoduleregistry.h"
#include "lxconversiontable.h"
#include "lxipmodulebase.h"
#include "polarization/polarkernels.h"
#include "polarization/polartables.h"

#include <includeinside/ilxpixelformatconverterinside.h>
#include <lxapi/lxpixelformat.h>

class CLxPixelFormatConverter;

// The info object of the converter: its name, and whether a source format converts into the
// module's present DestinationPixelFormat.
template <class Converter>
class CConverterInfo : public ILxConverterInfo {
public:
    explicit CConverterInfo(Converter* owner) : m_owner(owner) {}
    ELxConverterType_t GetConverterType() override { return Converter::ConverterType; }
    GenICam::gcstring GetDisplayName() override { return lxip::RecordOf(Converter::ConverterType).displayName; }
    bool IsSupportedPixelFormat(uint32_t pixelFormat) override {
        return FindConversion(pixelFormat, m_owner->GetDestinationPixelFormat()) != nullptr;
    }

private:
    Converter* m_owner;
};

class CLxPixelFormatConverter : public CLxIPModuleBase<ILxPixelFormatConverterInside> {
public:
    static constexpr ELxConverterType_t ConverterType = LxConverterType_PixelFormat;
    struct Registers; // the register declarations

    CLxPixelFormatConverter();

    ILxConverterInfo* GetConverterInfo() override { return &m_converterInfo; }
    void Convert(ILxImage* source, ILxImageBuffer* destination) override;

    int64_t GetDestinationBufferParameter() override;
    void SetDestinationBufferParameter(int64_t value) override;
    uint32_t GetDestinationPixelFormat() override;
    void SetDestinationPixelFormat(uint32_t pixelFormat) override;
    bool GetReverseY() override;
    void SetReverseY(bool value) override;
    ELxBayerInterpolationMethod_t GetBayerInterpolationMethod() override;
    void SetBayerInterpolationMethod(ELxBayerInterpolationMethod_t eBIM) override;
    double GetGamma() override;
    void SetGamma(double value) override;
    bool GetDestinationPixelFormatNodeLock() override;
    void SetDestinationPixelFormatNodeLock(bool value) override;
    ELxBitExpansionMode_t GetBitExpansionMode() override;
    void SetBitExpansionMode(ELxBitExpansionMode_t mode) override;
    ELxPolarizationImageTransformationMethod_t GetPolarizationImageTransformationMethod() override;
    void SetPolarizationImageTransformationMethod(ELxPolarizationImageTransformationMethod_t ePITM) override;
    double GetPolarizationSpecifiedAngle() override;
    void SetPolarizationSpecifiedAngle(double value) override;
    ELxColorMapType_t GetColorMapType() override;
    void SetColorMapType(ELxColorMapType_t eCMT) override;
    bool GetColorMapInversion() override;
    void SetColorMapInversion(bool value) override;
    int32_t GetColorMapPhase() override;
    void SetColorMapPhase(int32_t nPhase) override;
    ELxPolarizationSpecifiedAngleInterpolationMethod_t GetPolarizationSpecifiedAngleInterpolationMethod() override;
    void SetPolarizationSpecifiedAngleInterpolationMethod(
        ELxPolarizationSpecifiedAngleInterpolationMethod_t method) override;
    bool GetADOLPDarkMode() override;
    void SetADOLPDarkMode(bool value) override;
    bool GetADOLPColorInversion() override;
    void SetADOLPColorInversion(bool value) override;
    int32_t GetADOLPColorPhase() override;
    void SetADOLPColorPhase(int32_t nPhase) override;

    // One conversion step: finds the handler of (source format, `format`), creates the destination
    // image (in the flipped Bayer phase or polarized variant where `reverse` moves the pattern) and
    // runs the handler. Chains call it for each of their two steps.
    void ConvertImage(ILxImage* source, ILxImageBuffer* destination, uint32_t format, bool reverse);
    // The format the destination takes when `reverse` flips an image of `height` lines from
    // `source` into `destination`.
    static uint32_t ReversedDestinationFormat(uint32_t source, uint32_t destination, size_t height);

    // ---- conversion members (the table's handlers) ----
    void ConvertCopy(ILxImage* s, ILxImageBuffer* d, bool reverse);
    void ConvertColorToMono(ILxImage* s, ILxImageBuffer* d, bool reverse);
    void ConvertMono8ToPacked(ILxImage* s, ILxImageBuffer* d, bool reverse);
    void ConvertPlanarToColor(ILxImage* s, ILxImageBuffer* d, bool reverse);
    void ConvertColorToPlanar(ILxImage* s, ILxImageBuffer* d, bool reverse);
    void ConvertMonoToPlanar(ILxImage* s, ILxImageBuffer* d, bool reverse);
    void ConvertPlanarToPlanar(ILxImage* s, ILxImageBuffer* d, bool reverse);
    void ConvertColorToColorP(ILxImage* s, ILxImageBuffer* d, bool reverse);
    void ConvertColorPToColor(ILxImage* s, ILxImageBuffer* d, bool reverse);
    void ConvertColorToColor(ILxImage* s, ILxImageBuffer* d, bool reverse);
    void ConvertColorToColor32(ILxImage* s, ILxImageBuffer* d, bool reverse);
    void ConvertColor32ToColor(ILxImage* s, ILxImageBuffer* d, bool reverse);
    void ConvertColorToBayer(ILxImage* s, ILxImageBuffer* d, bool reverse);
    void ConvertUnpacked(ILxImage* s, ILxImageBuffer* d, bool reverse);
    void ConvertBitPackedToUnpacked(ILxImage* s, ILxImageBuffer* d, bool reverse);
    void ConvertPackedToUnpacked(ILxImage* s, ILxImageBuffer* d, bool reverse);
    void ConvertUnpacked8ToBitPacked(ILxImage* s, ILxImageBuffer* d, bool reverse);
    void ConvertBayerToColor(ILxImage* s, ILxImageBuffer* d, bool reverse);
    void ConvertBayerToMono(ILxImage* s, ILxImageBuffer* d, bool reverse);
    void ConvertMono8ToColor8(ILxImage* s, ILxImageBuffer* d, bool reverse);
    void ConvertMono8ToColorN(ILxImage* s, ILxImageBuffer* d, bool reverse);
    void ConvertMonoNToColorN(ILxImage* s, ILxImageBuffer* d, bool reverse);
    void ConvertPolMonoToMono(ILxImage* s, ILxImageBuffer* d, bool reverse);
    void ConvertPolMonoToColor(ILxImage* s, ILxImageBuffer* d, bool reverse);
    void ConvertPolBayerToMono(ILxImage* s, ILxImageBuffer* d, bool reverse);
    void ConvertPolBayerToColor(ILxImage* s, ILxImageBuffer* d, bool reverse);
    void ConvertToYCbCr(ILxImage* s, ILxImageBuffer* d, bool reverse);
    void ConvertYCbCrToMono8OrColor8(ILxImage* s, ILxImageBuffer* d, bool reverse);
    void ConvertViaSourceFilter(ILxImage* s, ILxImageBuffer* d, bool reverse);
    void ConvertViaUnpacked(ILxImage* s, ILxImageBuffer* d, bool reverse);
    void ConvertViaBGRa(ILxImage* s, ILxImageBuffer* d, bool reverse);
    void ConvertViaBGRa8(ILxImage* s, ILxImageBuffer* d, bool reverse);
    void ConvertViaDestinationFilter(ILxImage* s, ILxImageBuffer* d, bool reverse);

private:
    // The parameters kept in the bit conversion cache, as the register declarations reach them.
    void StoreGamma(double value) { m_bitConversionCache.SetGamma(value); }
    int32_t BitExpansionModeValue() { return static_cast<int32_t>(m_bitConversionCache.GetBitExpansionMode()); }
    void StoreBitExpansionMode(int32_t mode) { m_bitConversionCache.SetBitExpansionMode(static_cast<uint32_t>(mode)); }

    // Converts through `intermediate` in a pooled buffer: the flip in the first step, where the source
    // format is known; the second step into the requested format with no flip.
    void ConvertViaIntermediate(ILxImage* source, ILxImageBuffer* destination, uint32_t intermediate,
                                uint32_t requested, bool reverse);
    void ConvertViaChain(ConversionMember chain, ILxImage* source, ILxImageBuffer* destination, bool reverse);

    // One polarization step: images, facts, method and the tables it holds until it ends.
    struct PolarStep;
    void BeginPolarStep(PolarStep& step, ILxImage* s, ILxImageBuffer* d);
    void PreparePolarOp(PolarStep& step, lxpol::Op op, unsigned dstBits);
    void RunPerColorPlane(PolarStep& step, bool reverse);

    CConverterInfo<CLxPixelFormatConverter> m_converterInfo;
    // The plain parameters below are guarded by the base's parameter lock.
    int32_t m_bayerInterpolationMethod = LxBayerInterpolationMethod_NearestNeighbor2;
    lxconv::BitConversionTableCache m_bitConversionCache; // holds Gamma and BitExpansionMode
    bool m_reverseY = false;
    uint32_t m_destinationPixelFormat = LxPixelFormat_BGR8;
    bool m_destinationPixelFormatNodeLock = false;
    int32_t m_colorMapType = LxColorMapType_Normal;
    bool m_colorMapInversion = false;
    int32_t m_colorMapPhase = 0;
    lxip::ColorMapCache m_colorMapCache; // the map of the three above, held for a whole image
    int64_t m_destinationBufferParameter = 0;
    int32_t m_polarizationImageTransformationMethod = LxPolarizationImageTransformationMethod_EachAngle;
    int32_t m_polarizationSpecifiedAngleInterpolationMethod = LxPolarizationSpecifiedAngleInterpolationMethod_Linear;
    bool m_adolpDarkMode = false;
    bool m_adolpColorInversion = false;
    int32_t m_adolpColorPhase = 0;
    double m_polarizationSpecifiedAngle = 0.0;
    lxpol::PolarizerWeightCache m_polarizerWeights; // the linear weights of the angle above
};
