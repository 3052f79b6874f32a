// The VP8 encoder wrapper and the WebM writing context: the configuration of each quality, the
// refused sizes and qualities with their texts, files that libwebm's parser, ffprobe, ffmpeg and
// mkvinfo accept with every frame, key flag and time, the 1 ms rule, the flush, the Mono8 road,
// and decoded quality equal to libvpx's own at the same settings.
#include "clxvpx.h"
#include "lxmoduletest.h"
#include "video_writer.h"
#include "webmwalk.h"

#include <vpx/vp8cx.h>

#include <cstdio>
#include <cstdlib>
#include <memory>

using namespace lxtest;
using namespace webmtest;

namespace {

constexpr uint32_t kPlanar = LxPixelFormat_CYCbCr420_8_YY_Cb_Cr_Planar;

// A moving scene: a diagonal gradient sliding by frame, a bright square walking across, and
// colour planes with their own slow gradients.
void Paint(uint8_t* y, size_t pitch, uint8_t* cb, uint8_t* cr, size_t w, size_t h, int frame) {
    for (size_t r = 0; r < h; ++r)
        for (size_t c = 0; c < w; ++c) {
            const bool square = c >= size_t(frame * 4) % w && c < size_t(frame * 4) % w + w / 6 && r >= h / 3 && r < h / 2;
            y[r * pitch + c] = square ? 235 : uint8_t((c + r + frame * 3) * 200 / (w + h + 64) + 20);
        }
    for (size_t r = 0; cb && r < h / 2; ++r)
        for (size_t c = 0; c < w / 2; ++c) {
            cb[r * (w / 2) + c] = uint8_t(100 + (c * 56) / (w / 2) + frame % 8);
            cr[r * (w / 2) + c] = uint8_t(160 - (r * 60) / (h / 2));
        }
}

BufferPtr PlanarFrame(size_t w, size_t h, int frame) {
    BufferPtr b = MakeImage(w, h, kPlanar);
    ILxImage* img = b->GetILxImage();
    uint8_t* y = Bytes(b);
    uint8_t* cb = y + img->GetImagePlaneSize();
    Paint(y, Pitch(b), cb, cb + (w / 2) * (h / 2), w, h, frame);
    return b;
}

// The source planes packed (Y, then Cb, then Cr) to compare with decoded frames.
std::vector<uint8_t> Packed(const BufferPtr& b) {
    ILxImage* img = b->GetILxImage();
    const size_t w = img->GetImageWidth(), h = img->GetImageHeight();
    std::vector<uint8_t> out;
    for (size_t r = 0; r < h; ++r) out.insert(out.end(), Bytes(b) + r * Pitch(b), Bytes(b) + r * Pitch(b) + w);
    const uint8_t* c = Bytes(b) + img->GetImagePlaneSize();
    out.insert(out.end(), c, c + 2 * (w / 2) * (h / 2));
    return out;
}

struct TempPath {
    std::string path;
    TempPath() {
        char name[] = "/tmp/lxvpxXXXXXX";
        close(mkstemp(name));
        path = std::string(name) + ".webm";
        std::rename(name, path.c_str());
    }
    ~TempPath() { std::remove(path.c_str()); }
};

// Frames through CLxVpx into a WebM file, as the file loop does: header before the first frame,
// frame index as time stamp, flush, finalize.
std::vector<BufferPtr> WriteFile(const std::string& path, size_t w, size_t h, int count, uint32_t quality = 75,
                                 double fps = 60.0, const std::vector<int64_t>* pts = nullptr) {
    CLxVpx vpx;
    vpx.SetFrameRate(fps);
    vpx.SetQuality(quality);
    vpx.Initialize(w, h);
    FILE* f = std::fopen(path.c_str(), "wb");
    CVpxWebMWriter writer(f);
    writer.WriteHeader(w, h, vpx.Fourcc(), 1);
    const vpx_rational_t tb = vpx.Config().g_timebase;
    auto sink = [&](const vpx_codec_cx_pkt_t& p) { writer.WritePacket(p, tb); };
    std::vector<BufferPtr> sources;
    for (int i = 0; i < count; ++i) {
        sources.push_back(PlanarFrame(w, h, i));
        vpx.Encode(sources.back()->GetILxImage(), pts ? (*pts)[size_t(i)] : i, vpx.FlagsFor(uint64_t(i), i == 0), sink);
    }
    while (vpx.Encode(nullptr, count, 0, sink)) {}
    writer.Finalize();
    std::fclose(f);
    return sources;
}

// The same frames through libvpx alone, with the configuration written out here.
std::vector<std::vector<uint8_t>> ReferencePackets(size_t w, size_t h, int count, unsigned quality) {
    vpx_codec_enc_cfg_t c;
    EXPECT_EQ(vpx_codec_enc_config_default(vpx_codec_vp8_cx(), &c, 0), VPX_CODEC_OK);
    c.g_threads = 2, c.g_w = unsigned(w), c.g_h = unsigned(h), c.g_timebase = {100, 6000};
    c.g_error_resilient = 1, c.g_lag_in_frames = 0;
    c.rc_target_bitrate = unsigned(w * h * 60 * 12 / 1000);
    c.rc_min_quantizer = 100 - quality, c.rc_max_quantizer = 100 - quality + 30, c.kf_mode = VPX_KF_AUTO;
    vpx_codec_ctx_t ctx;
    EXPECT_EQ(vpx_codec_enc_init(&ctx, vpx_codec_vp8_cx(), &c, 0), VPX_CODEC_OK);
    std::vector<std::vector<uint8_t>> out;
    auto drain = [&] {
        vpx_codec_iter_t it = nullptr;
        bool any = false;
        while (const vpx_codec_cx_pkt_t* p = vpx_codec_get_cx_data(&ctx, &it))
            if (p->kind == VPX_CODEC_CX_FRAME_PKT) {
                const auto* d = static_cast<const uint8_t*>(p->data.frame.buf);
                out.emplace_back(d, d + p->data.frame.sz);
                any = true;
            }
        return any;
    };
    for (int i = 0; i < count; ++i) {
        BufferPtr b = PlanarFrame(w, h, i);
        vpx_image_t img;
        vpx_img_wrap(&img, VPX_IMG_FMT_I420, unsigned(w), unsigned(h), 1, Bytes(b));
        img.range = VPX_CR_FULL_RANGE;
        img.planes[1] = Bytes(b) + b->GetILxImage()->GetImagePlaneSize();
        img.planes[2] = img.planes[1] + (w / 2) * (h / 2);
        img.stride[0] = int(Pitch(b)), img.stride[1] = img.stride[2] = int(w / 2);
        EXPECT_EQ(vpx_codec_encode(&ctx, &img, i, 100, 0, VPX_DL_REALTIME), VPX_CODEC_OK);
        drain();
    }
    while (vpx_codec_encode(&ctx, nullptr, count, 100, 0, VPX_DL_REALTIME) == VPX_CODEC_OK && drain()) {}
    vpx_codec_destroy(&ctx);
    return out;
}

double MeanPsnr(const std::vector<std::vector<uint8_t>>& packets, const std::vector<std::vector<uint8_t>>& sources) {
    Decoder d;
    double sum = 0;
    for (size_t i = 0; i < packets.size(); ++i) {
        const std::vector<uint8_t> out = d.Decode(packets[i]);
        EXPECT_EQ(out.size(), sources[i].size()) << i;
        if (out.size() != sources[i].size()) return 0;
        sum += Psnr(out.data(), sources[i].data(), out.size());
    }
    return sum / double(packets.size());
}

std::string Shell(const std::string& command) {
    std::string out;
    if (FILE* p = popen(command.c_str(), "r")) {
        char buf[512];
        while (std::fgets(buf, sizeof buf, p)) out += buf;
        if (pclose(p) != 0) out += "\nEXIT-FAILED";
    }
    return out;
}
bool Have(const char* tool) { return std::system((std::string("command -v ") + tool + " >/dev/null 2>&1").c_str()) == 0; }

} // namespace

