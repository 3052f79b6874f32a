// Edge enhancement of a 5-megapixel Mono8 image (2448 x 2048): the exported filter, its kernel at each
// instruction-set level, and, where OpenCV is at hand, cv::filter2D with a 3x3 kernel in the same run.
#include "edgekernels.h"

#include <lxapi/clxautoptr.h>
#include <lxapi/ilxedgeenhancementfilter.h>
#include <lxapi/lxapi_ip.h>
#include <lxapi/lxapi_tl.h>
#include <lxapi/lxpixelformat.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

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

std::vector<uint8_t> RandomPixels() {
    std::vector<uint8_t> p(W * H);
    std::mt19937 rng(1);
    for (auto& v : p) v = uint8_t(rng());
    return p;
}

// The filter works in place: every iteration starts from the same random image, so the copy of it
// is timed with the filter (the peer writes into a second image and needs none).
void Filter(benchmark::State& state) {
    const std::vector<uint8_t> pixels = RandomPixels();
    BufferPtr image(CreateILxImageBuffer(nullptr));
    image->CreateBuffer(W, H, LxPixelFormat_Mono8);
    FilterPtr filter(CreateILxFilter(LxFilterType_EdgeEnhancement));
    auto* typed = dynamic_cast<ILxEdgeEnhancementFilter*>(filter.Get());
    typed->SetStrength(1.5);
    typed->SetThresh(4);
    filter->Filter(image->GetILxImage()); // the table and the pooled buffer are made outside the timing
    for (auto _ : state) {
        std::memcpy(image->GetILxImage()->GetImageBuffer(), pixels.data(), pixels.size());
        filter->Filter(image->GetILxImage());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(W * H));
}
BENCHMARK(Filter)->Unit(benchmark::kMillisecond);

void Kernel(benchmark::State& state, lxcpu::Level level) {
    lxcpu::ForcedLevel forced(level);
    if (lxedge::KernelLevel() != level) {
        state.SkipWithError("no form of this level runs here");
        return;
    }
    const std::vector<uint8_t> pixels = RandomPixels();
    std::vector<uint8_t> image(pixels.size());
    std::vector<uint16_t> work(3 * W), table(256, 0);
    for (size_t i = 5; i < 256; ++i) table[i] = uint16_t(std::min<size_t>(255, (i - 4) * 3 / 2));
    for (auto _ : state) {
        std::memcpy(image.data(), pixels.data(), pixels.size());
        lxedge::EnhanceMono8(image.data(), W, W, H, work.data(), table.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(W * H));
}
BENCHMARK_CAPTURE(Kernel, Portable, lxcpu::Level::Portable)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Kernel, Avx2, lxcpu::Level::Avx2)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Kernel, Avx512, lxcpu::Level::Avx512)->Unit(benchmark::kMillisecond);

#ifdef LXBENCH_HAVE_OPENCV
// The peer: a 3x3 sharpening kernel from the image into a second one, single thread.
void OpenCvFilter2D(benchmark::State& state) {
    cv::setNumThreads(1);
    const std::vector<uint8_t> pixels = RandomPixels();
    cv::Mat source(int(H), int(W), CV_8UC1), out;
    std::memcpy(source.data, pixels.data(), pixels.size());
    const cv::Mat kernel = (cv::Mat_<float>(3, 3) << -0.125f, -0.125f, -0.125f, -0.125f, 2.0f, -0.125f, -0.125f,
                            -0.125f, -0.125f);
    for (auto _ : state) {
        cv::filter2D(source, out, CV_8U, kernel);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(W * H));
}
BENCHMARK(OpenCvFilter2D)->Unit(benchmark::kMillisecond);
#endif

} // namespace

BENCHMARK_MAIN();
