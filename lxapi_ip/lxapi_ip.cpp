// The exported factories: each checks that the SDK is initialised, then the range of its argument,
// then makes the module and hands out its releasable interface.
#include "lxgammacorrectionfilter.h"
#include "lxiputil.h"
#include "lxpixelformatconverter.h"

#include <lxapi/lxapi_ip.h>
#include <lxapi/lxapi_tl.h>

namespace {

const char* const FilterTypeNames[] = {
    "LxFilterType_GammaCorrection", "LxFilterType_ColorTransformation", "LxFilterType_EdgeEnhancement",
    "LxFilterType_BalanceRatio",    "LxFilterType_NoiseReduction",      "LxFilterType_FlatFieldCorrection",
    "LxFilterType_ChromaSuppression", "LxFilterType_SNMeasurement",     "LxFilterType_GraphData",
    "LxFilterType_ImageAveraging",  "LxFilterType_DefectivePixelDetection",
};
const char* const ConverterTypeNames[] = {"LxConverterType_PixelFormat", "LxConverterType_Reverse"};
const char* const FilerTypeNames[] = {"LxFilerType_StillImage", "LxFilerType_Video"};

constexpr long long FilterTypeCount = 11;
constexpr long long ConverterTypeCount = 2;
constexpr long long FilerTypeCount = 2;

[[noreturn]] void ThrowNotAvailable(const char* exportName, const char* typeName) {
    throw RUNTIME_EXCEPTION("%s: %s is not yet available in this build.", exportName, typeName);
}

template <class Module, class Releasable>
Releasable* MakeModule() {
    return lxip::TranslateBadAlloc([] { return static_cast<Releasable*>(new Module()); });
}

} // namespace

ILxFilterReleasable* CreateILxFilter(ELxFilterType_t type) {
    CheckLxApiInitialized();
    lxip::CheckRangeInteger("CreateILxFilter", type, 0, FilterTypeCount);
    switch (type) {
    case LxFilterType_GammaCorrection: return MakeModule<CLxGammaCorrectionFilter, ILxFilterReleasable>();
    default: ThrowNotAvailable("CreateILxFilter", FilterTypeNames[type]);
    }
}

ILxFilterInfo* GetILxFilterInfo(ELxFilterType_t type) {
    CheckLxApiInitialized();
    // The text names the factory, not this export: the wording is kept on purpose.
    lxip::CheckRangeInteger("CreateILxFilter", type, 0, FilterTypeCount);
    switch (type) {
    case LxFilterType_GammaCorrection: return &CFilterInfo<CLxGammaCorrectionFilter>::Instance();
    default: ThrowNotAvailable("GetILxFilterInfo", FilterTypeNames[type]);
    }
}

ILxConverterReleasable* CreateILxConverter(ELxConverterType_t type) {
    CheckLxApiInitialized();
    lxip::CheckRangeInteger("CreateILxConverter", type, 0, ConverterTypeCount);
    switch (type) {
    case LxConverterType_PixelFormat: return MakeModule<CLxPixelFormatConverter, ILxConverterReleasable>();
    default: ThrowNotAvailable("CreateILxConverter", ConverterTypeNames[type]);
    }
}

ILxFilerReleasable* CreateILxFiler(ELxFilerType_t type) {
    CheckLxApiInitialized();
    lxip::CheckRangeInteger("CreateILxFiler", type, 0, FilerTypeCount);
    ThrowNotAvailable("CreateILxFiler", FilerTypeNames[type]);
}

ILxFilterReleasable* CreateILxGraphDataFilter(ILxSpecificTypeAllocator* /*allocator*/) {
    CheckLxApiInitialized();
    ThrowNotAvailable("CreateILxGraphDataFilter", "LxFilterType_GraphData");
}

ILxGraphDataBufferListResizableReleasable* CreateILxGraphDataBufferListResizable(ILxSpecificTypeAllocator* /*allocator*/) {
    CheckLxApiInitialized();
    ThrowNotAvailable("CreateILxGraphDataBufferListResizable", "CLxGraphDataBufferListResizable");
}
