// Single-threaded speed of the depth, packing and channel kernels on a 5-megapixel frame
// (2448 x 2048), next to memcpy of the output bytes and, where present, OpenCV's nearest operation.
//
// Arguments: `simd` 0 forces the portable row functions, 1 uses the best the processor has;
// `cold` 0 converts one source frame again and again (it stays in the last-level cache), 1 rotates
// through enough source frames (at least 96 MB) that each one comes from memory, as a camera's
// frames do. The destination is one buffer in both cases, as a converter reuses its output image.
// Compare medians or mins of repetitions, e.g.
//   conversion_bench --benchmark_repetitions=10 --benchmark_enable_random_interleaving=true
//                    --benchmark_report_aggregates_only=true
#include "conversionkernels.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

#ifdef LXCONV_HAVE_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

using namespace lxconv;

namespace {

constexpr size_t W = 2448, H = 2048;
constexpr size_t kColdBytes = size_t(96) << 20;

// Source frames of `bytes` bytes each: one, or enough to exceed the caches. Contents are random
// bytes, masked per 16-bit word by `wordMask` (to keep 12-bit samples within their depth).
class Frames {
public:
    Frames(size_t bytes, bool cold, uint16_t wordMask = 0xFFFF) {
        const size_t count = cold ? std::max<size_t>(2, (kColdBytes + bytes - 1) / bytes) : 1;
        std::mt19937 rng(1);
        m_frames.resize(count);
        for (auto& f : m_frames) {
            f.resize(bytes);
            for (size_t i = 0; i + 1 < bytes; i += 2) {
                const uint16_t w = uint16_t(rng()) & wordMask;
                std::memcpy(&f[i], &w, 2);
            }
        }
    }
    const uint8_t* Next() {
        const uint8_t* p = m_frames[m_next].data();
        m_next = (m_next + 1) % m_frames.size();
        return p;
    }

private:
    std::vector<std::vector<uint8_t>> m_frames;
    size_t m_next = 0;
};

SourceImage Src(const uint8_t* data, size_t pitch, unsigned bits, unsigned step = 1, bool blueFirst = false) {
    SourceImage s;
    s.data = data;
    s.pitch = pitch;
    s.planeSize = pitch * H;
    s.bits = bits;
    s.step = step;
    s.blueFirst = blueFirst;
    return s;
}
DestImage Dst(std::vector<uint8_t>& b, size_t pitch, unsigned bits, unsigned step = 1, bool blueFirst = false) {
    DestImage d;
    d.data = b.data();
    d.pitch = pitch;
    d.planeSize = pitch * H;
    d.bits = bits;
    d.step = step;
    d.blueFirst = blueFirst;
    return d;
}

void Finish(benchmark::State& state, size_t outBytes) {
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(outBytes));
    state.counters["Mpx/s"] = benchmark::Counter(double(state.iterations()) * W * H / 1e6, benchmark::Counter::kIsRate);
}

// Runs `body` with the row functions of the processor's level (argument `simd` 1) or the portable
// ones (0), through the library's dispatcher; the level is restored afterwards.
template <class Body>
void WithLevel(benchmark::State& state, Body body) {
    lxcpu::ForcedLevel forced(state.range(0) ? lxcpu::Detected() : lxcpu::Level::Portable);
    for (auto _ : state) {
        body();
        benchmark::ClobberMemory();
    }
}

// Millisecond units and a "min" statistic beside mean, median and stddev.
benchmark::internal::Benchmark* Setup(benchmark::internal::Benchmark* b) {
    return b->Unit(benchmark::kMillisecond)->ComputeStatistics("min", [](const std::vector<double>& v) {
        return *std::min_element(v.begin(), v.end());
    });
}

// Arguments {simd, cold} for our kernels, with extra values of a third argument where given.
void OurArgs(benchmark::internal::Benchmark* b) {
    b->ArgNames({"simd", "cold"});
    for (int cold : {0, 1})
        for (int simd : {0, 1}) b->Args({simd, cold});
}

// ---- memcpy of the output size -------------------------------------------------------------------

void BM_Memcpy(benchmark::State& state) {
    const size_t n = size_t(state.range(0)) * W * H;
    Frames frames(n, state.range(1) != 0);
    std::vector<uint8_t> out(n);
    for (auto _ : state) {
        std::memcpy(out.data(), frames.Next(), n);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(n));
}
BENCHMARK(BM_Memcpy)->Apply([](benchmark::internal::Benchmark* b) {
    Setup(b)->ArgNames({"bytesPerPixel", "cold"});
    for (int cold : {0, 1})
        for (int bpp : {1, 2, 3, 4}) b->Args({bpp, cold});
});

