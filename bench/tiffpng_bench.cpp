// Saving one 2448 x 2048 image as TIFF or PNG through the still image filer, against the peers in the
// same run: for TIFF one fwrite of the very bytes Save writes (the floor) and libtiff writing the same
// uncompressed strip; for PNG libpng driven directly with the filer's settings (same colour type,
// depth, transforms, default compression and filters), so that the difference is the filer's own work;
// and cv::imwrite at its defaults. Each iteration creates, writes and closes the file in the system's
// temporary folder. The images hold random samples (PNG compresses them hardly at all).
#include <lxapi/clxautoptr.h>
#include <lxapi/ilxstillimagefiler.h>
#include <lxapi/lxapi_ip.h>
#include <lxapi/lxapi_tl.h>
#include <lxapi/lxpixelformat.h>

#include <benchmark/benchmark.h>
#include <png.h>

#include <csetjmp>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#ifdef LXTIFFPNG_HAVE_LIBTIFF
#include <tiffio.h>
#endif
#ifdef LXTIFFPNG_HAVE_OPENCV
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

// Random samples; 16-bit ones below 2^bits when `bits` is given.
BufferPtr MakeImage(uint32_t format, unsigned bits = 0) {
    BufferPtr b(CreateILxImageBuffer(nullptr));
    b->CreateBuffer(W, H, format);
    ILxImage* img = b->GetILxImage();
    std::mt19937 rng(1);
    auto* p = static_cast<uint8_t*>(img->GetImageBuffer());
    for (size_t i = 0; i < img->GetImagePlaneSize(); ++i) p[i] = uint8_t(rng());
    if (bits)
        for (size_t i = 1; i < img->GetImagePlaneSize(); i += 2) p[i] &= uint8_t((1u << (bits - 8)) - 1);
    return b;
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

// ---- TIFF ----

void BM_SaveTiffRGB8(benchmark::State& s) { Save(s, LxPixelFormat_RGB8, StillImageFileFormat_TIFF, "lxbench.tif"); }

void BM_FwriteTiffRGB8(benchmark::State& state) {
    BufferPtr image = MakeImage(LxPixelFormat_RGB8);
    FilerPtr filer(CreateILxFiler(LxFilerType_StillImage));
    const std::string name = TempName("lxbench_f.tif");
    dynamic_cast<ILxStillImageFiler*>(filer.Get())->Save(image->GetILxImage(), StillImageFileFormat_TIFF, name.c_str());
    std::ifstream in(name, std::ios::binary);
    const std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    for (auto _ : state) {
        FILE* f = std::fopen(name.c_str(), "wb");
        if (!f || std::fwrite(bytes.data(), 1, bytes.size(), f) != bytes.size()) state.SkipWithError("fwrite");
        if (f) std::fclose(f);
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(bytes.size()));
    std::filesystem::remove(name);
}

#ifdef LXTIFFPNG_HAVE_LIBTIFF
// libtiff: the same uncompressed RGB8 image, one strip, written line by line from the buffer.
void BM_LibtiffRGB8(benchmark::State& state) {
    BufferPtr image = MakeImage(LxPixelFormat_RGB8);
    ILxImage* img = image->GetILxImage();
    const std::string name = TempName("lxbench_lt.tif");
    TIFFSetWarningHandler(nullptr);
    for (auto _ : state) {
        TIFF* t = TIFFOpen(name.c_str(), "wl");
        if (!t) {
            state.SkipWithError("TIFFOpen");
            break;
        }
        TIFFSetField(t, TIFFTAG_IMAGEWIDTH, uint32_t(W));
        TIFFSetField(t, TIFFTAG_IMAGELENGTH, uint32_t(H));
        TIFFSetField(t, TIFFTAG_BITSPERSAMPLE, 8);
        TIFFSetField(t, TIFFTAG_SAMPLESPERPIXEL, 3);
        TIFFSetField(t, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
        TIFFSetField(t, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
        TIFFSetField(t, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
        TIFFSetField(t, TIFFTAG_ROWSPERSTRIP, uint32_t(H));
        TIFFSetField(t, TIFFTAG_XRESOLUTION, 72.0);
        TIFFSetField(t, TIFFTAG_YRESOLUTION, 72.0);
        TIFFSetField(t, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
        auto* p = static_cast<uint8_t*>(img->GetImageBuffer());
        for (uint32_t y = 0; y < H; ++y)
            if (TIFFWriteScanline(t, p + y * img->GetImageLinePitch(), y, 0) < 0) state.SkipWithError("TIFFWriteScanline");
        TIFFClose(t);
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(std::filesystem::file_size(name)));
    std::filesystem::remove(name);
}
BENCHMARK(BM_LibtiffRGB8)->Unit(benchmark::kMillisecond);
#endif

// ---- PNG ----

void BM_SavePngBGR8(benchmark::State& s) { Save(s, LxPixelFormat_BGR8, StillImageFileFormat_PNG, "lxbench.png"); }
void BM_SavePngMono16(benchmark::State& s) { Save(s, LxPixelFormat_Mono16, StillImageFileFormat_PNG, "lxbench16.png"); }

// libpng through stdio, with what the filer sets for the format: `bgr` for blue-first samples, the
// byte swap for 16-bit ones.
bool LibpngWrite(const std::string& name, ILxImage* img, int colorType, int depth, bool bgr) {
    FILE* f = std::fopen(name.c_str(), "wb");
    if (!f) return false;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    bool ok = false;
    if (!setjmp(png_jmpbuf(png))) {
        png_init_io(png, f);
        png_set_IHDR(png, info, uint32_t(W), uint32_t(H), depth, colorType, PNG_INTERLACE_NONE,
                     PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
        png_write_info(png, info);
        if (bgr) png_set_bgr(png);
        if (depth == 16) png_set_swap(png);
        auto* p = static_cast<uint8_t*>(img->GetImageBuffer());
        for (size_t y = 0; y < H; ++y) png_write_row(png, p + y * img->GetImageLinePitch());
        png_write_end(png, info);
        ok = true;
    }
    png_destroy_write_struct(&png, &info);
    std::fclose(f);
    return ok;
}

void Libpng(benchmark::State& state, uint32_t format, int colorType, int depth, bool bgr, const char* file) {
    BufferPtr image = MakeImage(format);
    const std::string name = TempName(file);
    for (auto _ : state)
        if (!LibpngWrite(name, image->GetILxImage(), colorType, depth, bgr)) state.SkipWithError("libpng");
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(std::filesystem::file_size(name)));
    std::filesystem::remove(name);
}
void BM_LibpngBGR8(benchmark::State& s) { Libpng(s, LxPixelFormat_BGR8, PNG_COLOR_TYPE_RGB, 8, true, "lxbench_lp.png"); }
void BM_LibpngMono16(benchmark::State& s) { Libpng(s, LxPixelFormat_Mono16, PNG_COLOR_TYPE_GRAY, 16, false, "lxbench_lp16.png"); }

BENCHMARK(BM_SaveTiffRGB8)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FwriteTiffRGB8)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SavePngBGR8)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LibpngBGR8)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SavePngMono16)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LibpngMono16)->Unit(benchmark::kMillisecond);

