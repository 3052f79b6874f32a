// lxip demo: the built-in capture through the library, one table row per step.
#include "args.h"
#include "commands.h"
#include "library.h"
#include "progress.h"
#include "video.h"

#include <GenICam/GCException.h>
#include <lxapi/lxapi_tl.h>
#include <lxapi/lxpixelformat.h>

#include <chrono>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <functional>
#include <string>

namespace lxtool {
namespace {

struct Table {
    int failed = 0;
    int skipped = 0;

    Table() { std::printf("%-28s %10s  %s\n", "step", "time", "result"); }

    // Runs `step`, which returns what it did, and prints its row. A module that says it is not in
    // this build makes the row "skipped"; any other exception makes it "FAILED" and the exit status 1.
    void Row(const std::string& name, const std::function<std::string()>& step) {
        const auto start = std::chrono::steady_clock::now();
        std::string result, status;
        try {
            result = step();
        } catch (const GenICam::GenericException& e) {
            status = e.GetDescription();
        } catch (const std::exception& e) {
            status = e.what();
        }
        const double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
        if (status.empty()) {
            std::printf("%-28s %7.1f ms  %s\n", name.c_str(), ms, result.c_str());
        } else if (status.find("not yet available") != std::string::npos) {
            ++skipped;
            std::printf("%-28s %10s  skipped: %s\n", name.c_str(), "-", status.c_str());
        } else {
            ++failed;
            std::printf("%-28s %10s  FAILED: %s\n", name.c_str(), "-", status.c_str());
        }
        std::fflush(stdout);
    }
};

std::string Describe(ILxImage* image) {
    return FormatName(image->GetImagePixelFormat()) + " " + std::to_string(image->GetImageWidth()) + "x" +
           std::to_string(image->GetImageHeight());
}

} // namespace

int RunDemo(int argc, char** argv) {
    const Args args = Parse(argc, argv, 1, {{"out", true}, {"frames", true}});
    if (args.help) {
        std::fputs(Commands[0].usage, stdout);
        return 0;
    }
    if (!args.positionals.empty()) throw UsageError("unexpected argument '" + args.positionals[0] + "'");
    const std::filesystem::path out = args.Value("out", "out");
    const auto frames = static_cast<size_t>(ToInteger(args.Value("frames", "24"), "--frames", 1, 100000));
    std::filesystem::create_directories(out);
    auto file = [&](const std::string& name) { return (out / name).string(); };

    Sdk sdk;
    Table table;
    BufferPtr capture(CreateILxImageBuffer());
    table.Row("render capture", [&] {
        RenderCapture(capture.Get());
        Save(capture->GetILxImage(), StillFormatFor("", "raw"), file("capture.raw"));
        return Describe(capture->GetILxImage()) + " -> " + file("capture.raw");
    });

    // Every demosaicing method side by side: the zone plate and the fine lines show their artefacts.
    const ELxBayerInterpolationMethod_t methods[] = {
        LxBayerInterpolationMethod_NearestNeighbor, LxBayerInterpolationMethod_NearestNeighbor2,
        LxBayerInterpolationMethod_Bilinear,        LxBayerInterpolationMethod_Bilinear2,
        LxBayerInterpolationMethod_Bilinear3,       LxBayerInterpolationMethod_Bicubic,
        LxBayerInterpolationMethod_Mono};
    BufferPtr colour(CreateILxImageBuffer());
    for (ELxBayerInterpolationMethod_t method : methods) {
        const std::string name = BayerMethodName(method);
        table.Row("demosaic " + name, [&] {
            BufferPtr result(CreateILxImageBuffer());
            Convert(capture->GetILxImage(), result.Get(), LxPixelFormat_BGR8, method);
            const std::string path = file("demosaic-" + Lower(name) + ".bmp");
            Save(result->GetILxImage(), StillFormatFor(path, ""), path);
            if (method == LxBayerInterpolationMethod_Bicubic) colour->CopyImage(result->GetILxImage());
            return Describe(result->GetILxImage()) + " -> " + path;
        });
    }
    table.Row("white balance (auto once)", [&] {
        Balance(colour->GetILxImage(), std::nullopt);
        return Describe(colour->GetILxImage()) + " in place";
    });
    table.Row("gamma 0.6", [&] {
        Gamma(colour->GetILxImage(), 0.6);
        return Describe(colour->GetILxImage()) + " in place";
    });
    table.Row("pseudo colour (BGR map)", [&] {
        BufferPtr mono(CreateILxImageBuffer()), mapped(CreateILxImageBuffer());
        Convert(capture->GetILxImage(), mono.Get(), LxPixelFormat_Mono8, LxBayerInterpolationMethod_Mono);
        Convert(mono->GetILxImage(), mapped.Get(), LxPixelFormat_BGR8, LxBayerInterpolationMethod_Bilinear,
                LxColorMapType_PseudoColor_BGR);
        const std::string path = file("pseudocolour.bmp");
        Save(mapped->GetILxImage(), StillFormatFor(path, ""), path);
        return Describe(mapped->GetILxImage()) + " -> " + path;
    });

    // The finished picture in every still file format; one row each.
    for (const char* name : {"png", "jpeg", "bmp", "tiff", "raw"}) {
        const StillFormat& format = StillFormatFor("", name);
        const std::string path = file(std::string("chart") + format.extensions[0]);
        table.Row(std::string("save ") + name, [&] {
            const uint32_t written = Save(colour->GetILxImage(), format, path, 90);
            return FormatName(written) + " -> " + path + " (" + std::to_string(std::filesystem::file_size(path)) +
                   " bytes)";
        });
    }

    // The moving sequence in each video kind: frames rendered, demosaiced and handed to the filer.
    struct VideoRow {
        const char* kind;
        const char* codec;
        const char* file;
    };
    for (const VideoRow& v : {VideoRow{"avi1", "uncompressed", "sequence-uncompressed.avi"},
                              VideoRow{"avi1", "mjpeg", "sequence-mjpeg.avi"},
                              VideoRow{"avi2", "mjpeg", "sequence-opendml.avi"},
                              VideoRow{"webm", "vp8", "sequence.webm"}}) {
        table.Row(std::string("video ") + v.kind + " " + v.codec, [&] {
            VideoJob job{v.kind, v.codec, 25.0, 0, {file(v.file)}};
            BufferPtr raw(CreateILxImageBuffer()), frame(CreateILxImageBuffer());
            Progress progress(std::string("video ") + v.kind, frames);
            WriteVideo(job, frames, [&](size_t i) {
                progress.Step(i + 1);
                RenderCapture(raw.Get(), static_cast<int>(i), 320, 240);
                Convert(raw->GetILxImage(), frame.Get(), LxPixelFormat_BGR8);
                return frame->GetILxImage();
            });
            return std::to_string(frames) + " frames 320x240 -> " + file(v.file);
        });
    }

    std::printf("\n%d step(s) skipped, %d failed; files in %s\n", table.skipped, table.failed, out.string().c_str());
    return table.failed ? 1 : 0;
}

} // namespace lxtool
