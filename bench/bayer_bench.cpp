// Demosaicing speed on a 5-megapixel mosaic (2448 x 2048, RG phase), single-threaded: every method
// at 8 bits (-> BGR8) and at 12 bits in words (-> BGR12), the mosaic luminance, and OpenCV's
// cvtColor where it is available. OpenCV names a phase by its second row, so our RG is its
// COLOR_BayerBG2BGR. After the benchmarks a table gives the goals as ratios to the OpenCV peers,
// measured in interleaved rounds.
#include "colorinterpolation.h"

#include <lxapi/ilxpixelformatinfo.h>

#include <benchmark/benchmark.h>

#ifdef LXBAYER_HAVE_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr int kW = 2448, kH = 2048;

const char* const kNames[] = {"Off", "NearestNeighbor", "NearestNeighbor2", "Bilinear",
                              "Bilinear2", "Bicubic", "Mono", "Bilinear3"};

struct Images {
    std::vector<uint8_t> src8 = std::vector<uint8_t>(size_t(kW) * kH);
    std::vector<uint16_t> src16 = std::vector<uint16_t>(size_t(kW) * kH);
    std::vector<uint8_t> dst8 = std::vector<uint8_t>(size_t(kW) * kH * 3);
    std::vector<uint16_t> dst16 = std::vector<uint16_t>(size_t(kW) * kH * 3);
    Images() {
        // A smooth scene with noise, so that gradient-steered branches are taken in mixed order.
        std::mt19937 rng(5);
        for (int y = 0; y < kH; ++y)
            for (int x = 0; x < kW; ++x) {
                const int v = ((x * 3 + y * 5) & 1023) + int(rng() % 256);
                src16[size_t(y) * kW + x] = uint16_t(v * 4095 / 1279);
                src8[size_t(y) * kW + x] = uint8_t(v * 255 / 1279);
            }
    }
};

Images& Data() {
    static Images images;
    return images;
}

void SetRate(benchmark::State& state) {
    state.counters["Mpx/s"] = benchmark::Counter(double(kW) * kH, benchmark::Counter::kIsIterationInvariantRate);
}

void Color8(benchmark::State& state, lxcpu::Level level) {
    Images& d = Data();
    const uint32_t method = uint32_t(state.range(0));
    lxcpu::ForcedLevel forced(level);
    for (auto _ : state) {
        lxbayer::BayerToColor(method, LxColorFilter_Red, kW, kH, d.src8.data(), kW, d.dst8.data(), kW * 3, 3, true,
                              false);
        benchmark::ClobberMemory();
    }
    state.SetLabel(kNames[method]);
    SetRate(state);
}

void Color16(benchmark::State& state, lxcpu::Level level) {
    Images& d = Data();
    const uint32_t method = uint32_t(state.range(0));
    lxcpu::ForcedLevel forced(level);
    for (auto _ : state) {
        lxbayer::BayerToColor(method, LxColorFilter_Red, kW, kH, d.src16.data(), kW * 2, d.dst16.data(), kW * 6, 3,
                              true, false, 4095);
        benchmark::ClobberMemory();
    }
    state.SetLabel(kNames[method]);
    SetRate(state);
}

void BM_Bayer8(benchmark::State& s) { Color8(s, lxcpu::Detected()); }
void BM_Bayer16(benchmark::State& s) { Color16(s, lxcpu::Detected()); }
void BM_Bayer8_Portable(benchmark::State& s) { Color8(s, lxcpu::Level::Portable); }
void BM_Bayer16_Portable(benchmark::State& s) { Color16(s, lxcpu::Level::Portable); }
// Every timed benchmark runs kRepetitions times and reports its mean, median and least time (the
// machine may be shared; the least time leaves out the disturbed runs).
constexpr int kRepetitions = 5;
void Repeated(benchmark::internal::Benchmark* b) {
    b->Unit(benchmark::kMillisecond)
        ->Repetitions(kRepetitions)
        ->ReportAggregatesOnly(true)
        ->ComputeStatistics("min", [](const std::vector<double>& v) { return *std::min_element(v.begin(), v.end()); });
}
BENCHMARK(BM_Bayer8)->DenseRange(0, 7)->Apply(Repeated);
BENCHMARK(BM_Bayer16)->DenseRange(0, 7)->Apply(Repeated);
BENCHMARK(BM_Bayer8_Portable)->DenseRange(0, 7)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Bayer16_Portable)->DenseRange(0, 7)->Unit(benchmark::kMillisecond);

void BM_Luminance8(benchmark::State& state) {
    Images& d = Data();
    for (auto _ : state) {
        lxbayer::Bayer8ToMono8(LxColorFilter_Red, kW, kH, d.src8.data(), kW, d.dst8.data(), kW, false);
        benchmark::ClobberMemory();
    }
    SetRate(state);
}
void BM_Luminance16(benchmark::State& state) {
    Images& d = Data();
    for (auto _ : state) {
        lxbayer::Bayer16ToMono16(LxColorFilter_Red, kW, kH, d.src16.data(), kW * 2, d.dst16.data(), kW * 2, false);
        benchmark::ClobberMemory();
    }
    SetRate(state);
}
BENCHMARK(BM_Luminance8)->Apply(Repeated);
BENCHMARK(BM_Luminance16)->Apply(Repeated);

