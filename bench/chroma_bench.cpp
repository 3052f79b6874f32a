// Chroma suppression on BGR8 through the exported filter and its 8-bit kernel at each level, against
// memcpy of the same bytes.
#include "chromakernels.h"
#include "filterbench.h"
#include "kernels/cpudispatch.h"

#include <lxapi/ilxchromasuppressionfilter.h>

namespace {
using namespace lxbench;

void Chroma(benchmark::State& state, uint32_t format, unsigned bits, size_t bytesPerPixel) {
    BufferPtr image = RandomImage(format, bits);
    FilterPtr filter(CreateILxFilter(LxFilterType_ChromaSuppression));
    auto* typed = dynamic_cast<ILxChromaSuppressionFilter*>(filter.Get());
    typed->SetThresholdValue(LxChromaSuppressionPartSelector_LowLuminancePart, 60);
    typed->SetSuppressionValue(LxChromaSuppressionPartSelector_LowLuminancePart, 64);
    typed->SetThresholdValue(LxChromaSuppressionPartSelector_HighLuminancePart, 200);
    typed->SetSuppressionValue(LxChromaSuppressionPartSelector_HighLuminancePart, 64);
    // In place: pixels once pulled to green stay there, the rest are tested again at every run.
    for (auto _ : state) {
        filter->Filter(image->GetILxImage());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(W * H * bytesPerPixel));
}
// The kernel alone on a BGR8 image, with the parameters of the filter runs above.
void Kernel(benchmark::State& state, lxcpu::Level level) {
    lxcpu::ForcedLevel forced(level);
    std::vector<uint8_t> image(W * H * 3);
    std::mt19937 rng(1);
    for (uint8_t& v : image) v = uint8_t(rng());
    const lxchroma::Image im{image.data(), W, H, W * 3, 3, 0, 2};
    const lxchroma::Params p{60, 200, 64, 64, 0};
    for (auto _ : state) {
        lxchroma::Suppress8(im, p);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(image.size()));
}
} // namespace

BENCHMARK_CAPTURE(Kernel, Portable, lxcpu::Level::Portable)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Kernel, Avx2, lxcpu::Level::Avx2)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Kernel, Avx512, lxcpu::Level::Avx512)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Chroma, BGR8, LxPixelFormat_BGR8, 8, 3)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Chroma, BGR12, LxPixelFormat_BGR12, 12, 6)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Memcpy, BGR8, 3)->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
