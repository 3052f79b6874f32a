// Motion JPEG in AVI 1.0: the 2048-byte header, each frame's chunk equal byte for byte to what the JPEG
// encoder makes of the image alone, gaps as empty chunks; and with ffmpeg installed, every frame decodes
// with the PSNR of the encoder alone.
#include "avitest.h"

#include "jpegencoder.h"

#include <cmath>

using namespace lxtest;

namespace {

// A smooth image (gradients and a ring) that JPEG codes well, different per seed.
BufferPtr SmoothImage(size_t w, size_t h, uint32_t format, uint32_t seed) {
    BufferPtr b = MakeImage(w, h, format);
    const size_t channels = format == LxPixelFormat_Mono8 ? 1 : 3;
    for (size_t y = 0; y < h; ++y)
        for (size_t x = 0; x < w; ++x)
            for (size_t c = 0; c < channels; ++c) {
                const double r = std::hypot(double(x) - w / 2.0, double(y) - h / 2.0);
                Bytes(b)[y * Pitch(b) + x * channels + c] =
                    static_cast<uint8_t>((x * (c + 1) + y * 2 + seed * 7 + static_cast<size_t>(r)) & 0xFF);
            }
    return b;
}

std::vector<uint8_t> EncodedAlone(const BufferPtr& b, uint32_t quality) {
    ILxImage* img = b->GetILxImage();
    std::vector<uint8_t> block(img->GetImageHeight() * img->GetImageLinePitch() * 2 + 65536);
    size_t bytes = 0;
    EXPECT_EQ(lxjpeg::EncodeImage(img->GetImagePixelFormat(), img->GetImageBuffer(), uint32_t(img->GetImageWidth()),
                                  uint32_t(img->GetImageHeight()), img->GetImageLinePitch(), quality, block.data(),
                                  block.size(), bytes),
              0);
    block.resize(bytes);
    return block;
}

double Psnr(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b) {
    double se = 0;
    for (size_t i = 0; i < a.size(); ++i) se += (double(a[i]) - b[i]) * (double(a[i]) - b[i]);
    return se == 0 ? 99.0 : 10 * std::log10(255.0 * 255.0 * a.size() / se);
}

} // namespace

TEST(AviWriterMJPEG, HeaderChunksAndGapsMatchTheEncoderAlone) {
    ScratchDir dir;
    VideoFiler v;
    v.typed->SetFileFormat(AVI1);
    v.typed->SetCodec(MotionJPEG);
    v.typed->SetQuality(75);
    v.typed->SetFrameRate(25.0);
    const std::string name = dir.File("mjpeg.avi");
    v.typed->RegisterFileName(name.c_str());
    std::vector<BufferPtr> images;
    for (uint32_t n : {5u, 6u, 9u}) {
        images.push_back(SmoothImage(69, 35, LxPixelFormat_BGR8, n));
        v.typed->AddImage(images.back()->GetILxImage(), n);
    }
    v.typed->Stop();
    const AviFile a = ParseAvi(name);
    ASSERT_TRUE(a.ok) << a.why;
    EXPECT_EQ(a.handler, "MJPG");
    EXPECT_EQ(a.quality, 7500u);
    EXPECT_EQ(a.flags, 16u);
    EXPECT_EQ(a.length, 5u);
    EXPECT_EQ(a.totalFrames, 5u);
    EXPECT_EQ(a.moviStart, 2044u);
    ASSERT_EQ(a.format.size(), 40u);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(&a.format[16]), 4), "MJPG");
    ASSERT_EQ(a.chunks.size(), 5u);
    const size_t withData[] = {0, 1, 4};
    for (size_t i = 0; i < 3; ++i) {
        const auto& c = a.chunks[withData[i]];
        EXPECT_EQ(c.id, "00dc");
        EXPECT_EQ(std::vector<uint8_t>(a.Data(c), a.Data(c) + c.size), EncodedAlone(images[i], 75)) << i;
    }
    EXPECT_EQ(a.chunks[2].size, 0u);
    EXPECT_EQ(a.chunks[3].size, 0u);
}

TEST(AviWriterMJPEG, PlaysWithTheEncodersOwnQuality) {
    if (!HaveTool("ffprobe") || !HaveTool("ffmpeg")) GTEST_SKIP() << "ffprobe or ffmpeg not installed";
    ScratchDir dir;
    VideoFiler v;
    v.typed->SetFileFormat(AVI1);
    v.typed->SetCodec(MotionJPEG);
    v.typed->SetFrameRate(30.0);
    const std::string name = dir.File("play.avi");
    v.typed->RegisterFileName(name.c_str());
    std::vector<uint8_t> source, alone;
    for (uint32_t n = 0; n < 4; ++n) {
        BufferPtr image = SmoothImage(64, 48, LxPixelFormat_BGR8, n);
        const std::vector<uint8_t> lines = Lines(image, 3);
        source.insert(source.end(), lines.begin(), lines.end());
        v.typed->AddImage(image->GetILxImage(), n);
        // The same image through the encoder alone, decoded by ffmpeg as a JPEG file.
        const std::string jpeg = dir.File(Numbered("alone", int(n)) + ".jpg");
        const std::vector<uint8_t> stream = EncodedAlone(image, 75);
        std::ofstream(jpeg, std::ios::binary).write(reinterpret_cast<const char*>(stream.data()), long(stream.size()));
        std::string decodeAlone = "ffmpeg -v error -i ";
        const std::string one = RunCommand(decodeAlone.append(Quoted(jpeg)).append(" -f rawvideo -pix_fmt bgr24 -"));
        alone.insert(alone.end(), one.begin(), one.end());
    }
    v.typed->Stop();
    std::string probe = "ffprobe -v error -count_frames -select_streams v:0 -show_entries "
                        "stream=codec_name,width,height,r_frame_rate,nb_read_frames -of default=nw=1 ";
    EXPECT_EQ(RunCommand(probe.append(Quoted(name))),
              "codec_name=mjpeg\nwidth=64\nheight=48\nr_frame_rate=10000/333\nnb_read_frames=4\n");
    std::string decode = "ffmpeg -v error -i ";
    decode.append(Quoted(name)).append(" -fps_mode passthrough -f rawvideo -pix_fmt bgr24 -");
    const std::string out = RunCommand(decode);
    ASSERT_EQ(out.size(), source.size());
    // The PSNR of the file's frames is the encoder's own.
    ASSERT_EQ(alone.size(), source.size());
    const double film = Psnr(source, std::vector<uint8_t>(out.begin(), out.end()));
    EXPECT_NEAR(film, Psnr(source, alone), 1e-9);
    EXPECT_GT(film, 25.0);
}
