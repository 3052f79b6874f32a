// The video filer's whole road at 2448 x 2048, single caller thread, the worker beside it. Each
// iteration writes one file and includes its completion (Stop drains the queue and closes the file).
//  - BM_PipelineMJPEG: 300 BayerRG8 frames through AddImage to a Motion JPEG AVI at quality 75, as an
//    AVI 1.0 file and as an OpenDML file (argument 0 and 1); BM_EncoderAlone: the JPEG encoder on the same frames demosaiced to BGR8, one after the other.
//  - BM_PipelineUncompressed: 60 BGR8 frames to an uncompressed AVI 1.0 file (argument 0), through the
//    page cache, against BM_WriteLoop: the same bytes with one write() a frame into a file of the same
//    folder; and to an OpenDML file (argument 1), written with direct I/O, against dd oflag=direct.
// Frames per second and bytes per second are reported as counters. Files go to LXAPI_BENCH_DIR, or the
// system's temporary folder.
//
// Every road and its peer warm up before they are timed and report the median of five
// runs: memory a process touches for the first time (pool frames, page-cache pages) costs a fault each
// on a virtual machine, and the page cache's write-back of the previous file moves single runs threefold.
#include "filewritepeers.h"
#include "jpegencoder.h"

#include <lxapi/clxautoptr.h>
#include <lxapi/ilxpixelformatconverter.h>
#include <lxapi/ilxvideofiler.h>
#include <lxapi/lxapi_ip.h>
#include <lxapi/lxapi_tl.h>
#include <lxapi/lxpixelformat.h>

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr size_t W = 2448, H = 2048;
constexpr int MjpegFrames = 300, RawFrames = 60, Distinct = 8;

using BufferPtr = CLxAutoPtr<ILxImageBufferReleasable, ILxImageBuffer>;
using FilerPtr = CLxAutoPtr<ILxFilerReleasable, ILxFiler>;
using ConverterPtr = CLxAutoPtr<ILxConverterReleasable, ILxConverter>;

struct Sdk {
    Sdk() { LxApiInitialize(); }
} sdk;

std::string TempName(const char* name) { return lxbench::Folder() + "/" + name; }

// A sensor-like picture: smooth shading with noise, different per index.
BufferPtr Frame(uint32_t format, int index) {
    BufferPtr b(CreateILxImageBuffer(nullptr));
    b->CreateBuffer(W, H, format);
    ILxImage* img = b->GetILxImage();
    auto* p = static_cast<uint8_t*>(img->GetImageBuffer());
    std::mt19937 rng(static_cast<uint32_t>(index));
    const size_t bytes = format == LxPixelFormat_BGR8 ? 3 : 1;
    for (size_t y = 0; y < H; ++y)
        for (size_t x = 0; x < W * bytes; ++x)
            p[y * img->GetImageLinePitch() + x] = static_cast<uint8_t>((x / 9 + y / 7 + index * 13) % 200 + rng() % 24);
    return b;
}

const std::vector<BufferPtr>& BayerFrames() {
    static const std::vector<BufferPtr> frames = [] {
        std::vector<BufferPtr> f;
        for (int i = 0; i < Distinct; ++i) f.push_back(Frame(LxPixelFormat_BayerRG8, i));
        return f;
    }();
    return frames;
}

std::unique_ptr<FilerPtr> VideoFiler(eAVICodec codec, eAVIFileFormat fileFormat = AVI1) {
    auto filer = std::make_unique<FilerPtr>(CreateILxFiler(LxFilerType_Video));
    auto* v = dynamic_cast<ILxVideoFiler*>(filer->Get());
    v->SetFileFormat(fileFormat);
    v->SetCodec(codec);
    v->SetQuality(75);
    v->SetFrameRate(30.0);
    v->SetMaximumFrameCountPerFile(100000);
    return filer;
}

void BM_PipelineMJPEG(benchmark::State& state) {
    const auto& frames = BayerFrames();
    const bool openDml = state.range(0) != 0;
    auto filer = VideoFiler(MotionJPEG, openDml ? AVI2 : AVI1);
    auto* v = dynamic_cast<ILxVideoFiler*>(filer->Get());
    const std::string name = TempName(openDml ? "lxvideo_bench_mjpeg_odml.avi" : "lxvideo_bench_mjpeg.avi");
    state.SetLabel(openDml ? "OpenDML" : "AVI 1.0");
    for (auto _ : state) {
        v->RegisterFileName(name.c_str());
        for (int n = 0; n < MjpegFrames; ++n) v->AddImage(frames[n % Distinct]->GetILxImage(), uint32_t(n));
        v->Stop();
    }
    std::filesystem::remove(name);
    state.counters["fps"] = benchmark::Counter(double(MjpegFrames) * state.iterations(), benchmark::Counter::kIsRate);
}

