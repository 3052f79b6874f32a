// The lookup kernels on a 2448 x 2048 image, one and three byte channels and 12-bit words, at the
// portable level and the best one, against memcpy of the same bytes and cv::LUT in the same run.
#include "lookupkernels.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#ifdef LXLOOKUP_HAVE_OPENCV
#include <opencv2/core.hpp>
#endif

namespace {

constexpr size_t W = 2448, H = 2048;

std::vector<uint8_t> RandomBytes(size_t n, unsigned bits) {
    std::mt19937 rng(1);
    std::vector<uint8_t> v(n);
    if (bits == 8) {
        for (uint8_t& b : v) b = uint8_t(rng());
    } else {
        for (size_t i = 0; i + 1 < n; i += 2) {
            const uint16_t w = uint16_t(rng() & ((1u << bits) - 1));
            std::memcpy(&v[i], &w, 2);
        }
    }
    return v;
}

// A table that keeps valid samples valid, so that mapping the image again and again stays in range.
template <class Entry>
std::vector<Entry> Table(size_t size, unsigned bits, double gamma) {
    std::vector<Entry> t(size);
    const double top = double((1u << bits) - 1);
    for (size_t i = 0; i < size; ++i) t[i] = Entry(std::pow(std::min(double(i), top) / top, gamma) * top + 0.5);
    return t;
}

void Bytes(benchmark::State& state, uint32_t channels, lxcpu::Level level) {
    lxcpu::ForcedLevel forced(level);
    std::vector<uint8_t> image = RandomBytes(W * H * channels, 8);
    std::vector<uint8_t> tables[3] = {Table<uint8_t>(256, 8, 0.45), Table<uint8_t>(256, 8, 0.8), Table<uint8_t>(256, 8, 1.2)};
    lxlookup::ByteLanes lanes;
    lanes.period = channels;
    for (uint32_t c = 0; c < channels; ++c) lanes.table[c] = tables[c].data();
    for (auto _ : state) {
        lxlookup::MapBytes(lxlookup::Uniform(image.data(), H, W * channels, W * channels, lanes));
        benchmark::ClobberMemory();
    }
    state.SetLabel(lxcpu::LevelName(lxlookup::KernelLevel()));
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(image.size()));
}

void Words(benchmark::State& state, uint32_t channels, lxcpu::Level level) {
    lxcpu::ForcedLevel forced(level);
    std::vector<uint8_t> image = RandomBytes(2 * W * H * channels, 12);
    std::vector<uint16_t> table = Table<uint16_t>(lxlookup::kWordTableSize, 12, 0.45);
    lxlookup::WordLanes lanes;
    lanes.period = channels;
    for (uint32_t c = 0; c < channels; ++c) lanes.table[c] = table.data();
    for (auto _ : state) {
        lxlookup::MapWords(lxlookup::Uniform(image.data(), H, 2 * W * channels, W * channels, lanes));
        benchmark::ClobberMemory();
    }
    state.SetLabel(lxcpu::LevelName(lxlookup::KernelLevel()));
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(image.size()));
}

void Memcpy(benchmark::State& state, size_t bytesPerPixel) {
    std::vector<uint8_t> a(W * H * bytesPerPixel, 1), b(W * H * bytesPerPixel);
    for (auto _ : state) {
        std::memcpy(b.data(), a.data(), a.size());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(a.size()));
}

#ifdef LXLOOKUP_HAVE_OPENCV
void OpenCvLut(benchmark::State& state, int channels) {
    cv::setNumThreads(1);
    cv::Mat image(int(H), int(W), CV_8UC(channels));
    cv::randu(image, 0, 256);
    cv::Mat lut(1, 256, CV_8UC(channels));
    cv::randu(lut, 0, 256);
    for (auto _ : state) {
        cv::LUT(image, lut, image);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(W * H * channels));
}
BENCHMARK_CAPTURE(OpenCvLut, C1, 1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(OpenCvLut, C3, 3)->Unit(benchmark::kMillisecond);
#endif

} // namespace

BENCHMARK_CAPTURE(Bytes, C1_portable, 1, lxcpu::Level::Portable)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Bytes, C1_best, 1, lxcpu::Level::Avx512)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Bytes, C3_portable, 3, lxcpu::Level::Portable)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Bytes, C3_best, 3, lxcpu::Level::Avx512)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Memcpy, C1, 1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Memcpy, C3, 3)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Words, C3_12bit, 3, lxcpu::Level::Avx512)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Memcpy, C3_16bit, 6)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
