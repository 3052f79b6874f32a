// lxip: try the image-processing library on a capture from the command line.
#include "args.h"
#include "commands.h"

#include <GenICam/GCException.h>

#include <cstdio>
#include <cstring>
#include <exception>

namespace lxtool {

const Command Commands[6] = {
    {"demo", "run the built-in capture through the library and write its files",
     "usage: lxip demo [--out DIR] [--frames N]\n"
     "  Renders a 12-bit BayerRG test chart, demosaics it by every method, balances white, applies\n"
     "  gamma and a pseudo-colour map, saves it in every still file format and as short videos, and\n"
     "  prints a table of each step with its time and file. Formats this build lacks are marked skipped.\n"
     "  --out DIR     where the files go (default out)\n"
     "  --frames N    frames of the moving sequence (default 24)\n",
     &RunDemo},
    {"convert", "convert one image file (or the demo capture) into another",
     "usage: lxip convert IN OUT [--format F] [--to FORMAT] [--demosaic METHOD] [--gamma G]\n"
     "                    [--balance auto|R,G,B] [--colormap TYPE] [--quality Q]\n"
     "  IN is a raw, BMP or PNG file, or demo: for the built-in capture. The file format of OUT comes\n"
     "  from its extension (.raw .bmp .jpg .tif .png .csv) or --format (raw bmp jpeg tiff png csv).\n"
     "  --to FORMAT        pixel format to convert to first (a name such as BGR8, Mono16)\n"
     "  --demosaic METHOD  NearestNeighbor NearestNeighbor2 Bilinear Bilinear2 Bilinear3 Bicubic Mono\n"
     "  --gamma G          gamma correction, 0 to 4\n"
     "  --balance auto|R,G,B  white balance: automatic once, or the three ratios (0 to 16)\n"
     "  --colormap TYPE    normal, bgr or bgrb: a mono image in false colours\n"
     "  --quality Q        JPEG quality, 0 to 100\n",
     &RunConvert},
    {"info", "what loading a file gives, and its header",
     "usage: lxip info FILE\n"
     "  Loads FILE (raw, BMP or PNG) as the library does and prints pixel format, size and pitch, then\n"
     "  the fields of the file's header.\n",
     &RunInfo},
    {"features", "the feature tree of a module, with current values",
     "usage: lxip features MODULE [--set Name=Value ...]\n"
     "  MODULE: gamma colortransformation edge balance noise flatfield chroma sn graphdata averaging\n"
     "  defect converter reverse still video. --set writes a feature through the node map first, as a\n"
     "  camera tool would; it may be given several times.\n",
     &RunFeatures},
    {"formats", "the pixel formats and the conversions the library has",
     "usage: lxip formats [--from FORMAT | --to FORMAT]\n"
     "  Without options: every pixel format, whether the converter takes it as source, and as\n"
     "  destination. --from F: the formats F converts to. --to F: the formats that convert to F.\n",
     &RunFormats},
    {"video", "a sequence of images to video files",
     "usage: lxip video --out DIR --format avi1|avi2|webm [--codec C] [--fps N] [--frames N] IN...\n"
     "  IN are raw, BMP or PNG files, or demo: (with --frames N) for the moving demo capture.\n"
     "  --codec uncompressed|mjpeg|vp8 (default mjpeg for AVI, vp8 for WebM); --fps 0.001 to 65535;\n"
     "  --max-frames N starts a new file every N frames.\n",
     &RunVideo},
};

} // namespace lxtool

namespace {

void PrintUsage(FILE* out) {
    std::fprintf(out, "usage: lxip COMMAND [ARGS] (lxip COMMAND --help for more)\n\ncommands:\n");
    for (const lxtool::Command& c : lxtool::Commands) std::fprintf(out, "  %-9s %s\n", c.name, c.summary);
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        PrintUsage(stderr);
        return 2;
    }
    if (!std::strcmp(argv[1], "--help") || !std::strcmp(argv[1], "-h") || !std::strcmp(argv[1], "help")) {
        PrintUsage(stdout);
        return 0;
    }
    for (const lxtool::Command& c : lxtool::Commands) {
        if (std::strcmp(argv[1], c.name) != 0) continue;
        try {
            return c.run(argc - 1, argv + 1);
        } catch (const lxtool::UsageError& e) {
            std::fprintf(stderr, "lxip %s: %s\n(lxip %s --help shows the usage)\n", c.name, e.what(), c.name);
            return 2;
        } catch (const GenICam::GenericException& e) {
            // The library's own text, as it says it.
            std::fprintf(stderr, "lxip %s: %s\n", c.name, e.GetDescription());
            return 1;
        } catch (const std::exception& e) {
            std::fprintf(stderr, "lxip %s: %s\n", c.name, e.what());
            return 1;
        }
    }
    std::fprintf(stderr, "lxip: unknown command '%s'\n", argv[1]);
    PrintUsage(stderr);
    return 2;
}