void BM_EncoderAlone(benchmark::State& state) {
    const auto& frames = BayerFrames();
    ConverterPtr converter(CreateILxConverter(LxConverterType_PixelFormat));
    dynamic_cast<ILxPixelFormatConverter*>(converter.Get())->SetDestinationPixelFormat(LxPixelFormat_BGR8);
    std::vector<BufferPtr> bgr;
    for (const auto& f : frames) {
        bgr.emplace_back(CreateILxImageBuffer(nullptr));
        converter->Convert(f->GetILxImage(), bgr.back().Get());
    }
    std::vector<uint8_t> block(W * H * 3 * 2);
    for (auto _ : state) {
        for (int n = 0; n < MjpegFrames; ++n) {
            ILxImage* img = bgr[n % Distinct]->GetILxImage();
            size_t bytes = 0;
            lxjpeg::EncodeImage(LxPixelFormat_BGR8, img->GetImageBuffer(), W, H, img->GetImageLinePitch(), 75,
                                block.data(), block.size(), bytes);
            benchmark::DoNotOptimize(bytes);
        }
    }
    state.counters["fps"] = benchmark::Counter(double(MjpegFrames) * state.iterations(), benchmark::Counter::kIsRate);
}

void BM_PipelineUncompressed(benchmark::State& state) {
    std::vector<BufferPtr> frames;
    for (int i = 0; i < 4; ++i) frames.push_back(Frame(LxPixelFormat_BGR8, i));
    const bool openDml = state.range(0) != 0;
    auto filer = VideoFiler(Uncompressed, openDml ? AVI2 : AVI1);
    auto* v = dynamic_cast<ILxVideoFiler*>(filer->Get());
    const std::string name = TempName(openDml ? "lxvideo_bench_raw_odml.avi" : "lxvideo_bench_raw.avi");
    state.SetLabel(openDml ? "OpenDML" : "AVI 1.0");
    for (auto _ : state) {
        v->RegisterFileName(name.c_str());
        for (int n = 0; n < RawFrames; ++n) v->AddImage(frames[n % 4]->GetILxImage(), uint32_t(n));
        v->Stop();
    }
    std::filesystem::remove(name);
    state.SetBytesProcessed(int64_t(state.iterations()) * RawFrames * int64_t(W * H * 3));
}

void BM_WriteLoop(benchmark::State& state) {
    BufferPtr frame = Frame(LxPixelFormat_BGR8, 0);
    ILxImage* img = frame->GetILxImage();
    const std::string name = TempName("lxvideo_bench_dd.bin");
    const size_t bytes = img->GetImageLinePitch() * H;
    for (auto _ : state) {
        const int fd = ::open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        for (int n = 0; n < RawFrames; ++n) benchmark::DoNotOptimize(::write(fd, img->GetImageBuffer(), bytes));
        ::close(fd);
    }
    std::filesystem::remove(name);
    state.SetBytesProcessed(int64_t(state.iterations()) * RawFrames * int64_t(W * H * 3));
}

void BM_dd_OflagDirect_2MiB(benchmark::State& state) { lxbench::DdOflagDirect2MiB(state, uint64_t{RawFrames} * W * H * 3); }

} // namespace

#define LX_STEADY(b)                                                                                          \
    b->Unit(benchmark::kMillisecond)->MinTime(1.0)->MinWarmUpTime(2.0)->Repetitions(5)->ReportAggregatesOnly()->UseRealTime()
LX_STEADY(BENCHMARK(BM_PipelineMJPEG)->Arg(0));
LX_STEADY(BENCHMARK(BM_EncoderAlone));
LX_STEADY(BENCHMARK(BM_PipelineMJPEG)->Arg(1));
LX_STEADY(BENCHMARK(BM_PipelineUncompressed)->Arg(0));
LX_STEADY(BENCHMARK(BM_WriteLoop));
LX_STEADY(BENCHMARK(BM_PipelineUncompressed)->Arg(1));
LX_STEADY(BENCHMARK(BM_dd_OflagDirect_2MiB));

BENCHMARK_MAIN();
