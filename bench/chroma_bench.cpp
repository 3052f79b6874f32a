// Chroma suppression on BGR8 through the exported filter, against memcpy of the same bytes.
#include "filterbench.h"

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
} // namespace

BENCHMARK_CAPTURE(Chroma, BGR8, LxPixelFormat_BGR8, 8, 3)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Chroma, BGR12, LxPixelFormat_BGR12, 12, 6)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Memcpy, BGR8, 3)->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
