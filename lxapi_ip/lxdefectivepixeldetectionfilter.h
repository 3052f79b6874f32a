// Defective pixel detection: finds pixels whose value lies too far from the average of their
// same-colour neighbourhood (or of the whole image), and keeps the most deviant of them in an ordered
// list that lives across images. It changes no pixel.
#pragma once

#include "filters/defect/defectkernels.h"
#include "lxhandlertable.h"
#include "lxipmodulebase.h"

#include <includeinside/ilxdefectivepixeldetectionfilterinside.h>
#include <lxapi/clxautoptr.h>
#include <lxapi/ilxpixelformatconverter.h>

#include <map>
#include <utility>
#include <vector>

class CLxDefectivePixelDetectionFilter : public CLxIPModuleBase<ILxDefectivePixelDetectionFilterInside> {
public:
    static constexpr ELxFilterType_t FilterType = LxFilterType_DefectivePixelDetection;

    // How the thresholds lie over a format's pattern of colours.
    enum class Pattern : uint8_t {
        Mono,    // one threshold (mono and polarized mono)
        Bayer,   // 2 x 2 colours, the phase told by the format's site (0, 0)
        PolR,    // polarized Bayer: 2 x 2 blocks of one colour, the block at (0, 0) red,
        PolGr,   // ... green on a red line,
        PolGb,   // ... green on a blue line,
        PolB,    // ... blue
    };
    // The row of an accepted format: the format worked on (packed forms are unpacked first), bytes
    // per sample, the step s between pixels of one phase, and the pattern.
    struct FormatEntry {
        uint32_t working;
        uint8_t bytes;
        uint8_t step;
        Pattern pattern;
    };
    using Handler = const FormatEntry*;
    static const CLxHandlerTable<Handler>& Handlers();
    struct Registers; // the register declarations

    CLxDefectivePixelDetectionFilter();

    ILxFilterInfo* GetFilterInfo() override;
    ILxImage* Filter(ILxImage* image) override;

    void GetDetectedPixels(uint32_t* pStatus, uint64_t* pnCount, LxDefectivePixelInformation_t* pPixels) override;
    void ClearDetectedPixels() override;
    double GetThresholdRatio(ELxDefectivePixelDetectionThresholdTarget_t eDPDTT) override;
    void SetThresholdRatio(ELxDefectivePixelDetectionThresholdTarget_t eDPDTT, double ratio) override;
    ELxDefectivePixelDetectionAveragingArea_t GetAveragingArea() override;
    void SetAveragingArea(ELxDefectivePixelDetectionAveragingArea_t eDPDAA) override;
    uint64_t GetPeripheralAreaSize() override;
    void SetPeripheralAreaSize(uint64_t nSize) override;
    uint64_t GetMaximumPixelCount() override;
    void SetMaximumPixelCount(uint64_t nCount) override;

    // The threshold ratios lie at 0x100 + 0x10 x target, an address the description computes.
    bool ReadRegister(void* buffer, int64_t address, int64_t* length) override;
    bool WriteRegister(const void* buffer, int64_t address, int64_t* length) override;

private:
    struct Parameters {
        double ratios[5];
        int32_t area;
        uint64_t size;
        uint64_t capacity;
    };
    Parameters Snapshot();
    // The ratio's index after the range check with the "eDPDTT" texts.
    static size_t TargetIndex(long long eDPDTT);
    // Stores a changed ratio; announces it when asked.
    void StoreRatio(size_t index, double ratio, bool notify);

    void Detect(ILxImage* image, const FormatEntry& entry);
    template <class Sum>
    void DetectAround(ILxImage* image, const FormatEntry& entry, const Parameters& p, const double* t, double M,
                      std::vector<Sum>& sums);
    void DetectWhole(ILxImage* image, const FormatEntry& entry, const double* t, double M, uint64_t capacity);
    void Record(uint64_t x, uint64_t y, double value, double average, double M, uint64_t capacity);

    // Parameters, under the parameter lock.
    double m_ratios[5] = {0.15, 0.15, 0.15, 0.15, 0.15};
    int32_t m_averagingArea = 0;
    uint64_t m_peripheralAreaSize = 2;
    uint64_t m_maximumPixelCount = 4095;

    // The list and the working state, under m_lock; Filter holds it for the whole image.
    GenApi::CLock m_lock;
    std::map<std::pair<uint64_t, uint64_t>, LxDefectivePixelInformation_t> m_detected;
    uint32_t m_status = 0;
    double m_smallestRatio; // a lower bound of the deviations in the list
    std::vector<uint32_t> m_sums32; // the column sums of each row phase and the running sums of a row
    std::vector<uint64_t> m_sums64;
    std::vector<lxdpd::Candidate> m_candidates;
    CLxAutoPtr<ILxConverterReleasable, ILxConverter> m_converter; // unpacks packed formats, made at first need
    ILxPixelFormatConverter* m_pfc = nullptr;
    CLxAutoPtr<ILxImageBufferReleasable, ILxImageBuffer> m_buffer;
};
