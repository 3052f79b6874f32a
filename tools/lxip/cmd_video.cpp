// lxip video: images or the moving demo capture to video files.
#include "args.h"
#include "commands.h"
#include "library.h"
#include "progress.h"
#include "video.h"

#include <lxapi/lxapi_tl.h>
#include <lxapi/lxpixelformat.h>

#include <cstdio>
#include <filesystem>

namespace lxtool {

int RunVideo(int argc, char** argv) {
    const Args args = Parse(argc, argv, 1,
                            {{"out", true}, {"format", true}, {"codec", true}, {"fps", true}, {"frames", true},
                             {"max-frames", true}});
    if (args.help) {
        std::fputs(Commands[5].usage, stdout);
        return 0;
    }
    if (!args.Has("out")) throw UsageError("--out DIR is required");
    if (!args.Has("format")) throw UsageError("--format avi1|avi2|webm is required");
    if (args.positionals.empty()) throw UsageError("expected IN... (image files or demo:)");
    VideoJob job;
    job.kind = Lower(args.Value("format"));
    job.codec = args.Value("codec");
    job.fps = ToDouble(args.Value("fps", "25"), "--fps", 0.001, 65535.0);
    job.maxFramesPerFile = args.Has("max-frames") ? ToInteger(args.Value("max-frames"), "--max-frames", 1, 100000) : 0;
    bool knownKind = false;
    for (const VideoKind& k : VideoKinds()) knownKind = knownKind || job.kind == k.name;
    if (!knownKind) throw UsageError("bad value '" + args.Value("format") + "' for --format: expected avi1, avi2 or webm");
    const bool demo = args.positionals.size() == 1 && args.positionals[0] == "demo:";
    const size_t count = demo ? static_cast<size_t>(ToInteger(args.Value("frames", "48"), "--frames", 1, 100000))
                              : args.positionals.size();
    // Enough names for every file the rotation can start, named in order.
    const std::filesystem::path out = args.Value("out");
    const std::string ext = job.kind == "webm" ? ".webm" : ".avi";
    const size_t files = job.maxFramesPerFile ? (count + job.maxFramesPerFile - 1) / job.maxFramesPerFile : 1;
    for (size_t i = 0; i < std::max<size_t>(files, 1); ++i) {
        char name[32];
        std::snprintf(name, sizeof name, "video-%03zu", i);
        job.fileNames.push_back((out / (name + ext)).string());
    }

    Sdk sdk;
    std::filesystem::create_directories(out);
    BufferPtr raw(CreateILxImageBuffer()), frame(CreateILxImageBuffer());
    Progress progress("video " + job.kind, count);
    WriteVideo(job, count, [&](size_t i) {
        progress.Step(i + 1);
        if (demo) RenderCapture(raw.Get(), static_cast<int>(i), 320, 240);
        else Load(raw.Get(), args.positionals[i]);
        Convert(raw->GetILxImage(), frame.Get(), LxPixelFormat_BGR8);
        return frame->GetILxImage();
    });
    for (const std::string& name : job.fileNames) std::printf("%s\n", name.c_str());
    return 0;
}

} // namespace lxtool
