#include "video.h"

#include "args.h"
#include "library.h"
#include "progress.h"

#include <GenApi/GenApi.h>
#include <lxapi/ilxvideofiler.h>

#include <mutex>

#include <stdexcept>

namespace lxtool {

const std::vector<VideoKind>& VideoKinds() {
    static const std::vector<VideoKind> kinds = {{"avi1", "AVI1"}, {"avi2", "AVI2"}, {"webm", "WebM"}};
    return kinds;
}

namespace {

class ErrorCollector : public ILxCallback {
public:
    void OnCallback(ILxCallbackParamBase* param) override {
        if (param->GetCallbackType() != LxCallbackType_VideoFilerError) return;
        auto* error = dynamic_cast<ILxCallbackParamLxApiIPVideoFilerError*>(param);
        std::lock_guard<std::mutex> lock(m_lock);
        if (error && text.empty()) text = error->GetException().GetDescription();
    }
    void Release() override {}
    std::string text;

private:
    std::mutex m_lock;
};

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
    GenApi::CEnumerationPtr fileFormat = map->GetNode("FileFormat");
    // An entry the description switches off (WebM without its encoder) is a kind this build lacks.
    if (!GenApi::IsAvailable(fileFormat->GetEntryByName(kind->format)))
        throw std::runtime_error(std::string(kind->format) + " files are not yet available in this build.");
    fileFormat->FromString(kind->format);
    GenApi::CEnumerationPtr(map->GetNode("Compression"))->FromString(codec.c_str());
    GenApi::CFloatPtr(map->GetNode("FrameRate"))->SetValue(job.fps);
    if (job.maxFramesPerFile > 0)
        GenApi::CIntegerPtr(map->GetNode("MaximumFrameCountPerFile"))->SetValue(job.maxFramesPerFile);
    // Failures on the filer's worker come back by callback; they are collected and thrown after Stop.
    ErrorCollector errors;
    LX_CALLBACK_HANDLE handle = filer->RegisterCallback(&errors);
    auto* video = dynamic_cast<ILxVideoFiler*>(filer.Get());
    try {
        for (const std::string& name : job.fileNames) video->RegisterFileName(name.c_str());
        for (size_t i = 0; i < count; ++i) video->AddImage(next(i), static_cast<uint32_t>(i));
        video->Stop();   // writes what is queued and closes the file
    } catch (...) {
        filer->DeregisterCallback(handle);
        throw;
    }
    filer->DeregisterCallback(handle);
    if (!errors.text.empty()) throw std::runtime_error(errors.text);
}

} // namespace lxtool
