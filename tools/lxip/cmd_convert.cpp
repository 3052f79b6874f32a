// lxip convert: one image through the chosen steps into one file.
#include "args.h"
#include "commands.h"
#include "library.h"

#include <lxapi/lxapi_tl.h>
#include <lxapi/lxpixelformat.h>

#include <cstdio>
#include <sstream>

namespace lxtool {

namespace {
std::vector<double> ParseRatios(const std::string& text) {
    std::vector<double> ratios;
    std::stringstream in(text);
    std::string part;
    while (std::getline(in, part, ',')) ratios.push_back(ToDouble(part, "--balance", 0.0, 16.0));
    if (ratios.size() != 3) throw UsageError("bad value '" + text + "' for --balance: expected auto or R,G,B");
    return ratios;
}
} // namespace

int RunConvert(int argc, char** argv) {
    const Args args = Parse(argc, argv, 1,
                            {{"format", true}, {"to", true}, {"demosaic", true}, {"gamma", true},
                             {"balance", true}, {"colormap", true}, {"quality", true}});
    if (args.help) {
        std::fputs(Commands[1].usage, stdout);
        return 0;
    }
    if (args.positionals.size() != 2) throw UsageError("expected IN and OUT");
    const std::string& in = args.positionals[0];
    const std::string& outPath = args.positionals[1];
    // Check every option before touching any file.
    const StillFormat& format = StillFormatFor(outPath, args.Value("format"));
    const ELxBayerInterpolationMethod_t method = BayerMethodByName(args.Value("demosaic", "Bilinear"));
    const uint32_t to = args.Has("to") ? PixelFormatByName(args.Value("to"), "--to") : 0;
    const double gamma = args.Has("gamma") ? ToDouble(args.Value("gamma"), "--gamma", 0.0, 4.0) : -1.0;
    const int quality = args.Has("quality") ? static_cast<int>(ToInteger(args.Value("quality"), "--quality", 0, 100)) : -1;
    const ELxColorMapType_t map = args.Has("colormap") ? ColorMapByName(args.Value("colormap")) : LxColorMapType_Normal;
    std::optional<std::optional<std::vector<double>>> balance;
    if (args.Has("balance"))
        balance = Lower(args.Value("balance")) == "auto" ? std::nullopt
                                                          : std::optional<std::vector<double>>(ParseRatios(args.Value("balance")));

    Sdk sdk;
    BufferPtr image(CreateILxImageBuffer());
    if (in == "demo:") RenderCapture(image.Get());
    else Load(image.Get(), in);

    // Bayer images are demosaiced before anything else, colour filters want colour pixels.
    const bool bayer = GetILxPixelFormatInfo(image->GetILxImage()->GetImagePixelFormat())->IsBayer();
    uint32_t target = to;
    if (!target && map != LxColorMapType_Normal) target = LxPixelFormat_Mono8;
    if (!target && bayer && (balance || args.Has("demosaic") || format.id != StillImageFileFormat_Raw))
        target = LxPixelFormat_BGR8;
    if (target && target != image->GetILxImage()->GetImagePixelFormat()) {
        BufferPtr converted(CreateILxImageBuffer());
        Convert(image->GetILxImage(), converted.Get(), target, method);
        image->CopyImage(converted->GetILxImage());
    }
    if (balance) Balance(image->GetILxImage(), *balance);
    if (gamma >= 0) Gamma(image->GetILxImage(), gamma);
    if (map != LxColorMapType_Normal) {
        BufferPtr mapped(CreateILxImageBuffer());
        Convert(image->GetILxImage(), mapped.Get(), LxPixelFormat_BGR8, method, map);
        image->CopyImage(mapped->GetILxImage());
    }
    const uint32_t written = Save(image->GetILxImage(), format, outPath, quality);
    std::printf("%s %zux%zu -> %s (%s)\n", FormatName(written).c_str(), image->GetILxImage()->GetImageWidth(),
                image->GetILxImage()->GetImageHeight(), outPath.c_str(), format.name);
    return 0;
}

} // namespace lxtool
