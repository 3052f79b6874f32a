// Image averaging: sums a series of images of one size and format into 32-bit accumulators, leaving
// the images as they are, and writes their mean at the depth asked for.
#pragma once

#include "lxhandlertable.h"
#include "lxipmodulebase.h"
#include "support/lxhugepages.h"

#include <includeinside/ilximageaveragingfilterinside.h>
#include <lxapi/clxautoptr.h>
#include <lxapi/ilxpixelformatconverter.h>

#include <map>
#include <vector>

class CLxImageAveragingFilter : public CLxIPModuleBase<ILxImageAveragingFilterInside> {
public:
    static constexpr ELxFilterType_t FilterType = LxFilterType_ImageAveraging;
    static constexpr uint32_t NoFormat = 0xFFFFFFFFu;

    // The accepted source formats and the working format each is summed in (137 rows); it answers
    // the info object's format question too.
    class WorkingFormats {
    public:
        WorkingFormats();
        bool Contains(uint32_t format) const { return m_map.count(format) != 0; }
        // The working format of `format`, or NoFormat.
        uint32_t Find(uint32_t format) const;
        size_t Size() const { return m_map.size(); }

    private:
        std::map<uint32_t, uint32_t> m_map;
    };
    static const WorkingFormats& Handlers();
    struct Registers; // none: the filter is driven by its typed operations alone

    CLxImageAveragingFilter();

    ILxFilterInfo* GetFilterInfo() override;
    ILxImage* Filter(ILxImage* image) override;
    void GetAveragedImage(ILxImageBuffer* pImageBuffer, uint32_t nBitCount) override;
    void ResetImageCount() override;
    uint64_t GetImageCount() override;

    // The format of the mean of a series of `source` at `bitCount` bits (0: `working`), or NoFormat.
    static uint32_t OutputFormat(uint32_t source, uint32_t working, uint32_t bitCount);

private:
    void StartSeries(ILxImage* image, uint32_t format);
    void Accumulate(ILxImage* image);
    void FoldStaged();

    CLxAutoPtr<ILxImageBufferReleasable, ILxImageBuffer> m_buffer;  // destination of the conversion
    CLxAutoPtr<ILxConverterReleasable, ILxConverter> m_converter;     // unpacks to the working format
    ILxPixelFormatConverter* m_converterTyped = nullptr;
    std::atomic<uint64_t> m_imageCount{0};
    std::vector<uint32_t, lxip::HugePageAllocator<uint32_t>> m_accumulators; // width x height x components, row after row, no gap
    // 8-bit series: the latest images' sums in 16 bits, laid out as the accumulators and folded into
    // them every lxavg::StagedImages images and before a mean is written. Empty for deeper series.
    std::vector<uint16_t, lxip::HugePageAllocator<uint16_t>> m_staged;
    unsigned m_stagedImages = 0;
    GenApi::CLock m_lock;                 // count, accumulators, format state
    uint32_t m_sourceFormat = NoFormat;
    uint32_t m_workingFormat = NoFormat;
    uint64_t m_width = 0;
    uint64_t m_height = 0;
    ILxPixelFormatInfo* m_sourceInfo = nullptr;
    ILxPixelFormatInfo* m_workingInfo = nullptr;
    uint64_t m_imageLimit = 0;
};
