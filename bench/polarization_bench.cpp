// Polarization transforms on a 5-megapixel image (2448 x 2048), Pol1Mono8 and Pol1Mono12, through the
// exported converter, single thread, against memcpy of the output's bytes in the same run.
//
// Pol1Mono12To8: 12-bit sources to 8-bit destinations, the depth changed after the transform.
//
// The window kernels alone are measured at each instruction-set level in the same run (Kernel/...).
//
// FromMemory/*: 64 distinct sources into 64 distinct destinations, against memcpy of 64 distinct
// buffers; per iteration, 64 frames.
//
// TableRead/*: the least work of any transform that reads a table per pixel, one 16-bit entry
// indexed by the pixel and its right-hand neighbour (2^(2n) entries: 128 KiB at 8 bits, 32 MiB at
// 12), by scalar loads and by AVX-512 gathers. A table method cannot beat it; degree and angle read
// one or two such entries per window.
//
// Memory and build time of the Stokes tables are reported by StokesTablesFirstUse: the time of the
// first degree and angle conversion of a depth (the tables are built then, once per process) and
// the bytes the tables take.
#include <lxapi/clxautoptr.h>
#include <lxapi/ilxpixelformatconverter.h>
#include <lxapi/lxapi_ip.h>
#include <lxapi/lxapi_tl.h>
#include <lxapi/lxpixelformat.h>

#include "kernels/cpudispatch.h"
#include "polarization/polarkernels.h"
#include "polarization/polarrows.h"
#include "polarization/polartables.h"

#include "copypeers.h"

#include <benchmark/benchmark.h>

#include <chrono>
#if defined(__x86_64__)
#include "kernels/lxavx512.h"
#endif
#include <cstring>
#include <map>
#include <random>
#include <vector>

namespace {

constexpr size_t W = 2448, H = 2048;

using BufferPtr = CLxAutoPtr<ILxImageBufferReleasable, ILxImageBuffer>;
using ConverterPtr = CLxAutoPtr<ILxConverterReleasable, ILxConverter>;

struct Sdk {
    Sdk() { LxApiInitialize(); }
} sdk;

BufferPtr MakeImage(uint32_t format, unsigned bits, size_t w = W, size_t h = H) {
    BufferPtr b(CreateILxImageBuffer(nullptr));
    b->CreateBuffer(w, h, format);
    ILxImage* img = b->GetILxImage();
    std::mt19937 rng(1);
    auto* p = static_cast<uint8_t*>(img->GetImageBuffer());
    const size_t bytes = img->GetImagePlaneSize();
    if (bits == 8) {
        for (size_t i = 0; i < bytes; ++i) p[i] = uint8_t(rng());
    } else {
        for (size_t i = 0; i + 1 < bytes; i += 2) {
            const uint16_t v = uint16_t(rng() & ((1u << bits) - 1));
            std::memcpy(p + i, &v, 2);
        }
    }
    return b;
}

ConverterPtr MakeConverter(int method, uint32_t destination) {
    ConverterPtr c(CreateILxConverter(LxConverterType_PixelFormat));
    auto* t = dynamic_cast<ILxPixelFormatConverter*>(c.Get());
    t->SetPolarizationImageTransformationMethod(ELxPolarizationImageTransformationMethod_t(method));
    t->SetPolarizationSpecifiedAngle(30.0);
    t->SetDestinationPixelFormat(destination);
    return c;
}

// `outBits` 0: the source's depth.
void Method(benchmark::State& state, unsigned bits, int method, unsigned outBits) {
    const uint32_t source = bits == 8 ? LxPixelFormat_Pol1Mono8 : LxPixelFormat_Pol1Mono12;
    const bool narrow = (outBits ? outBits : bits) == 8;
    const uint32_t destination = method == 6 ? (narrow ? LxPixelFormat_BGR8 : LxPixelFormat_BGR12)
                                             : (narrow ? LxPixelFormat_Mono8 : LxPixelFormat_Mono12);
    BufferPtr in = MakeImage(source, bits);
    BufferPtr out(CreateILxImageBuffer(nullptr));
    ConverterPtr c = MakeConverter(method, destination);
    c->Convert(in->GetILxImage(), out.Get()); // tables and buffers once, outside the timing
    for (auto _ : state) {
        c->Convert(in->GetILxImage(), out.Get());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(out->GetILxImage()->GetImagePlaneSize()));
}

// The same conversion over 64 distinct frames into 64 distinct outputs, as camera frames arrive: the
// sources and destinations come from memory rather than the cache. Time per frame.
constexpr int kDistinct = 64;
void MethodFromMemory(benchmark::State& state, unsigned bits, int method) {
    const uint32_t source = bits == 8 ? LxPixelFormat_Pol1Mono8 : LxPixelFormat_Pol1Mono12;
    const uint32_t destination = bits == 8 ? LxPixelFormat_Mono8 : LxPixelFormat_Mono12;
    BufferPtr in = MakeImage(source, bits);
    std::vector<BufferPtr> ins, outs;
    for (int i = 0; i < kDistinct; ++i) {
        ins.emplace_back(CreateILxImageBuffer(nullptr));
        ins.back()->CreateBuffer(W, H, source);
        std::memcpy(ins.back()->GetILxImage()->GetImageBuffer(), in->GetILxImage()->GetImageBuffer(),
                    in->GetILxImage()->GetImagePlaneSize());
        outs.emplace_back(CreateILxImageBuffer(nullptr));
    }
    ConverterPtr c = MakeConverter(method, destination);
    for (int i = 0; i < kDistinct; ++i) c->Convert(ins[i]->GetILxImage(), outs[i].Get()); // memory faulted in
    for (auto _ : state) {
        for (int i = 0; i < kDistinct; ++i) c->Convert(ins[i]->GetILxImage(), outs[i].Get());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * kDistinct);
    state.SetBytesProcessed(int64_t(state.iterations()) * kDistinct * int64_t(outs[0]->GetILxImage()->GetImagePlaneSize()));
}

void Memcpy(benchmark::State& state, size_t bytes) {
    std::vector<uint8_t> a(bytes, 1), b(bytes);
    for (auto _ : state) {
        std::memcpy(b.data(), a.data(), bytes);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(bytes));
}

// out[x] = table[(v[x] << n) | v[x + 1]] over the image, from x = `from` on.
template <class S>
void TableReadScalar(const S* in, S* out, const uint16_t* table, unsigned bits, size_t from = 0) {
    for (size_t i = from; i + 1 < W * H; ++i) out[i] = S(table[(size_t(in[i]) << bits) | in[i + 1]]);
}
#if defined(__x86_64__)
template <class S>
__attribute__((target("avx512f,avx512bw"))) void TableReadGather(const S* in, S* out, const uint16_t* table,
                                                                 unsigned bits) {
    const __m512i mask = _mm512_set1_epi32(0xFFFF);
    size_t i = 0;
    for (; i + 17 <= W * H; i += 16) {
        __m512i v0, v1;
        if constexpr (sizeof(S) == 1) {
            v0 = _mm512_cvtepu8_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(in + i)));
            v1 = _mm512_cvtepu8_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(in + i + 1)));
        } else {
            v0 = _mm512_cvtepu16_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(in + i)));
            v1 = _mm512_cvtepu16_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(in + i + 1)));
        }
        const __m512i at = _mm512_or_si512(_mm512_sll_epi32(v0, _mm_cvtsi32_si128(int(bits))), v1);
        const __m512i v = _mm512_and_si512(_mm512_i32gather_epi32(at, table, 2), mask);
        if constexpr (sizeof(S) == 1)
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), _mm512_cvtepi32_epi8(v));
        else
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + i), _mm512_cvtepi32_epi16(v));
    }
    TableReadScalar(in, out, table, bits, i);
}
#endif

