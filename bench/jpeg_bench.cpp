// The JPEG encoder against TurboJPEG at the same quality and subsampling, on a photograph-like frame,
// and the primitives at every instruction-set level.
#include "jpegencoder.h"
#include "jpegtables.h"

#include <lxapi/lxpixelformat.h>

#include <benchmark/benchmark.h>
#include <turbojpeg.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

namespace {

constexpr uint32_t W = 2448, H = 2048;

std::vector<uint8_t> Photo(uint32_t channels) {
    std::vector<uint8_t> px(size_t(W) * H * channels);
    std::mt19937 rng(1);
    std::normal_distribution<double> noise(0.0, 2.0);
    for (uint32_t y = 0; y < H; ++y)
        for (uint32_t x = 0; x < W; ++x)
            for (uint32_t c = 0; c < channels; ++c) {
                double v = 128 + 70 * std::sin(x * 0.013 + c) * std::cos(y * 0.017 - c * 0.5);
                if (((x / 97) + (y / 61)) % 3 == 0) v += 40;
                v += 20 * std::sin(x * 0.9 + y * 0.3 + c) + noise(rng);
                px[(size_t(y) * W + x) * channels + c] = uint8_t(std::lround(std::clamp(v, 0.0, 255.0)));
            }
    return px;
}

const std::vector<uint8_t>& Bgr() { static const auto p = Photo(3); return p; }
const std::vector<uint8_t>& Grey() { static const auto p = Photo(1); return p; }

void Ours(benchmark::State& state, uint32_t format, lxcpu::Level level) {
    lxcpu::ForcedLevel forced(level);
    const bool grey = format == LxPixelFormat_Mono8;
    const auto& src = grey ? Grey() : Bgr();
    std::vector<uint8_t> out(src.size() + 65536);
    size_t bytes = 0;
    for (auto _ : state) {
        lxjpeg::EncodeImage(format, src.data(), W, H, grey ? W : 3 * W, 75, out.data(), out.size(), bytes);
        benchmark::DoNotOptimize(bytes);
    }
    state.counters["bytes"] = double(bytes);
    state.SetLabel(lxcpu::LevelName(lxjpeg::Forms().InUse()));
}

void Turbo(benchmark::State& state, bool grey, int flags) {
    const auto& src = grey ? Grey() : Bgr();
    tjhandle h = tjInitCompress();
    std::vector<uint8_t> out(tjBufSize(W, H, grey ? TJSAMP_GRAY : TJSAMP_422));
    unsigned long size = 0;
    for (auto _ : state) {
        unsigned char* p = out.data();
        size = out.size();
        tjCompress2(h, src.data(), W, 0, H, grey ? TJPF_GRAY : TJPF_BGR, &p, &size, grey ? TJSAMP_GRAY : TJSAMP_422, 75,
                    flags | TJFLAG_NOREALLOC);
        benchmark::DoNotOptimize(size);
    }
    state.counters["bytes"] = double(size);
    tjDestroy(h);
}

// The primitives over the whole frame, as the encoder calls them.
void Colour(benchmark::State& state, lxcpu::Level level) {
    lxcpu::ForcedLevel forced(level);
    const auto& k = lxjpeg::Forms().Get();
    std::vector<uint8_t> planes(size_t(W) * 8 * 3);
    for (auto _ : state)
        for (uint32_t y = 0; y < H; y += 8)
            k.toYCbCr(Bgr().data() + size_t(y) * 3 * W, 3 * W, planes.data(), planes.data() + 8 * W, planes.data() + 16 * W, W,
                      W, 8, 2);
    state.SetLabel(lxcpu::LevelName(lxjpeg::Forms().InUse()));
}

void Reduce(benchmark::State& state, lxcpu::Level level) {
    lxcpu::ForcedLevel forced(level);
    const auto& k = lxjpeg::Forms().Get();
    std::vector<uint8_t> line(W / 2);
    for (auto _ : state)
        for (uint32_t y = 0; y < 2 * H; ++y) k.reduceLine(Grey().data() + size_t(y % H) * W, line.data(), W / 2);
    state.SetLabel(lxcpu::LevelName(lxjpeg::Forms().InUse()));
}

lxjpeg::ForwardQuantTable Table() {
    uint8_t q[64];
    std::copy(lxjpeg::kLuminanceQuant, lxjpeg::kLuminanceQuant + 64, q);
    lxjpeg::ScaleQuantTable(q, 75);
    lxjpeg::ForwardQuantTable t;
    lxjpeg::BuildForwardTable(q, t);
    return t;
}

// Twice the luminance blocks: as many blocks as a 4:2:2 colour frame has.
void Dct(benchmark::State& state, lxcpu::Level level) {
    lxcpu::ForcedLevel forced(level);
    const auto& k = lxjpeg::Forms().Get();
    const auto table = Table();
    std::vector<int16_t> coef(size_t(W / 8) * 64);
    for (auto _ : state)
        for (uint32_t y = 0; y < 2 * H; y += 8) k.forwardDct(Grey().data() + size_t(y % H) * W, W, W / 8, table, coef.data());
    state.SetLabel(lxcpu::LevelName(lxjpeg::Forms().InUse()));
}

void Huffman(benchmark::State& state, lxcpu::Level level) {
    const auto table = Table();
    std::vector<int16_t> coef(size_t(W / 8) * (H / 8) * 64);
    lxjpeg::PortableKernels().forwardDct(Grey().data(), W, W / 8, table, coef.data());
    for (uint32_t y = 8; y < H; y += 8)
        lxjpeg::PortableKernels().forwardDct(Grey().data() + size_t(y) * W, W, W / 8, table, coef.data() + size_t(y / 8) * (W / 8) * 64);
    lxjpeg::HuffmanCodeTable dc, ac;
    lxjpeg::BuildHuffmanTable(lxjpeg::kDcLuminance.counts, lxjpeg::kDcLuminance.values, dc);
    lxjpeg::BuildHuffmanTable(lxjpeg::kAcLuminance.counts, lxjpeg::kAcLuminance.values, ac);
    lxcpu::ForcedLevel forced(level);
    const auto& k = lxjpeg::Forms().Get();
    std::vector<uint8_t> out(16384 + 4096);
    for (auto _ : state) {
        lxjpeg::HuffmanState st{};
        int16_t last = 0;
        size_t pos = 0;
        for (int rep = 0; rep < 2; ++rep)
            for (size_t b = 0; b < coef.size() / 64; ++b) {
                if (pos > 16384) pos = 0;
                pos = k.encodeBlock(coef.data() + 64 * b, out.data(), pos, last, dc, ac, st);
            }
        benchmark::DoNotOptimize(pos);
    }
    state.SetLabel(lxcpu::LevelName(lxjpeg::Forms().InUse()));
}

using L = lxcpu::Level;
BENCHMARK_CAPTURE(Ours, BGR8_422_q75_portable, LxPixelFormat_BGR8, L::Portable)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Ours, BGR8_422_q75_fast, LxPixelFormat_BGR8, L::Avx512)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Turbo, BGR8_422_q75_default, false, 0)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Turbo, BGR8_422_q75_fastdct, false, TJFLAG_FASTDCT)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Ours, Mono8_q75_portable, LxPixelFormat_Mono8, L::Portable)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Ours, Mono8_q75_fast, LxPixelFormat_Mono8, L::Avx512)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Turbo, Mono8_q75_default, true, 0)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Turbo, Mono8_q75_fastdct, true, TJFLAG_FASTDCT)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Colour, portable, L::Portable)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Colour, avx2, L::Avx2)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Colour, avx512, L::Avx512)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Reduce, portable, L::Portable)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Reduce, avx2, L::Avx2)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Reduce, avx512, L::Avx512)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Dct, portable, L::Portable)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Dct, avx2, L::Avx2)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Dct, avx512, L::Avx512)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Huffman, portable, L::Portable)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Huffman, avx2, L::Avx2)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Huffman, avx512, L::Avx512)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
