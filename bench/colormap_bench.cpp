// Colour maps and YCbCr on a 5-megapixel image (2448 x 2048), single thread: the kernels of the
// converter against OpenCV (cvtColor, applyColorMap) and libyuv, when they are found.
#include "colorinterpolation/toycbcr.h"
#include "colormap/lxcolormap.h"
#include "colormap/monotocolor.h"

#include <lxapi/lxpixelformat.h>

#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#ifdef LXBENCH_HAVE_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif
#ifdef LXBENCH_HAVE_LIBYUV
#include <libyuv/convert.h>
#include <libyuv/convert_argb.h>
#endif

namespace {

constexpr size_t W = 2448, H = 2048;

std::vector<uint8_t> Random(size_t n) {
    std::vector<uint8_t> v(n);
    std::mt19937 rng(1);
    for (auto& b : v) b = uint8_t(rng());
    return v;
}

lxycc::Layout LayoutOf(uint32_t format) {
    lxycc::Layout l;
    lxycc::LayoutOf(format, &l);
    return l;
}

// ---- BGR8 to 4:2:2 and 4:2:0 ----

void BgrTo422(benchmark::State& state) {
    const auto src = Random(W * H * 3);
    std::vector<uint8_t> dst(W * H * 2);
    const lxycc::Layout l = LayoutOf(LxPixelFormat_YCbCr422_8);
    for (auto _ : state) {
        lxycc::ColorToYcc(src.data(), 3 * W, 3, true, dst.data(), 2 * W, 2 * W * H, l, W, H, false);
        benchmark::DoNotOptimize(dst.data());
    }
}
void BgrTo420(benchmark::State& state) {
    const auto src = Random(W * H * 3);
    std::vector<uint8_t> dst(W * H * 3);
    const lxycc::Layout l = LayoutOf(LxPixelFormat_CYCbCr420_8_YY_Cb_Cr_Planar);
    for (auto _ : state) {
        lxycc::ColorToYcc(src.data(), 3 * W, 3, true, dst.data(), W, W * H, l, W, H, false);
        benchmark::DoNotOptimize(dst.data());
    }
}
void Yuy2ToBgr(benchmark::State& state) {
    const auto src = Random(W * H * 2);
    std::vector<uint8_t> dst(W * H * 3);
    const lxycc::Layout l = LayoutOf(LxPixelFormat_YCbCr422_8);
    for (auto _ : state) {
        lxycc::YccToColor(src.data(), 2 * W, 0, l, dst.data(), 3 * W, 3, true, W, H, false);
        benchmark::DoNotOptimize(dst.data());
    }
}

// ---- Mono8 to BGR8 ----

void MonoToBgr(benchmark::State& state, bool palette) {
    const auto src = Random(W * H);
    std::vector<uint8_t> dst(W * H * 3);
    lxip::ColorMapEntry map[256];
    lxip::BuildColorMap(map, 1, false, 0);
    for (auto _ : state) {
        lxcmap::Mono8ToColor8(src.data(), W, dst.data(), 3 * W, W, H, 3, true, palette ? map : nullptr, false);
        benchmark::DoNotOptimize(dst.data());
    }
}

#ifdef LXBENCH_HAVE_OPENCV
void OpenCv(benchmark::State& state, int code, int srcType, int srcRows, int srcCols) {
    cv::setNumThreads(1);
    const auto bytes = Random(size_t(srcRows) * srcCols * CV_ELEM_SIZE(srcType));
    cv::Mat src(srcRows, srcCols, srcType, const_cast<uint8_t*>(bytes.data()));
    cv::Mat dst;
    cv::cvtColor(src, dst, code);
    for (auto _ : state) {
        cv::cvtColor(src, dst, code);
        benchmark::DoNotOptimize(dst.data);
    }
}
void OpenCvColorMap(benchmark::State& state) {
    cv::setNumThreads(1);
    const auto bytes = Random(W * H);
    cv::Mat src(int(H), int(W), CV_8UC1, const_cast<uint8_t*>(bytes.data()));
    cv::Mat dst;
    cv::applyColorMap(src, dst, cv::COLORMAP_JET);
    for (auto _ : state) {
        cv::applyColorMap(src, dst, cv::COLORMAP_JET);
        benchmark::DoNotOptimize(dst.data);
    }
}
BENCHMARK_CAPTURE(OpenCv, BGR2YUV_444, cv::COLOR_BGR2YUV, CV_8UC3, int(H), int(W))->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(OpenCv, BGR2YUV_I420, cv::COLOR_BGR2YUV_I420, CV_8UC3, int(H), int(W))->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(OpenCv, YUV2BGR_YUY2, cv::COLOR_YUV2BGR_YUY2, CV_8UC2, int(H), int(W))->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(OpenCv, GRAY2BGR, cv::COLOR_GRAY2BGR, CV_8UC1, int(H), int(W))->Unit(benchmark::kMillisecond);
BENCHMARK(OpenCvColorMap)->Unit(benchmark::kMillisecond);
#endif

#ifdef LXBENCH_HAVE_LIBYUV
void LibyuvRgb24ToI420(benchmark::State& state) {
    const auto src = Random(W * H * 3);
    std::vector<uint8_t> y(W * H), u(W * H / 4), v(W * H / 4);
    for (auto _ : state) {
        libyuv::RGB24ToI420(src.data(), int(3 * W), y.data(), int(W), u.data(), int(W / 2), v.data(), int(W / 2),
                            int(W), int(H));
        benchmark::DoNotOptimize(y.data());
    }
}
void LibyuvYuy2ToArgb(benchmark::State& state) {
    const auto src = Random(W * H * 2);
    std::vector<uint8_t> dst(W * H * 4);
    for (auto _ : state) {
        libyuv::YUY2ToARGB(src.data(), int(2 * W), dst.data(), int(4 * W), int(W), int(H));
        benchmark::DoNotOptimize(dst.data());
    }
}
BENCHMARK(LibyuvRgb24ToI420)->Unit(benchmark::kMillisecond);
BENCHMARK(LibyuvYuy2ToArgb)->Unit(benchmark::kMillisecond);
#endif

BENCHMARK(BgrTo422)->Unit(benchmark::kMillisecond);
BENCHMARK(BgrTo420)->Unit(benchmark::kMillisecond);
BENCHMARK(Yuy2ToBgr)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(MonoToBgr, Palette, true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(MonoToBgr, Identity, false)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