TEST(Vpx, ConfigurationOfEachQuality) {
    const struct { uint32_t quality, lo, hi; } rows[] = {{100, 0, 30}, {75, 25, 55}, {60, 40, 63}, {37, 63, 63}};
    for (const auto& r : rows) {
        const vpx_codec_enc_cfg_t c = CLxVpx::Configuration(1280, 720, 60.0, r.quality);
        EXPECT_EQ(c.rc_min_quantizer, r.lo) << r.quality;
        EXPECT_EQ(c.rc_max_quantizer, r.hi) << r.quality;
        EXPECT_EQ(c.g_threads, 2u);
        EXPECT_EQ(c.g_timebase.num, 100);
        EXPECT_EQ(c.g_timebase.den, 6000);
        EXPECT_EQ(c.g_error_resilient, 1u);
        EXPECT_EQ(c.g_lag_in_frames, 0u);
        EXPECT_EQ(c.rc_target_bitrate, 663552u);  // 1280 * 720 * 60 * 12 / 1000
        EXPECT_EQ(c.kf_mode, VPX_KF_AUTO);
    }
    EXPECT_EQ(CLxVpx::Configuration(2448, 2048, 29.97, 75).g_timebase.den, 2997);
    EXPECT_EQ(CLxVpx::Configuration(2448, 2048, 29.97, 75).rc_target_bitrate, 1803056u);
}

