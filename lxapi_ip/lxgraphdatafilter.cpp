#include "lxgraphdatafilter.h"

#include "frame/lxmoduleregistry.h"
#include "graphdata/graphdataworker.h"
#include "lxdescriptions.h"
#include "lxhandlertable.h"
#include "lxpixelformatconverter.h"

namespace {
// Filled at library load, as every format table is.
const auto& g_graphDataFormats = lxgraph::FormatTable();
namespace R = lxres::lxgraphdatafilter;
} // namespace

// GraphDataType and FilterROIMode are range checked by their typed setters; the offsets and sizes
// are not (the ROI is clipped to each image).
struct CLxGraphDataFilter::Registers {
    using C = CLxGraphDataFilter;
    static constexpr auto GraphDataType = lxip::Bind<C>(R::GraphDataTypeReg).Field(&C::m_graphDataType);
    static constexpr auto FilterROIMode =
        lxip::Bind<C>(R::FilterROIModeReg).Field(&C::m_roiMode).Range(lxip::IntegerBelow("eRM", 0, 3));
    static constexpr auto OffsetX = lxip::Bind<C>(R::OffsetXReg).Field(&C::m_offsetX);
    static constexpr auto OffsetY = lxip::Bind<C>(R::OffsetYReg).Field(&C::m_offsetY);
    static constexpr auto Width = lxip::Bind<C>(R::WidthReg).Field(&C::m_width);
    static constexpr auto Height = lxip::Bind<C>(R::HeightReg).Field(&C::m_height);
    static constexpr auto File = lxip::MakeRegisterFile(GraphDataType, FilterROIMode, OffsetX, OffsetY, Width, Height);
    static_assert(lxip::Covers(File, R::RegisterNodes), "the declarations must serve the description");
};

namespace {

// The graph data type as a run or a setter finds it: 1 to 3. The Min text says 0 although 0 itself
// is refused, as the interface has always reported it.
void CheckGraphDataType(const char* name, long long value) {
    if (value < LxGraphDataType_Histogram) lxip::ThrowBelowMin(name, value, 0);
    if (value > LxGraphDataType_HorizontalIntegration) lxip::ThrowNotBelowEnd(name, value, 4);
}

// One axis of a manual or centred region: clipped to the image, empty when it starts at or past the
// image's edge.
void ClipAxis(size_t& offset, size_t& size, size_t imageSize) {
    if (offset >= imageSize) throw INVALID_ARGUMENT_EXCEPTION("ROI is empty.");
    if (size > imageSize - offset) size = imageSize - offset;
}

} // namespace

CLxGraphDataFilter::CLxGraphDataFilter(ILxSpecificTypeAllocator* allocator)
    : CLxIPModuleBase(lxip::RecordOf(FilterType).resourceId, Registers::File.View(), this) {
    (void)g_graphDataFormats;
    for (auto& list : m_lists) list = std::make_unique<CLxGraphDataBufferList>(allocator);
}

CLxGraphDataFilter::~CLxGraphDataFilter() = default;

ILxFilterInfo* CLxGraphDataFilter::GetFilterInfo() { return &CFilterInfo<CLxGraphDataFilter>::Instance(); }

ILxImage* CLxGraphDataFilter::ToWorkingFormat(ILxImage* image, uint32_t working) {
    if (image->GetImagePixelFormat() == working) return image;
    lxip::TranslateBadAlloc([&] {
        if (!m_converter) m_converter = std::make_unique<CLxPixelFormatConverter>();
        if (!m_imageBuffer) m_imageBuffer.Reset(CreateILxImageBuffer(nullptr));
        return 0;
    });
    m_converter->SetDestinationPixelFormat(working);
    m_converter->Convert(image, m_imageBuffer.Get());
    return m_imageBuffer->GetILxImage();
}

