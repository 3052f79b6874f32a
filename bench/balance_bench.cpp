// Balance ratio on a 5-megapixel image (2448 x 2048): the filter with fixed gains (three lookups per
// pixel), the filter with the automatic balance running, and the statistics pass alone, against
// memcpy of the same bytes, a three-channel cv::LUT and cv::mean in the same run.
#include "balancestatistics.h"

#include <lxapi/clxautoptr.h>
#include <lxapi/ilxbalanceratiofilter.h>
#include <lxapi/lxapi_ip.h>
#include <lxapi/lxapi_tl.h>
#include <lxapi/lxpixelformat.h>

#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <vector>

#ifdef LXBALANCE_HAVE_OPENCV
#include <opencv2/core.hpp>
#endif

namespace {

constexpr size_t W = 2448, H = 2048;

using BufferPtr = CLxAutoPtr<ILxImageBufferReleasable, ILxImageBuffer>;
using FilterPtr = CLxAutoPtr<ILxFilterReleasable, ILxFilter>;

struct Sdk {
    Sdk() { LxApiInitialize(); }
} sdk;

BufferPtr MakeImage(uint32_t format, unsigned bits) {
    BufferPtr b(CreateILxImageBuffer(nullptr));
    b->CreateBuffer(W, H, format);
    ILxImage* img = b->GetILxImage();
    std::mt19937 rng(1);
    const size_t bytes = img->GetImagePlaneSize();
    auto* p = static_cast<uint8_t*>(img->GetImageBuffer());
    if (bits == 8) {
        for (size_t i = 0; i < bytes; ++i) p[i] = uint8_t(rng());
    } else {
        for (size_t i = 0; i < bytes / 2; ++i) {
            const uint16_t v = uint16_t(rng() & ((1u << bits) - 1));
            std::memcpy(p + 2 * i, &v, 2);
        }
    }
    return b;
}

void Balance(benchmark::State& state, uint32_t format, unsigned bits, ELxBalanceWhiteAuto_t mode) {
    BufferPtr image = MakeImage(format, bits);
    FilterPtr filter(CreateILxFilter(LxFilterType_BalanceRatio));
    auto* typed = dynamic_cast<ILxBalanceRatioFilter*>(filter.Get());
    // Gains near 1 keep the image from running to white or black over the iterations.
    typed->SetBalanceRatio(LxBalanceRatioSelector_Red, 1.02);
    typed->SetBalanceRatio(LxBalanceRatioSelector_Blue, 0.97);
    typed->SetBalanceWhiteAuto(mode);
    filter->Filter(image->GetILxImage()); // tables made once, outside the timing
    for (auto _ : state) {
        filter->Filter(image->GetILxImage());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(W * H * 3 * (bits == 8 ? 1 : 2)));
}

void Statistics(benchmark::State& state) {
    BufferPtr image = MakeImage(LxPixelFormat_BGR8, 8);
    ILxImage* img = image->GetILxImage();
    lxbalance::StatisticsImage s;
    s.base = static_cast<const uint8_t*>(img->GetImageBuffer());
    s.height = H;
    s.pitch = img->GetImageLinePitch();
    s.count = 3 * W;
    s.rows[0].period = s.rows[1].period = 3;
    for (int8_t c = 0; c < 3; ++c) s.rows[0].channel[c] = s.rows[1].channel[c] = int8_t(2 - c);
    for (auto _ : state) {
        lxbalance::ChannelSums sums;
        lxbalance::AddByteSums(s, sums);
        benchmark::DoNotOptimize(sums);
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(W * H * 3));
}

void Memcpy(benchmark::State& state, size_t bytesPerPixel) {
    std::vector<uint8_t> a(W * H * bytesPerPixel, 1), b(W * H * bytesPerPixel);
    for (auto _ : state) {
        std::memcpy(b.data(), a.data(), a.size());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(a.size()));
}

#ifdef LXBALANCE_HAVE_OPENCV
void OpenCvLut3(benchmark::State& state) {
    cv::setNumThreads(1);
    cv::Mat image(int(H), int(W), CV_8UC3), lut(1, 256, CV_8UC3);
    cv::randu(image, 0, 256);
    cv::randu(lut, 0, 256);
    for (auto _ : state) {
        cv::LUT(image, lut, image);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(W * H * 3));
}
void OpenCvMean(benchmark::State& state) {
    cv::setNumThreads(1);
    cv::Mat image(int(H), int(W), CV_8UC3);
    cv::randu(image, 0, 256);
    for (auto _ : state) benchmark::DoNotOptimize(cv::mean(image));
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(W * H * 3));
}
BENCHMARK(OpenCvLut3)->Unit(benchmark::kMillisecond);
BENCHMARK(OpenCvMean)->Unit(benchmark::kMillisecond);
#endif

} // namespace

BENCHMARK_CAPTURE(Balance, BGR8, LxPixelFormat_BGR8, 8, LxBalanceWhiteAuto_Off)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Balance, BGR12, LxPixelFormat_BGR12, 12, LxBalanceWhiteAuto_Off)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Balance, BGR8_Continuous, LxPixelFormat_BGR8, 8, LxBalanceWhiteAuto_Continuous)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(Statistics)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Memcpy, BGR8, 3)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Memcpy, BGR12, 6)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
