// The exported factories and the registry of module types. Each factory checks that the SDK is
// initialised, then the range of its argument, then makes the module and hands out its releasable
// interface; everything it needs to know of a type stands in that type's row below.
#include "frame/lxmoduleregistry.h"
#include "lxaviwriter.h"
#include "lxbalanceratiofilter.h"
#include "lxchromasuppressionfilter.h"
#include "lxcolortransformationfilter.h"
#include "lxdescriptions.h"
#include "lxdefectivepixeldetectionfilter.h"
#include "lxedgeenhancementfilter.h"
#include "lxflatfieldcorrectionfilter.h"
#include "lxgammacorrectionfilter.h"
#include "lxgraphdatabufferlist.h"
#include "lxgraphdatafilter.h"
#include "lximageaveragingfilter.h"
#include "lxiputil.h"
#include "lxnoisereductionfilter.h"
#include "lxpixelformatconverter.h"
#include "lxreverseconverter.h"
#include "lxstillimagewriter.h"

#include <lxapi/lxapi_ip.h>
#include <lxapi/lxapi_tl.h>

#include <iterator>

namespace {

template <class Module, class Releasable>
Releasable* Make() {
    return lxip::TranslateBadAlloc([] { return static_cast<Releasable*>(new Module()); });
}
template <class Filter>
ILxFilterInfo* InfoOf() {
    return &CFilterInfo<Filter>::Instance();
}

namespace res = lxres;
using F = ILxFilterReleasable;

constexpr lxip::FilterRecord Filters[] = {
    {LxFilterType_GammaCorrection, "LxFilterType_GammaCorrection", "Gamma Correction",
     res::lxgammacorrectionfilter::ResourceId, &Make<CLxGammaCorrectionFilter, F>, &InfoOf<CLxGammaCorrectionFilter>},
    {LxFilterType_ColorTransformation, "LxFilterType_ColorTransformation", "Color Transformation",
     res::lxcolortransformationfilter::ResourceId, &Make<CLxColorTransformationFilter, F>,
     &InfoOf<CLxColorTransformationFilter>},
    {LxFilterType_EdgeEnhancement, "LxFilterType_EdgeEnhancement", "Edge Enhancement",
     res::lxedgeenhancementfilter::ResourceId, &Make<CLxEdgeEnhancementFilter, F>, &InfoOf<CLxEdgeEnhancementFilter>},
    {LxFilterType_BalanceRatio, "LxFilterType_BalanceRatio", "Balance Ratio", res::lxbalanceratiofilter::ResourceId,
     &Make<CLxBalanceRatioFilter, F>, &InfoOf<CLxBalanceRatioFilter>},
    {LxFilterType_NoiseReduction, "LxFilterType_NoiseReduction", "Noise Reduction",
     res::lxnoisereductionfilter::ResourceId, &Make<CLxNoiseReductionFilter, F>, &InfoOf<CLxNoiseReductionFilter>},
    {LxFilterType_FlatFieldCorrection, "LxFilterType_FlatFieldCorrection", "Flat Field Correction",
     res::lxflatfieldcorrectionfilter::ResourceId, &Make<CLxFlatFieldCorrectionFilter, F>,
     &InfoOf<CLxFlatFieldCorrectionFilter>},
    {LxFilterType_ChromaSuppression, "LxFilterType_ChromaSuppression", "Chroma Suppression",
     res::lxchromasuppressionfilter::ResourceId, &Make<CLxChromaSuppressionFilter, F>,
     &InfoOf<CLxChromaSuppressionFilter>},
    {LxFilterType_SNMeasurement, "LxFilterType_SNMeasurement", "SN Measurement", 0, nullptr, nullptr},
    {LxFilterType_GraphData, "LxFilterType_GraphData", "Graph Data", res::lxgraphdatafilter::ResourceId,
     &Make<CLxGraphDataFilter, F>, &InfoOf<CLxGraphDataFilter>},
    {LxFilterType_ImageAveraging, "LxFilterType_ImageAveraging", "Image Averaging",
     res::lximageaveragingfilter::ResourceId, &Make<CLxImageAveragingFilter, F>, &InfoOf<CLxImageAveragingFilter>},
    {LxFilterType_DefectivePixelDetection, "LxFilterType_DefectivePixelDetection", "Defective Pixel Detection",
     res::lxdefectivepixeldetectionfilter::ResourceId, &Make<CLxDefectivePixelDetectionFilter, F>,
     &InfoOf<CLxDefectivePixelDetectionFilter>},
};

constexpr lxip::ConverterRecord Converters[] = {
    {LxConverterType_PixelFormat, "LxConverterType_PixelFormat", "Pixel Format",
     res::lxpixelformatconverter::ResourceId, &Make<CLxPixelFormatConverter, ILxConverterReleasable>, nullptr},
    {LxConverterType_Reverse, "LxConverterType_Reverse", "Reverse", res::lxreverseconverter::ResourceId,
     &Make<CLxReverseConverter, ILxConverterReleasable>, nullptr},
};

// The video filer's display name is "AVI" although its model name says Video.
constexpr lxip::FilerRecord Filers[] = {
    {LxFilerType_StillImage, "LxFilerType_StillImage", "Still Image", res::lxstillimagewriter::ResourceId,
     &Make<CLxStillImageWriter, ILxFilerReleasable>, nullptr},
    {LxFilerType_Video, "LxFilerType_Video", "AVI", res::lxaviwriter::ResourceId, &Make<CLxAVIWriter, ILxFilerReleasable>,
     nullptr},
};

// Each row stands at the index of its type.
template <class Record, size_t N>
constexpr bool Ordered(const Record (&rows)[N]) {
    for (size_t i = 0; i < N; ++i)
        if (static_cast<size_t>(rows[i].type) != i) return false;
    return true;
}
static_assert(Ordered(Filters) && std::size(Filters) == 11);
static_assert(Ordered(Converters) && std::size(Converters) == 2);
static_assert(Ordered(Filers) && std::size(Filers) == 2);

// The row of `type`, after the range check with `exportName` in the text.
template <class Record, size_t N>
const Record& Checked(const Record (&rows)[N], const char* exportName, long long type) {
    lxip::CheckRangeInteger(exportName, type, 0, static_cast<long long>(N));
    return rows[type];
}

[[noreturn]] void ThrowNotAvailable(const char* exportName, const char* typeName) {
    throw RUNTIME_EXCEPTION("%s: %s is not yet available in this build.", exportName, typeName);
}

template <class Record, size_t N>
auto Create(const Record (&rows)[N], const char* exportName, long long type) {
    CheckLxApiInitialized();
    const Record& r = Checked(rows, exportName, type);
    if (!r.create) ThrowNotAvailable(exportName, r.typeName);
    return r.create();
}

} // namespace