TEST(Vpx, RefusedSizesAndQualitiesKeepTheEncoderUnset) {
    CLxVpx vpx;
    const size_t sizes[][2] = {{0, 16}, {16, 0}, {15, 16}, {16, 15}};
    for (const auto& s : sizes) {
        EXPECT_EQ(TextOf<GenICam::RuntimeException>([&] { vpx.Initialize(s[0], s[1]); }),
                  "Invalid frame size: " + std::to_string(s[0]) + " x " + std::to_string(s[1]) + ".");
        EXPECT_FALSE(vpx.IsInitialized());
    }
    for (uint32_t q : {30u, 36u, 0u}) {
        vpx.SetQuality(q);
        EXPECT_EQ(TextOf<GenICam::RuntimeException>([&] { vpx.Initialize(64, 48); }), "Failed to initialize encoder.");
        EXPECT_FALSE(vpx.IsInitialized());
    }
    vpx.SetQuality(37);
    vpx.Initialize(64, 48);
    EXPECT_TRUE(vpx.IsInitialized());
    EXPECT_EQ(vpx.Fourcc(), 0x30385056u);
    // A frame of another size than the encoder's is refused before libvpx reads it.
    BufferPtr other = PlanarFrame(32, 48, 0);
    EXPECT_EQ(TextOf<GenICam::RuntimeException>([&] { vpx.Encode(other->GetILxImage(), 0, 0, [](const auto&) {}); }),
              "Invalid frame size: 32 x 48.");
    EXPECT_EQ(vpx.FlagsFor(0, false), 0);
    EXPECT_EQ(vpx.FlagsFor(5, true), VPX_EFLAG_FORCE_KF);
}

TEST(Vpx, FileCarriesEveryFrameKeyAndTimeAndDecodesAsLibvpxAlone) {
    const size_t w = 192, h = 128;
    const int n = 30;
    TempPath t;
    const auto sources = WriteFile(t.path, w, h, n);
    const Walk walk = WalkFile(t.path);
    ASSERT_TRUE(walk.ok);
    EXPECT_EQ(walk.codecId, "V_VP8");
    EXPECT_EQ(walk.muxingApp, "libwebm-0.2.1.0");
    EXPECT_EQ(walk.writingApp, "vpxenc v1.9.0");
    EXPECT_EQ(walk.width, w);
    EXPECT_EQ(walk.height, h);
    ASSERT_EQ(walk.frames.size(), size_t(n));
    const auto reference = ReferencePackets(w, h, n, 75);
    ASSERT_EQ(reference.size(), size_t(n));
    std::vector<std::vector<uint8_t>> packets, src;
    for (int i = 0; i < n; ++i) {
        // Frame i at 100 * i * 1e9 / 6000 ns, rounded down to the millisecond of the time code.
        EXPECT_EQ(walk.frames[size_t(i)].timeNs, int64_t(i) * 100 * 1000000000 / 6000 / 1000000 * 1000000) << i;
        // VP8's own key flag: bit 0 of the first byte is 0 on a key frame.
        EXPECT_EQ(walk.frames[size_t(i)].key, (walk.frames[size_t(i)].bytes.at(0) & 1) == 0) << i;
        packets.push_back(walk.frames[size_t(i)].bytes);
        src.push_back(Packed(sources[size_t(i)]));
    }
    EXPECT_TRUE(walk.frames[0].key);
    EXPECT_FALSE(walk.cues.empty());
    const double ours = MeanPsnr(packets, src), alone = MeanPsnr(reference, src);
    EXPECT_GT(ours, 30.0);
    EXPECT_NEAR(ours, alone, 0.5);
    RecordProperty("psnr_ours", std::to_string(ours));
    RecordProperty("psnr_libvpx", std::to_string(alone));
}

TEST(Vpx, EqualTimeStampsAreStoredOneMillisecondApart) {
    TempPath t;
    const std::vector<int64_t> pts{0, 1, 1, 1, 2, 6};
    WriteFile(t.path, 64, 48, int(pts.size()), 75, 60.0, &pts);
    const Walk walk = WalkFile(t.path);
    ASSERT_TRUE(walk.ok);
    ASSERT_EQ(walk.frames.size(), pts.size());
    // 16.666 ms a tick: 0, 16, 17, 18, then 33 and 100.
    const int64_t ms[] = {0, 16, 17, 18, 33, 100};
    for (size_t i = 0; i < pts.size(); ++i) EXPECT_EQ(walk.frames[i].timeNs, ms[i] * 1000000) << i;
}

