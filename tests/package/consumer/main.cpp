// An application of the library as an outside project sees it: it initialises the SDK, makes the
// gamma filter, sets Gamma through the node map and filters a Mono8 ramp, checking every sample.
// It also checks that typed interfaces and exceptions cross the library boundary (dynamic_cast and
// catch by type need the libraries' type information). Exits non-zero on the first wrong answer.
#include <GenApi/GenApi.h>
#include <lxapi/clxautoptr.h>
#include <lxapi/ilxgammacorrectionfilter.h>
#include <lxapi/lxapi_ip.h>
#include <lxapi/lxapi_tl.h>
#include <lxapi/lxpixelformat.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace {

int failures = 0;

void Check(bool ok, const char* what) {
    if (!ok) {
        std::fprintf(stderr, "FAILED: %s\n", what);
        ++failures;
    }
}

// The gamma rule on 8 bits: pow(v / 255, g) * 255 + 0.5, truncated, 255 at most.
unsigned Expected(unsigned v, double g) {
    const double x = std::pow(v / 255.0, g) * 255.0 + 0.5;
    return x >= 255.0 ? 255u : unsigned(x);
}

void GammaOnARamp() {
    CLxAutoPtr<ILxFilterReleasable, ILxFilter> filter(CreateILxFilter(LxFilterType_GammaCorrection));
    Check(filter.IsValid(), "CreateILxFilter(LxFilterType_GammaCorrection) returned a filter");
    Check(filter->GetFilterInfo()->GetFilterType() == LxFilterType_GammaCorrection, "filter info type");
    auto* gamma = dynamic_cast<ILxGammaCorrectionFilter*>(filter.Get());
    Check(gamma != nullptr, "the filter is an ILxGammaCorrectionFilter");
    if (!gamma) return;

    GenApi::CFloatPtr node = filter->GetINodeMap()->GetNode("Gamma");
    Check(node.IsValid(), "the node map has a Float feature Gamma");
    if (!node.IsValid()) return;
    node->SetValue(2.0);
    Check(gamma->GetGamma() == 2.0, "Gamma set through the node map reads back through the typed interface");

    // 16 x 16 Mono8 holding every value 0..255 once.
    CLxAutoPtr<ILxImageBufferReleasable, ILxImageBuffer> buffer(CreateILxImageBuffer(nullptr));
    buffer->CreateBuffer(16, 16, LxPixelFormat_Mono8);
    ILxImage* image = buffer->GetILxImage();
    auto* pixels = static_cast<uint8_t*>(image->GetImageBuffer());
    const size_t pitch = image->GetImageLinePitch();
    for (unsigned v = 0; v < 256; ++v) pixels[(v / 16) * pitch + v % 16] = uint8_t(v);

    Check(filter->Filter(image) == image, "Filter returns the image it was given");
    const auto at = [&](unsigned v) { return unsigned(pixels[(v / 16) * pitch + v % 16]); };
    // Worked values at Gamma 2: 16 * 16 / 255 + 0.5 = 1.50, 128 * 128 / 255 + 0.5 = 64.75,
    // 200 * 200 / 255 + 0.5 = 157.36.
    Check(at(0) == 0 && at(16) == 1 && at(128) == 64 && at(200) == 157 && at(255) == 255, "worked values");
    unsigned wrong = 0;
    for (unsigned v = 0; v < 256; ++v) wrong += at(v) != Expected(v, 2.0);
    Check(wrong == 0, "every sample follows the gamma rule");

    bool caught = false;
    try {
        gamma->SetGamma(5.0);
    } catch (const GenICam::OutOfRangeException& e) {
        caught = std::strcmp(e.GetDescription(), "value = 5.000000 must be smaller than or equal 4.000000") == 0;
    }
    Check(caught, "SetGamma(5.0) throws OutOfRangeException with its text");
    Check(gamma->GetGamma() == 2.0, "a refused value leaves Gamma as it was");
}

} // namespace

int main() {
    LxApiInitialize();
    try {
        GammaOnARamp();
    } catch (const GenICam::GenericException& e) {
        std::fprintf(stderr, "FAILED: unexpected exception: %s\n", e.what());
        ++failures;
    }
    LxApiTerminate();
    if (failures == 0) std::printf("consumer: gamma filter from the package works\n");
    return failures == 0 ? 0 : 1;
}
