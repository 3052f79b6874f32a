// Writing a sequence of images as video files through the video filer.
#pragma once

#include <lxapi/ilximage.h>

#include <functional>
#include <string>
#include <vector>

namespace lxtool {

struct VideoKind {
    const char* name;     // avi1, avi2, webm: the FileFormat entries AVI1, AVI2, WebM
    const char* format;   // the FileFormat entry
};
const std::vector<VideoKind>& VideoKinds();

struct VideoJob {
    std::string kind;        // avi1, avi2, webm
    std::string codec;       // uncompressed, mjpeg, vp8; empty: mjpeg for AVI, vp8 for WebM
    double fps = 25.0;
    long long maxFramesPerFile = 0;   // 0: the module's default
    std::vector<std::string> fileNames;   // registered in this order, one per file
};

// Sets the video filer up through its features, then hands it `count` images from `next`, and
// waits until it has written them. Throws the library's exception where it refuses.
void WriteVideo(const VideoJob& job, size_t count, const std::function<ILxImage*(size_t)>& next);

} // namespace lxtool
