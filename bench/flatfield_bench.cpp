// Flat field correction (gain law) of a 2448 x 2048 image through the exported filter, against the
// physical floor (memcpy of the same bytes) and, where OpenCV is at hand, the same correction done
// with a float gain image: cv::multiply into floats, then convertTo back to the samples' type. The
// filter runs the best form the processor has; the row kernels alone run at each level (the library
// keeps its own dispatcher, which a level forced here does not reach).
#include <lxapi/clxautoptr.h>
#include <lxapi/ilxflatfieldcorrectionfilter.h>
#include <lxapi/lxapi_ip.h>
#include <lxapi/lxapi_tl.h>
#include <lxapi/lxpixelformat.h>

#include "filters/flatfield/flatfieldkernels.h"
#include "kernels/cpudispatch.h"

#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <vector>

#ifdef LXBENCH_HAVE_OPENCV
#include <opencv2/core.hpp>
#endif

namespace {

constexpr size_t W = 2448, H = 2048;

using BufferPtr = CLxAutoPtr<ILxImageBufferReleasable, ILxImageBuffer>;
using FilterPtr = CLxAutoPtr<ILxFilterReleasable, ILxFilter>;

struct Sdk {
    Sdk() { LxApiInitialize(); }
} sdk;

// A vignetted image with noise, as a flat field reference looks.
BufferPtr MakeImage(uint32_t format, unsigned bits) {
    BufferPtr b(CreateILxImageBuffer(nullptr));
    b->CreateBuffer(W, H, format);
    ILxImage* img = b->GetILxImage();
    std::mt19937 rng(1);
    auto* p = static_cast<uint8_t*>(img->GetImageBuffer());
    const double m = double((1u << bits) - 1);
    for (size_t y = 0; y < H; ++y)
        for (size_t x = 0; x < W; ++x) {
            const double dx = (double(x) - W / 2.0) / W, dy = (double(y) - H / 2.0) / H;
            const auto v = uint16_t(m * 0.6 * (1.0 - (dx * dx + dy * dy)) + double(rng() % 8));
            if (bits == 8)
                p[y * img->GetImageLinePitch() + x] = uint8_t(v);
            else
                std::memcpy(p + y * img->GetImageLinePitch() + 2 * x, &v, 2);
        }
    return b;
}

void FlatField(benchmark::State& state, uint32_t format, unsigned bits) {
    BufferPtr image = MakeImage(format, bits);
    FilterPtr filter(CreateILxFilter(LxFilterType_FlatFieldCorrection));
    auto* typed = dynamic_cast<ILxFlatFieldCorrectionFilter*>(filter.Get());
    typed->SetFlatFieldCorrectionMode(LxFlatFieldCorrectionMode_Multiplication);
    typed->SetCalibrationEnable(true);
    filter->Filter(image->GetILxImage()); // reference and table, outside the timing
    typed->SetCalibrationEnable(false);
    for (auto _ : state) {
        filter->Filter(image->GetILxImage());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(W * H * (bits == 8 ? 1 : 2)));
}

// The gain rows over the image at one level, with the table built from the image itself.
void Kernel(benchmark::State& state, uint32_t format, unsigned bits, lxcpu::Level level) {
    lxcpu::ForcedLevel forced(level);
    if (lxff::Kernels().InUse() != level) {
        state.SkipWithError("no form of this level runs here");
        return;
    }
    BufferPtr image = MakeImage(format, bits);
    ILxImage* img = image->GetILxImage();
    auto* base = static_cast<uint8_t*>(img->GetImageBuffer());
    const size_t pitch = img->GetImageLinePitch(), bytes = bits == 8 ? 1 : 2;
    const lxff::Reference ref{base, pitch, W, H, bytes, false, (1u << bits) - 1};
    uint32_t T[4];
    lxff::PhaseTargets(ref, 0, T);
    std::vector<lxff::Gain> gains(W * H);
    lxff::BuildGains(ref, T, lxff::LawConstants{}, gains.data());
    const lxff::GainRow row = lxff::Kernels().Get().multiply[bytes - 1];
    for (auto _ : state) {
        for (size_t y = 0; y < H; ++y)
            row(base + y * pitch, gains.data() + y * W, W, ref.maximum, lxff::LawConstants{});
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(W * H * bytes));
}

void Memcpy(benchmark::State& state, size_t bytesPerPixel) {
    std::vector<uint8_t> a(W * H * bytesPerPixel, 1), b(W * H * bytesPerPixel);
    for (auto _ : state) {
        std::memcpy(b.data(), a.data(), a.size());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(a.size()));
}

#ifdef LXBENCH_HAVE_OPENCV
void OpenCvMultiply(benchmark::State& state, int type, int maximum) {
    cv::setNumThreads(1);
    cv::Mat image(int(H), int(W), type), gain(int(H), int(W), CV_32F), product;
    cv::randu(image, 0, maximum);
    cv::randu(gain, 0.9, 1.6);
    for (auto _ : state) {
        cv::multiply(image, gain, product, 1.0, CV_32F);
        product.convertTo(image, type);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(image.total() * image.elemSize()));
}
BENCHMARK_CAPTURE(OpenCvMultiply, Mono8, CV_8U, 256)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(OpenCvMultiply, Mono12, CV_16U, 4096)->Unit(benchmark::kMillisecond);
#endif

} // namespace

BENCHMARK_CAPTURE(FlatField, Mono8, LxPixelFormat_Mono8, 8)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Kernel, Mono8_portable, LxPixelFormat_Mono8, 8, lxcpu::Level::Portable)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Kernel, Mono8_avx2, LxPixelFormat_Mono8, 8, lxcpu::Level::Avx2)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Kernel, Mono8_avx512, LxPixelFormat_Mono8, 8, lxcpu::Level::Avx512)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Memcpy, Mono8, 1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(FlatField, Mono12, LxPixelFormat_Mono12, 12)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Kernel, Mono12_portable, LxPixelFormat_Mono12, 12, lxcpu::Level::Portable)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Kernel, Mono12_avx512, LxPixelFormat_Mono12, 12, lxcpu::Level::Avx512)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Memcpy, Mono12, 2)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
