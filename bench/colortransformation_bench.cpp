// Colour transformation on BGR8 through the exported filter against cv::transform with a 3 x 4
// matrix where OpenCV is at hand. `Strong` is a matrix with large cross terms: every column of its
// table spreads over more than 256, which the 8-bit kernel handles at its slowest.
#include "filterbench.h"

#include <lxapi/ilxcolortransformationfilter.h>

#ifdef LXBENCH_HAVE_OPENCV
#include <opencv2/core.hpp>
#endif

namespace {
using namespace lxbench;

void Transform(benchmark::State& state, uint32_t format, unsigned bits, size_t bytesPerPixel, bool strong = false) {
    BufferPtr image = RandomImage(format, bits);
    FilterPtr filter(CreateILxFilter(LxFilterType_ColorTransformation));
    auto* typed = dynamic_cast<ILxColorTransformationFilter*>(filter.Get());
    typed->SetColorTransformationEnable(true);
    typed->SetColorTransformationValue(LxColorTransformationValueSelector_Gain01, strong ? -1.5 : 0.1);
    typed->SetColorTransformationValue(LxColorTransformationValueSelector_Gain12, strong ? 1.5 : 0.2);
    typed->SetColorTransformationValue(LxColorTransformationValueSelector_Offset0, -3.0);
    if (strong) {
        typed->SetColorTransformationValue(LxColorTransformationValueSelector_Gain02, 1.2);
        typed->SetColorTransformationValue(LxColorTransformationValueSelector_Gain10, -1.3);
        typed->SetColorTransformationValue(LxColorTransformationValueSelector_Gain20, 1.4);
        typed->SetColorTransformationValue(LxColorTransformationValueSelector_Gain21, -1.1);
    }
    typed->SetSaturationCorrection(1.2);
    filter->Filter(image->GetILxImage()); // the table is made once, outside the timing
    for (auto _ : state) {
        filter->Filter(image->GetILxImage());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(W * H * bytesPerPixel));
}

#ifdef LXBENCH_HAVE_OPENCV
void OpenCvTransform(benchmark::State& state) {
    cv::setNumThreads(1);
    cv::Mat image(int(H), int(W), CV_8UC3), out(int(H), int(W), CV_8UC3);
    cv::randu(image, 0, 256);
    const cv::Matx34f m(1.0f, 0.1f, 0.0f, -3.0f, 0.0f, 1.0f, 0.2f, 0.0f, 0.0f, 0.0f, 1.0f, 0.0f);
    for (auto _ : state) {
        cv::transform(image, out, m);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(W * H * 3));
}
BENCHMARK(OpenCvTransform)->Unit(benchmark::kMillisecond);
#endif
} // namespace

BENCHMARK_CAPTURE(Transform, BGR8, LxPixelFormat_BGR8, 8, 3)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Transform, BGR8Strong, LxPixelFormat_BGR8, 8, 3, true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Transform, BGRa8, LxPixelFormat_BGRa8, 8, 4)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Transform, BGR12, LxPixelFormat_BGR12, 12, 6)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Memcpy, BGR8, 3)->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
