// The graph data filter: measures an image without changing it, into one of three rotating lists so
// that a reader always holds a finished list that no writer touches.
#pragma once

#include "graphdata/graphdataformats.h"
#include "lxgraphdatabufferlist.h"
#include "lxipmodulebase.h"

#include <includeinside/ilxgraphdatafilterinside.h>
#include <lxapi/clxautoptr.h>

#include <memory>
#include <vector>

class CLxPixelFormatConverter;

class CLxGraphDataFilter : public CLxIPModuleBase<ILxGraphDataFilterInside> {
public:
    static constexpr ELxFilterType_t FilterType = LxFilterType_GraphData;
    // The accepted formats, for the filter's info.
    static const lxgraph::CFormatTable& Handlers() { return lxgraph::FormatTable(); }
    struct Registers; // the register declarations

    // The three result lists take their blocks from `allocator` (null: each list's own).
    explicit CLxGraphDataFilter(ILxSpecificTypeAllocator* allocator = nullptr);
    ~CLxGraphDataFilter() override;

    ILxFilterInfo* GetFilterInfo() override;
    ILxImage* Filter(ILxImage* image) override;

    ELxFilterROIMode_t GetFilterROIMode() override;
    void SetFilterROIMode(ELxFilterROIMode_t eRM) override;
    size_t GetOffsetX() override;
    void SetOffsetX(size_t value) override;
    size_t GetOffsetY() override;
    void SetOffsetY(size_t value) override;
    size_t GetWidth() override;
    void SetWidth(size_t value) override;
    size_t GetHeight() override;
    void SetHeight(size_t value) override;
    ELxGraphDataType_t GetGraphDataType() override;
    void SetGraphDataType(ELxGraphDataType_t eValue) override;
    ILxGraphDataBufferList* GetILxGraphDataBufferList() override;

private:
    ILxImage* ToWorkingFormat(ILxImage* image, uint32_t working);

    GenApi::CLock m_filterLock; // held through Filter
    std::unique_ptr<CLxPixelFormatConverter> m_converter; // made at the first conversion
    CLxAutoPtr<ILxImageBufferReleasable, ILxImageBuffer> m_imageBuffer;
    std::unique_ptr<CLxGraphDataBufferList> m_lists[3];
    size_t m_readerIndex = 0; // the list last handed out
    size_t m_newestIndex = 0; // the list last finished
    GenApi::CLock m_indexLock; // guards the two indices
    std::vector<uint32_t> m_scratch; // the kernels' working memory, under the filter lock

    // Parameters, under the base's parameter lock.
    uint32_t m_graphDataType = LxGraphDataType_Histogram;
    int32_t m_roiMode = LxFilterROIMode_WholeImage;
    size_t m_offsetX = 0;
    size_t m_offsetY = 0;
    size_t m_width = 100;
    size_t m_height = 100;
};