template <class S>
void TableRead(benchmark::State& state, unsigned bits, bool gather) {
#if defined(__x86_64__)
    if (gather && !__builtin_cpu_supports("avx512bw")) {
        state.SkipWithError("no AVX-512 here");
        return;
    }
#else
    if (gather) {
        state.SkipWithError("no gathers here");
        return;
    }
#endif
    std::vector<S> in(W * H), out(W * H);
    std::vector<uint16_t> table(size_t(1) << (2 * bits));
    std::mt19937 rng(1);
    for (auto& v : in) v = S(rng() & ((1u << bits) - 1));
    for (auto& v : table) v = uint16_t(rng());
    for (auto _ : state) {
#if defined(__x86_64__)
        if (gather)
            TableReadGather(in.data(), out.data(), table.data(), bits);
        else
#endif
            TableReadScalar(in.data(), out.data(), table.data(), bits);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(out.size() * sizeof(S)));
}

// The first degree and angle conversion of a depth builds its Stokes tables; measured once per
// process and reported at every repetition.
void StokesTablesFirstUse(benchmark::State& state, unsigned bits) {
    static std::map<unsigned, double> seconds;
    if (!seconds.count(bits)) {
        const uint32_t source = bits == 8 ? LxPixelFormat_Pol1Mono8 : LxPixelFormat_Pol1Mono12;
        BufferPtr in = MakeImage(source, bits, 4, 4);
        BufferPtr out(CreateILxImageBuffer(nullptr));
        ConverterPtr c = MakeConverter(6, bits == 8 ? LxPixelFormat_BGR8 : LxPixelFormat_BGR12);
        const auto start = std::chrono::steady_clock::now();
        c->Convert(in->GetILxImage(), out.Get());
        seconds[bits] = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    }
    for (auto _ : state) benchmark::DoNotOptimize(seconds[bits]);
    const double n = double(1u << bits);
    state.counters["build_s"] = seconds[bits];
    state.counters["MiB"] = ((n + 1) * (n + 2) / 2 * 4 + n * n * 2 + (4 * n) * 9) / (1024.0 * 1024.0);
}

