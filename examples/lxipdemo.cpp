// A first tour of the library: initialise the SDK, make the gamma filter and the pixel format
// converter, print their feature trees with current values, set features through the node maps,
// and run both on generated images, printing what changed.
#include <GenApi/GenApi.h>
#include <lxapi/clxautoptr.h>
#include <lxapi/ilxgammacorrectionfilter.h>
#include <lxapi/ilxpixelformatconverter.h>
#include <lxapi/lxapi_ip.h>
#include <lxapi/lxapi_tl.h>
#include <lxapi/lxpixelformat.h>

#include <cstdio>
#include <cstring>
#include <string>

namespace {

using BufferPtr = CLxAutoPtr<ILxImageBufferReleasable, ILxImageBuffer>;

// Prints a category and everything below it, one feature a line, with its value where readable.
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

void GammaDemo() {
    CLxAutoPtr<ILxFilterReleasable, ILxFilter> filter(CreateILxFilter(LxFilterType_GammaCorrection));
    GenApi::INodeMap* map = filter->GetINodeMap();
    std::printf("== %s\n", filter->GetFilterInfo()->GetDisplayName().c_str());
    GenApi::CFloatPtr gamma = map->GetNode("Gamma");
    gamma->SetValue(0.5);
    PrintTree(map->GetNode("Root"), 0);

    BufferPtr image(CreateILxImageBuffer(nullptr));
    image->CreateBuffer(8, 2, LxPixelFormat_Mono8);
    auto* pixels = static_cast<uint8_t*>(image->GetILxImage()->GetImageBuffer());
    const size_t pitch = image->GetILxImage()->GetImageLinePitch();
    for (size_t y = 0; y < 2; ++y)
        for (size_t x = 0; x < 8; ++x) pixels[y * pitch + x] = uint8_t((y * 8 + x) * 16);
    uint8_t before[16];
    for (size_t i = 0; i < 16; ++i) before[i] = pixels[(i / 8) * pitch + i % 8];
    filter->Filter(image->GetILxImage());
    std::printf("Mono8 samples at Gamma %.2f:\n", gamma->GetValue());
    for (size_t i = 0; i < 16; ++i) std::printf("  %3u -> %3u%s", before[i], pixels[(i / 8) * pitch + i % 8], i % 4 == 3 ? "\n" : "");
}

void ConverterDemo() {
    CLxAutoPtr<ILxConverterReleasable, ILxConverter> converter(CreateILxConverter(LxConverterType_PixelFormat));
    GenApi::INodeMap* map = converter->GetINodeMap();
    GenApi::CEnumerationPtr(map->GetNode("DestinationPixelFormat"))->FromString("BGR8");
    GenApi::CEnumerationPtr(map->GetNode("BayerInterpolationMethod"))->FromString("Bilinear");
    std::printf("\n== %s\n", converter->GetConverterInfo()->GetDisplayName().c_str());
    GenApi::CCategoryPtr format = map->GetNode("ImageFormatControl");
    GenApi::FeatureList_t features;
    format->GetFeatures(features);
    for (GenApi::IValue* f : features)
        if (f->GetNode()->GetPrincipalInterfaceType() != GenApi::intfICategory)
            std::printf("  %s = %s\n", f->GetNode()->GetName().c_str(), f->ToString().c_str());

    // A 6 x 4 BayerRG12 mosaic of a scene that is red on the left and blue on the right.
    BufferPtr bayer(CreateILxImageBuffer(nullptr));
    bayer->CreateBuffer(6, 4, LxPixelFormat_BayerRG12);
    ILxImage* src = bayer->GetILxImage();
    for (size_t y = 0; y < 4; ++y)
        for (size_t x = 0; x < 6; ++x) {
            const bool red = (y % 2 == 0) && (x % 2 == 0), blue = (y % 2 == 1) && (x % 2 == 1);
            const uint16_t v = red ? (x < 3 ? 4000 : 100) : blue ? (x < 3 ? 100 : 4000) : 800;
            std::memcpy(static_cast<uint8_t*>(src->GetImageBuffer()) + y * src->GetImageLinePitch() + 2 * x, &v, 2);
        }
    BufferPtr bgr(CreateILxImageBuffer(nullptr));
    converter->Convert(src, bgr.Get());
    ILxImage* out = bgr->GetILxImage();
    std::printf("BayerRG12 6x4 -> %s (the 12-bit mosaic is reduced to 8 bits, then interpolated):\n",
                GetILxPixelFormatInfo(out->GetImagePixelFormat())->GetName().c_str());
    for (size_t y = 0; y < 4; ++y) {
        const auto* line = static_cast<const uint8_t*>(out->GetImageBuffer()) + y * out->GetImageLinePitch();
        for (size_t x = 0; x < 6; ++x) std::printf(" (%3u %3u %3u)", line[3 * x], line[3 * x + 1], line[3 * x + 2]);
        std::printf("\n");
    }
}

} // namespace

int main() {
    LxApiInitialize();
    int rc = 0;
    try {
        GammaDemo();
        ConverterDemo();
    } catch (const GenICam::GenericException& e) {
        std::fprintf(stderr, "%s\n", e.what());
        rc = 1;
    }
    LxApiTerminate();
    return rc;
}
