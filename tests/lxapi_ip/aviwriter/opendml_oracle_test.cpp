// OpenDML files read by an independent reader: ffprobe counts and describes them, ffmpeg decodes
// every frame, and uncompressed frames come back bit for bit. Skipped where ffmpeg is not installed.
#include "opendmltest.h"

using namespace odmltest;
using lxavi::COpenDMLWriter;
using lxavi::FourCC;

namespace {

class OpenDMLOracle : public ::testing::Test {
protected:
    void SetUp() override {
        if (!HaveTool("ffprobe") || !HaveTool("ffmpeg")) GTEST_SKIP() << "ffmpeg is not installed";
    }
    static std::string Probe(const std::string& name, const std::string& entries) {
        return Text(Output("ffprobe -v error -count_frames -select_streams v:0 -show_entries stream=" + entries +
                           " -of csv=p=0 '" + name + "'"));
    }
    // Every frame decoded as `pixelFormat`, one after the other.
    static std::optional<std::vector<uint8_t>> Decode(const std::string& name, const std::string& pixelFormat) {
        return Output("ffmpeg -v error -i '" + name + "' -f rawvideo -pix_fmt " + pixelFormat + " -");
    }
    // The frames as a reader shows them: lines bottom-up in the file, top-down on screen, without the
    // padding behind each line.
    static std::vector<uint8_t> Shown(const std::vector<std::vector<uint8_t>>& frames, uint32_t height,
                                      uint32_t pitch, uint32_t lineBytes) {
        std::vector<uint8_t> out;
        for (const auto& frame : frames)
            for (uint32_t y = height; y-- > 0;)
                out.insert(out.end(), frame.begin() + long(y) * pitch, frame.begin() + long(y) * pitch + lineBytes);
        return out;
    }
    ScratchDir m_dir;
};

TEST_F(OpenDMLOracle, OneSegmentOfBgr8DecodesBitExact) {
    const auto format = Bgr8Format(37, 19); // lines padded to 4 bytes
    const Frames frames(format.pitch * format.height, 30);
    const std::string name = m_dir / "bgr.avi";
    ASSERT_EQ(WriteFile(name, lxavi::NotCompressedHeader20(format), FourCC("00db"), frames.data), 0);
    EXPECT_EQ(Probe(name, "codec_name,width,height,r_frame_rate,nb_read_frames"), "rawvideo,37,19,25/1,30\n");
    const auto decoded = Decode(name, "bgr24");
    ASSERT_TRUE(decoded);
    EXPECT_TRUE(*decoded == Shown(frames.data, 19, format.pitch, 37 * 3));
}

TEST_F(OpenDMLOracle, SeveralSegmentsDecodeEveryFrameBitExact) {
    const auto format = Bgr8Format(16, 8);
    const size_t count = 2 * COpenDMLWriter::MaxSegmentEntries + 100;
    const Frames frames(format.pitch * format.height, count, 11);
    const std::string name = m_dir / "segments.avi";
    ASSERT_EQ(WriteFile(name, lxavi::NotCompressedHeader20(format), FourCC("00db"), frames.data), 0);
    EXPECT_EQ(Probe(name, "nb_read_frames"), std::to_string(count) + "\n");
    // Frame times run on across the segments: no frame is doubled or dropped at a boundary.
    const std::string times = Text(Output("ffprobe -v error -select_streams v:0 -show_entries packet=pts -of csv=p=0 '" + name + "'"));
    std::string expected;
    for (size_t i = 0; i < count; ++i) expected += std::to_string(i) + "\n";
    EXPECT_TRUE(times == expected);
    const auto decoded = Decode(name, "bgr24");
    ASSERT_TRUE(decoded);
    EXPECT_TRUE(*decoded == Shown(frames.data, 8, format.pitch, 16 * 3));
}

TEST_F(OpenDMLOracle, Mono8WithItsGreyPaletteDecodesBitExact) {
    auto format = Bgr8Format(21, 9);
    format.bitCount = 8;
    format.pitch = 24;
    const Frames frames(format.pitch * format.height, 12);
    const std::string name = m_dir / "mono.avi";
    ASSERT_EQ(WriteFile(name, lxavi::NotCompressedHeader20(format), FourCC("00db"), frames.data), 0);
    EXPECT_EQ(Probe(name, "pix_fmt,nb_read_frames"), "pal8,12\n");
    // Through the palette to BGR, which is exact (a grey conversion would compute luma).
    const auto decoded = Decode(name, "bgr24");
    ASSERT_TRUE(decoded);
    const std::vector<uint8_t> grey = Shown(frames.data, 9, format.pitch, 21);
    ASSERT_EQ(decoded->size(), 3 * grey.size());
    for (size_t i = 0; i < grey.size(); ++i)
        ASSERT_TRUE((*decoded)[3 * i] == grey[i] && (*decoded)[3 * i + 1] == grey[i] && (*decoded)[3 * i + 2] == grey[i]) << i;
}

TEST_F(OpenDMLOracle, OneFrameAndLostFramesKeepTheirTimes) {
    const auto format = Bgr8Format(8, 4);
    const Frames frames(format.pitch * format.height, 3);
    const std::string one = m_dir / "one.avi", gaps = m_dir / "gaps.avi";
    ASSERT_EQ(WriteFile(one, lxavi::NotCompressedHeader20(format), FourCC("00db"), {frames.data[0]}), 0);
    EXPECT_EQ(Probe(one, "nb_read_frames"), "1\n");
    ASSERT_EQ(WriteFile(gaps, lxavi::NotCompressedHeader20(format), FourCC("00db"), frames.data, {0, 1, 4}), 0);
    EXPECT_EQ(Probe(gaps, "nb_read_frames"), "3\n");
    EXPECT_EQ(Text(Output("ffprobe -v error -select_streams v:0 -show_entries packet=pts -of csv=p=0 '" + gaps + "'")),
              "0\n1\n4\n");
    const auto decoded = Output("ffmpeg -v error -i '" + gaps + "' -vsync passthrough -f rawvideo -pix_fmt bgr24 -");
    ASSERT_TRUE(decoded);
    EXPECT_TRUE(*decoded == Shown(frames.data, 4, format.pitch, 8 * 3));
}

// JPEG frames made by ffmpeg itself, one of them with an odd size: the chunks come back unchanged
// through -c copy, and every frame decodes.
TEST_F(OpenDMLOracle, MotionJpegChunksComeBackUnchangedAndDecode) {
    const std::string jpeg = m_dir / "frame.jpg";
    ASSERT_EQ(std::system(("ffmpeg -v error -f lavfi -i testsrc=size=64x48 -frames:v 1 -y '" + jpeg + "'").c_str()), 0);
    std::vector<uint8_t> image = ReadAll(jpeg);
    ASSERT_GT(image.size(), 100u);
    std::vector<std::vector<uint8_t>> chunks;
    for (int i = 0; i < 9; ++i) {
        chunks.push_back(image);
        if (i % 2) chunks.back().push_back(0); // a trailing byte after EOI, which decoders pass over
    }
    ASSERT_TRUE(chunks[0].size() % 2 != chunks[1].size() % 2);
    auto format = Bgr8Format(64, 48);
    const std::string name = m_dir / "mjpeg.avi";
    ASSERT_EQ(WriteFile(name, lxavi::MJPEGHeader20(format), FourCC("00dc"), chunks), 0);
    EXPECT_EQ(Probe(name, "codec_name,width,height,nb_read_frames"), "mjpeg,64,48,9\n");
    const auto copied = Output("ffmpeg -v error -i '" + name + "' -c copy -f rawvideo -");
    ASSERT_TRUE(copied);
    std::vector<uint8_t> expected;
    for (const auto& c : chunks) expected.insert(expected.end(), c.begin(), c.end());
    EXPECT_TRUE(*copied == expected);
    const auto decoded = Decode(name, "bgr24");
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->size(), 9u * 64 * 48 * 3);
}

} // namespace
