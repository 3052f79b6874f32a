#include "video.h"

#include "args.h"
#include "library.h"
#include "progress.h"

#include <GenApi/GenApi.h>

#include <stdexcept>

namespace lxtool {

const std::vector<VideoKind>& VideoKinds() {
    static const std::vector<VideoKind> kinds = {{"avi1", "AVI1"}, {"avi2", "AVI2"}, {"webm", "WebM"}};
    return kinds;
}

namespace {
std::string CodecEntry(const VideoJob& job) {
    const std::string codec = Lower(job.codec.empty() ? (job.kind == "webm" ? "vp8" : "mjpeg") : job.codec);
    if (codec == "uncompressed") return "Uncompressed";
    if (codec == "mjpeg") return "MotionJPEG";
    if (codec == "vp8") return "VP8";
    throw UsageError("bad value '" + job.codec + "' for --codec: expected uncompressed, mjpeg or vp8");
}
} // namespace

void WriteVideo(const VideoJob& job, size_t count, const std::function<ILxImage*(size_t)>& next) {
    const VideoKind* kind = nullptr;
    for (const VideoKind& k : VideoKinds())
        if (job.kind == k.name) kind = &k;
    if (!kind) throw UsageError("bad value '" + job.kind + "' for --format: expected avi1, avi2 or webm");
    const std::string codec = CodecEntry(job);

    // The library says itself whether this build has a video filer.
    FilerPtr filer(CreateILxFiler(LxFilerType_Video));
    GenApi::INodeMap* map = filer->GetINodeMap();
    GenApi::CEnumerationPtr(map->GetNode("FileFormat"))->FromString(kind->format);
    GenApi::CEnumerationPtr(map->GetNode("Compression"))->FromString(codec.c_str());
    GenApi::CFloatPtr(map->GetNode("FrameRate"))->SetValue(job.fps);
    if (job.maxFramesPerFile > 0)
        GenApi::CIntegerPtr(map->GetNode("MaximumFrameCountPerFile"))->SetValue(job.maxFramesPerFile);
    // Naming files and handing frames over is the typed video interface's work, which the public
    // headers of this build do not declare yet.
    (void)count;
    (void)next;
    throw std::runtime_error("Writing video files is not yet available in this build: the public headers have no "
                             "video filer interface.");
}

} // namespace lxtool
