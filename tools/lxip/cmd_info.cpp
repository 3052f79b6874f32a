// lxip info: what Load makes of a file, and the fields of its header.
#include "args.h"
#include "commands.h"
#include "header.h"
#include "library.h"

#include <lxapi/lxapi_tl.h>

#include <cstdint>
#include <cstdio>
#include <fstream>

namespace lxtool {
namespace {

// The header fields, read by the tool itself from the file's first bytes.
void PrintHeader(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    uint8_t bytes[HeaderBytes];
    file.read(reinterpret_cast<char*>(bytes), sizeof bytes);
    const FileHeader header = ReadHeader(bytes, static_cast<size_t>(file.gcount()));
    if (header.kind.empty()) return;
    std::printf("header (%s):\n", header.kind.c_str());
    for (const auto& [name, value] : header.fields) {
        std::printf("  %-22s %s", name.c_str(), value.c_str());
        if (name == "pixel format") std::printf(" (%s)", FormatName(header.pixelFormat).c_str());
        std::printf("\n");
    }
}

} // namespace

int RunInfo(int argc, char** argv) {
    const Args args = Parse(argc, argv, 1, {});
    if (args.help) {
        std::fputs(Commands[2].usage, stdout);
        return 0;
    }
    if (args.positionals.size() != 1) throw UsageError("expected one FILE");
    const std::string& path = args.positionals[0];
    Sdk sdk;
    BufferPtr buffer(CreateILxImageBuffer());
    Load(buffer.Get(), path);
    ILxImage* image = buffer->GetILxImage();
    std::printf("file                     %s\n", path.c_str());
    std::printf("pixel format             %s (0x%08X)\n", FormatName(image->GetImagePixelFormat()).c_str(),
                image->GetImagePixelFormat());
    std::printf("width x height           %zu x %zu\n", image->GetImageWidth(), image->GetImageHeight());
    std::printf("line pitch               %zu bytes\n", image->GetImageLinePitch());
    std::printf("plane size               %zu bytes\n", image->GetImagePlaneSize());
    PrintHeader(path);
    return 0;
}

} // namespace lxtool