// ---- colour --------------------------------------------------------------------------------------

void BM_BGR8ToMono8(benchmark::State& state) {
    Frames src(3 * W * H, state.range(1) != 0);
    std::vector<uint8_t> dst(W * H);
    WithLevel(state, [&] {
        ConvertColorToMono(Src(src.Next(), 3 * W, 8, 3, true), Dst(dst, W, 8), W, H, false, nullptr);
    });
    Finish(state, dst.size());
}
BENCHMARK(BM_BGR8ToMono8)->Apply([](auto* b) { OurArgs(Setup(b)); });

void BM_BGR8ToRGB8(benchmark::State& state) {
    Frames src(3 * W * H, state.range(1) != 0);
    std::vector<uint8_t> dst(3 * W * H);
    WithLevel(state, [&] {
        ConvertColorToColor(Src(src.Next(), 3 * W, 8, 3, true), Dst(dst, 3 * W, 8, 3, false), W, H, false, nullptr);
    });
    Finish(state, dst.size());
}
BENCHMARK(BM_BGR8ToRGB8)->Apply([](auto* b) { OurArgs(Setup(b)); });

void BM_BGR8ToBGRa8(benchmark::State& state) {
    Frames src(3 * W * H, state.range(1) != 0);
    std::vector<uint8_t> dst(4 * W * H, 0xFF);
    WithLevel(state, [&] {
        ConvertColorToColor(Src(src.Next(), 3 * W, 8, 3, true), Dst(dst, 4 * W, 8, 4, true), W, H, false, nullptr);
    });
    Finish(state, dst.size());
}
BENCHMARK(BM_BGR8ToBGRa8)->Apply([](auto* b) { OurArgs(Setup(b)); });

// ---- one component -------------------------------------------------------------------------------

// Gamma 1.0 (a pure shift, computed).
void BM_Mono16ToMono8(benchmark::State& state) {
    Frames src(2 * W * H, state.range(1) != 0);
    std::vector<uint8_t> dst(W * H);
    BitConversionTableRef t(BitConversionTable::Create(16, 8, 1.0, BitExpansion_Gamma));
    WithLevel(state, [&] { ConvertUnpacked(Src(src.Next(), 2 * W, 16), Dst(dst, W, 8), W, H, false, t.get()); });
    Finish(state, dst.size());
}
BENCHMARK(BM_Mono16ToMono8)->Apply([](auto* b) { OurArgs(Setup(b)); });

// Gamma 1.0 in mode Gamma (i * 257, computed).
void BM_Mono8ToMono16(benchmark::State& state) {
    Frames src(W * H, state.range(1) != 0);
    std::vector<uint8_t> dst(2 * W * H);
    BitConversionTableRef t(BitConversionTable::Create(8, 16, 1.0, BitExpansion_Gamma));
    WithLevel(state, [&] { ConvertUnpacked(Src(src.Next(), W, 8), Dst(dst, 2 * W, 16), W, H, false, t.get()); });
    Finish(state, dst.size());
}
BENCHMARK(BM_Mono8ToMono16)->Apply([](auto* b) { OurArgs(Setup(b)); });

// Default parameters: 12 -> 16 at gamma 1.0 in mode Gamma, round(i * 65535 / 4095), computed.
void BM_Mono12pToMono16(benchmark::State& state) {
    const size_t pitch = W * 12 / 8;
    Frames src(pitch * H, state.range(1) != 0);
    std::vector<uint8_t> dst(2 * W * H);
    BitConversionTableRef t(BitConversionTable::Create(12, 16, 1.0, BitExpansion_Gamma));
    WithLevel(state, [&] {
        ConvertBitPackedToUnpacked(Src(src.Next(), pitch, 12), Dst(dst, 2 * W, 16), W, H, false, t.get());
    });
    Finish(state, dst.size());
}
BENCHMARK(BM_Mono12pToMono16)->Apply([](auto* b) { OurArgs(Setup(b)); });

void BM_Mono12PackedToMono16(benchmark::State& state) {
    const size_t pitch = W / 2 * 3;
    Frames src(pitch * H, state.range(1) != 0);
    std::vector<uint8_t> dst(2 * W * H);
    BitConversionTableRef t(BitConversionTable::Create(12, 16, 1.0, BitExpansion_Gamma));
    WithLevel(state, [&] {
        ConvertPackedToUnpacked(Src(src.Next(), pitch, 12), Dst(dst, 2 * W, 16), W, H, false, t.get());
    });
    Finish(state, dst.size());
}
BENCHMARK(BM_Mono12PackedToMono16)->Apply([](auto* b) { OurArgs(Setup(b)); });

