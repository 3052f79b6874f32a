// Noise reduction (Simple) of a 5-megapixel Mono8 image (2448 x 2048): the exported filter, its rank
// kernel at each instruction-set level, and, where OpenCV is at hand, cv::medianBlur with a 3x3
// aperture in the same run.
#include "noisekernels.h"

#include <lxapi/clxautoptr.h>
#include <lxapi/ilxnoisereductionfilter.h>
#include <lxapi/lxapi_ip.h>
#include <lxapi/lxapi_tl.h>
#include <lxapi/lxpixelformat.h>

#include <benchmark/benchmark.h>

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

// The filter copies the image into a pooled buffer and writes the ranks back: the same work as a
// filter from one image into another. The image is filtered again and again (values stay valid).
void Filter(benchmark::State& state) {
    const std::vector<uint8_t> pixels = RandomPixels();
    BufferPtr image(CreateILxImageBuffer(nullptr));
    image->CreateBuffer(W, H, LxPixelFormat_Mono8);
    std::memcpy(image->GetILxImage()->GetImageBuffer(), pixels.data(), pixels.size());
    FilterPtr filter(CreateILxFilter(LxFilterType_NoiseReduction));
    dynamic_cast<ILxNoiseReductionFilter*>(filter.Get())->SetNoiseReductionMode(LxNoiseReductionMode_Simple);
    filter->Filter(image->GetILxImage()); // the pooled buffer is made outside the timing
    for (auto _ : state) {
        filter->Filter(image->GetILxImage());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(W * H));
}
BENCHMARK(Filter)->Unit(benchmark::kMillisecond);

// The kernel alone, from one buffer into another.
void Kernel(benchmark::State& state, lxcpu::Level level) {
    lxcpu::ForcedLevel forced(level);
    if (lxnoise::KernelLevel() != level) {
        state.SkipWithError("no form of this level runs here");
        return;
    }
    std::vector<uint8_t> source = RandomPixels(), out(W * H);
    for (auto _ : state) {
        lxnoise::RankMono<uint8_t>({source.data(), W, W, H}, {out.data(), W, W, H});
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(W * H));
}
BENCHMARK_CAPTURE(Kernel, Portable, lxcpu::Level::Portable)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Kernel, Avx2, lxcpu::Level::Avx2)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Kernel, Avx512, lxcpu::Level::Avx512)->Unit(benchmark::kMillisecond);

#ifdef LXBENCH_HAVE_OPENCV
void OpenCvMedianBlur(benchmark::State& state) {
    cv::setNumThreads(1);
    const std::vector<uint8_t> pixels = RandomPixels();
    cv::Mat image(int(H), int(W), CV_8UC1), out;
    std::memcpy(image.data, pixels.data(), pixels.size());
    for (auto _ : state) {
        cv::medianBlur(image, out, 3);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(W * H));
}
BENCHMARK(OpenCvMedianBlur)->Unit(benchmark::kMillisecond);
#endif

} // namespace

BENCHMARK_MAIN();
