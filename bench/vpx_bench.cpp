// VP8 WebM writing at 1280 x 720 and 2448 x 2048, 60 frames per second, quality 75: a BGR8 frame
// converted to planar 4:2:0, encoded by CLxVpx and muxed into a file, against libvpx encoding the
// same planar frames with the same configuration and writing nothing. One frame per iteration,
// from a cycle of eight moving frames, so that the encoder sees motion.
#include "clxvpx.h"
#include "video_writer.h"

#include <lxapi/clxautoptr.h>
#include <lxapi/lxapi_ip.h>
#include <lxapi/lxapi_tl.h>
#include <lxapi/lxpixelformat.h>
#include <lxapi/ilxpixelformatconverter.h>
#include <vpx/vp8cx.h>

#include <benchmark/benchmark.h>

#include <cstdio>
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

} // namespace

BENCHMARK(Ours)->Args({1280, 720})->Args({2448, 2048})->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(LibvpxAlone)->Args({1280, 720})->Args({2448, 2048})->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_MAIN();