ILxImage* CLxGraphDataFilter::Filter(ILxImage* image) {
    if (!image) throw INVALID_ARGUMENT_EXCEPTION("ILxImage is NULL.");
    const lxgraph::FormatRow& row = Handlers().Require(image->GetImagePixelFormat());
    GenApi::AutoLock filterGuard(m_filterLock);

    // The parameters of this run, taken together.
    uint32_t type;
    int32_t mode;
    lxgraph::Roi roi{};
    {
        GenApi::AutoLock guard(ParameterLock());
        type = m_graphDataType;
        mode = m_roiMode;
        roi = {m_offsetX, m_offsetY, m_width, m_height};
    }
    CheckGraphDataType("GraphDataType", static_cast<int32_t>(type));
    lxip::CheckRangeInteger("FilterROIMode", mode, 0, 3);

    ILxImage* working = ToWorkingFormat(image, row.working);
    const lxgraph::Shape shape = lxgraph::ShapeOf(row.working);

    // The list neither handed out nor newest.
    size_t target = 0;
    {
        GenApi::AutoLock guard(m_indexLock);
        while (target == m_readerIndex || target == m_newestIndex) ++target;
    }

    const size_t width = working->GetImageWidth(), height = working->GetImageHeight();
    switch (mode) {
    case LxFilterROIMode_WholeImage: roi = {0, 0, width, height}; break;
    case LxFilterROIMode_CenterOfImage:
        roi.x0 = width > roi.w ? (width - roi.w) >> 1 : 0;
        if (width <= roi.w) roi.w = width;
        roi.y0 = height > roi.h ? (height - roi.h) >> 1 : 0;
        if (height <= roi.h) roi.h = height;
        break;
    default: break;
    }
    ClipAxis(roi.x0, roi.w, width);
    ClipAxis(roi.y0, roi.h, height);
    if (roi.w == 0 || roi.h == 0) throw INVALID_ARGUMENT_EXCEPTION("ROI is empty.");

    lxip::TranslateBadAlloc([&] {
        lxgraph::MeasureImage(shape, working, roi, type, *m_lists[target], m_scratch);
        return 0;
    });

    GenApi::AutoLock guard(m_indexLock);
    m_newestIndex = target;
    return image;
}

ILxGraphDataBufferList* CLxGraphDataFilter::GetILxGraphDataBufferList() {
    GenApi::AutoLock guard(m_indexLock);
    m_readerIndex = m_newestIndex;
    return m_lists[m_readerIndex].get();
}

ELxFilterROIMode_t CLxGraphDataFilter::GetFilterROIMode() {
    return static_cast<ELxFilterROIMode_t>(Registers::FilterROIMode.Get(*this));
}
void CLxGraphDataFilter::SetFilterROIMode(ELxFilterROIMode_t eRM) {
    Registers::FilterROIMode.Set(*this, static_cast<int32_t>(eRM));
}
size_t CLxGraphDataFilter::GetOffsetX() { return Registers::OffsetX.Get(*this); }
void CLxGraphDataFilter::SetOffsetX(size_t value) { Registers::OffsetX.Set(*this, value); }
size_t CLxGraphDataFilter::GetOffsetY() { return Registers::OffsetY.Get(*this); }
void CLxGraphDataFilter::SetOffsetY(size_t value) { Registers::OffsetY.Set(*this, value); }
size_t CLxGraphDataFilter::GetWidth() { return Registers::Width.Get(*this); }
void CLxGraphDataFilter::SetWidth(size_t value) { Registers::Width.Set(*this, value); }
size_t CLxGraphDataFilter::GetHeight() { return Registers::Height.Get(*this); }
void CLxGraphDataFilter::SetHeight(size_t value) { Registers::Height.Set(*this, value); }

ELxGraphDataType_t CLxGraphDataFilter::GetGraphDataType() {
    return static_cast<ELxGraphDataType_t>(Registers::GraphDataType.Get(*this));
}
void CLxGraphDataFilter::SetGraphDataType(ELxGraphDataType_t eValue) {
    CheckGraphDataType("eValue", eValue);
    Registers::GraphDataType.Store(*this, static_cast<uint32_t>(eValue), true);
}
