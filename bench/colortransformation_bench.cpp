// Colour transformation on BGR8 through the exported filter and its kernel at each level, against
// cv::transform with a 3 x 4 matrix where OpenCV is at hand. `Strong` is a matrix with large cross terms: every column of its
// table spreads over more than 256, which the 8-bit kernel handles at its slowest.
#include "ctkernels.h"
#include "filterbench.h"
#include "kernels/cpudispatch.h"

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

// The 8-bit kernel alone at each level, on a table made as the filter makes it (running sums of a
// column, truncated) from a matrix near the identity, or with strong cross terms.
void Kernel(benchmark::State& state, lxcpu::Level level, bool strong) {
    lxcpu::ForcedLevel forced(level);
    const double weak[3][3] = {{1.1, 0.1, -0.05}, {0.08, 0.95, 0.2}, {-0.1, 0.05, 1.2}};
    const double cross[3][3] = {{1.2, -1.5, 1.2}, {-1.3, 1.1, 1.5}, {1.4, -1.1, 0.9}};
    const auto& m = strong ? cross : weak;
    std::vector<lxct::Record> table(3 * 256);
    for (unsigned s = 0; s < 3; ++s)
        for (unsigned o = 0; o < 3; ++o) {
            double sum = o == 2 && s == 2 ? -3.0 : 0.0;
            for (size_t i = 0; i < 256; ++i) {
                sum += m[o][s];
                table[256 * s + i].word[o] = uint32_t(int32_t(sum));
            }
        }
    std::vector<uint8_t> image(W * H * 3);
    std::mt19937 rng(1);
    for (uint8_t& v : image) v = uint8_t(rng());
    const lxct::Image im{image.data(), W, H, W * 3, 3, 0, 2};
    for (auto _ : state) {
        lxct::Transform8(im, table.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(image.size()));
}
BENCHMARK_CAPTURE(Kernel, Portable, lxcpu::Level::Portable, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Kernel, Avx2, lxcpu::Level::Avx2, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Kernel, Avx512, lxcpu::Level::Avx512, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Kernel, Avx512Strong, lxcpu::Level::Avx512, true)->Unit(benchmark::kMillisecond);

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
