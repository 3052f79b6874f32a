// VP8 WebM writing at 1280 x 720 and 2448 x 2048, 60 frames per second, quality 75, against libvpx
// encoding the same planar frames with the same configuration and writing nothing:
//  - Filer: the whole road, BGR8 frames through the video filer's AddImage (conversion on the
//    caller's thread, encoding and muxing on the worker), 30 frames a file, the file completed by
//    Stop inside the timing; time per frame.
//  - Ours: the same on one thread, converter, CLxVpx and the muxer called in turn.
// Frames come from a cycle of eight moving frames, so that the encoder sees motion. Each case warms up
// and reports the median of five runs: libvpx's real-time mode adapts its speed to the time it gets.
#include "clxvpx.h"
#include "video_writer.h"

#include <lxapi/clxautoptr.h>
#include <lxapi/lxapi_ip.h>
#include <lxapi/lxapi_tl.h>
#include <lxapi/lxpixelformat.h>
#include <lxapi/ilxpixelformatconverter.h>
#include <lxapi/ilxvideofiler.h>
#include <vpx/vp8cx.h>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <unistd.h>
#include <vector>

namespace {

using BufferPtr = CLxAutoPtr<ILxImageBufferReleasable, ILxImageBuffer>;
using ConverterPtr = CLxAutoPtr<ILxConverterReleasable, ILxConverter>;
constexpr int kCycle = 8;

struct Sdk {
    Sdk() { LxApiInitialize(); }
} sdk;

std::vector<BufferPtr> BgrFrames(size_t w, size_t h) {
    std::vector<BufferPtr> frames;
    for (int f = 0; f < kCycle; ++f) {
        BufferPtr b(CreateILxImageBuffer(nullptr));
        b->CreateBuffer(w, h, LxPixelFormat_BGR8);
        ILxImage* img = b->GetILxImage();
        auto* p = static_cast<uint8_t*>(img->GetImageBuffer());
        for (size_t y = 0; y < h; ++y)
            for (size_t x = 0; x < w; ++x) {
                uint8_t* px = p + y * img->GetImageLinePitch() + 3 * x;
                const bool square = x >= size_t(f * 16) && x < size_t(f * 16) + w / 8 && y > h / 3 && y < h / 2;
                px[0] = uint8_t((x + f * 5) * 255 / w);
                px[1] = square ? 240 : uint8_t((y + x / 2) * 255 / (h + w / 2));
                px[2] = uint8_t((x * y / 64 + f * 3) & 0xFF);
            }
        frames.push_back(std::move(b));
    }
    return frames;
}

std::vector<BufferPtr> PlanarFrames(std::vector<BufferPtr>& bgr) {
    ConverterPtr c(CreateILxConverter(LxConverterType_PixelFormat));
    dynamic_cast<ILxPixelFormatConverter*>(c.Get())->SetDestinationPixelFormat(LxPixelFormat_CYCbCr420_8_YY_Cb_Cr_Planar);
    std::vector<BufferPtr> out;
    for (auto& b : bgr) {
        BufferPtr p(CreateILxImageBuffer(nullptr));
        c->Convert(b->GetILxImage(), p.Get());
        out.push_back(std::move(p));
    }
    return out;
}

void Ours(benchmark::State& state) {
    const size_t w = size_t(state.range(0)), h = size_t(state.range(1));
    std::vector<BufferPtr> frames = BgrFrames(w, h);
    ConverterPtr converter(CreateILxConverter(LxConverterType_PixelFormat));
    dynamic_cast<ILxPixelFormatConverter*>(converter.Get())
        ->SetDestinationPixelFormat(LxPixelFormat_CYCbCr420_8_YY_Cb_Cr_Planar);
    BufferPtr planar(CreateILxImageBuffer(nullptr));
    CLxVpx vpx;
    vpx.Initialize(w, h);
    FILE* f = std::tmpfile();
    CVpxWebMWriter writer(f);
    writer.WriteHeader(w, h, vpx.Fourcc(), 1);
    const vpx_rational_t tb = vpx.Config().g_timebase;
    auto sink = [&](const vpx_codec_cx_pkt_t& p) { writer.WritePacket(p, tb); };
    int64_t i = 0;
    for (auto _ : state) {
        converter->Convert(frames[size_t(i % kCycle)]->GetILxImage(), planar.Get());
        vpx.Encode(planar->GetILxImage(), i, vpx.FlagsFor(uint64_t(i), i == 0), sink);
        ++i;
    }
    while (vpx.Encode(nullptr, i, 0, sink)) {}
    writer.Finalize();
    std::fclose(f);
}

void LibvpxAlone(benchmark::State& state) {
    const size_t w = size_t(state.range(0)), h = size_t(state.range(1));
    std::vector<BufferPtr> bgr = BgrFrames(w, h);
    std::vector<BufferPtr> frames = PlanarFrames(bgr);
    vpx_codec_enc_cfg_t c = CLxVpx::Configuration(w, h, 60.0, 75);
    vpx_codec_ctx_t ctx;
    if (vpx_codec_enc_init(&ctx, vpx_codec_vp8_cx(), &c, 0) != VPX_CODEC_OK) {
        state.SkipWithError("encoder refused the configuration");
        return;
    }
    std::vector<vpx_image_t> images(kCycle);
    for (int f = 0; f < kCycle; ++f) {
        ILxImage* img = frames[size_t(f)]->GetILxImage();
        auto* y = static_cast<uint8_t*>(img->GetImageBuffer());
        vpx_img_wrap(&images[size_t(f)], VPX_IMG_FMT_I420, unsigned(w), unsigned(h), 1, y);
        images[size_t(f)].planes[1] = y + img->GetImagePlaneSize();
        images[size_t(f)].planes[2] = images[size_t(f)].planes[1] + (w / 2) * (h / 2);
        images[size_t(f)].stride[0] = int(img->GetImageLinePitch());
    }
    int64_t i = 0;
    size_t bytes = 0;
    for (auto _ : state) {
        vpx_codec_encode(&ctx, &images[size_t(i % kCycle)], i, 100, 0, VPX_DL_REALTIME);
        vpx_codec_iter_t it = nullptr;
        while (const vpx_codec_cx_pkt_t* p = vpx_codec_get_cx_data(&ctx, &it)) bytes += p->data.frame.sz;
        ++i;
    }
    benchmark::DoNotOptimize(bytes);
    vpx_codec_destroy(&ctx);
}

constexpr int kFramesPerFile = 30;

void Filer(benchmark::State& state) {
    const size_t w = size_t(state.range(0)), h = size_t(state.range(1));
    std::vector<BufferPtr> frames = BgrFrames(w, h);
    CLxAutoPtr<ILxFilerReleasable, ILxFiler> filer(CreateILxFiler(LxFilerType_Video));
    auto* video = dynamic_cast<ILxVideoFiler*>(filer.Get());
    video->SetFileFormat(WebM);
    video->SetFrameRate(60.0);
    video->SetQuality(75);
    video->SetMaximumFrameCountPerFile(100000);
    char name[] = "/tmp/lxvpxbenchXXXXXX";
    close(mkstemp(name));
    uint32_t number = 0;
    for (auto _ : state) {
        video->RegisterFileName(name);
        for (int i = 0; i < kFramesPerFile; ++i) video->AddImage(frames[size_t(i % kCycle)]->GetILxImage(), number++);
        video->Stop();
    }
    std::remove(name);
    state.SetItemsProcessed(int64_t(state.iterations()) * kFramesPerFile);
    state.counters["ms_per_frame"] = benchmark::Counter(double(state.iterations()) * kFramesPerFile,
                                                        benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void LibvpxAloneFile(benchmark::State& state) {
    const size_t w = size_t(state.range(0)), h = size_t(state.range(1));
    std::vector<BufferPtr> bgr = BgrFrames(w, h);
    std::vector<BufferPtr> frames = PlanarFrames(bgr);
    vpx_codec_enc_cfg_t c = CLxVpx::Configuration(w, h, 60.0, 75);
    std::vector<vpx_image_t> images(kCycle);
    for (int f = 0; f < kCycle; ++f) {
        ILxImage* img = frames[size_t(f)]->GetILxImage();
        auto* y = static_cast<uint8_t*>(img->GetImageBuffer());
        vpx_img_wrap(&images[size_t(f)], VPX_IMG_FMT_I420, unsigned(w), unsigned(h), 1, y);
        images[size_t(f)].planes[1] = y + img->GetImagePlaneSize();
        images[size_t(f)].planes[2] = images[size_t(f)].planes[1] + (w / 2) * (h / 2);
        images[size_t(f)].stride[0] = int(img->GetImageLinePitch());
    }
    size_t bytes = 0;
    for (auto _ : state) {
        vpx_codec_ctx_t ctx;
        if (vpx_codec_enc_init(&ctx, vpx_codec_vp8_cx(), &c, 0) != VPX_CODEC_OK) {
            state.SkipWithError("encoder refused the configuration");
            return;
        }
        for (int i = 0; i <= kFramesPerFile; ++i) {
            vpx_codec_encode(&ctx, i < kFramesPerFile ? &images[size_t(i % kCycle)] : nullptr, i, 100, 0,
                             VPX_DL_REALTIME);
            vpx_codec_iter_t it = nullptr;
            while (const vpx_codec_cx_pkt_t* p = vpx_codec_get_cx_data(&ctx, &it)) bytes += p->data.frame.sz;
        }
        vpx_codec_destroy(&ctx);
    }
    benchmark::DoNotOptimize(bytes);
    state.SetItemsProcessed(int64_t(state.iterations()) * kFramesPerFile);
    state.counters["ms_per_frame"] = benchmark::Counter(double(state.iterations()) * kFramesPerFile,
                                                        benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

} // namespace

BENCHMARK(Filer)->Args({1280, 720})->Args({2448, 2048})->Unit(benchmark::kMillisecond)->MinWarmUpTime(1.0)->Repetitions(5)->ReportAggregatesOnly()->UseRealTime();
BENCHMARK(LibvpxAloneFile)->Args({1280, 720})->Args({2448, 2048})->Unit(benchmark::kMillisecond)->MinWarmUpTime(1.0)->Repetitions(5)->ReportAggregatesOnly()->UseRealTime();
BENCHMARK(Ours)->Args({1280, 720})->Args({2448, 2048})->Unit(benchmark::kMillisecond)->MinWarmUpTime(1.0)->Repetitions(5)->ReportAggregatesOnly()->UseRealTime();
BENCHMARK(LibvpxAlone)->Args({1280, 720})->Args({2448, 2048})->Unit(benchmark::kMillisecond)->MinWarmUpTime(1.0)->Repetitions(5)->ReportAggregatesOnly()->UseRealTime();
BENCHMARK_MAIN();