TEST(Vpx, Mono8FramesAreEncodedAsGreyPlanes) {
    const size_t w = 96, h = 64;
    CLxVpx vpx;
    vpx.Initialize(w, h);
    BufferPtr mono = MakeImage(w, h, LxPixelFormat_Mono8);
    Paint(Bytes(mono), Pitch(mono), nullptr, nullptr, w, h, 3);
    std::vector<std::vector<uint8_t>> packets;
    auto sink = [&](const vpx_codec_cx_pkt_t& p) {
        const auto* d = static_cast<const uint8_t*>(p.data.frame.buf);
        packets.emplace_back(d, d + p.data.frame.sz);
    };
    EXPECT_TRUE(vpx.Encode(mono->GetILxImage(), 0, 0, sink));
    while (vpx.Encode(nullptr, 1, 0, sink)) {}
    ASSERT_EQ(packets.size(), 1u);
    Decoder d;
    const std::vector<uint8_t> out = d.Decode(packets[0]);
    ASSERT_EQ(out.size(), w * h * 3 / 2);
    std::vector<uint8_t> expect;
    for (size_t r = 0; r < h; ++r) expect.insert(expect.end(), Bytes(mono) + r * Pitch(mono), Bytes(mono) + r * Pitch(mono) + w);
    expect.resize(w * h * 3 / 2, 128);
    EXPECT_GT(Psnr(out.data(), expect.data(), w * h), 35.0);
    EXPECT_GT(Psnr(out.data() + w * h, expect.data() + w * h, w * h / 2), 45.0);
}

TEST(Vpx, OtherReadersAcceptTheFile) {
    const size_t w = 160, h = 120;
    const int n = 25;
    TempPath t;
    WriteFile(t.path, w, h, n);
    if (!Have("ffprobe") && !Have("mkvinfo")) GTEST_SKIP() << "neither ffprobe nor mkvinfo installed";
    if (Have("ffprobe")) {
        const std::string probe = Shell("ffprobe -v error -count_frames -select_streams v:0 -show_entries "
                                      "stream=codec_name,width,height,nb_read_frames -of csv=p=0 " + t.path);
        EXPECT_EQ(probe, "vp8,160,120,25\n");
    }
    if (Have("ffmpeg")) {
        const std::string md5 = Shell("ffmpeg -v error -i " + t.path + " -f framemd5 - 2>&1");
        size_t frames = 0;
        for (size_t at = 0; (at = md5.find("\n0,", at)) != std::string::npos; ++at) ++frames;
        EXPECT_EQ(frames, size_t(n)) << md5;
        EXPECT_EQ(md5.find("EXIT-FAILED"), std::string::npos);
    }
    if (Have("mkvinfo")) {
        const std::string info = Shell("mkvinfo " + t.path + " 2>&1");
        EXPECT_EQ(info.find("EXIT-FAILED"), std::string::npos) << info;
        EXPECT_NE(info.find("V_VP8"), std::string::npos);
        EXPECT_EQ(info.find("rror"), std::string::npos) << info;
    }
}

// One encoder for two files in a row, as the file loop keeps it: each file is flushed before it is
// finalized, so it holds all of its frames, starts with a key frame and decodes on its own, with
// the time stamps starting again from 0.
TEST(Vpx, OneEncoderForFilesInARow) {
    const size_t w = 64, h = 48;
    const int perFile = 10;
    CLxVpx vpx;
    vpx.Initialize(w, h);
    TempPath paths[2];
    int frame = 0;
    std::vector<std::vector<uint8_t>> sources;
    for (TempPath& t : paths) {
        FILE* f = std::fopen(t.path.c_str(), "wb");
        CVpxWebMWriter writer(f);
        writer.WriteHeader(w, h, vpx.Fourcc(), 2);
        auto sink = [&](const vpx_codec_cx_pkt_t& p) { writer.WritePacket(p, vpx.Config().g_timebase); };
        for (int i = 0; i < perFile; ++i, ++frame) {
            BufferPtr b = PlanarFrame(w, h, frame);
            sources.push_back(Packed(b));
            EXPECT_TRUE(vpx.Encode(b->GetILxImage(), i, vpx.FlagsFor(uint64_t(i), i == 0), sink));
        }
        while (vpx.Encode(nullptr, perFile, 0, sink)) {}
        writer.Finalize();
        std::fclose(f);
    }
    for (int k = 0; k < 2; ++k) {
        const Walk walk = WalkFile(paths[k].path);
        ASSERT_TRUE(walk.ok);
        ASSERT_EQ(walk.frames.size(), size_t(perFile)) << k;
        EXPECT_TRUE(walk.frames[0].key) << k;
        EXPECT_EQ(walk.frames[0].timeNs, 0);
        Decoder d;
        for (int i = 0; i < perFile; ++i) {
            const std::vector<uint8_t> out = d.Decode(walk.frames[size_t(i)].bytes);
            ASSERT_EQ(out.size(), sources[size_t(k * perFile + i)].size()) << k << " " << i;
            EXPECT_GT(Psnr(out.data(), sources[size_t(k * perFile + i)].data(), out.size()), 30.0) << k << " " << i;
        }
    }
}
