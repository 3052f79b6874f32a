// Flips and quarter turns of a 5-megapixel image (2448 x 2048) through the exported reverse
// converter, into a destination that keeps its memory from one frame to the next, against cv::flip
// and cv::rotate (single thread, destination allocated once) in the same run.
#include <lxapi/clxautoptr.h>
#include <lxapi/ilxreverseconverter.h>
#include <lxapi/lxapi_ip.h>
#include <lxapi/lxapi_tl.h>
#include <lxapi/lxpixelformat.h>

#include <benchmark/benchmark.h>

#include <random>

#ifdef LXBENCH_HAVE_OPENCV
#include <opencv2/core.hpp>
#endif

namespace {

constexpr size_t W = 2448, H = 2048;

using BufferPtr = CLxAutoPtr<ILxImageBufferReleasable, ILxImageBuffer>;
using ConverterPtr = CLxAutoPtr<ILxConverterReleasable, ILxConverter>;

struct Sdk {
    Sdk() { LxApiInitialize(); }
} sdk;

// The operations measured: the three flips and the two turns.
struct Op {
    bool x, y;
    ELxRotationMode_t rotation;
};
constexpr Op kOps[] = {{true, false, LxRotationMode_OFF},
                       {false, true, LxRotationMode_OFF},
                       {true, true, LxRotationMode_OFF},
                       {false, false, LxRotationMode_Clockwise90},
                       {false, false, LxRotationMode_Counterclockwise90}};
constexpr const char* kOpNames[] = {"FlipX", "FlipY", "FlipXY", "Clockwise", "Counterclockwise"};

void Reverse(benchmark::State& state, uint32_t format, size_t bytesPerPixel) {
    const Op op = kOps[state.range(0)];
    BufferPtr src(CreateILxImageBuffer(nullptr)), dst(CreateILxImageBuffer(nullptr));
    src->CreateBuffer(W, H, format);
    std::mt19937 rng(1);
    auto* p = static_cast<uint8_t*>(src->GetILxImage()->GetImageBuffer());
    for (size_t i = 0; i < W * H * bytesPerPixel; ++i) p[i] = uint8_t(rng());
    ConverterPtr module(CreateILxConverter(LxConverterType_Reverse));
    auto* typed = dynamic_cast<ILxReverseConverter*>(module.Get());
    typed->SetReverseX(op.x);
    typed->SetReverseY(op.y);
    typed->SetRotationMode(op.rotation);
    module->Convert(src->GetILxImage(), dst.Get()); // the destination's memory, once
    for (auto _ : state) {
        module->Convert(src->GetILxImage(), dst.Get());
        benchmark::ClobberMemory();
    }
    state.SetLabel(kOpNames[state.range(0)]);
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(W * H * bytesPerPixel));
}

#ifdef LXBENCH_HAVE_OPENCV
void OpenCv(benchmark::State& state, int type, size_t bytesPerPixel) {
    cv::setNumThreads(1);
    cv::Mat src(int(H), int(W), type), dst;
    cv::randu(src, 0, 255);
    const int which = int(state.range(0));
    // cv::flip codes: 1 around the vertical axis (X), 0 around the horizontal one (Y), -1 both.
    const int flipCode[] = {1, 0, -1};
    const auto run = [&] {
        if (which < 3)
            cv::flip(src, dst, flipCode[which]);
        else
            cv::rotate(src, dst, which == 3 ? cv::ROTATE_90_CLOCKWISE : cv::ROTATE_90_COUNTERCLOCKWISE);
    };
    run();
    for (auto _ : state) {
        run();
        benchmark::ClobberMemory();
    }
    state.SetLabel(kOpNames[which]);
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(W * H * bytesPerPixel));
}
#endif

} // namespace

BENCHMARK_CAPTURE(Reverse, Mono8, uint32_t(LxPixelFormat_Mono8), 1)->DenseRange(0, 4)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Reverse, BGR8, uint32_t(LxPixelFormat_BGR8), 3)->DenseRange(0, 4)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Reverse, Mono16, uint32_t(LxPixelFormat_Mono16), 2)->DenseRange(0, 4)->Unit(benchmark::kMillisecond);
#ifdef LXBENCH_HAVE_OPENCV
BENCHMARK_CAPTURE(OpenCv, Mono8, CV_8UC1, 1)->DenseRange(0, 4)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(OpenCv, BGR8, CV_8UC3, 3)->DenseRange(0, 4)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(OpenCv, Mono16, CV_16UC1, 2)->DenseRange(0, 4)->Unit(benchmark::kMillisecond);
#endif

BENCHMARK_MAIN();
