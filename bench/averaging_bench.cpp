// Image averaging: adding a Mono8 or Mono16 frame to the series through the exported filter, against
// cv::accumulate into a 32-bit float image where OpenCV is at hand (it has no 32-bit integer sum).
#include "filterbench.h"

#include <lxapi/ilximageaveragingfilter.h>

#ifdef LXBENCH_HAVE_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {
using namespace lxbench;

void Accumulate(benchmark::State& state, uint32_t format, unsigned bits) {
    BufferPtr image = RandomImage(format, bits);
    FilterPtr filter(CreateILxFilter(LxFilterType_ImageAveraging));
    auto* typed = dynamic_cast<ILxImageAveragingFilter*>(filter.Get());
    filter->Filter(image->GetILxImage()); // the accumulators are made once, outside the timing
    for (auto _ : state) {
        // A 16-bit series holds 2^16 images: start again well before.
        if (typed->GetImageCount() > 60000) {
            state.PauseTiming();
            typed->ResetImageCount();
            filter->Filter(image->GetILxImage());
            state.ResumeTiming();
        }
        filter->Filter(image->GetILxImage());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(W * H * (bits > 8 ? 2 : 1)));
}

#ifdef LXBENCH_HAVE_OPENCV
void OpenCvAccumulate(benchmark::State& state, int type) {
    cv::setNumThreads(1);
    cv::Mat image(int(H), int(W), type), sum(int(H), int(W), CV_32FC1, cv::Scalar(0));
    cv::randu(image, 0, type == CV_8UC1 ? 256 : 65536);
    for (auto _ : state) {
        cv::accumulate(image, sum);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(W * H * image.elemSize()));
}
BENCHMARK_CAPTURE(OpenCvAccumulate, Mono8, CV_8UC1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(OpenCvAccumulate, Mono16, CV_16UC1)->Unit(benchmark::kMillisecond);
#endif
} // namespace

BENCHMARK_CAPTURE(Accumulate, Mono8, LxPixelFormat_Mono8, 8)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Accumulate, Mono16, LxPixelFormat_Mono16, 16)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Accumulate, Mono10p, LxPixelFormat_Mono10p, 8)->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
