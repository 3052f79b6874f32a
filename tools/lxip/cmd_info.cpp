// lxip info: what Load makes of a file, and the fields of its header.
#include "args.h"
#include "commands.h"
#include "library.h"

#include <lxapi/lxapi_tl.h>

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <vector>

namespace lxtool {
namespace {

uint64_t Le(const std::vector<uint8_t>& b, size_t at, size_t n) {
    uint64_t v = 0;
    for (size_t i = 0; i < n; ++i) v |= uint64_t(b[at + i]) << (8 * i);
    return v;
}
uint64_t Be(const std::vector<uint8_t>& b, size_t at, size_t n) {
    uint64_t v = 0;
    for (size_t i = 0; i < n; ++i) v = (v << 8) | b[at + i];
    return v;
}

// The header fields, read by the tool itself: only as many bytes as the header has.
void PrintHeader(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::vector<uint8_t> b(72);
    file.read(reinterpret_cast<char*>(b.data()), static_cast<std::streamsize>(b.size()));
    b.resize(static_cast<size_t>(file.gcount()));
    auto field = [](const char* name, unsigned long long v) { std::printf("  %-22s %llu\n", name, v); };
    if (b.size() >= 72 && b[0] == 'L' && b[1] == 'X' && b[2] == 'R' && b[3] == 'W') {
        std::printf("header (raw):\n");
        field("header size", Le(b, 24, 8));
        field("pixel block size", Le(b, 32, 8));
        field("width", Le(b, 40, 8));
        field("height", Le(b, 48, 8));
        field("line pitch", Le(b, 56, 8));
        std::printf("  %-22s 0x%08llX (%s)\n", "pixel format", static_cast<unsigned long long>(Le(b, 64, 4)),
                    FormatName(static_cast<uint32_t>(Le(b, 64, 4))).c_str());
    } else if (b.size() >= 54 && b[0] == 'B' && b[1] == 'M') {
        std::printf("header (BMP):\n");
        field("file size", Le(b, 2, 4));
        field("pixel data offset", Le(b, 10, 4));
        field("info header size", Le(b, 14, 4));
        std::printf("  %-22s %lld\n", "width", static_cast<long long>(static_cast<int32_t>(Le(b, 18, 4))));
        std::printf("  %-22s %lld\n", "height", static_cast<long long>(static_cast<int32_t>(Le(b, 22, 4))));
        field("planes", Le(b, 26, 2));
        field("bits per pixel", Le(b, 28, 2));
        field("compression", Le(b, 30, 4));
        field("image size", Le(b, 34, 4));
        field("palette colours", Le(b, 46, 4));
    } else if (b.size() >= 33 && b[0] == 0x89 && b[1] == 'P' && b[2] == 'N' && b[3] == 'G') {
        std::printf("header (PNG IHDR):\n");
        field("width", Be(b, 16, 4));
        field("height", Be(b, 20, 4));
        field("bit depth", b[24]);
        field("colour type", b[25]);
        field("interlace", b[28]);
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
