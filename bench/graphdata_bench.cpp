// The graph data filter on a 5-megapixel image (2448 x 2048), single thread: histograms of Mono8,
// Mono12 and BGR8, and column and row sums of Mono8, against cv::calcHist (three calls for BGR8) and
// cv::reduce with REDUCE_SUM into 32-bit integers, in the same run where OpenCV is at hand.
#include <lxapi/clxautoptr.h>
#include <lxapi/ilxgraphdatafilter.h>
#include <lxapi/lxapi_ip.h>
#include <lxapi/lxapi_tl.h>
#include <lxapi/lxpixelformat.h>

#include <benchmark/benchmark.h>

#include <cstring>
#include <random>

#ifdef LXBENCH_HAVE_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace {

constexpr int W = 2448, H = 2048;

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
    auto* p = static_cast<uint8_t*>(img->GetImageBuffer());
    const size_t bytes = img->GetImagePlaneSize();
    if (bits == 8) {
        for (size_t i = 0; i < bytes; ++i) p[i] = uint8_t(rng());
    } else {
        for (size_t i = 0; i + 1 < bytes; i += 2) {
            const uint16_t v = uint16_t(rng() & ((1u << bits) - 1));
            std::memcpy(p + i, &v, 2);
        }
    }
    return b;
}

void Ours(benchmark::State& state, uint32_t format, unsigned bits, ELxGraphDataType_t type) {
    BufferPtr image = MakeImage(format, bits);
    FilterPtr filter(CreateILxGraphDataFilter(nullptr));
    dynamic_cast<ILxGraphDataFilter*>(filter.Get())->SetGraphDataType(type);
    filter->Filter(image->GetILxImage()); // the lists' blocks are made once, outside the timing
    filter->Filter(image->GetILxImage());
    for (auto _ : state) {
        filter->Filter(image->GetILxImage());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * W * H);
}
BENCHMARK_CAPTURE(Ours, Mono8_Histogram, LxPixelFormat_Mono8, 8, LxGraphDataType_Histogram)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Ours, Mono12_Histogram, LxPixelFormat_Mono12, 12, LxGraphDataType_Histogram)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Ours, BGR8_Histogram, LxPixelFormat_BGR8, 8, LxGraphDataType_Histogram)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Ours, Mono8_ColumnSums, LxPixelFormat_Mono8, 8, LxGraphDataType_VerticalIntegration)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Ours, Mono8_RowSums, LxPixelFormat_Mono8, 8, LxGraphDataType_HorizontalIntegration)->Unit(benchmark::kMillisecond);

#ifdef LXBENCH_HAVE_OPENCV
cv::Mat MatOf(const BufferPtr& b, int type) {
    ILxImage* img = b->GetILxImage();
    return cv::Mat(H, W, type, img->GetImageBuffer(), img->GetImageLinePitch());
}

void CvHistogram(benchmark::State& state, uint32_t format, unsigned bits) {
    cv::setNumThreads(1);
    BufferPtr image = MakeImage(format, bits);
    const bool colour = format == LxPixelFormat_BGR8;
    cv::Mat m = MatOf(image, colour ? CV_8UC3 : bits == 8 ? CV_8UC1 : CV_16UC1);
    const int bins = 1 << bits;
    const float range[] = {0.0f, float(bins)};
    const float* ranges[] = {range};
    cv::Mat hist;
    for (auto _ : state) {
        for (int c = 0; c < (colour ? 3 : 1); ++c) {
            cv::calcHist(&m, 1, &c, cv::Mat(), hist, 1, &bins, ranges);
            benchmark::DoNotOptimize(hist.data);
        }
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * W * H);
}
BENCHMARK_CAPTURE(CvHistogram, Mono8_Histogram, LxPixelFormat_Mono8, 8)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(CvHistogram, Mono12_Histogram, LxPixelFormat_Mono12, 12)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(CvHistogram, BGR8_Histogram, LxPixelFormat_BGR8, 8)->Unit(benchmark::kMillisecond);

void CvReduce(benchmark::State& state, int dim) {
    cv::setNumThreads(1);
    BufferPtr image = MakeImage(LxPixelFormat_Mono8, 8);
    cv::Mat m = MatOf(image, CV_8UC1), sums;
    for (auto _ : state) {
        cv::reduce(m, sums, dim, cv::REDUCE_SUM, CV_32S);
        benchmark::DoNotOptimize(sums.data);
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * W * H);
}
BENCHMARK_CAPTURE(CvReduce, Mono8_ColumnSums, 0)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(CvReduce, Mono8_RowSums, 1)->Unit(benchmark::kMillisecond);
#endif

} // namespace

BENCHMARK_MAIN();
