#include "library.h"

#include "args.h"

#include <GenApi/GenApi.h>
#include <lxapi/ilxbalanceratiofilter.h>
#include <lxapi/ilxgammacorrectionfilter.h>
#include <lxapi/lxapi_tl.h>
#include <lxapi/lxpixelformat.h>

#include <cstdio>
#include <filesystem>

namespace lxtool {

Sdk::Sdk() { LxApiInitialize(); }
Sdk::~Sdk() { LxApiTerminate(); }

const std::vector<uint32_t>& AllPixelFormats() {
    // The list is generated at build time from the enumeration in <lxapi/lxpixelformat.h>.
    static const std::vector<uint32_t> all = {
#include "lxpixelformatlist.inc"
    };
    return all;
}

std::string FormatName(uint32_t pixelFormat) {
    try {
        return GetILxPixelFormatInfo(pixelFormat)->GetName().c_str();
    } catch (const GenICam::GenericException&) {
        char text[16];
        std::snprintf(text, sizeof text, "0x%08X", pixelFormat);
        return text;
    }
}

uint32_t PixelFormatByName(const std::string& name, const std::string& what) {
    for (uint32_t f : AllPixelFormats())
        if (Lower(FormatName(f)) == Lower(name)) return f;
    throw UsageError("bad value '" + name + "' for " + what + ": not a pixel format (see lxip formats)");
}

const std::vector<StillFormat>& StillFormats() {
    static const std::vector<StillFormat> formats = {
        {"raw", {".raw", ".lxrw"}, StillImageFileFormat_Raw},
        {"bmp", {".bmp", nullptr}, StillImageFileFormat_Bitmap},
        {"jpeg", {".jpg", ".jpeg"}, StillImageFileFormat_JPEG},
        {"tiff", {".tif", ".tiff"}, StillImageFileFormat_TIFF},
        {"png", {".png", nullptr}, StillImageFileFormat_PNG},
        {"csv", {".csv", nullptr}, StillImageFileFormat_CSV},
    };
    return formats;
}

const StillFormat& StillFormatFor(const std::string& path, const std::string& formatName) {
    const std::string ext = Lower(std::filesystem::path(path).extension().string());
    for (const StillFormat& f : StillFormats()) {
        if (!formatName.empty()) {
            if (Lower(formatName) == f.name || (f.extensions[0] && Lower(formatName) == f.extensions[0] + 1)) return f;
            continue;
        }
        for (const char* e : f.extensions)
            if (e && ext == e) return f;
    }
    if (!formatName.empty())
        throw UsageError("bad value '" + formatName + "' for --format: expected raw, bmp, jpeg, tiff, png or csv");
    throw UsageError("cannot tell the file format of '" + path +
                     "' from its extension: use .raw .bmp .jpg .tif .png .csv or --format");
}

namespace {
struct BayerName {
    const char* name;
    ELxBayerInterpolationMethod_t method;
};
constexpr BayerName BayerNames[] = {
    {"NearestNeighbor", LxBayerInterpolationMethod_NearestNeighbor},
    {"NearestNeighbor2", LxBayerInterpolationMethod_NearestNeighbor2},
    {"Bilinear", LxBayerInterpolationMethod_Bilinear},
    {"Bilinear2", LxBayerInterpolationMethod_Bilinear2},
    {"Bilinear3", LxBayerInterpolationMethod_Bilinear3},
    {"Bicubic", LxBayerInterpolationMethod_Bicubic},
    {"Mono", LxBayerInterpolationMethod_Mono},
};
} // namespace

ELxBayerInterpolationMethod_t BayerMethodByName(const std::string& name) {
    for (const BayerName& b : BayerNames)
        if (Lower(name) == Lower(b.name)) return b.method;
    throw UsageError("bad value '" + name + "' for --demosaic: expected NearestNeighbor, NearestNeighbor2, "
                     "Bilinear, Bilinear2, Bilinear3, Bicubic or Mono");
}

const char* BayerMethodName(ELxBayerInterpolationMethod_t method) {
    for (const BayerName& b : BayerNames)
        if (b.method == method) return b.name;
    return "OFF";
}

ELxColorMapType_t ColorMapByName(const std::string& name) {
    const std::string n = Lower(name);
    if (n == "normal" || n == "grey" || n == "gray") return LxColorMapType_Normal;
    if (n == "bgr" || n == "pseudocolor_bgr") return LxColorMapType_PseudoColor_BGR;
    if (n == "bgrb" || n == "pseudocolor_bgrb") return LxColorMapType_PseudoColor_BGRB;
    throw UsageError("bad value '" + name + "' for --colormap: expected normal, bgr or bgrb");
}

void Convert(ILxImage* source, ILxImageBuffer* destination, uint32_t pixelFormat,
             ELxBayerInterpolationMethod_t method, ELxColorMapType_t map) {
    ConverterPtr converter(CreateILxConverter(LxConverterType_PixelFormat));
    auto* typed = dynamic_cast<ILxPixelFormatConverter*>(converter.Get());
    typed->SetDestinationPixelFormat(pixelFormat);
    typed->SetBayerInterpolationMethod(method);
    typed->SetColorMapType(map);
    converter->Convert(source, destination);
}

void Balance(ILxImage* image, const std::optional<std::vector<double>>& ratios) {
    FilterPtr filter(CreateILxFilter(LxFilterType_BalanceRatio));
    auto* typed = dynamic_cast<ILxBalanceRatioFilter*>(filter.Get());
    if (ratios) {
        typed->SetBalanceRatio(LxBalanceRatioSelector_Red, (*ratios)[0]);
        typed->SetBalanceRatio(LxBalanceRatioSelector_Green, (*ratios)[1]);
        typed->SetBalanceRatio(LxBalanceRatioSelector_Blue, (*ratios)[2]);
    } else {
        typed->SetBalanceWhiteAuto(LxBalanceWhiteAuto_Once);
    }
    filter->Filter(image);
}

void Gamma(ILxImage* image, double gamma) {
    FilterPtr filter(CreateILxFilter(LxFilterType_GammaCorrection));
    dynamic_cast<ILxGammaCorrectionFilter*>(filter.Get())->SetGamma(gamma);
    filter->Filter(image);
}

uint32_t Save(ILxImage* image, const StillFormat& format, const std::string& path, int quality) {
    FilerPtr filer(CreateILxFiler(LxFilerType_StillImage));
    auto* still = dynamic_cast<ILxStillImageFiler*>(filer.Get());
    if (quality >= 0) still->SetQuality(static_cast<uint32_t>(quality));
    const uint32_t own = image->GetImagePixelFormat();
    if (still->IsSupported(own, format.id)) {
        still->Save(image, format.id, path.c_str());
        return own;
    }
    // The file does not take this format: hand it the nearest one it does take.
    ILxPixelFormatInfo* info = GetILxPixelFormatInfo(own);
    const uint32_t target = info->IsColor() ? LxPixelFormat_BGR8 : LxPixelFormat_Mono8;
    BufferPtr converted(CreateILxImageBuffer());
    Convert(image, converted.Get(), target);
    still->Save(converted->GetILxImage(), format.id, path.c_str());
    return target;
}

void Load(ILxImageBuffer* buffer, const std::string& path) {
    FilerPtr filer(CreateILxFiler(LxFilerType_StillImage));
    dynamic_cast<ILxStillImageFiler*>(filer.Get())->Load(buffer, path.c_str());
}

const std::vector<ModuleName>& ModuleNames() {
    static const std::vector<ModuleName> names = {
        {"gamma", "filter", LxFilterType_GammaCorrection},
        {"colortransformation", "filter", LxFilterType_ColorTransformation},
        {"edge", "filter", LxFilterType_EdgeEnhancement},
        {"balance", "filter", LxFilterType_BalanceRatio},
        {"noise", "filter", LxFilterType_NoiseReduction},
        {"flatfield", "filter", LxFilterType_FlatFieldCorrection},
        {"chroma", "filter", LxFilterType_ChromaSuppression},
        {"sn", "filter", LxFilterType_SNMeasurement},
        {"graphdata", "filter", LxFilterType_GraphData},
        {"averaging", "filter", LxFilterType_ImageAveraging},
        {"defect", "filter", LxFilterType_DefectivePixelDetection},
        {"converter", "converter", LxConverterType_PixelFormat},
        {"reverse", "converter", LxConverterType_Reverse},
        {"still", "filer", LxFilerType_StillImage},
        {"video", "filer", LxFilerType_Video},
    };
    return names;
}

void PrintTree(GenApi::INode* node, int depth) {
    if (!node) return;
    std::string value;
    GenApi::CValuePtr v = node;
    if (node->GetPrincipalInterfaceType() != GenApi::intfICategory && v.IsValid() && GenApi::IsReadable(v->GetNode()))
        value = " = " + std::string(v->ToString().c_str());
    std::printf("%*s%s [%s]%s\n", 2 * depth, "", node->GetName().c_str(), GenApi::AccessModeName(node->GetAccessMode()),
                value.c_str());
    GenApi::CCategoryPtr category = node;
    if (!category.IsValid()) return;
    GenApi::FeatureList_t features;
    category->GetFeatures(features);
    for (GenApi::IValue* f : features) PrintTree(f->GetNode(), depth + 1);
}

} // namespace lxtool