#ifdef LXBAYER_HAVE_OPENCV
// code: COLOR_BayerBG2BGR (bilinear), _EA (edge-aware), _VNG; depth 8 or 16.
void BM_OpenCV(benchmark::State& state) {
    Images& d = Data();
    cv::setNumThreads(1);
    const int code = int(state.range(0));
    const bool words = state.range(1) == 16;
    cv::Mat src = words ? cv::Mat(kH, kW, CV_16UC1, d.src16.data()) : cv::Mat(kH, kW, CV_8UC1, d.src8.data());
    cv::Mat dst(kH, kW, words ? CV_16UC3 : CV_8UC3);
    for (auto _ : state) {
        cv::cvtColor(src, dst, code);
        benchmark::ClobberMemory();
    }
    SetRate(state);
}
BENCHMARK(BM_OpenCV)
    ->Args({cv::COLOR_BayerBG2BGR, 8})
    ->Args({cv::COLOR_BayerBG2BGR_EA, 8})
    ->Args({cv::COLOR_BayerBG2BGR, 16})
    ->Args({cv::COLOR_BayerBG2BGR_EA, 16})
    ->Apply(Repeated);
#endif

// The goals as ratios to an OpenCV peer, measured apart from the table above: the conversions run
// in turn, round after round, and each keeps its least time. On a shared machine this exposes
// ours and the peer to the same disturbances, which benchmarks run one after another are not.
void PrintRatios(int rounds) {
#ifdef LXBAYER_HAVE_OPENCV
    Images& d = Data();
    cv::setNumThreads(1);
    cv::Mat src8(kH, kW, CV_8UC1, d.src8.data()), src16(kH, kW, CV_16UC1, d.src16.data());
    cv::Mat dst8(kH, kW, CV_8UC3), dst16(kH, kW, CV_16UC3);
    struct Job {
        const char* name;
        std::function<void()> run;
        double best;
    };
    auto ours = [&](uint32_t method, bool words) {
        return [&d, method, words] {
            if (words)
                lxbayer::BayerToColor(method, LxColorFilter_Red, kW, kH, d.src16.data(), kW * 2, d.dst16.data(),
                                      kW * 6, 3, true, false, 4095);
            else
                lxbayer::BayerToColor(method, LxColorFilter_Red, kW, kH, d.src8.data(), kW, d.dst8.data(), kW * 3,
                                      3, true, false);
        };
    };
    std::vector<Job> jobs = {
        {"OpenCV bilinear 8", [&] { cv::cvtColor(src8, dst8, cv::COLOR_BayerBG2BGR); }, 1e9},
        {"OpenCV EA 8", [&] { cv::cvtColor(src8, dst8, cv::COLOR_BayerBG2BGR_EA); }, 1e9},
        {"OpenCV bilinear 16", [&] { cv::cvtColor(src16, dst16, cv::COLOR_BayerBG2BGR); }, 1e9},
        {"NearestNeighbor  8", ours(1, false), 1e9},
        {"NearestNeighbor2 8", ours(2, false), 1e9},
        {"Bilinear         8", ours(3, false), 1e9},
        {"Bilinear2        8", ours(4, false), 1e9},
        {"Bicubic          8", ours(5, false), 1e9},
        {"Bilinear3        8", ours(7, false), 1e9},
        {"Bilinear        12", ours(3, true), 1e9},
    };
    for (int r = 0; r < rounds; ++r)
        for (Job& j : jobs) {
            const auto t0 = std::chrono::steady_clock::now();
            j.run();
            const auto t1 = std::chrono::steady_clock::now();
            j.best = std::min(j.best, std::chrono::duration<double, std::milli>(t1 - t0).count());
        }
    // (job, peer, goal)
    const int goals[][3] = {{3, 0, 6}, {4, 0, 6}, {5, 0, 10}, {6, 0, 10}, {7, 0, 20}, {8, 1, 10}, {9, 2, 10}};
    std::printf("\nRatios ours / OpenCV, least time of %d interleaved rounds (goal in brackets):\n", rounds);
    for (const auto& g : goals) {
        const Job &a = jobs[g[0]], &b = jobs[g[1]];
        const double ratio = a.best / b.best, goal = g[2] / 10.0;
        std::printf("  %s vs %-19s %6.2f ms / %6.2f ms = %.2fx [<= %.1fx] %s\n", a.name, b.name, a.best, b.best,
                    ratio, goal, ratio <= goal ? "ok" : "MISSED");
    }
#else
    (void)rounds;
    std::printf("\nOpenCV not found: no ratios.\n");
#endif
}

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    std::printf("Kernels: %s\n", lxcpu::LevelName(lxbayer::KernelLevel()));
    benchmark::RunSpecifiedBenchmarks();
    PrintRatios(20);
    benchmark::Shutdown();
    return 0;
}
