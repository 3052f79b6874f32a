// Saving one 2448 x 2048 image through the still image filer, against writing the same bytes with one
// fwrite in the same run (the floor of any writer) and, for BMP, against cv::imwrite. Each iteration
// creates, writes and closes the file, in the system's temporary folder.
#include <lxapi/clxautoptr.h>
#include <lxapi/ilxstillimagefiler.h>
#include <lxapi/lxapi_ip.h>
#include <lxapi/lxapi_tl.h>
#include <lxapi/lxpixelformat.h>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#ifdef LXSTILL_HAVE_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>
#endif

namespace {

constexpr size_t W = 2448, H = 2048;

using BufferPtr = CLxAutoPtr<ILxImageBufferReleasable, ILxImageBuffer>;
using FilerPtr = CLxAutoPtr<ILxFilerReleasable, ILxFiler>;

struct Sdk {
    Sdk() { LxApiInitialize(); }
} sdk;

std::string TempName(const char* name) { return (std::filesystem::temp_directory_path() / name).string(); }

BufferPtr MakeImage(uint32_t format) {
    BufferPtr b(CreateILxImageBuffer(nullptr));
    b->CreateBuffer(W, H, format);
    ILxImage* img = b->GetILxImage();
    std::mt19937 rng(1);
    auto* p = static_cast<uint8_t*>(img->GetImageBuffer());
    for (size_t i = 0; i < img->GetImagePlaneSize(); ++i) p[i] = uint8_t(rng());
    return b;
}

std::vector<char> FileBytes(const std::string& name) {
    std::ifstream in(name, std::ios::binary);
    return std::vector<char>((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

void Save(benchmark::State& state, uint32_t format, ELxStillImageFileFormat_t fileFormat, const char* file) {
    BufferPtr image = MakeImage(format);
    FilerPtr filer(CreateILxFiler(LxFilerType_StillImage));
    auto* still = dynamic_cast<ILxStillImageFiler*>(filer.Get());
    const std::string name = TempName(file);
    for (auto _ : state) still->Save(image->GetILxImage(), fileFormat, name.c_str());
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(std::filesystem::file_size(name)));
    std::filesystem::remove(name);
}

// One fwrite of the very bytes that Save writes for the same image.
void Fwrite(benchmark::State& state, uint32_t format, ELxStillImageFileFormat_t fileFormat, const char* file) {
    BufferPtr image = MakeImage(format);
    FilerPtr filer(CreateILxFiler(LxFilerType_StillImage));
    const std::string name = TempName(file);
    dynamic_cast<ILxStillImageFiler*>(filer.Get())->Save(image->GetILxImage(), fileFormat, name.c_str());
    const std::vector<char> bytes = FileBytes(name);
    for (auto _ : state) {
        FILE* f = std::fopen(name.c_str(), "wb");
        if (!f || std::fwrite(bytes.data(), 1, bytes.size(), f) != bytes.size()) state.SkipWithError("fwrite");
        if (f) std::fclose(f);
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(bytes.size()));
    std::filesystem::remove(name);
}

void BM_SaveBmpBGR8(benchmark::State& s) { Save(s, LxPixelFormat_BGR8, StillImageFileFormat_Bitmap, "lxbench.bmp"); }
void BM_FwriteBmpBGR8(benchmark::State& s) { Fwrite(s, LxPixelFormat_BGR8, StillImageFileFormat_Bitmap, "lxbench_f.bmp"); }
void BM_SaveRawMono8(benchmark::State& s) { Save(s, LxPixelFormat_Mono8, StillImageFileFormat_Raw, "lxbench.raw"); }
void BM_FwriteRawMono8(benchmark::State& s) { Fwrite(s, LxPixelFormat_Mono8, StillImageFileFormat_Raw, "lxbench_f.raw"); }
void BM_SaveCsvMono8(benchmark::State& s) { Save(s, LxPixelFormat_Mono8, StillImageFileFormat_CSV, "lxbench.csv"); }
void BM_FwriteCsvMono8(benchmark::State& s) { Fwrite(s, LxPixelFormat_Mono8, StillImageFileFormat_CSV, "lxbench_f.csv"); }

BENCHMARK(BM_SaveBmpBGR8)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FwriteBmpBGR8)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SaveRawMono8)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FwriteRawMono8)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SaveCsvMono8)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FwriteCsvMono8)->Unit(benchmark::kMillisecond);

#ifdef LXSTILL_HAVE_OPENCV
void BM_ImwriteBmpBGR8(benchmark::State& state) {
    BufferPtr image = MakeImage(LxPixelFormat_BGR8);
    ILxImage* img = image->GetILxImage();
    const cv::Mat mat(int(H), int(W), CV_8UC3, img->GetImageBuffer(), img->GetImageLinePitch());
    const std::string name = TempName("lxbench_cv.bmp");
    for (auto _ : state)
        if (!cv::imwrite(name, mat)) state.SkipWithError("imwrite");
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(std::filesystem::file_size(name)));
    std::filesystem::remove(name);
}
BENCHMARK(BM_ImwriteBmpBGR8)->Unit(benchmark::kMillisecond);
#endif

} // namespace

BENCHMARK_MAIN();
