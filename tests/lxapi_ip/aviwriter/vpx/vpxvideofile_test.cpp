// The video filer writing WebM files: rotation by frame count with every frame (the encoder's last
// packets included) in its own file, each file starting with a key frame and its times at 0, the
// callbacks in their order, decoded frames against the planar conversion of the sources, and the
// failures reported through callback 8 without losing a frame of the pool.
#include "../avitest.h"
#include "webmwalk.h"

#include <lxapi/ilxpixelformatconverter.h>

using namespace lxtest;
using namespace webmtest;

namespace {

void Configure(ILxVideoFiler* f, int64_t maxFrames, uint32_t quality = 75) {
    f->SetFileFormat(WebM);
    f->SetFrameRate(30.0);
    f->SetQuality(quality);
    f->SetMaximumFrameCountPerFile(maxFrames);
}

// A smooth moving BGR8 scene.
BufferPtr Scene(size_t w, size_t h, int frame) {
    BufferPtr b = MakeImage(w, h, LxPixelFormat_BGR8);
    for (size_t y = 0; y < h; ++y)
        for (size_t x = 0; x < w; ++x) {
            uint8_t* p = Bytes(b) + y * Pitch(b) + 3 * x;
            p[0] = uint8_t((x * 4 + size_t(frame) * 3) & 0xFF);
            p[1] = uint8_t((y * 3 + x) & 0xFF);
            p[2] = uint8_t(200 - (y + size_t(frame)) % 150);
        }
    return b;
}

std::vector<uint8_t> PlanarOf(const BufferPtr& bgr) {
    ConverterPtr c(CreateILxConverter(LxConverterType_PixelFormat));
    dynamic_cast<ILxPixelFormatConverter*>(c.Get())->SetDestinationPixelFormat(LxPixelFormat_CYCbCr420_8_YY_Cb_Cr_Planar);
    BufferPtr out(CreateILxImageBuffer(nullptr));
    c->Convert(bgr->GetILxImage(), out.Get());
    ILxImage* img = out->GetILxImage();
    const size_t w = img->GetImageWidth(), h = img->GetImageHeight();
    std::vector<uint8_t> packed;
    for (size_t y = 0; y < h; ++y) packed.insert(packed.end(), Bytes(out) + y * Pitch(out), Bytes(out) + y * Pitch(out) + w);
    const uint8_t* chroma = Bytes(out) + img->GetImagePlaneSize();
    packed.insert(packed.end(), chroma, chroma + 2 * (w / 2) * (h / 2));
    return packed;
}

} // namespace

TEST(WebMFiler, RotationByFrameCountKeepsEveryFrameInItsFile) {
    ScratchDir dir;
    VideoFiler v;
    Configure(v.typed, 4);
    const size_t w = 64, h = 48;
    std::vector<std::string> names;
    for (int i = 0; i < 3; ++i) {
        names.push_back(dir.File("sub/w" + std::to_string(i) + ".webm"));
        v.typed->RegisterFileName(names.back().c_str());
    }
    std::vector<std::vector<uint8_t>> sources;
    for (int i = 0; i < 10; ++i) {
        BufferPtr b = Scene(w, h, i);
        sources.push_back(PlanarOf(b));
        v.typed->AddImage(b->GetILxImage(), uint32_t(1000 + i));
    }
    v.typed->Stop();
    const std::vector<std::string> expected{"open " + names[0], "close " + names[0], "open " + names[1],
                                            "close " + names[1], "open " + names[2], "close " + names[2]};
    EXPECT_EQ(v.recorder.Events(), expected);
    const size_t counts[] = {4, 4, 2};
    size_t frame = 0;
    for (int k = 0; k < 3; ++k) {
        const Walk walk = WalkFile(names[size_t(k)]);
        ASSERT_TRUE(walk.ok) << k;
        EXPECT_EQ(walk.codecId, "V_VP8");
        EXPECT_EQ(walk.width, w);
        ASSERT_EQ(walk.frames.size(), counts[k]) << k;
        EXPECT_TRUE(walk.frames[0].key) << k;
        Decoder d;
        for (size_t i = 0; i < counts[k]; ++i, ++frame) {
            // Index i at 100 / 3000 s a tick, in whole milliseconds.
            EXPECT_EQ(walk.frames[i].timeNs, int64_t(i * 100 * 1000 / 3000) * 1000000) << k << " " << i;
            const std::vector<uint8_t> out = d.Decode(walk.frames[i].bytes);
            ASSERT_EQ(out.size(), sources[frame].size());
            EXPECT_GT(Psnr(out.data(), sources[frame].data(), out.size()), 30.0) << k << " " << i;
        }
    }
}

TEST(WebMFiler, OddSizesAndRefusedQualityAreReportedAndTheLoopGoesOn) {
    ScratchDir dir;
    VideoFiler v;
    Configure(v.typed, 100);
    // Every frame of an odd size ends a file through the error callback; the pool stays whole, so
    // the caller never blocks.
    for (int i = 0; i < 3; ++i) v.typed->RegisterFileName(dir.File("odd" + std::to_string(i) + ".webm").c_str());
    BufferPtr odd = Scene(33, 24, 0);
    for (int i = 0; i < 3; ++i) v.typed->AddImage(odd->GetILxImage(), uint32_t(i));
    ASSERT_TRUE(v.recorder.WaitFor("error ", 3));
    EXPECT_EQ(v.recorder.Events().back(), "error Not supported image size 33 x 24");
    EXPECT_EQ(v.recorder.Count("close "), 0u);
    v.typed->Stop();

    VideoFiler q;
    Configure(q.typed, 100, 30);
    q.typed->RegisterFileName(dir.File("q30.webm").c_str());
    BufferPtr even = Scene(32, 24, 0);
    q.typed->AddImage(even->GetILxImage(), 0);
    ASSERT_TRUE(q.recorder.WaitFor("error ", 1));
    EXPECT_EQ(q.recorder.Events().back(), "error Failed to initialize encoder.");
    q.typed->Stop();
}

TEST(WebMFiler, Mono8FramesBecomeGreyVideo) {
    ScratchDir dir;
    VideoFiler v;
    Configure(v.typed, 100);
    const std::string name = dir.File("mono.webm");
    v.typed->RegisterFileName(name.c_str());
    BufferPtr mono = MakeImage(48, 32, LxPixelFormat_Mono8);
    for (size_t y = 0; y < 32; ++y)
        for (size_t x = 0; x < 48; ++x) Bytes(mono)[y * Pitch(mono) + x] = uint8_t(x * 5 + y);
    for (uint32_t i = 0; i < 3; ++i) v.typed->AddImage(mono->GetILxImage(), i);
    v.typed->Stop();
    const Walk walk = WalkFile(name);
    ASSERT_TRUE(walk.ok);
    ASSERT_EQ(walk.frames.size(), 3u);
    Decoder d;
    const std::vector<uint8_t> out = d.Decode(walk.frames[0].bytes);
    ASSERT_EQ(out.size(), 48u * 32u * 3 / 2);
    std::vector<uint8_t> expect;
    for (size_t y = 0; y < 32; ++y) expect.insert(expect.end(), Bytes(mono) + y * Pitch(mono), Bytes(mono) + y * Pitch(mono) + 48);
    EXPECT_GT(Psnr(out.data(), expect.data(), expect.size()), 35.0);
}
