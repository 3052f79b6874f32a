// SN measurement: one measurement of 64 frames of 2448 x 2048 through the exported filter, gathering
// (the converted copies) and the calculation on the worker until the result is ready, against
// cv::meanStdDev over the same 64 frames where OpenCV is at hand. Time per iteration / 64 is the
// per-frame cost. Both sides take 64 distinct source frames, as from a camera whose frames are not in
// the cache; the "_4Sources" forms cycle through four source frames that stay in the cache.
// CopyAlone is the frames' copies and nothing else, the least that gathering does. The calculation
// alone also runs at each instruction-set level on 64 distinct frames (from the family's object
// library: a level forced here does not reach the library's dispatcher).
#include "copypeers.h"
#include "filterbench.h"
#include "snformats.h"
#include "snstatistics.h"

#include <kernels/cpudispatch.h>


#include <lxapi/ilxsnmeasurementfilter.h>

#ifdef LXBENCH_HAVE_OPENCV
#include <opencv2/core.hpp>
#endif

namespace {
using namespace lxbench;

constexpr int Frames = 64;

// The frames cycle through `distinct` different source images.
void Measure(benchmark::State& state, uint32_t format, unsigned bits, int distinct) {
    std::vector<BufferPtr> images;
    for (int i = 0; i < distinct; ++i) images.push_back(RandomImage(format, bits, uint32_t(i + 1)));
    FilterPtr filter(CreateILxFilter(LxFilterType_SNMeasurement));
    auto* sn = dynamic_cast<ILxSNMeasurementFilter*>(filter.Get());
    sn->SetFrameCount(Frames);
    sn->SetFilterROIMode(0);
    auto measure = [&] {
        sn->ClearGrabbedImage();
        for (int f = 0; f < Frames; ++f) filter->Filter(images[f % distinct]->GetILxImage());
        ILxSNMeasurementResult* r = sn->RetrieveILxSNMeasurementResult(0xFFFFFFFFu, 1);
        double average = 0;
        r->GetResult(0, nullptr, nullptr, &average, nullptr, nullptr);
        benchmark::DoNotOptimize(average);
    };
    // The frames' memory is faulted in once, outside the timing; a cleared series keeps its buffers.
    measure();
    for (auto _ : state) measure();
    state.SetItemsProcessed(int64_t(state.iterations()) * Frames);
}

// The statistics over 64 distinct frames of random samples, at one level.
void Calculate(benchmark::State& state, uint32_t format, unsigned bits, lxcpu::Level level) {
    lxcpu::ForcedLevel forced(level);
    if (lxsn::RowForms().InUse() != level) {
        state.SkipWithError("no form of this level runs here");
        return;
    }
    lxsn::Layout layout;
    lxsn::LayoutOf(format, 0, &layout);
    const size_t pitch = W * layout.bytesPerSample;
    std::vector<std::vector<uint8_t>> pixels(Frames, std::vector<uint8_t>(pitch * H));
    std::vector<lxsn::Frame> frames;
    uint32_t x = 2463534242u;
    for (auto& f : pixels) {
        for (size_t i = 0; i < f.size(); i += 2) {
            x ^= x << 13, x ^= x >> 17, x ^= x << 5;
            f[i] = uint8_t(x);
            f[i + 1] = uint8_t(bits == 8 ? x >> 8 : (x >> 8) & ((1u << (bits - 8)) - 1));
        }
        frames.push_back({f.data(), pitch});
    }
    std::vector<lxsn::Record> records;
    for (auto _ : state) {
        lxsn::Compute(layout, frames, {0, 0, W, H}, &records);
        benchmark::DoNotOptimize(records.data());
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * Frames);
}
BENCHMARK_CAPTURE(Calculate, Mono8_portable, LxPixelFormat_Mono8, 8, lxcpu::Level::Portable)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Calculate, Mono8_avx2, LxPixelFormat_Mono8, 8, lxcpu::Level::Avx2)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Calculate, Mono8_avx512, LxPixelFormat_Mono8, 8, lxcpu::Level::Avx512)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Calculate, Mono12_avx512, LxPixelFormat_Mono12, 12, lxcpu::Level::Avx512)
    ->Unit(benchmark::kMillisecond);

// The least that gathering must do: copy each of 64 distinct frames into a stored frame of its own
// (a change of the region recomputes from the copies).
BENCHMARK_CAPTURE(CopyDistinctFrames, CopyAlone_Mono8, W * H, Frames)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(CopyDistinctFrames, CopyAlone_Mono12, W * H * 2, Frames)->Unit(benchmark::kMillisecond);

#ifdef LXBENCH_HAVE_OPENCV
void OpenCvMeanStdDev(benchmark::State& state, int type, unsigned bits, int distinct) {
    cv::setNumThreads(1);
    std::vector<cv::Mat> images;
    for (int i = 0; i < distinct; ++i) {
        images.emplace_back(int(H), int(W), type);
        cv::randu(images.back(), 0, double(1u << bits));
    }
    for (auto _ : state) {
        for (int f = 0; f < Frames; ++f) {
            cv::Scalar mean, deviation;
            cv::meanStdDev(images[f % distinct], mean, deviation);
            benchmark::DoNotOptimize(deviation);
        }
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * Frames);
}
BENCHMARK_CAPTURE(OpenCvMeanStdDev, Mono8, CV_8UC1, 8, Frames)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(OpenCvMeanStdDev, Mono12, CV_16UC1, 12, Frames)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(OpenCvMeanStdDev, Mono8_4Sources, CV_8UC1, 8, 4)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(OpenCvMeanStdDev, Mono12_4Sources, CV_16UC1, 12, 4)->Unit(benchmark::kMillisecond);
#endif
} // namespace

BENCHMARK_CAPTURE(Measure, Mono8, LxPixelFormat_Mono8, 8, Frames)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(Measure, Mono12, LxPixelFormat_Mono12, 12, Frames)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(Measure, Mono8_4Sources, LxPixelFormat_Mono8, 8, 4)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(Measure, Mono12_4Sources, LxPixelFormat_Mono12, 12, 4)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_MAIN();