#ifdef LXTIFFPNG_HAVE_OPENCV
void Imwrite(benchmark::State& state, uint32_t format, int type, const char* file) {
    BufferPtr image = MakeImage(format);
    ILxImage* img = image->GetILxImage();
    const cv::Mat mat(int(H), int(W), type, img->GetImageBuffer(), img->GetImageLinePitch());
    const std::string name = TempName(file);
    for (auto _ : state)
        if (!cv::imwrite(name, mat)) state.SkipWithError("imwrite");
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(std::filesystem::file_size(name)));
    std::filesystem::remove(name);
}
void BM_ImwriteTiffRGB8(benchmark::State& s) { Imwrite(s, LxPixelFormat_RGB8, CV_8UC3, "lxbench_cv.tif"); }
void BM_ImwritePngBGR8(benchmark::State& s) { Imwrite(s, LxPixelFormat_BGR8, CV_8UC3, "lxbench_cv.png"); }
void BM_ImwritePngMono16(benchmark::State& s) { Imwrite(s, LxPixelFormat_Mono16, CV_16UC1, "lxbench_cv16.png"); }
BENCHMARK(BM_ImwriteTiffRGB8)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ImwritePngBGR8)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ImwritePngMono16)->Unit(benchmark::kMillisecond);
#endif

} // namespace

BENCHMARK_MAIN();