namespace lxip {
const FilterRecord& RecordOf(ELxFilterType_t type) noexcept { return Filters[type]; }
const ConverterRecord& RecordOf(ELxConverterType_t type) noexcept { return Converters[type]; }
const FilerRecord& RecordOf(ELxFilerType_t type) noexcept { return Filers[type]; }
} // namespace lxip

ILxFilterReleasable* CreateILxFilter(ELxFilterType_t type) { return Create(Filters, "CreateILxFilter", type); }

ILxFilterInfo* GetILxFilterInfo(ELxFilterType_t type) {
    CheckLxApiInitialized();
    // The text names the factory, not this export: the wording is kept on purpose.
    const lxip::FilterRecord& r = Checked(Filters, "CreateILxFilter", type);
    if (!r.info) ThrowNotAvailable("GetILxFilterInfo", r.typeName);
    return r.info();
}

ILxConverterReleasable* CreateILxConverter(ELxConverterType_t type) {
    return Create(Converters, "CreateILxConverter", type);
}

ILxFilerReleasable* CreateILxFiler(ELxFilerType_t type) { return Create(Filers, "CreateILxFiler", type); }

// The allocator (or null) goes to the filter's three result lists.
ILxFilterReleasable* CreateILxGraphDataFilter(ILxSpecificTypeAllocator* allocator) {
    CheckLxApiInitialized();
    return lxip::TranslateBadAlloc([&] { return static_cast<F*>(new CLxGraphDataFilter(allocator)); });
}

ILxGraphDataBufferListResizableReleasable* CreateILxGraphDataBufferListResizable(ILxSpecificTypeAllocator* allocator) {
    CheckLxApiInitialized();
    return lxip::TranslateBadAlloc([&] {
        return static_cast<ILxGraphDataBufferListResizableReleasable*>(new CLxGraphDataBufferList(allocator));
    });
}