// Tables with no computed form (gamma away from 1.0): one look-up per sample.
// Argument `kind`: 0 Mono16 -> Mono8 at gamma 0.5, 1 Mono8 -> Mono16 at gamma 2.2, 2 Mono12 ->
// Mono16 at gamma 0.8.
void BM_TableLookup(benchmark::State& state) {
    const int kind = int(state.range(2));
    const unsigned s = kind == 1 ? 8 : kind == 0 ? 16 : 12, d = kind == 0 ? 8 : 16;
    const size_t sb = s > 8 ? 2 : 1, db = d > 8 ? 2 : 1;
    Frames src(sb * W * H, state.range(1) != 0, s == 12 ? 0x0FFF : 0xFFFF);
    std::vector<uint8_t> dst(db * W * H);
    const double gamma = kind == 0 ? 0.5 : kind == 1 ? 2.2 : 0.8;
    BitConversionTableRef t(BitConversionTable::Create(s, d, gamma, BitExpansion_Gamma));
    WithLevel(state, [&] { ConvertUnpacked(Src(src.Next(), sb * W, s), Dst(dst, db * W, d), W, H, false, t.get()); });
    Finish(state, dst.size());
}
BENCHMARK(BM_TableLookup)->Apply([](benchmark::internal::Benchmark* b) {
    Setup(b)->ArgNames({"simd", "cold", "kind"});
    for (int kind : {0, 1, 2})
        for (int simd : {0, 1}) b->Args({simd, 0, kind});
});

// ---- OpenCV peers --------------------------------------------------------------------------------

#ifdef LXCONV_HAVE_OPENCV

// Argument `code`: a cv::COLOR_... code; `cold` as above.
void BM_OpenCV_CvtColor(benchmark::State& state) {
    cv::setNumThreads(1);
    const int code = int(state.range(0));
    Frames frames(3 * W * H, state.range(1) != 0);
    cv::Mat dst;
    for (auto _ : state) {
        const cv::Mat src(int(H), int(W), CV_8UC3, const_cast<uint8_t*>(frames.Next()));
        cv::cvtColor(src, dst, code); // allocates once, then reuses
        benchmark::ClobberMemory();
    }
    Finish(state, dst.total() * dst.elemSize());
}
BENCHMARK(BM_OpenCV_CvtColor)->Apply([](benchmark::internal::Benchmark* b) {
    Setup(b)->ArgNames({"code", "cold"});
    for (int cold : {0, 1})
        for (int code : {cv::COLOR_BGR2GRAY, cv::COLOR_BGR2RGB, cv::COLOR_BGR2BGRA}) b->Args({code, cold});
});

// convertTo: 16U -> 8U scaled by 1/256 (rounds, where the table truncates) and 8U -> 16U scaled by
// 257 (the same operation as the gamma 1.0 table). Argument `up` 0 or 1; `cold` as above.
void BM_OpenCV_ConvertTo(benchmark::State& state) {
    cv::setNumThreads(1);
    const bool up = state.range(0) != 0;
    Frames frames((up ? 1 : 2) * W * H, state.range(1) != 0);
    cv::Mat dst;
    for (auto _ : state) {
        const cv::Mat src(int(H), int(W), up ? CV_8UC1 : CV_16UC1, const_cast<uint8_t*>(frames.Next()));
        src.convertTo(dst, up ? CV_16U : CV_8U, up ? 257.0 : 1.0 / 256);
        benchmark::ClobberMemory();
    }
    Finish(state, dst.total() * dst.elemSize());
}
BENCHMARK(BM_OpenCV_ConvertTo)->Apply([](benchmark::internal::Benchmark* b) {
    Setup(b)->ArgNames({"up", "cold"});
    for (int cold : {0, 1})
        for (int up : {0, 1}) b->Args({up, cold});
});

// LUT of 8-bit samples, the nearest OpenCV peer of a 256-entry table.
void BM_OpenCV_LUT8(benchmark::State& state) {
    cv::setNumThreads(1);
    Frames frames(W * H, false);
    cv::Mat lut(1, 256, CV_8U);
    for (int i = 0; i < 256; ++i) lut.at<uint8_t>(i) = uint8_t(255 - i);
    cv::Mat dst;
    for (auto _ : state) {
        const cv::Mat src(int(H), int(W), CV_8UC1, const_cast<uint8_t*>(frames.Next()));
        cv::LUT(src, lut, dst);
        benchmark::ClobberMemory();
    }
    Finish(state, dst.total() * dst.elemSize());
}
BENCHMARK(BM_OpenCV_LUT8)->Apply([](auto* b) { Setup(b); });

#endif

} // namespace

BENCHMARK_MAIN();
