// lxip formats: the pixel formats, and which conversions the library does, found by asking it.
#include "args.h"
#include "commands.h"
#include "library.h"

#include <GenICam/GCException.h>
#include <lxapi/lxapi_tl.h>

#include <cstdio>

namespace lxtool {
namespace {

// Whether the converter turns a small image of `from` into `to`: the library is the authority.
bool Converts(uint32_t from, uint32_t to) {
    try {
        BufferPtr source(CreateILxImageBuffer()), destination(CreateILxImageBuffer());
        source->CreateBuffer(16, 16, from);
        Convert(source->GetILxImage(), destination.Get(), to);
        return true;
    } catch (const GenICam::GenericException&) {
        return false;
    }
}

bool IsDestination(uint32_t format) {
    try {
        ConverterPtr converter(CreateILxConverter(LxConverterType_PixelFormat));
        dynamic_cast<ILxPixelFormatConverter*>(converter.Get())->SetDestinationPixelFormat(format);
        return true;
    } catch (const GenICam::GenericException&) {
        return false;
    }
}

} // namespace

int RunFormats(int argc, char** argv) {
    const Args args = Parse(argc, argv, 1, {{"from", true}, {"to", true}});
    if (args.help) {
        std::fputs(Commands[4].usage, stdout);
        return 0;
    }
    if (!args.positionals.empty()) throw UsageError("unexpected argument '" + args.positionals[0] + "'");
    if (args.Has("from") && args.Has("to")) throw UsageError("give --from or --to, not both");
    Sdk sdk;
    ConverterPtr converter(CreateILxConverter(LxConverterType_PixelFormat));
    ILxConverterInfo* info = converter->GetConverterInfo();
    if (args.Has("from") || args.Has("to")) {
        const bool from = args.Has("from");
        const uint32_t given = PixelFormatByName(args.Value(from ? "from" : "to"), from ? "--from" : "--to");
        int count = 0;
        for (uint32_t other : AllPixelFormats()) {
            if (from ? !IsDestination(other) : !info->IsSupportedPixelFormat(other)) continue;
            if (from ? Converts(given, other) : Converts(other, given)) {
                std::printf("%s\n", FormatName(other).c_str());
                ++count;
            }
        }
        std::fprintf(stderr, "%d format(s) %s %s\n", count, from ? "reachable from" : "convert to",
                     FormatName(given).c_str());
        return 0;
    }
    std::printf("%-36s %-10s  %-6s  %s\n", "pixel format", "code", "source", "destination");
    for (uint32_t f : AllPixelFormats())
        std::printf("%-36s 0x%08X  %-6s  %s\n", FormatName(f).c_str(), f,
                    info->IsSupportedPixelFormat(f) ? "yes" : "-", IsDestination(f) ? "yes" : "-");
    return 0;
}

} // namespace lxtool