// One window operation on raw planes at a forced level; 12-bit samples in words.
void Kernel(benchmark::State& state, unsigned bits, lxpol::Op op, lxcpu::Level level) {
    lxcpu::ForcedLevel forced(level);
    if (lxpol::detail::KernelLevelAt(lxcpu::Active()) != level) {
        state.SkipWithError("no form of this level runs here");
        return;
    }
    const size_t sample = bits == 8 ? 1 : 2;
    std::vector<uint8_t> in(W * H * sample), out(W * H * sample);
    std::mt19937 rng(1);
    for (size_t i = 0; i < W * H; ++i) {
        const uint16_t v = uint16_t(rng() & ((1u << bits) - 1));
        std::memcpy(in.data() + i * sample, &v, sample);
    }
    lxpol::PolarizerWeightCache weights;
    const auto table = weights.Acquire(bits, 30.0);
    lxpol::Context c;
    c.op = op;
    c.depth = bits;
    for (unsigned k = 0; k < 4; ++k) c.weights[k] = table->Slot(k);
    if (op == lxpol::Op::Degree || op == lxpol::Op::Angle) c.stokes = &lxpol::AcquireStokesTables(bits, true, true);
    const lxpol::Plane src{in.data(), ptrdiff_t(W * sample), uint32_t(W), uint32_t(H), bits > 8};
    const lxpol::Plane dst{out.data(), ptrdiff_t(W * sample), uint32_t(W), uint32_t(H), bits > 8};
    for (auto _ : state) {
        lxpol::RunWindow(c, 1, src, dst);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(out.size()));
}

const char* kNames[] = {"Off", "EachAngle", "SpecifiedAngleLinear", "Average", "Degree", "Angle",
                        "AngleAndDegreeColor", "Maximum", "Minimum", "Difference"};

int Register() {
    for (unsigned bits : {8u, 12u})
        benchmark::RegisterBenchmark(("StokesTablesFirstUse/" + std::to_string(bits)).c_str(), StokesTablesFirstUse, bits)
            ->Iterations(1);
    for (unsigned bits : {8u, 12u}) {
        const size_t sample = bits == 8 ? 1 : 2;
        benchmark::RegisterBenchmark(("Memcpy/Mono" + std::to_string(bits)).c_str(), Memcpy, W * H * sample)
            ->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark(("Memcpy/BGR" + std::to_string(bits)).c_str(), Memcpy, W * H * 3 * sample)
            ->Unit(benchmark::kMillisecond);
        for (bool gather : {false, true})
            benchmark::RegisterBenchmark(
                ("TableRead/Mono" + std::to_string(bits) + (gather ? "/gather" : "/scalar")).c_str(),
                [bits, gather](benchmark::State& s) {
                    bits == 8 ? TableRead<uint8_t>(s, bits, gather) : TableRead<uint16_t>(s, bits, gather);
                })
                ->Unit(benchmark::kMillisecond);
        for (int method = 0; method <= 9; ++method)
            benchmark::RegisterBenchmark(("Pol1Mono" + std::to_string(bits) + "/" + kNames[method]).c_str(), Method,
                                         bits, method, 0u)
                ->Unit(benchmark::kMillisecond);
    }
    for (unsigned bits : {8u, 12u}) {
        const std::string depth = std::to_string(bits);
        benchmark::RegisterBenchmark(("FromMemory/Memcpy/Mono" + depth).c_str(), lxbench::CopyDistinctFrames,
                                     W * H * (bits == 8 ? 1 : 2), kDistinct)
            ->Unit(benchmark::kMillisecond);
        for (int method : {2, 3, 4, 5})
            benchmark::RegisterBenchmark(("FromMemory/Pol1Mono" + depth + "/" + kNames[method]).c_str(), MethodFromMemory,
                                         bits, method)
                ->Unit(benchmark::kMillisecond);
    }
    // Transforms that change the depth: the line at 12 bits, then the depth table to 8 bits.
    for (int method : {2, 3, 4, 5, 6})
        benchmark::RegisterBenchmark(("Pol1Mono12To8/" + std::string(kNames[method])).c_str(), Method, 12u, method, 8u)
            ->Unit(benchmark::kMillisecond);
    const std::pair<lxpol::Op, const char*> ops[] = {{lxpol::Op::Average, "Average"}, {lxpol::Op::Maximum, "Maximum"},
                                                     {lxpol::Op::Minimum, "Minimum"}, {lxpol::Op::Difference, "Difference"},
                                                     {lxpol::Op::Linear, "SpecifiedAngleLinear"},
                                                     {lxpol::Op::Degree, "Degree"}, {lxpol::Op::Angle, "Angle"}};
    const std::pair<lxcpu::Level, const char*> levels[] = {
        {lxcpu::Level::Portable, "portable"}, {lxcpu::Level::Avx2, "avx2"}, {lxcpu::Level::Avx512, "avx512"}};
    for (unsigned bits : {8u, 12u})
        for (const auto& [op, name] : ops)
            for (const auto& [level, levelName] : levels)
                benchmark::RegisterBenchmark(
                    ("Kernel/Pol1Mono" + std::to_string(bits) + "/" + name + "/" + levelName).c_str(), Kernel, bits, op,
                    level)
                    ->Unit(benchmark::kMillisecond);
    return 0;
}
const int registered = Register();

} // namespace

BENCHMARK_MAIN();
