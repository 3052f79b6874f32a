// Defective pixel detection of a 2448 x 2048 Mono8 image through the exported filter, with the
// neighbourhood radius n = 1, 15 and 255 side by side (the sliding neighbourhood sums make the
// cost independent of n), against cv::integral of the same image where OpenCV is at hand.
#include <lxapi/clxautoptr.h>
#include <lxapi/ilxdefectivepixeldetectionfilter.h>
#include <lxapi/lxapi_ip.h>
#include <lxapi/lxapi_tl.h>
#include <lxapi/lxpixelformat.h>

#include <benchmark/benchmark.h>

#include <random>

#ifdef LXBENCH_HAVE_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace {

constexpr size_t W = 2448, H = 2048;

using BufferPtr = CLxAutoPtr<ILxImageBufferReleasable, ILxImageBuffer>;
using FilterPtr = CLxAutoPtr<ILxFilterReleasable, ILxFilter>;

struct Sdk {
    Sdk() { LxApiInitialize(); }
} sdk;

// A noisy grey image with a few hundred hot pixels.
BufferPtr MakeImage(uint32_t format) {
    BufferPtr b(CreateILxImageBuffer(nullptr));
    b->CreateBuffer(W, H, format);
    ILxImage* img = b->GetILxImage();
    std::mt19937 rng(1);
    auto* p = static_cast<uint8_t*>(img->GetImageBuffer());
    for (size_t y = 0; y < H; ++y)
        for (size_t x = 0; x < W; ++x) p[y * img->GetImageLinePitch() + x] = uint8_t(100 + rng() % 16);
    for (int i = 0; i < 300; ++i) p[(rng() % H) * img->GetImageLinePitch() + rng() % W] = 255;
    return b;
}

void Detect(benchmark::State& state, uint32_t format) {
    BufferPtr image = MakeImage(format);
    FilterPtr filter(CreateILxFilter(LxFilterType_DefectivePixelDetection));
    auto* typed = dynamic_cast<ILxDefectivePixelDetectionFilter*>(filter.Get());
    typed->SetPeripheralAreaSize(uint64_t(state.range(0)));
    filter->Filter(image->GetILxImage()); // tables allocated outside the timing
    for (auto _ : state) {
        filter->Filter(image->GetILxImage());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(W * H));
}

#ifdef LXBENCH_HAVE_OPENCV
void OpenCvIntegral(benchmark::State& state) {
    cv::setNumThreads(1);
    cv::Mat image(int(H), int(W), CV_8UC1), sums;
    cv::randu(image, 100, 116);
    for (auto _ : state) {
        cv::integral(image, sums, CV_32S);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(W * H));
}
BENCHMARK(OpenCvIntegral)->Unit(benchmark::kMillisecond);
#endif

} // namespace

BENCHMARK_CAPTURE(Detect, Mono8, LxPixelFormat_Mono8)->Arg(1)->Arg(15)->Arg(255)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Detect, BayerRG8, LxPixelFormat_BayerRG8)->Arg(1)->Arg(15)->Arg(255)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
